#pragma once

#include "scan/Scan.h"
#include "scan/index/IndexBuilder.h"
#include "scan/index/IndexTree.h"

#include <cstdint>
#include <memory>
#include <string>

namespace QuorViewer {

/// A folder with the indexes of scans, which are built again when they are missing. Several programs may use it at the
/// same time. File names are in the user's encoding.
class IndexCache {
 public:
  /// `limitBytes`: of all indexes together.
  IndexCache(std::string folder, std::uint64_t limitBytes) : _folder(std::move(folder)), _limitBytes(limitBytes) {}

  /// `quor_osg_utils/index` in the user's cache folder; empty if the system has none.
  static std::string defaultFolder();
  /// A tenth of the space on the folder's disk that is free or used by its indexes.
  static std::uint64_t defaultLimitBytes(const std::string& folder);
  /// The scan's file as it is now; for an EPT scan, its file ept.json. Throws ScanError if it is gone.
  static IndexedScan identify(const ScanInfo& scan);
  /// How the file differs from what it was, for the user. Empty if it does not, or if it is gone: an open file can
  /// still be read.
  static std::string changeOf(const IndexedScan& scan);

  const std::string& folder() const { return _folder; }
  std::uint64_t limitBytes() const { return _limitBytes; }

  /// The file of a scan's index, whether it exists or not.
  std::string pathFor(const IndexedScan& scan) const;

  /// What a search has found.
  struct Found {
    std::unique_ptr<IndexTree> tree;  ///< null: there is none that can be used
    std::string note;                 ///< why an existing one is not used; empty: there is none, or it is used
  };
  /// Opens the index of a scan. One that is damaged, or was built for an earlier state of the file, is removed. One
  /// that the system cannot read stays until it is replaced.
  Found find(const IndexedScan& scan) const;

  /// Removes the index of a scan, if there is one.
  void remove(const IndexedScan& scan) const;
  /// Creates the folder and removes the indexes that have not been used for the longest time until `bytes` more fit in,
  /// and temporary files of builds that have been killed. Throws ScanWriteError if the folder cannot be created.
  void makeRoom(std::uint64_t bytes) const;

  /// Builds the index of a scan and opens it. `settings` needs no temporary path: that is in this folder. If the index
  /// cannot be written, but another program has built the same one meanwhile, that is opened. Throws ScanError,
  /// ScanWriteError (disk full, the index is larger than the limit) or IndexCancelled; then nothing is left.
  std::unique_ptr<IndexTree> build(const ScanReader& scan, const IndexedScan& identity, IndexSettings settings,
                                   IndexProgress& progress) const;

 private:
  /// Null if there is no sound index of the scan as it is.
  std::unique_ptr<IndexTree> _openValid(const IndexedScan& scan) const;

  std::string _folder;
  std::uint64_t _limitBytes;
};

}  // namespace QuorViewer
