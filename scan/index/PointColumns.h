#pragma once

#include "scan/index/IndexPoint.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// Compresses the points of a node, ordered by record: each attribute is a column of whole numbers, stored as their
/// least value and the differences to it in as few bits as the largest one needs. Records are stored as differences to
/// the record before, in groups of 7 bits.
std::vector<unsigned char> packColumns(const std::vector<IndexPoint>& points);

/// The points that were packed into `size` bytes. False if the bytes are not those of `count` points.
bool unpackColumns(const unsigned char* bytes, std::size_t size, std::uint32_t count, std::vector<IndexPoint>& points);

}  // namespace QuorViewer
