#pragma once

#include <cstdint>
#include <string>

namespace QuorViewer {

/// "21,932": digits in groups of three.
std::string grouped(std::uint64_t number);

}  // namespace QuorViewer
