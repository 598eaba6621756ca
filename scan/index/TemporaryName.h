#pragma once

#include <string>

namespace QuorViewer {

/// A name in the same folder that no other process and no other call uses: the name, a number and ".part".
std::string temporaryNameFor(const std::string& path);

/// The system's reason for the failure of a stream, as `errno` has it.
std::string systemReason();

}  // namespace QuorViewer
