#pragma once

#include <cstdint>

namespace QuorOsgUtils {

/// A number unique to the calling thread, starting at 1.
std::uint32_t currentThreadNumber();

}  // namespace QuorOsgUtils
