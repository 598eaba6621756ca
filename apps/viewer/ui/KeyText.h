#pragma once

#include <string>

namespace QuorViewer {

/// The character that a key of OSG's types, in UTF-8; empty for keys that type none. OSG's key codes are those of X11:
/// Latin-1, Unicode from 0x1000000 on, and a range of its own for Cyrillic. On Windows OSG reports Latin letters only.
std::string textOfKey(int key);

}  // namespace QuorViewer
