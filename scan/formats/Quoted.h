#pragma once

#include <string>
#include <string_view>

namespace QuorViewer {

/// Text from a file in quotation marks, for a message: its first 40 bytes, with control characters and bytes that are
/// not UTF-8 in the form `\x1b`.
std::string quoted(std::string_view text);

}  // namespace QuorViewer
