#include "common/Grouped.h"

#include <cstddef>

namespace QuorViewer {

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (auto end = static_cast<std::ptrdiff_t>(text.size()) - 3; end > 0; end -= 3) {
    text.insert(static_cast<std::size_t>(end), ",");
  }
  return text;
}

}  // namespace QuorViewer
