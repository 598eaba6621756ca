#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "scan/ScanFile.h"
#include "scan/formats/AscReader.h"
#include "scan/formats/EptReader.h"
#include "scan/formats/LasCheck.h"
#include "scan/formats/LasReader.h"
#include "scan/formats/LazReader.h"
#include "scan/formats/PlyReader.h"

#include <osgDB/FileNameUtils>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::size_t kMagicBytes = 4;

bool beginsWith(const std::vector<unsigned char>& bytes, std::string_view magic) {
  return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
}

bool isPly(const std::vector<unsigned char>& magic) {
  return beginsWith(magic, "ply\n") || beginsWith(magic, "ply\r") || beginsWith(magic, "ply ");
}

std::unique_ptr<ScanReader> openLasOrLaz(ScanFile file) {
  const CheckedLas las = checkLas(file);
  return las.header.compressed() ? openLaz(std::move(file), las) : openLas(std::move(file), las);
}

[[noreturn]] void refuse(const ScanFile& file) {
  throw file.error(
      "not a supported scan format (LAS, LAZ, PLY, ASC): the file begins with neither \"LASF\" nor \"ply\", "
      "and its name does not end in .asc");
}

}  // namespace

bool isUsable(const osg::Vec3d& position) {
  return std::abs(position.x()) <= kFarthestCoordinate && std::abs(position.y()) <= kFarthestCoordinate &&
         std::abs(position.z()) <= kFarthestCoordinate;
}

std::unique_ptr<ScanReader> ScanReader::open(const std::string& path) {
  if (isEpt(path)) {
    return openEpt(std::make_shared<const EptFolder>(readEptFolder(path)));
  }
  ScanFile file(path);
  if (file.size() == 0) {
    throw file.error("the file is empty: 0 bytes");
  }
  const std::vector<unsigned char> magic = file.beginning(kMagicBytes);
  if (beginsWith(magic, "LASF")) {
    return openLasOrLaz(std::move(file));
  }
  if (isPly(magic)) {
    return openPly(std::move(file));
  }
  if (osgDB::getLowerCaseFileExtension(path) == "asc") {
    return openAsc(std::move(file));
  }
  refuse(file);
}

PointChunk ScanReader::read(std::uint64_t first, std::uint32_t count, const osg::Vec3d& origin) {
  PointRange range;
  range.first = first;
  range.count = count;
  requirePoints(info(), first, count);
  ChunkBuilder chunk = startChunk(range, origin);
  decode({first, 1, count}, chunk);
  return chunk.finish();
}

}  // namespace QuorViewer
