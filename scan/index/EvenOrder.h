#pragma once

#include "scan/index/PointTree.h"

namespace QuorViewer {

/// Reorders the points of a node so that every beginning of the arrays is an even sample: the first n points are spread
/// over all of them. If the points are a square grid of 2^k by 2^k, the first 4^j lie one in each square of 2^j by 2^j.
/// Expects arrays of the same length. Takes about 20 bytes for each point meanwhile.
void orderEvenly(NodePoints& points);

}  // namespace QuorViewer
