#pragma once

#include "scan/Scan.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The opened scans, numbered from 1 in the order given, in one common frame. A number stays a scan's for good, even
/// after the scan has been closed. One thread at a time.
class ScanSet {
 public:
  /// Opens all or none. Throws ScanError.
  explicit ScanSet(const std::vector<std::string>& paths);

  /// Opens one more, behind the others, and answers its number. Throws ScanError, and then has the same scans as
  /// before.
  unsigned int add(const std::string& path);
  /// Expects an open scan.
  void close(unsigned int number) { _readers.at(number - 1).reset(); }

  /// The open scans' numbers, ascending.
  std::vector<unsigned int> numbers() const;
  bool isOpen(unsigned int number) const;
  bool isEmpty() const { return numbers().empty(); }
  /// These expect an open scan.
  ScanReader& reader(unsigned int number) { return *_readers.at(number - 1); }
  const ScanInfo& info(unsigned int number) const { return _readers.at(number - 1)->info(); }

  /// The world point that all drawn coordinates are relative to: of the first scan, and again of the first one that
  /// comes when none is open any more.
  const osg::Vec3d& origin() const { return _origin; }
  std::uint64_t pointCount() const;
  bool anyHas(bool ScanInfo::*property) const;

 private:
  std::vector<std::unique_ptr<ScanReader>> _readers;  // null where closed
  osg::Vec3d _origin;
};

/// The last part of a path: a scan's name for people.
std::string fileName(const std::string& path);

}  // namespace QuorViewer
