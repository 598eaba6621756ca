#pragma once

#include "scan/Scan.h"
#include "viewer/session/OpenFailures.h"

#include <cassert>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The open scans, numbered from 1 in the order given, in one common coordinate frame. Numbers are never reused, even
/// after a scan has been closed. Use it on one thread at a time.
class ScanSet {
 public:
  /// Opens all that can be opened. If none can, throws a ScanError with one line for each.
  explicit ScanSet(const std::vector<std::string>& paths);

  /// The files that the constructor could not open.
  const std::vector<OpenFailure>& failures() const { return _failures; }

  /// Opens one more scan and returns its number, the next one. Throws ScanError and then leaves the set unchanged.
  unsigned int add(const std::string& path);
  /// Opens the file of an open scan again, because it has changed. Throws ScanError; then the scan stays as it is.
  void reopen(unsigned int number) { _readers.at(number - 1) = ScanReader::open(info(number).path); }
  /// Expects an open scan.
  void close(unsigned int number) { _readers.at(number - 1).reset(); }

  /// The open scans' numbers, ascending.
  std::vector<unsigned int> numbers() const;
  bool isOpen(unsigned int number) const;
  bool isEmpty() const { return numbers().empty(); }
  /// These expect an open scan.
  ScanReader& reader(unsigned int number) {
    assert(isOpen(number));
    return *_readers[number - 1];
  }
  const ScanInfo& info(unsigned int number) const {
    assert(isOpen(number));
    return _readers[number - 1]->info();
  }

  /// The local origin: the world point that all drawn coordinates are relative to. Set by the first scan, and again by
  /// the next scan added while none is open.
  const osg::Vec3d& origin() const { return _origin; }
  std::uint64_t pointCount() const;
  bool anyHas(bool ScanInfo::*property) const;

 private:
  std::vector<std::unique_ptr<ScanReader>> _readers;  // null where closed
  std::vector<OpenFailure> _failures;
  osg::Vec3d _origin;
};

/// The last component of a path, as a scan's display name.
std::string fileName(const std::string& path);

}  // namespace QuorViewer
