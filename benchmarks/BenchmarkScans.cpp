#include "benchmarks/BenchmarkScans.h"

#include "benchmarks/BareDecoding.h"
#include "benchmarks/CopcScan.h"
#include "benchmarks/ScratchFolder.h"
#include "make_scan/MakeScan.h"

#include <laszip/laszip_api.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace QuorBenchmarks {
namespace {

const ScratchFolder& folder() {
  static const ScratchFolder made;
  return made;
}

template <typename Make>
std::string madeOnce(const std::string& name, const Make& make) {
  const std::string path = folder().path(name);
  if (!std::filesystem::exists(path)) {
    make(path);
  }
  return path;
}

std::string townName(std::uint64_t points) {
  return "town_" + std::to_string(points);
}

void require(laszip_I32 failed) {
  if (failed != 0) {
    throw std::runtime_error("LASzip cannot compress the scan");
  }
}

void copyPoints(laszip_POINTER reader, laszip_POINTER writer, std::uint64_t count) {
  laszip_point* point = nullptr;
  require(laszip_get_point_pointer(reader, &point));
  for (std::uint64_t index = 0; index < count; ++index) {
    require(laszip_read_point(reader));
    require(laszip_set_point(writer, point));
    require(laszip_write_point(writer));
  }
}

void compress(const std::string& from, const std::string& to) {
  laszip_POINTER reader = nullptr;
  laszip_POINTER writer = nullptr;
  laszip_BOOL compressed = 0;
  laszip_header* header = nullptr;
  require(laszip_create(&reader));
  require(laszip_open_reader(reader, from.c_str(), &compressed));
  require(laszip_get_header_pointer(reader, &header));
  require(laszip_create(&writer));
  require(laszip_set_header(writer, header));
  require(laszip_request_native_extension(writer, 1));
  require(laszip_open_writer(writer, to.c_str(), 1));
  copyPoints(reader, writer, header->extended_number_of_point_records);
  require(laszip_close_writer(writer));
  require(laszip_destroy(writer));
  require(laszip_close_reader(reader));
  require(laszip_destroy(reader));
}

void writePly(const VertexArrays& arrays, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << "ply\nformat binary_little_endian 1.0\nelement vertex " << arrays.positions->size()
       << "\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\nproperty uchar green\n"
          "property uchar blue\nend_header\n";
  for (std::size_t index = 0; index < arrays.positions->size(); ++index) {
    file.write(reinterpret_cast<const char*>((*arrays.positions)[index].ptr()), 12);
    file.write(reinterpret_cast<const char*>((*arrays.colours)[index].ptr()), 3);
  }
  if (!file.flush()) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace

std::string lasScan(std::uint64_t points) {
  return madeOnce(townName(points) + ".las", [points](const std::string& path) {
    QuorViewer::Options options;
    options.path = path;
    options.points = points;
    QuorViewer::makeScan(options, [](std::uint64_t, std::uint64_t) {});
  });
}

std::string lazScan(std::uint64_t points) {
  return madeOnce(townName(points) + ".laz", [points](const std::string& path) { compress(lasScan(points), path); });
}

std::string plyScan(std::uint64_t points) {
  return madeOnce(townName(points) + ".ply",
                  [points](const std::string& path) { writePly(decodeLas(lasScan(points)), path); });
}

#if defined(QUOR_PEER_GTEST_GTEST)
std::string copcScan(std::uint64_t points) {
  return madeOnce("tree_" + std::to_string(points) + ".copc.laz", [points](const std::string& path) {
    writeCopcScan(path, static_cast<unsigned>(points / kCopcNodes));
  });
}
#endif

PlyLayout plyLayout(const std::string& path) {
  const std::string count = "element vertex ";
  const std::string end = "end_header\n";
  std::string beginning(512, '\0');
  std::ifstream(path, std::ios::binary).read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  return {beginning.find(end) + end.size(), std::stoul(beginning.substr(beginning.find(count) + count.size()))};
}

}  // namespace QuorBenchmarks
