#include "benchmarks/BareDecoding.h"

#include "benchmarks/BenchmarkScans.h"
#include "benchmarks/Descriptor.h"

#include <laszip/laszip_api.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace QuorBenchmarks {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 18;
constexpr std::size_t kLasHeaderBytes = 375;

template <typename Number>
Number numberAt(const unsigned char* bytes) {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

struct Grid {
  std::array<double, 3> scale{};
  std::array<double, 3> offset{};

  osg::Vec3f position(std::int32_t x, std::int32_t y, std::int32_t z) const {
    return {static_cast<float>(x * scale[0] + offset[0]), static_cast<float>(y * scale[1] + offset[1]),
            static_cast<float>(z * scale[2] + offset[2])};
  }
};

VertexArrays arraysFor(std::size_t points) {
  const auto size = static_cast<unsigned>(points);
  return {new osg::Vec3Array(size), new osg::Vec4ubArray(size), new osg::UShortArray(size), new osg::Vec2ubArray(size)};
}

osg::Vec4ub colourOf(const std::uint16_t* rgb) {
  return {static_cast<std::uint8_t>(rgb[0] >> 8U), static_cast<std::uint8_t>(rgb[1] >> 8U),
          static_cast<std::uint8_t>(rgb[2] >> 8U), 255};
}

/// Calls `decode(record, index)` for records of a constant length.
template <typename Decode>
void forEachRecord(const Descriptor& file, std::size_t offset, std::size_t recordBytes, std::size_t count,
                   const Decode& decode) {
  const std::size_t most = kBlockBytes / recordBytes;
  std::vector<unsigned char> block(most * recordBytes);
  for (std::size_t first = 0; first < count; first += most) {
    const std::size_t held = std::min(most, count - first);
    const auto at = static_cast<off_t>(offset + first * recordBytes);
    if (::pread(file.number(), block.data(), held * recordBytes, at) < 0) {
      return;
    }
    for (std::size_t i = 0; i < held; ++i) {
      decode(block.data() + i * recordBytes, first + i);
    }
  }
}

void decodeFormat7(const unsigned char* record, const Grid& grid, const VertexArrays& to, std::size_t index) {
  (*to.positions)[index] = grid.position(numberAt<std::int32_t>(record), numberAt<std::int32_t>(record + 4),
                                         numberAt<std::int32_t>(record + 8));
  (*to.colours)[index] = colourOf(numberAt<std::array<std::uint16_t, 3>>(record + 30).data());
  (*to.intensities)[index] = numberAt<std::uint16_t>(record + 12);
  (*to.classesReturns)[index].set(record[16], record[14]);
}

void putPoint(const laszip_point& point, const Grid& grid, const VertexArrays& to, std::size_t index) {
  (*to.positions)[index] = grid.position(point.X, point.Y, point.Z);
  (*to.colours)[index] = colourOf(point.rgb);
  (*to.intensities)[index] = point.intensity;
  const unsigned returns = point.extended_return_number | point.extended_number_of_returns << 4U;
  (*to.classesReturns)[index].set(point.extended_classification, static_cast<std::uint8_t>(returns));
}

VertexArrays readPoints(laszip_POINTER reader) {
  laszip_header* header = nullptr;
  laszip_point* point = nullptr;
  laszip_get_header_pointer(reader, &header);
  laszip_get_point_pointer(reader, &point);
  const Grid grid{{header->x_scale_factor, header->y_scale_factor, header->z_scale_factor},
                  {header->x_offset, header->y_offset, header->z_offset}};
  const auto count = static_cast<std::size_t>(header->extended_number_of_point_records);
  VertexArrays arrays = arraysFor(count);
  for (std::size_t index = 0; index < count && laszip_read_point(reader) == 0; ++index) {
    putPoint(*point, grid, arrays, index);
  }
  return arrays;
}

}  // namespace

VertexArrays decodeLas(const std::string& path) {
  const Descriptor file(path);
  std::array<unsigned char, kLasHeaderBytes> header{};
  if (::pread(file.number(), header.data(), header.size(), 0) < 0) {
    return arraysFor(0);
  }
  const Grid grid{numberAt<std::array<double, 3>>(header.data() + 131),
                  numberAt<std::array<double, 3>>(header.data() + 155)};
  const auto count = static_cast<std::size_t>(numberAt<std::uint64_t>(header.data() + 247));
  VertexArrays arrays = arraysFor(count);
  forEachRecord(file, numberAt<std::uint32_t>(header.data() + 96), numberAt<std::uint16_t>(header.data() + 105), count,
                [&](const unsigned char* record, std::size_t index) { decodeFormat7(record, grid, arrays, index); });
  return arrays;
}

VertexArrays decodePly(const std::string& path) {
  const PlyLayout layout = plyLayout(path);
  const Descriptor file(path);
  VertexArrays arrays = arraysFor(layout.points);
  forEachRecord(file, layout.headerBytes, kPlyRecordBytes, layout.points,
                [&](const unsigned char* record, std::size_t index) {
                  std::memcpy(&(*arrays.positions)[index], record, 12);
                  (*arrays.colours)[index].set(record[12], record[13], record[14], 255);
                });
  return arrays;
}

VertexArrays decodeLaz(const std::string& path, std::uint32_t channels) {
  laszip_POINTER reader = nullptr;
  laszip_BOOL compressed = 0;
  laszip_create(&reader);
  laszip_decompress_selective(reader, channels);
  VertexArrays arrays = laszip_open_reader(reader, path.c_str(), &compressed) == 0 ? readPoints(reader) : arraysFor(0);
  laszip_close_reader(reader);
  laszip_destroy(reader);
  return arrays;
}

std::size_t readOnly(const std::string& path) {
  const Descriptor file(path);
  std::vector<unsigned char> block(kBlockBytes);
  std::size_t bytes = 0;
  for (ssize_t got = 1; got > 0; bytes += static_cast<std::size_t>(std::max<ssize_t>(got, 0))) {
    got = ::pread(file.number(), block.data(), block.size(), static_cast<off_t>(bytes));
  }
  return bytes;
}

}  // namespace QuorBenchmarks
