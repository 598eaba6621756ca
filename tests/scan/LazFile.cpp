#include "tests/scan/LazFile.h"

#include <laszip/laszip_api.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace QuorTests {
namespace {

void require(laszip_I32 failed) {
  ASSERT_EQ(failed, 0);
}

void fillHeader(laszip_header& header, const ScanBytes::FileSettings& settings, std::size_t count) {
  header.version_major = 1;
  header.version_minor = static_cast<laszip_U8>(settings.minor);
  header.header_size = static_cast<laszip_U16>(ScanBytes::headerLength(settings.minor));
  header.offset_to_point_data = header.header_size;
  header.point_data_format = static_cast<laszip_U8>(settings.format);
  header.point_data_record_length =
      static_cast<laszip_U16>(ScanBytes::kRecordLengths[settings.format] + settings.extraBytes);
  header.number_of_point_records = ScanBytes::isExtended(settings.format) ? 0 : static_cast<laszip_U32>(count);
  header.extended_number_of_point_records = settings.minor == 4 ? count : 0;
  header.x_scale_factor = settings.scale[0];
  header.y_scale_factor = settings.scale[1];
  header.z_scale_factor = settings.scale[2];
  header.x_offset = settings.offset[0];
  header.y_offset = settings.offset[1];
  header.z_offset = settings.offset[2];
}

void fillPoint(laszip_point& to, const ScanBytes::Point& point, bool extended) {
  to.X = point.x;
  to.Y = point.y;
  to.Z = point.z;
  to.intensity = static_cast<laszip_U16>(point.intensity);
  to.gps_time = point.gpsTime;
  std::copy(point.colour.begin(), point.colour.end(), to.rgb);
  to.rgb[3] = static_cast<laszip_U16>(point.nearInfrared);
  if (extended) {
    to.extended_point_type = 1;
    to.extended_classification = static_cast<laszip_U8>(point.classification);
    to.extended_return_number = point.returnNumber & 15U;
    to.extended_number_of_returns = point.returnCount & 15U;
  } else {
    to.classification = point.classification & 31U;
    to.return_number = point.returnNumber & 7U;
    to.number_of_returns = point.returnCount & 7U;
  }
}

}  // namespace

void writeLaz(const std::string& path, const ScanBytes::FileSettings& settings,
              const std::vector<ScanBytes::Point>& points, unsigned chunkPoints) {
  laszip_POINTER writer = nullptr;
  require(laszip_create(&writer));
  laszip_header* header = nullptr;
  require(laszip_get_header_pointer(writer, &header));
  fillHeader(*header, settings, points.size());
  require(laszip_set_chunk_size(writer, chunkPoints));
  require(laszip_request_native_extension(writer, 1));
  require(laszip_open_writer(writer, path.c_str(), 1));
  laszip_point* point = nullptr;
  require(laszip_get_point_pointer(writer, &point));
  for (const ScanBytes::Point& one : points) {
    fillPoint(*point, one, ScanBytes::isExtended(settings.format));
    require(laszip_write_point(writer));
  }
  require(laszip_close_writer(writer));
  require(laszip_destroy(writer));
}

ScanBytes::Bytes contentOf(const std::string& path) {
  ScanBytes::Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

}  // namespace QuorTests
