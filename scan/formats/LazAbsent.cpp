#include "scan/formats/LazReader.h"

namespace QuorViewer {

std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las) {
  throw file.error("the points are compressed (" + las.formatText() +
                   "), and this viewer was built without LASzip, which it needs to read them");
}

}  // namespace QuorViewer
