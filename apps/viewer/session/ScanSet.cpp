#include "viewer/session/ScanSet.h"

#include "scan/platform/Platform.h"

#include <algorithm>
#include <filesystem>
#include <numeric>

namespace QuorViewer {

ScanSet::ScanSet(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    try {
      add(path);
    } catch (const ScanError& error) {
      _failures.emplace_back(path, error);
    }
  }
  if (isEmpty() && !_failures.empty()) {
    throw ScanError(linesOf(_failures));
  }
}

unsigned int ScanSet::add(const std::string& path) {
  std::unique_ptr<ScanReader> reader = ScanReader::open(path);
  if (isEmpty()) {
    _origin = reader->info().origin;
  }
  _readers.push_back(std::move(reader));
  return static_cast<unsigned int>(_readers.size());
}

std::vector<unsigned int> ScanSet::numbers() const {
  std::vector<unsigned int> open;
  for (unsigned int number = 1; number <= _readers.size(); ++number) {
    if (isOpen(number)) {
      open.push_back(number);
    }
  }
  return open;
}

bool ScanSet::isOpen(unsigned int number) const {
  return number >= 1 && number <= _readers.size() && _readers[number - 1] != nullptr;
}

std::uint64_t ScanSet::pointCount() const {
  const std::vector<unsigned int> open = numbers();
  return std::accumulate(open.begin(), open.end(), std::uint64_t{0},
                         [this](std::uint64_t sum, unsigned int number) { return sum + info(number).pointCount; });
}

bool ScanSet::anyHas(bool ScanInfo::*property) const {
  const std::vector<unsigned int> open = numbers();
  return std::any_of(open.begin(), open.end(), [&](unsigned int number) { return info(number).*property; });
}

std::string fileName(const std::string& path) {
  return fromPath(toPath(path).filename());
}

}  // namespace QuorViewer
