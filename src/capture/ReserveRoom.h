#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

namespace QuorOsgUtils {

/// Reserves room for `count` values. False, with the vector as it was, when memory is exhausted or when `count` is more
/// than a vector can hold. In a 32-bit process an image of 2^31 - 1 values is more than that; in a 64-bit process it is
/// not.
template <typename Value>
bool reserveRoom(std::vector<Value>& values, std::size_t count) {
  try {
    values.reserve(count);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
}

}  // namespace QuorOsgUtils
