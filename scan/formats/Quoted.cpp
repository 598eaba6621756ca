#include "scan/formats/Quoted.h"

#include <array>
#include <cstdint>

namespace QuorViewer {

namespace {

unsigned byteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

std::size_t lengthByLead(unsigned lead) {
  return lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
}

// Shorter forms of a code exist below these. U+0080 to U+009F are control characters.
bool isPrintable(std::uint32_t code, std::size_t length) {
  constexpr std::array<std::uint32_t, 5> kLeast = {0, 0x20, 0xA0, 0x800, 0x10000};
  return code >= kLeast[length] && code != 0x7F && (code < 0xD800 || code > 0xDFFF) && code <= 0x10FFFF;
}

/// Number of bytes of the UTF-8 character that the text begins with; 0 if it is none, or not printable.
std::size_t printableBytes(std::string_view text) {
  const std::size_t length = lengthByLead(byteAt(text, 0));
  if (length == 0 || length > text.size()) {
    return 0;
  }
  std::uint32_t code = length == 1 ? byteAt(text, 0) : byteAt(text, 0) & 0x7FU >> length;
  for (std::size_t at = 1; at < length; ++at) {
    if ((byteAt(text, at) & 0xC0U) != 0x80U) {
      return 0;
    }
    code = code << 6U | (byteAt(text, at) & 0x3FU);
  }
  return isPrintable(code, length) ? length : 0;
}

std::string escaped(unsigned byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 15U]};
}

}  // namespace

std::string quoted(std::string_view text) {
  constexpr std::size_t kMostBytes = 40;
  std::string shown = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = printableBytes(text.substr(at));
    if (at + length > kMostBytes || at >= kMostBytes) {
      break;
    }
    shown += length > 0 ? std::string(text.substr(at, length)) : escaped(byteAt(text, at));
    at += length > 0 ? length : 1;
  }
  return shown + '"';
}

}  // namespace QuorViewer
