#include "scan/formats/LazReader.h"

namespace QuorViewer {

std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las) {
  throw file.error("the points are compressed (" + las.formatText() + "), but this program was built without LASzip");
}

}  // namespace QuorViewer
