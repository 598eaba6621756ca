// Cropping of compressed scans, and what another program's reader finds in the cropped files.
#include "tests/scan/ScanCropCase.h"

#include <gmock/gmock.h>
#include <laszip/laszip_api.h>

#include <cstdlib>
#include <memory>
#include <type_traits>

namespace {

using namespace ScanCropCase;
using QuorViewer::InsideTest;
using QuorViewer::ScanCrop;
using QuorViewer::ScanError;
using QuorViewer::ScanReader;
using ScanBytes::Folder;

namespace fs = std::filesystem;

void require(laszip_I32 failed) {
  ASSERT_EQ(failed, 0);
}

struct Destroy {
  void operator()(void* laszip) const { laszip_destroy(laszip); }
};

/// Reads a compressed or an uncompressed file with LASzip, one point after the other.
class Laszip {
 public:
  explicit Laszip(const std::string& path) {
    laszip_POINTER created = nullptr;
    require(laszip_create(&created));
    _laszip.reset(created);
    laszip_BOOL compressed = 0;
    require(laszip_open_reader(created, path.c_str(), &compressed));
    require(laszip_get_header_pointer(created, &_header));
    require(laszip_get_point_pointer(created, &_point));
  }
  ~Laszip() { laszip_close_reader(_laszip.get()); }
  Laszip(const Laszip&) = delete;
  Laszip& operator=(const Laszip&) = delete;

  const laszip_header& header() const { return *_header; }
  const laszip_point& point() const { return *_point; }
  void next() { require(laszip_read_point(_laszip.get())); }

  std::uint64_t count() const {
    return _header->number_of_point_records != 0 ? _header->number_of_point_records
                                                 : _header->extended_number_of_point_records;
  }

  osg::Vec3d coordinates() const {
    return {_point->X * _header->x_scale_factor + _header->x_offset,
            _point->Y * _header->y_scale_factor + _header->y_offset,
            _point->Z * _header->z_scale_factor + _header->z_offset};
  }

  /// Every field that the file's point format may have, except extra bytes.
  std::vector<double> fields() const {
    const laszip_point& p = *_point;
    std::vector<double> values = {double(p.X),
                                  double(p.Y),
                                  double(p.Z),
                                  double(p.intensity),
                                  double(p.scan_direction_flag),
                                  double(p.user_data),
                                  double(p.gps_time),
                                  double(p.point_source_ID),
                                  double(p.edge_of_flight_line)};
    const std::vector<double> flags =
        _header->point_data_format >= 6
            ? std::vector<double>{double(p.extended_return_number),   double(p.extended_number_of_returns),
                                  double(p.extended_classification),  double(p.extended_classification_flags),
                                  double(p.extended_scanner_channel), double(p.extended_scan_angle)}
            : std::vector<double>{double(p.return_number),  double(p.number_of_returns), double(p.classification),
                                  double(p.synthetic_flag), double(p.keypoint_flag),     double(p.withheld_flag),
                                  double(p.scan_angle_rank)};
    values.insert(values.end(), flags.begin(), flags.end());
    values.insert(values.end(), std::begin(p.rgb), std::end(p.rgb));
    values.insert(values.end(), std::begin(p.wave_packet), std::end(p.wave_packet));
    return values;
  }

  std::vector<unsigned char> extraBytes() const {
    return {_point->extra_bytes, _point->extra_bytes + _point->num_extra_bytes};
  }

 private:
  std::unique_ptr<std::remove_pointer_t<laszip_POINTER>, Destroy> _laszip;
  laszip_header* _header = nullptr;
  laszip_point* _point = nullptr;
};

/// Compresses a LAS file with LASzip, in chunks of a few points.
void compress(const std::string& from, const std::string& to) {
  Laszip source(from);
  laszip_POINTER writer = nullptr;
  require(laszip_create(&writer));
  require(laszip_request_native_extension(writer, 1));
  require(laszip_preserve_generating_software(writer, 1));
  require(laszip_set_header(writer, &source.header()));
  require(laszip_set_chunk_size(writer, 700));
  require(laszip_open_writer(writer, to.c_str(), 1));
  for (std::uint64_t point = 0; point < source.count(); ++point) {
    source.next();
    require(laszip_set_point(writer, &source.point()));
    require(laszip_write_point(writer));
  }
  require(laszip_close_writer(writer));
  require(laszip_destroy(writer));
}

bool someInside(const osg::Vec3d& at) {
  return at.x() > 1000 && at.y() < 2060 && at.z() > 25;
}

class ScanCropLazOfEachPointFormat : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {
 protected:
  unsigned _format = std::get<0>(GetParam());
  FileSettings _settings{_format >= 6 ? 4U : 3U, _format, std::get<1>(GetParam())};
  Folder _folder;
};
INSTANTIATE_TEST_SUITE_P(FormatsAndExtraBytes, ScanCropLazOfEachPointFormat,
                         testing::Combine(testing::Range(0U, 11U), testing::Values(0U, 5U)));

TEST_P(ScanCropLazOfEachPointFormat, aCompressedScanIsCroppedToTheSameFileAsItsUncompressedOriginal) {
  Bytes scan = variedScan(_settings, 3000);
  insertBehindHeader(scan, variableRecord("LASF_Projection", 34735, 64));
  scan.set(100, std::uint32_t{1});
  const std::string source = _folder.write("scan.las", scan);
  const std::string compressed = _folder.path("scan.laz");
  compress(source, compressed);
  ASSERT_LT(fs::file_size(compressed), scan.size());
  for (const InsideTest& inside : {InsideTest(someInside), InsideTest([](const osg::Vec3d&) { return true; })}) {
    EXPECT_EQ(cropped(compressed, _folder.path("of-laz.las"), inside),
              cropped(source, _folder.path("of-las.las"), inside));
  }
  // With every point inside, the bytes that the test wrote come back.
  const Bytes all = contentOf(_folder.path("of-laz.las"));
  const auto points = load<std::uint32_t>(scan, 96);
  EXPECT_EQ(part(all, points), part(scan, points));
}

/// Expects the saved file to hold exactly the points of a scan that lie inside, in the same order and with every field.
void expectPointsInside(const std::string& scan, const std::string& saved, const InsideTest& inside) {
  Laszip source(scan);
  Laszip result(saved);
  std::uint64_t found = 0;
  for (std::uint64_t point = 0; point < source.count(); ++point) {
    source.next();
    if (!inside(source.coordinates())) {
      continue;
    }
    ASSERT_LT(found, result.count());
    result.next();
    ++found;
    ASSERT_EQ(source.fields(), result.fields()) << "point " << point;
    ASSERT_EQ(source.extraBytes(), result.extraBytes()) << "point " << point;
  }
  EXPECT_EQ(found, result.count());
  EXPECT_GT(found, 0U) << "no point was compared";
  EXPECT_LT(found, source.count()) << "nothing was left out";
}

TEST_P(ScanCropLazOfEachPointFormat, anotherReaderFindsThePointsInside) {
  const std::string source = _folder.write("scan.las", variedScan(_settings, 3000));
  const std::string saved = _folder.path("out.las");
  cropped(source, saved, someInside);
  expectPointsInside(source, saved, someInside);
}

TEST(ScanCropLaz, extendedRecordsOfACompressedScanAreKeptAndItsCompressionRecordIsNot) {
  const Folder folder;
  const std::string source = folder.write("scan.las", variedScan({4, 7}, 1000));
  compress(source, folder.path("scan.laz"));
  Bytes compressed = contentOf(folder.path("scan.laz"));
  const Bytes projection = variableRecord("LASF_Projection", 2112, 900, true);
  addExtendedRecords(compressed, {projection});
  const Bytes saved = cropped(folder.write("more.laz", compressed), folder.path("out.las"), someInside);
  EXPECT_EQ(load<std::uint32_t>(saved, 100), 0U);
  EXPECT_EQ(load<std::uint32_t>(saved, 96), 375U);
  EXPECT_EQ(saved[104], 7);
  ASSERT_EQ(load<std::uint32_t>(saved, 243), 1U);
  const auto at = load<std::uint64_t>(saved, 235);
  EXPECT_EQ(at, 375 + load<std::uint64_t>(saved, 247) * 36);
  EXPECT_EQ(part(saved, at), plain(projection));
}

TEST(ScanCropLaz, theReaderCanBeUsedBetweenTheSteps) {
  const Folder folder;
  const std::string source = folder.write("scan.las", variedScan({4, 8}, 30000));
  compress(source, folder.path("scan.laz"));
  const auto reader = ScanReader::open(folder.path("scan.laz"));
  const osg::Vec3d last = ScanReader::open(source)->coordinates(29999);
  ScanCrop crop(*reader, folder.path("of-laz.las"), someInside);
  while (!crop.finished()) {
    crop.step(std::chrono::milliseconds(0));
    EXPECT_EQ(reader->coordinates(29999), last);
  }
  EXPECT_EQ(contentOf(folder.path("of-laz.las")), cropped(source, folder.path("of-las.las"), someInside));
}

TEST(ScanCropLaz, aDamagedChunkIsReportedAndLeavesNothing) {
  const Folder folder;
  compress(folder.write("scan.las", variedScan({4, 7}, 3000)), folder.path("whole.laz"));
  const auto reader = ScanReader::open(folder.path("whole.laz"));
  ScanCrop crop(*reader, folder.path("out.las"), someInside);
  fs::resize_file(folder.path("whole.laz"), fs::file_size(folder.path("whole.laz")) / 2);
  EXPECT_THROW(runToItsEnd(crop), ScanError);
  EXPECT_FALSE(fs::exists(folder.path("out.las")));
  EXPECT_FALSE(fs::exists(folder.path("out.las.part")));
}

// A slab across the middle of a scan's box. In any real scan it holds some of the points, but not all.
InsideTest middleOf(const std::string& path) {
  const Laszip scan(path);
  const osg::Vec3d least(scan.header().min_x, scan.header().min_y, scan.header().min_z);
  const osg::Vec3d greatest(scan.header().max_x, scan.header().max_y, scan.header().max_z);
  const osg::Vec3d middle = (least + greatest) / 2;
  osg::Vec3d normal(1, 0.7, 0.1);
  normal.normalize();
  const double half = (greatest - least).length() / 12;
  const std::vector<osg::Plane> planes = {osg::Plane(normal, half), osg::Plane(-normal, half)};
  return [=](const osg::Vec3d& at) { return QuorViewer::insidePlanes(planes, at - middle); };
}

TEST(ScanCropLaz, realScansAreCroppedToWhatAnotherReaderFindsInside) {
  const char* scans = std::getenv("QUOR_SCANS");
  if (scans == nullptr) {
    GTEST_SKIP() << "QUOR_SCANS is not set to a folder";
  }
  const Folder folder;
  for (const auto& entry : fs::directory_iterator(scans)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".las" && extension != ".laz") {
      continue;
    }
    const std::string path = entry.path().string();
    SCOPED_TRACE(path);
    const InsideTest inside = middleOf(path);
    cropped(path, folder.path("out.las"), inside);
    expectPointsInside(path, folder.path("out.las"), inside);
  }
}

}  // namespace
