#include "scan/index/EptTree.h"

#include "scan/formats/EptReader.h"
#include "scan/index/RecordTree.h"

namespace QuorViewer {

std::unique_ptr<PointTree> openEptTree(const std::string& path) {
  const auto folder = std::make_shared<const EptFolder>(readEptFolder(path));
  TreeInfo info;
  info.cube = folder->cube;
  info.rootSpacing = folder->rootSpacing;
  return makeRecordTree(openEpt(folder), info, folder->tiles);
}

}  // namespace QuorViewer
