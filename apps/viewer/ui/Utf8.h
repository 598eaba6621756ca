#pragma once

namespace QuorViewer {

/// Whether a byte of UTF-8 belongs to the character that began before it.
inline bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace QuorViewer
