#include "scan/index/StoredTree.h"

#include "scan/ScanFile.h"
#include "scan/formats/EptFolder.h"
#include "scan/formats/LasCheck.h"
#include "scan/index/CopcHierarchy.h"
#include "scan/index/CopcTree.h"
#include "scan/index/EptTree.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace QuorViewer {

namespace {

bool isLas(const ScanFile& file) {
  constexpr std::string_view kSignature = "LASF";
  const std::vector<unsigned char> begin = file.beginning(kSignature.size());
  return std::equal(begin.begin(), begin.end(), kSignature.begin(), kSignature.end());
}

}  // namespace

std::unique_ptr<PointTree> openStoredTree(const std::string& path) {
  if (isEpt(path)) {
    return openEptTree(path);
  }
  ScanFile file(path);
  if (isLas(file) && isCopc(file, checkLas(file))) {
    return openCopc(std::move(file));
  }
  return nullptr;
}

}  // namespace QuorViewer
