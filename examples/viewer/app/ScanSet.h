#pragma once

#include "scan/Scan.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The opened scans, numbered from 1 in the order given, in one common frame. One thread at a time.
class ScanSet {
 public:
  /// Opens all or none. Throws ScanError.
  explicit ScanSet(const std::vector<std::string>& paths);

  /// Opens one more, behind the others. Throws ScanError, and then has the same scans as before.
  void add(const std::string& path) { _readers.push_back(ScanReader::open(path)); }

  unsigned int count() const { return static_cast<unsigned int>(_readers.size()); }
  ScanReader& reader(unsigned int number) { return *_readers.at(number - 1); }
  const ScanInfo& info(unsigned int number) const { return _readers.at(number - 1)->info(); }

  /// The world point that all drawn coordinates are relative to: the first scan's.
  osg::Vec3d origin() const;
  std::uint64_t pointCount() const;
  bool anyHas(bool ScanInfo::*property) const;

 private:
  std::vector<std::unique_ptr<ScanReader>> _readers;
};

/// The last part of a path: a scan's name for people.
std::string fileName(const std::string& path);

}  // namespace QuorViewer
