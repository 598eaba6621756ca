#pragma once

#include <cstdint>

namespace QuorOsgUtils {

/// A number that belongs to the calling thread alone, from 1 upwards.
std::uint32_t currentThreadNumber();

}  // namespace QuorOsgUtils
