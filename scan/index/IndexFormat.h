#pragma once

#include "scan/index/IndexGrid.h"
#include "scan/index/NodeKey.h"

#include <osg/BoundingBox>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace QuorViewer {

/// The scan of an index, as it was when the index was built.
struct IndexedScan {
  std::string path;
  std::uint64_t bytes = 0;
  std::int64_t changed = 0;  ///< time of the last change, in the system's units
  std::uint64_t records = 0;

  bool operator==(const IndexedScan& other) const {
    return path == other.path && bytes == other.bytes && changed == other.changed && records == other.records;
  }
};

/// What is known of all points together.
struct IndexSummary {
  std::uint64_t points = 0;  ///< in the nodes: all records but those without usable coordinates
  osg::BoundingBoxd bounds;  ///< world units; invalid if there are no points
  std::bitset<256> classes;  ///< those present
  bool anyIntensity = false;
  bool anyColour = false;  ///< whether the points have colours; without, all are white

  void join(const IndexSummary& other);
};

/// A node's points in the file.
struct IndexEntry {
  static constexpr std::size_t kBytes = 36;

  NodeKey key;
  std::uint64_t offsetBytes = 0;
  std::uint32_t bytes = 0;
  std::uint32_t points = 0;
  std::uint32_t checksum = 0;
};

/// Everything in an index but the points: docs/index-format.md.
struct IndexContents {
  static constexpr std::size_t kHeaderBytes = 256;

  IndexedScan scan;
  IndexGrid grid;
  IndexSummary summary;
  IndexEntry sample;                ///< some of the points once more, from all over the file; without a key
  std::vector<IndexEntry> entries;  ///< parents before their children

  /// The header's bytes, for a directory that is stored at `directoryOffset`.
  std::vector<unsigned char> header(std::uint64_t directoryOffset, const std::vector<unsigned char>& directory) const;
  /// The entries and the scan's path.
  std::vector<unsigned char> directory() const;
};

/// Where the directory is, and how to check it.
struct IndexDirectoryPlace {
  std::uint64_t offsetBytes = 0;
  std::uint64_t bytes = 0;
  std::uint32_t checksum = 0;
  std::uint32_t entries = 0;
};

/// Reads a header of `kHeaderBytes` into `contents`. Returns what is wrong with it; empty: nothing.
std::string parseIndexHeader(const unsigned char* bytes, IndexContents& contents, IndexDirectoryPlace& directory);
/// The same for the directory, which the header describes.
std::string parseIndexDirectory(const std::vector<unsigned char>& bytes, const IndexDirectoryPlace& place,
                                IndexContents& contents);

/// CRC-32 as in zlib and PNG.
std::uint32_t checksumOf(const unsigned char* bytes, std::size_t count);

}  // namespace QuorViewer
