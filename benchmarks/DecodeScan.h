#pragma once

#include "scan/Scan.h"

#include <functional>
#include <string>

namespace QuorBenchmarks {

/// Receives a decoded part of a scan, on any thread.
using TakeChunk = std::function<void(QuorViewer::PointChunk)>;

/// Opens a scan and decodes all of it into vertex arrays, part by part on some threads. Throws ScanError.
void decodeScan(const std::string& path, unsigned threads, const TakeChunk& take);

}  // namespace QuorBenchmarks
