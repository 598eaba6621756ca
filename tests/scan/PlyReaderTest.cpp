#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "tests/scan/ReaderSupport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

namespace {

using namespace ReaderSupport;
using QuorViewer::PointChunk;
using ScanBytes::Bytes;
using ScanBytes::Folder;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kPosition = "property float x\nproperty float y\nproperty float z\n";
const std::string kExactPosition = "property double x\nproperty double y\nproperty double z\n";
const std::string kColour = "property uchar red\nproperty uchar green\nproperty uchar blue\n";

std::string plyHeader(const std::string& format, const std::string& elements) {
  return "ply\nformat " + format + " 1.0\ncomment made for a test\n" + elements + "end_header\n";
}

std::string vertices(unsigned count, const std::string& properties) {
  return "element vertex " + std::to_string(count) + "\n" + properties;
}

/// The bytes of a binary file, in either byte order.
class BinaryPly : public Bytes {
 public:
  BinaryPly(bool bigEndian, const std::string& elements) : _bigEndian(bigEndian) {
    addText(plyHeader(bigEndian ? "binary_big_endian" : "binary_little_endian", elements));
  }

  template <typename T>
  BinaryPly& number(T value) {
    add(value);
    if (_bigEndian) {
      std::reverse(end() - sizeof value, end());
    }
    return *this;
  }
  template <typename T>
  BinaryPly& position(T x, T y, T z) {
    return number(x).number(y).number(z);
  }

 private:
  bool _bigEndian;
};

class PlyReaderTest : public testing::Test {
 protected:
  template <typename Container>
  std::unique_ptr<ScanReader> _open(const Container& bytes) const {
    return ScanReader::open(_folder.write("scan.ply", bytes));
  }

  Folder _folder;
};

const std::string kColouredVertices = vertices(3, kPosition + kColour);
const std::string kColouredLines = "1.5 2.5 3.5 10 20 30\n-4 5 6 40 50 60\n7 8 10 70 80 255\n";

void expectColouredVertices(ScanReader& reader) {
  EXPECT_EQ(reader.info().format, "PLY");
  ASSERT_EQ(reader.info().pointCount, 3U);
  EXPECT_TRUE(reader.info().hasColour);
  EXPECT_FALSE(reader.info().hasIntensity);
  EXPECT_EQ(reader.info().scale, osg::Vec3d());
  const PointChunk chunk = reader.read(1, 2, osg::Vec3d(1, 1, 1));
  EXPECT_EQ((*chunk.positions)[0], osg::Vec3(-5, 4, 5));
  EXPECT_EQ((*chunk.positions)[1], osg::Vec3(6, 7, 9));
  EXPECT_EQ((*chunk.colours)[1], osg::Vec4ub(70, 80, 255, 255));
  EXPECT_EQ((*chunk.intensities)[1], 0);
  EXPECT_EQ(chunk.bounds._min, osg::Vec3(-5, 4, 5));
  EXPECT_EQ(reader.coordinates(0), osg::Vec3d(1.5, 2.5, 3.5));
}

TEST_F(PlyReaderTest, asciiReadsWithItsColours) {
  expectColouredVertices(*_open(plyHeader("ascii", kColouredVertices) + kColouredLines));
}

BinaryPly colouredBinary(bool bigEndian) {
  BinaryPly bytes(bigEndian, kColouredVertices);
  const auto colour = [&](std::array<unsigned, 3> channels) {
    for (const unsigned channel : channels) {
      bytes.number(static_cast<std::uint8_t>(channel));
    }
  };
  bytes.position(1.5f, 2.5f, 3.5f);
  colour({10, 20, 30});
  bytes.position(-4.0f, 5.0f, 6.0f);
  colour({40, 50, 60});
  bytes.position(7.0f, 8.0f, 10.0f);
  colour({70, 80, 255});
  return bytes;
}

TEST_F(PlyReaderTest, binaryReadsInEitherByteOrder) {
  for (const bool bigEndian : {false, true}) {
    expectColouredVertices(*_open(colouredBinary(bigEndian)));
  }
}

TEST_F(PlyReaderTest, aFileOfAnyNameIsRecognisedByItsContent) {
  const std::string text = plyHeader("ascii", kColouredVertices) + kColouredLines;
  expectColouredVertices(*ScanReader::open(_folder.write("scan.txt", text)));
}

TEST_F(PlyReaderTest, lineEndsOfWindowsAreAccepted) {
  const std::string text = plyHeader("ascii", kColouredVertices) + kColouredLines;
  std::string windows;
  for (const char c : text) {
    windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
  }
  expectColouredVertices(*_open(windows));
}

TEST_F(PlyReaderTest, emptyLinesBetweenTheVerticesAreSkipped) {
  expectColouredVertices(*_open(plyHeader("ascii", kColouredVertices) + "\n" +
                                "1.5 2.5 3.5 10 20 30\n\n \t\n-4 5 6 40 50 60\n7 8 10 70 80 255"));
}

// A georeferenced coordinate with a tenth of a millimetre needs twelve digits.
TEST_F(PlyReaderTest, coordinatesInDoublePrecisionAreKeptExactly) {
  constexpr double x = 412345.6789;
  constexpr double y = 9999999.0625;
  for (const bool bigEndian : {false, true}) {
    BinaryPly bytes(bigEndian, vertices(2, kExactPosition));
    bytes.position(x, y, 1234.5).position(x + 0.001, y - 0.001, 1234.501);
    const auto reader = _open(bytes);
    EXPECT_FALSE(reader->info().localOnly);
    EXPECT_EQ(reader->coordinates(0), osg::Vec3d(x, y, 1234.5));
    EXPECT_EQ(reader->coordinates(1), osg::Vec3d(x + 0.001, y - 0.001, 1234.501));
    const PointChunk chunk = readAll(*reader);
    EXPECT_NEAR((*chunk.positions)[1].x() - (*chunk.positions)[0].x(), 0.001, 1e-6);
    EXPECT_NEAR((*chunk.positions)[0].y() - (*chunk.positions)[1].y(), 0.001, 1e-6);
  }
}

TEST_F(PlyReaderTest, asciiCoordinatesAreReadInDoublePrecisionWhateverTheirStatedType) {
  const auto reader =
      _open(plyHeader("ascii", vertices(2, kPosition)) + "412345.6789 9999999.0625 -1e-3\n+4.5E2 .5 7.\n");
  EXPECT_FALSE(reader->info().localOnly);
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(412345.6789, 9999999.0625, -0.001));
  EXPECT_EQ(reader->coordinates(1), osg::Vec3d(450, 0.5, 7));
}

TEST_F(PlyReaderTest, onlyBinaryCoordinatesInSinglePrecisionAreLocal) {
  EXPECT_TRUE(_open(colouredBinary(false))->info().localOnly);
}

TEST_F(PlyReaderTest, coordinatesAreReadFromEveryType) {
  BinaryPly bytes(true, vertices(1, "property int8 x\nproperty uint16 y\nproperty int32 z\n"));
  bytes.number(std::int8_t{-100}).number(std::uint16_t{65000}).number(std::int32_t{-2000000000});
  EXPECT_EQ(_open(bytes)->coordinates(0), osg::Vec3d(-100, 65000, -2000000000));
  BinaryPly other(false, vertices(1, "property short x\nproperty uchar y\nproperty uint z\n"));
  other.number(std::int16_t{-30000}).number(std::uint8_t{200}).number(std::uint32_t{4000000000});
  EXPECT_EQ(_open(other)->coordinates(0), osg::Vec3d(-30000, 200, 4000000000.0));
}

TEST_F(PlyReaderTest, propertiesInAnyOrderAndUnknownOnesAreSorted) {
  BinaryPly bytes(false, vertices(2,
                                  "property uchar blue\nproperty double time\nproperty float z\nproperty uchar red\n"
                                  "property float y\nproperty ushort tag\nproperty float x\nproperty uchar green\n"));
  for (const float at : {1.0f, 11.0f}) {
    bytes.number(std::uint8_t{3}).number(0.5).number(at + 2).number(std::uint8_t{1}).number(at + 1);
    bytes.number(std::uint16_t{9}).number(at).number(std::uint8_t{2});
  }
  const auto reader = _open(bytes);
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(1, 2, 3));
  EXPECT_EQ(reader->coordinates(1), osg::Vec3d(11, 12, 13));
  EXPECT_EQ((*readAll(*reader).colours)[1], osg::Vec4ub(1, 2, 3, 255));
}

struct ColourCase {
  const char* name;
  const char* type;
  const char* values;
  osg::Vec4ub shown;
};

void PrintTo(const ColourCase& colour, std::ostream* to) {
  *to << colour.name;
}

class ColoursOfPly : public testing::TestWithParam<ColourCase> {
 protected:
  Folder _folder;
};

TEST_P(ColoursOfPly, areShownInEightBits) {
  const std::string type = GetParam().type;
  const std::string colour =
      "property " + type + " diffuse_red\nproperty " + type + " diffuse_green\nproperty " + type + " diffuse_blue\n";
  const auto reader = ScanReader::open(_folder.write(
      "scan.ply", plyHeader("ascii", vertices(2, kPosition + colour)) + "0 0 0 0 0 0\n1 1 1 " + GetParam().values));
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[1], GetParam().shown);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(0, 0, 0, 255));
}

INSTANTIATE_TEST_SUITE_P(Types, ColoursOfPly,
                         testing::Values(ColourCase{"bytes", "uchar", "255 128 1", {255, 128, 1, 255}},
                                         ColourCase{"sixteenBits", "ushort", "65535 32768 256", {255, 128, 1, 255}},
                                         ColourCase{"bytesInWiderFields", "int", "255 128 1", {255, 128, 1, 255}},
                                         ColourCase{"shares", "float", "1 0.5 0.25", {255, 128, 64, 255}},
                                         ColourCase{"floatsUpTo255", "float", "255 128 1", {255, 128, 1, 255}}),
                         [](const auto& colour) { return std::string(colour.param.name); });

TEST_F(PlyReaderTest, intensitiesAreReadAsStoredOrAsFractionsOfOne) {
  const std::string integers = plyHeader("ascii", vertices(2, kPosition + "property ushort intensity\n"));
  const auto reader = _open(integers + "1 2 3 65535\n4 5 6 12\n");
  EXPECT_TRUE(reader->info().hasIntensity);
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_THAT(*readAll(*reader).intensities, testing::ElementsAre(65535, 12));
  const std::string floats = plyHeader("ascii", vertices(3, kPosition + "property float scalar_Intensity\n"));
  EXPECT_THAT(*readAll(*_open(floats + "1 2 3 0.5\n4 5 6 1\n7 8 9 0\n")).intensities,
              testing::ElementsAre(32768, 65535, 0));
  EXPECT_THAT(*readAll(*_open(floats + "1 2 3 254\n4 5 6 3\n7 8 9 65535\n")).intensities,
              testing::ElementsAre(254, 3, 65535));
}

TEST_F(PlyReaderTest, otherIntensitiesAreMappedFromTheirLeastAndGreatest) {
  const std::string header = plyHeader("ascii", vertices(3, kPosition + "property float intensity\n"));
  for (const char* points : {"1 2 3 -30\n4 5 6 -10\n7 8 9 -20\n", "1 2 3 0.5\n4 5 6 2.5\n7 8 9 1.5\n",
                             "1 2 3 0\n4 5 6 131070\n7 8 9 65535\n"}) {
    SCOPED_TRACE(points);
    const auto reader = _open(header + points);
    EXPECT_TRUE(reader->info().hasIntensity);
    EXPECT_THAT(*readAll(*reader).intensities, testing::ElementsAre(0, 65535, 32768));
  }
  EXPECT_FALSE(_open(header + "1 2 3 -7.5\n4 5 6 -7.5\n7 8 9 -7.5\n")->info().hasIntensity);
  EXPECT_FALSE(_open(header + "1 2 3 -1e308\n4 5 6 1e308\n7 8 9 0\n")->info().hasIntensity);
}

TEST_F(PlyReaderTest, aColourThatIsNotFiniteIsWhiteAndLeavesTheOthers) {
  const std::string header =
      plyHeader("ascii", vertices(4, kPosition + "property float red\nproperty float green\nproperty float blue\n"));
  const auto reader = _open(header + "1 2 3 1 0.5 0\n4 5 6 nan 0 0\n7 8 9 0 -inf 0\n7 8 9 0 0 inf\n");
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_THAT(*readAll(*reader).colours,
              testing::ElementsAre(osg::Vec4ub(255, 128, 0, 255), osg::Vec4ub(255, 255, 255, 255),
                                   osg::Vec4ub(255, 255, 255, 255), osg::Vec4ub(255, 255, 255, 255)));
}

TEST_F(PlyReaderTest, anIntensityThatIsNotFiniteIsZeroAndLeavesTheOthers) {
  const std::string header = plyHeader("ascii", vertices(3, kPosition + "property float intensity\n"));
  EXPECT_THAT(*readAll(*_open(header + "1 2 3 900\n4 5 6 inf\n7 8 9 nan\n")).intensities,
              testing::ElementsAre(900, 0, 0));
}

TEST_F(PlyReaderTest, coloursOfZeroAndOneAreColoursBecauseTheyAreNamed) {
  const auto reader = _open(plyHeader("ascii", vertices(2, kPosition + kColour)) + "1 2 3 0 1 0\n4 5 6 1 1 1\n");
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(0, 1, 0, 255));
}

TEST_F(PlyReaderTest, facesAddNoPointsAndTheirCornersAreNotChecked) {
  const std::string faces = "element face 2\nproperty list uchar int vertex_indices\nproperty list uchar float other\n";
  const std::string points = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n";
  for (const char* corners : {"3 0 1 2 0\n3 0 3 1 0\n", "3 0 1 99\n3 0 -3 1\n", ""}) {
    const auto reader = _open(plyHeader("ascii", vertices(4, kPosition) + faces) + points + corners);
    EXPECT_EQ(reader->info().pointCount, 4U);
    EXPECT_EQ(reader->coordinates(3), osg::Vec3d(0, 0, 1));
  }
}

const std::string kElementsBefore =
    "element camera 2\nproperty float f\nproperty double g\nelement strip 2\nproperty uchar kind\n"
    "property list ushort int places\nelement nothing 5\n";

TEST_F(PlyReaderTest, elementsBeforeTheVerticesAreSkipped) {
  for (const bool bigEndian : {false, true}) {
    BinaryPly bytes(bigEndian, kElementsBefore + vertices(1, kPosition));
    for (int camera = 0; camera < 2; ++camera) {
      bytes.number(1.0f).number(2.0);
    }
    bytes.number(std::uint8_t{1}).number(std::uint16_t{0});
    bytes.number(std::uint8_t{1}).number(std::uint16_t{300});
    for (int item = 0; item < 300; ++item) {
      bytes.number(std::int32_t{item});
    }
    bytes.position(7.0f, 8.0f, 9.0f);
    EXPECT_EQ(_open(bytes)->coordinates(0), osg::Vec3d(7, 8, 9));
  }
  const std::string text = plyHeader("ascii", kElementsBefore + vertices(1, kPosition));
  EXPECT_EQ(_open(text + "1 2\n3 4\n0 0\n0 3 1 2 3\n7 8 9\n")->coordinates(0), osg::Vec3d(7, 8, 9));
}

/// Vertices with lists of different lengths, more of them than between two entries of the table.
constexpr unsigned kManyVertices = 40000;

double xOf(unsigned index) {
  return 500000.125 + index * 0.001;
}

BinaryPly verticesWithLists(bool bigEndian) {
  BinaryPly bytes(bigEndian, vertices(kManyVertices, "property list uchar short near\n" + kExactPosition));
  for (unsigned index = 0; index < kManyVertices; ++index) {
    bytes.number(static_cast<std::uint8_t>(index % 5));
    for (unsigned item = 0; item < index % 5; ++item) {
      bytes.number(static_cast<std::int16_t>(item));
    }
    bytes.position(xOf(index), 2.0 * index, 3.0);
  }
  return bytes;
}

std::string manyLines() {
  std::string text = plyHeader("ascii", vertices(kManyVertices, "property list uchar short near\n" + kExactPosition));
  for (unsigned index = 0; index < kManyVertices; ++index) {
    text += std::to_string(index % 3);
    for (unsigned item = 0; item < index % 3; ++item) {
      text += " 7";
    }
    std::array<char, 100> line{};
    std::snprintf(line.data(), line.size(), " %.17g %u 3\n", xOf(index), 2 * index);
    text += line.data();
  }
  return text;
}

class VerticesOfVaryingLength : public PlyReaderTest, public testing::WithParamInterface<const char*> {
 protected:
  std::unique_ptr<ScanReader> _openMany() const {
    const std::string kind = GetParam();
    return kind == "ascii" ? _open(manyLines()) : _open(verticesWithLists(kind == "bigEndian"));
  }
};

INSTANTIATE_TEST_SUITE_P(Formats, VerticesOfVaryingLength, testing::Values("ascii", "littleEndian", "bigEndian"),
                         [](const auto& format) { return std::string(format.param); });

TEST_P(VerticesOfVaryingLength, areReadFromAnyPoint) {
  const auto reader = _openMany();
  EXPECT_GT(reader->entryPoints(), 1U);
  EXPECT_LT(reader->entryPoints(), kManyVertices / 2);
  for (const unsigned index : {39999U, 0U, 16384U, 16383U, 5U, 32770U, 32771U}) {
    EXPECT_EQ(reader->coordinates(index), osg::Vec3d(xOf(index), 2.0 * index, 3));
  }
}

TEST_P(VerticesOfVaryingLength, readTheSameInChunksAndInRunsAsAllAtOnce) {
  const auto reader = _openMany();
  const osg::Vec3d origin(500000, 0, 0);
  const PointChunk whole = reader->read(0, kManyVertices, origin);
  for (unsigned first = 0; first < kManyVertices; first += 7001) {
    const unsigned count = std::min(7001U, kManyVertices - first);
    const PointChunk part = reader->read(first, count, origin);
    ASSERT_TRUE(std::equal(part.positions->begin(), part.positions->end(), whole.positions->begin() + first));
  }
  QuorViewer::ChunkBuilder builder = reader->startChunk({3, 300, 131}, origin);
  reader->decode({3, 131, 300}, builder);
  const PointChunk run = builder.finish();
  for (unsigned place = 0; place < 300; ++place) {
    ASSERT_EQ((*run.positions)[place], (*whole.positions)[3 + place * 131]);
  }
  EXPECT_NEAR((*whole.positions)[39999].x(), 0.125 + 39.999, 1e-5);
}

TEST_F(PlyReaderTest, verticesOfFixedLengthAreReadDirectlyFromAnyPoint) {
  BinaryPly bytes(false, vertices(50000, kExactPosition));
  for (int index = 0; index < 50000; ++index) {
    bytes.position(index * 0.5, 1e6 + index, -1.0);
  }
  const auto reader = _open(bytes);
  EXPECT_EQ(reader->entryPoints(), 1U);
  EXPECT_EQ(reader->coordinates(49999), osg::Vec3d(24999.5, 1049999, -1));
  EXPECT_EQ(reader->coordinates(3), osg::Vec3d(1.5, 1000003, -1));
  const auto other = reader->clone();
  EXPECT_EQ(other->coordinates(20000), osg::Vec3d(10000, 1020000, -1));
}

// The file is sparse and takes almost no disk space.
TEST_F(PlyReaderTest, aScanBeyondFourGibibytesReadsItsLastPoint) {
  constexpr std::uint64_t count = 400000000;
  const std::string header = plyHeader("binary_little_endian", "element vertex 400000000\n" + kPosition);
  const std::string path = _folder.write("large.ply", header);
  std::error_code code;
  std::filesystem::resize_file(path, header.size() + (count - 1) * 12, code);
  if (code) {
    GTEST_SKIP() << "the temporary folder cannot hold a file with a hole: " << code.message();
  }
  Bytes last;
  for (const float coordinate : {1.5f, 2.5f, 3.5f}) {
    last.add(coordinate);
  }
  std::ofstream(path, std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(last.data()), static_cast<std::streamsize>(last.size()));
  const auto reader = ScanReader::open(path);
  EXPECT_EQ(reader->info().pointCount, count);
  EXPECT_EQ(reader->coordinates(count - 1), osg::Vec3d(1.5, 2.5, 3.5));
}

TEST_F(PlyReaderTest, aFileWithoutPointsOpensEmpty) {
  for (const char* format : {"ascii", "binary_little_endian"}) {
    const auto reader = _open(plyHeader(format, vertices(0, kPosition + kColour)));
    EXPECT_EQ(reader->info().pointCount, 0U);
    EXPECT_FALSE(readAll(*reader).bounds.valid());
  }
}

TEST_F(PlyReaderTest, pointsThatAreNoNumberOrTooFarAwayDoNotWidenTheBounds) {
  BinaryPly bytes(false, vertices(6, kExactPosition));
  bytes.position(1.5, 2.5, 3.5).position(-4.0, 5.0, 6.0);
  bytes.position(0.0, std::numeric_limits<double>::quiet_NaN(), 0.0).position(0.0, 0.0, -1e300);
  bytes.position(2e38, 0.0, 0.0).position(0.0, -1.1e37, 0.0);
  const auto reader = _open(bytes);
  const PointChunk chunk = reader->read(0, 6, osg::Vec3d());
  EXPECT_EQ(chunk.bounds._min, osg::Vec3(-4, 2.5f, 3.5f));
  EXPECT_EQ(chunk.bounds._max, osg::Vec3(1.5f, 5, 6));
  for (std::size_t point = 2; point < 6; ++point) {
    EXPECT_TRUE(std::isnan((*chunk.positions)[point].x())) << point;
  }
  EXPECT_TRUE(std::isfinite(reader->info().origin.y()));
  EXPECT_EQ(_open(plyHeader("ascii", vertices(2, kPosition)) + "1 nan 2\n3 4 5\n")->info().origin, osg::Vec3d(3, 4, 5));
}

TEST_F(PlyReaderTest, aFileThatShrinksWhileItIsOpenKeepsThePointsBeforeItsEnd) {
  BinaryPly bytes(false, vertices(50000, kPosition));
  const std::size_t begin = bytes.size();
  for (int index = 0; index < 50000; ++index) {
    bytes.position(1.0f * static_cast<float>(index), 0.0f, 0.0f);
  }
  const auto reader = _open(bytes)->clone();
  std::filesystem::resize_file(_folder.path("scan.ply"), begin + 30000 * 12);
  QuorViewer::ChunkBuilder builder = reader->startChunk({0, 50000}, osg::Vec3d());
  EXPECT_EQ(messageOf([&] {
              reader->decode({0, 1, 50000}, builder);
            }),
            _folder.path("scan.ply") + ": the file was truncated while it was being read, at byte " +
                std::to_string(begin + 360000) + ": it had " + std::to_string(bytes.size()) +
                " bytes when it was opened");
  EXPECT_EQ(builder.filledPoints(), 30000U);
}

TEST_F(PlyReaderTest, aLineThatIsDamagedAfterOpeningIsReportedAndThePointsBeforeItAreKept) {
  std::string text = manyLines();
  const auto reader = _open(text)->clone();
  const std::size_t at = text.find("500037.125 ");
  ASSERT_NE(at, text.npos);
  std::fstream(_folder.path("scan.ply"), std::ios::in | std::ios::out | std::ios::binary)
      .seekp(static_cast<std::streamoff>(at))
      .write("x", 1);
  QuorViewer::ChunkBuilder builder = reader->startChunk({0, kManyVertices}, osg::Vec3d());
  // The header has nine lines, and 37 m are 37,000 steps.
  EXPECT_THAT(messageOf([&] {
                reader->decode({0, 1, kManyVertices}, builder);
              }),
              HasSubstr("not a number, in line 37010, at byte "));
  EXPECT_EQ(builder.filledPoints(), 37000U);
  EXPECT_EQ(reader->coordinates(39999), osg::Vec3d(xOf(39999), 79998, 3));
}

std::string declarations(const std::string& begin, const std::string& end, unsigned count) {
  std::string lines;
  for (unsigned index = 0; index < count; ++index) {
    lines += begin + std::to_string(index) + end + "\n";
  }
  return lines;
}

class DamagedPly : public testing::TestWithParam<DamagedText> {
 protected:
  Folder _folder;
};

TEST_P(DamagedPly, isRefusedWithAMessageThatSaysWhatAndWhere) {
  const std::string path = _folder.write("damaged.ply", GetParam().content);
  EXPECT_THAT(refusalOf(path), StartsWith(path + ": " + GetParam().message));
}

const std::string kFace = "element face 1\nproperty list uchar int vertex_indices\n";

INSTANTIATE_TEST_SUITE_P(
    Headers, DamagedPly,
    testing::Values(
        DamagedText{"headerWithoutEnd", "ply\nformat ascii 1.0\n",
                    "the file ends inside its PLY header, at byte 21: no \"end_header\" found"},
        DamagedText{"endlessLine", "ply\n" + std::string(70000, 'x'),
                    "a line is longer than 65536 bytes, in line 2, at byte 4"},
        DamagedText{"oldLineEnds", "ply\rformat ascii 1.0\r",
                    "a carriage return inside a line: lines must end with a line feed, or with both, in line 1, at "
                    "byte 3"},
        DamagedText{"tooManyElements", plyHeader("ascii", declarations("element e", " 0", 1001)),
                    "the PLY header declares too many elements, in line 1004, at byte "},
        DamagedText{"tooManyProperties", plyHeader("ascii", "element e 0\n" + declarations("property int p", "", 1001)),
                    "the PLY header declares too many properties, in line 1005, at byte "},
        DamagedText{"controlCharacters", plyHeader("zip\x1B[31m", ""),
                    "unknown data format, in line 2, at byte 4: \"zip\\x1b[31m\" found"},
        DamagedText{"longWord", plyHeader(std::string(1000, 'z'), ""),
                    "unknown data format, in line 2, at byte 4: \"" + std::string(40, 'z') + "\" found"},
        DamagedText{"noFormat", "ply\nelement vertex 0\n" + kPosition + "end_header\n",
                    "the PLY header does not state the format of its data"},
        DamagedText{"unknownFormat", plyHeader("zip", ""), "unknown data format, in line 2, at byte 4: \"zip\" found"},
        DamagedText{"elementWithoutCount", plyHeader("ascii", "element vertex\n"),
                    "an element needs a name and a count, in line 4, at byte 45"},
        DamagedText{"negativeCount", plyHeader("ascii", "element vertex -3\n"),
                    "invalid count of an element, in line 4, at byte 45: \"-3\" found"},
        DamagedText{"countBeyondReason", plyHeader("ascii", "element vertex 99999999999999999999\n"),
                    "invalid count of an element, in line 4"},
        DamagedText{"propertyOfNothing", plyHeader("ascii", "property float x\n"),
                    "a property is declared before any element, in line 4"},
        DamagedText{"propertyWithoutName", plyHeader("ascii", "element vertex 1\nproperty float\n"),
                    "a property needs a type (a list needs two) and a name, in line 5"},
        DamagedText{"unknownType", plyHeader("ascii", "element vertex 1\nproperty complex x\n"),
                    "unknown number type, in line 5, at byte 62: \"complex\" found"},
        DamagedText{"countInFloatingPoint", plyHeader("ascii", "element vertex 1\nproperty list float int x\n"),
                    "the count of a list must have an integer type, in line 5"},
        DamagedText{"elementTwice", plyHeader("ascii", vertices(1, kPosition) + vertices(1, kPosition)),
                    "an element is declared twice, in line 8"},
        DamagedText{"propertyTwice", plyHeader("ascii", vertices(1, kPosition + "property int x\n")),
                    "a property is declared twice, in line 8"},
        DamagedText{"noVertices", plyHeader("ascii", "element face 0\n"),
                    "the PLY header declares no element \"vertex\""},
        DamagedText{"noHeight", plyHeader("ascii", "element vertex 1\nproperty float x\nproperty float y\n") + "1 2\n",
                    "the PLY header declares no property \"z\" of a vertex"},
        DamagedText{
            "heightsInALists",
            plyHeader("ascii", "element vertex 1\nproperty float x\nproperty float y\nproperty list int int z\n"),
            "the PLY header declares no property \"z\" of a vertex"}),
    textName);

// A header of ASCII with the three coordinates has 124 bytes in 8 lines; one of little-endian data has 15 bytes more.
INSTANTIATE_TEST_SUITE_P(
    Data, DamagedPly,
    testing::Values(
        DamagedText{"linesMissing", plyHeader("ascii", vertices(5, kPosition)) + "1 2 3\n4 5 6\n",
                    "the file is truncated or its count is wrong (element \"vertex\"): 5 lines expected, 2 found, the "
                    "file ends at byte 136"},
        DamagedText{"linesMissingBeforeTheVertices",
                    plyHeader("ascii", "element face 3\nproperty int f\n" + vertices(1, kPosition)) + "1\n2\n",
                    "the file is truncated or its count is wrong (element \"face\"): 3 lines expected, 2 found, the "
                    "file ends at byte 158"},
        DamagedText{"tooManyNumbers", plyHeader("ascii", vertices(2, kPosition)) + "1 2 3\n4 5 6 7 8\n",
                    "too many numbers, in line 10, at byte 130: 5 found, 3 declared"},
        DamagedText{"tooManyNumbersBehindAList",
                    plyHeader("ascii", vertices(1, kPosition + "property list uchar int near\n")) + "1 2 3 2 7 7 7\n",
                    "too many numbers, in line 10, at byte 153: 7 found, 6 declared"},
        DamagedText{"tooLargeNumber", plyHeader("ascii", vertices(1, kPosition)) + "1 2 1e999\n",
                    "a number is out of range, in line 9, at byte 124: \"1e999\" found"},
        DamagedText{"oldLineEndsInTheData", plyHeader("ascii", vertices(2, kPosition)) + "1 2 3\r4 5 6\r",
                    "a carriage return inside a line: lines must end with a line feed, or with both, in line 9, at "
                    "byte 129"},
        DamagedText{"numbersMissing", plyHeader("ascii", vertices(2, kPosition)) + "1 2 3\n4 5\n",
                    "numbers are missing, in line 10, at byte 130: 2 found, more declared"},
        DamagedText{"wordsForNumbers", plyHeader("ascii", vertices(1, kPosition)) + "one two three\n",
                    "not a number, in line 9, at byte 124: \"one\" found"},
        DamagedText{"commaForADot", plyHeader("ascii", vertices(1, kPosition)) + "1 2,5 3\n",
                    "not a number, in line 9, at byte 124: \"2,5\" found"},
        DamagedText{"negativeLength",
                    plyHeader("ascii", kFace + vertices(1, "property list char int near\n" + kPosition)) +
                        "3 0 0 0\n-1 1 2 3\n",
                    "invalid length of the list \"near\", in line 13, at byte 214: -1 found"},
        DamagedText{"fractionalLength",
                    plyHeader("ascii", vertices(1, "property list char int near\n" + kPosition)) + "1.5 1 2 3\n",
                    "invalid length of the list \"near\", in line 10, at byte 152: 1.5 found"},
        DamagedText{"negativeBinaryLength",
                    plyHeader("binary_little_endian", vertices(1, "property list char int near\n" + kPosition)) +
                        "\xFF"
                        "abcdefghijkl",
                    "invalid length of the list \"near\", at byte 167: -1 found"},
        DamagedText{"listBeyondTheLine",
                    plyHeader("ascii", vertices(1, "property list uint int near\n" + kPosition)) + "2000000000 0 0 0\n",
                    "numbers are missing, in line 10"},
        DamagedText{
            "binaryCutOff", plyHeader("binary_little_endian", vertices(5, kPosition)) + "abcdefghijklmno",
            "the file is truncated or its count is wrong (element \"vertex\"): 5 records of 12 bytes expected from "
            "byte 139 on, 1 found, the file ends at byte 154"},
        DamagedText{
            "countWhoseByteSizeOverflows",
            plyHeader("binary_little_endian", "element vertex 18446744073709551615\n" + kPosition) + "abcdefghijklmno",
            "the file is truncated or its count is wrong (element \"vertex\"): 18446744073709551615 records"},
        DamagedText{"elementBeforeTheVerticesCutOff",
                    plyHeader("binary_big_endian", "element camera 9\nproperty double f\n" + vertices(1, kPosition)) +
                        "abcdefgh",
                    "the file is truncated or its count is wrong (element \"camera\"): 9 records of 8 bytes"},
        DamagedText{"listCutOff",
                    plyHeader("binary_little_endian", vertices(1, "property list uchar int near\n" + kPosition)) +
                        "\xFF"
                        "abc",
                    "the file is truncated or its counts are wrong, at byte 169: 1020 bytes needed, 3 left"}),
    textName);

TEST_F(PlyReaderTest, aFileOfArbitraryBytesIsEitherReadOrRefused) {
  std::mt19937 random(20240301);
  const std::string elements = kFace + vertices(3, kPosition + "property list uchar char near\n");
  Bytes text;
  text.addText(plyHeader("ascii", elements) + "3 0 1 2\n1 2 3 0\n4 5 6 1 9\n7 8 9 0\n");
  BinaryPly binary(false, elements);
  binary.number(std::uint8_t{3}).position(0, 1, 2);
  for (int vertex = 0; vertex < 3; ++vertex) {
    binary.position(1.0f, 2.0f, 3.0f).number(std::uint8_t{2}).number(std::int8_t{1}).number(std::int8_t{2});
  }
  unsigned opened = 0;
  constexpr unsigned rounds = 3000;
  for (unsigned round = 0; round < rounds; ++round) {
    Bytes bytes = round % 2 == 0 ? text : binary;
    flipBytes(bytes, 4, bytes.size(), random);
    openAndRead(_folder.write("mutant.ply", bytes), opened);
  }
  EXPECT_GT(opened, rounds / 20);
  EXPECT_LT(opened, rounds);
}

}  // namespace
