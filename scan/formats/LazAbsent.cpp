#include "scan/formats/LazPoints.h"

namespace QuorViewer {

std::unique_ptr<LazPoints> openLazPoints(const ScanFile& file, const CheckedLas& las) {
  throw file.error("the points are compressed (" + las.formatText() + "), but this program was built without LASzip");
}

}  // namespace QuorViewer
