#include "viewer/ui/KeyText.h"

#include <osgText/String>

#include <string_view>

namespace QuorViewer {
namespace {

// The range is in the order of KOI8; see appendix A of the X Window System protocol.
constexpr int kFirstCyrillic = 0x6A1;
constexpr std::u32string_view kCyrillic =
    U"ђѓёєѕіїјљњћќґўџ№ЂЃЁЄЅІЇЈЉЊЋЌҐЎЏюабцдефгхийклмнопярстужвьызшэщчъЮАБЦДЕФГХИЙКЛМНОПЯРСТУЖВЬЫЗШЭЩЧЪ";
constexpr int kUnicode = 0x1000000;
constexpr int kUnicodeEnd = kUnicode + 0x110000;

int characterOf(int key) {
  if ((key >= 0x20 && key < 0x7F) || (key >= 0xA0 && key <= 0xFF)) {
    return key;
  }
  const int cyrillic = key - kFirstCyrillic;
  if (cyrillic >= 0 && cyrillic < static_cast<int>(kCyrillic.size())) {
    return static_cast<int>(kCyrillic[static_cast<std::size_t>(cyrillic)]);
  }
  return key >= kUnicode + 0xA0 && key < kUnicodeEnd ? key - kUnicode : 0;
}

}  // namespace

std::string textOfKey(int key) {
  const int character = characterOf(key);
  if (character == 0) {
    return {};
  }
  osgText::String text;
  text.push_back(static_cast<unsigned int>(character));
  return text.createUTF8EncodedString();
}

}  // namespace QuorViewer
