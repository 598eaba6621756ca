#include "support/platform/Platform.h"
#include "tests/scan/ScanCropCase.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <limits>
#include <system_error>

namespace {

using namespace ScanCropCase;
using QuorViewer::insidePlanes;
using QuorViewer::InsideTest;
using QuorViewer::ScanCrop;
using QuorViewer::ScanError;
using QuorViewer::ScanReader;
using QuorViewer::ScanWriteError;
using ScanBytes::Folder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kOneBlock{0};

bool everywhere(const osg::Vec3d& /*coordinates*/) {
  return true;
}

bool nowhere(const osg::Vec3d& /*coordinates*/) {
  return false;
}

/// A LAS file parsed by the published layout.
struct LasBytes {
  explicit LasBytes(Bytes content)
      : bytes(std::move(content)),
        minor(bytes.at(25)),
        pointsAt(load<std::uint32_t>(bytes, 96)),
        format(bytes.at(104)),
        recordLength(load<std::uint16_t>(bytes, 105)),
        count(minor == 4 ? load<std::uint64_t>(bytes, 247) : load<std::uint32_t>(bytes, 107)) {}

  std::vector<unsigned char> record(std::uint64_t point) const {
    return part(bytes, pointsAt + point * recordLength, pointsAt + (point + 1) * recordLength);
  }

  osg::Vec3d coordinates(std::uint64_t point) const {
    return {coordinate(point, 0), coordinate(point, 1), coordinate(point, 2)};
  }

  double coordinate(std::uint64_t point, unsigned axis) const {
    return load<std::int32_t>(bytes, pointsAt + point * recordLength + 4 * axis) * load<double>(bytes, 131 + 8 * axis) +
           load<double>(bytes, 155 + 8 * axis);
  }

  unsigned returnNumber(std::uint64_t point) const { return record(point)[14] & (format >= 6 ? 15U : 7U); }

  Bytes bytes;
  unsigned minor;
  std::size_t pointsAt;
  unsigned format;
  std::size_t recordLength;
  std::uint64_t count;
};

std::vector<std::uint64_t> pointsInside(const LasBytes& scan, const InsideTest& inside) {
  std::vector<std::uint64_t> points;
  for (std::uint64_t point = 0; point < scan.count; ++point) {
    if (inside(scan.coordinates(point))) {
      points.push_back(point);
    }
  }
  return points;
}

/// Expects the file to end with its points, which must be the given points of the scan, byte for byte.
void expectRecords(const LasBytes& saved, const LasBytes& scan, const std::vector<std::uint64_t>& points) {
  ASSERT_EQ(saved.count, points.size());
  ASSERT_EQ(saved.bytes.size(), saved.pointsAt + points.size() * scan.recordLength);
  for (std::size_t place = 0; place < points.size(); ++place) {
    ASSERT_EQ(saved.record(place), scan.record(points[place])) << "point " << points[place];
  }
}

void expectBounds(const LasBytes& saved) {
  for (unsigned axis = 0; axis < 3; ++axis) {
    double greatest = -std::numeric_limits<double>::infinity();
    double least = -greatest;
    for (std::uint64_t point = 0; point < saved.count; ++point) {
      greatest = std::max(greatest, saved.coordinate(point, axis));
      least = std::min(least, saved.coordinate(point, axis));
    }
    EXPECT_EQ(load<double>(saved.bytes, 179 + 16 * axis), greatest);
    EXPECT_EQ(load<double>(saved.bytes, 187 + 16 * axis), least);
  }
}

std::uint64_t countOfReturn(const LasBytes& saved, unsigned number) {
  std::uint64_t count = 0;
  for (std::uint64_t point = 0; point < saved.count; ++point) {
    count += saved.returnNumber(point) == number ? 1 : 0;
  }
  return count;
}

// Formats 6 and up are counted in 64 bits only, versions before 1.4 in 32 bits only.
void expectCounts(const LasBytes& saved) {
  const bool legacy = saved.format < 6;
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 107), legacy ? saved.count : 0U);
  for (unsigned number = 1; number <= 5; ++number) {
    EXPECT_EQ(load<std::uint32_t>(saved.bytes, 107 + 4 * number), legacy ? countOfReturn(saved, number) : 0U);
  }
  for (unsigned number = 1; saved.minor == 4 && number <= 15; ++number) {
    EXPECT_EQ(load<std::uint64_t>(saved.bytes, 247 + 8 * number), countOfReturn(saved, number));
  }
}

/// Expects equal headers except for the counts, the bounds, and the offsets of what follows.
void expectIdentity(const LasBytes& saved, const LasBytes& scan) {
  EXPECT_EQ(part(saved.bytes, 0, 96), part(scan.bytes, 0, 96));
  EXPECT_EQ(part(saved.bytes, 104, 107), part(scan.bytes, 104, 107));
  EXPECT_EQ(part(saved.bytes, 131, 179), part(scan.bytes, 131, 179));
}

void expectCrop(const Bytes& file, const LasBytes& scan, const InsideTest& inside) {
  const LasBytes saved(file);
  const std::vector<std::uint64_t> expected = pointsInside(scan, inside);
  ASSERT_FALSE(expected.empty()) << "the test would check nothing";
  expectRecords(saved, scan, expected);
  expectBounds(saved);
  expectCounts(saved);
  expectIdentity(saved, scan);
}

std::string writeErrorOf(const std::function<void()>& act) {
  try {
    act();
  } catch (const ScanWriteError& error) {
    return error.what();
  }
  return "nothing was thrown";
}

class ScanCropTest : public testing::Test {
 protected:
  std::vector<std::string> _names() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(_target).parent_path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  Bytes _cropOf(const Bytes& scan, const InsideTest& inside = everywhere) const {
    return cropped(_folder.write("scan.las", scan), _target, inside);
  }

  Folder _folder;
  const std::string _target = _folder.path("out.las");
};

struct Kind {
  unsigned minor;
  unsigned format;
};

void PrintTo(const Kind& kind, std::ostream* to) {
  *to << "LAS 1." << kind.minor << ", format " << kind.format;
}

// Each version with the point formats it has.
std::vector<Kind> allKinds() {
  constexpr std::array<unsigned, 5> formats = {2, 2, 4, 6, 11};
  std::vector<Kind> kinds;
  for (unsigned minor = 0; minor < formats.size(); ++minor) {
    for (unsigned format = 0; format < formats[minor]; ++format) {
      kinds.push_back({minor, format});
    }
  }
  return kinds;
}

class ScanCropOfEachKind : public testing::TestWithParam<std::tuple<Kind, unsigned>> {
 protected:
  FileSettings _settings{std::get<0>(GetParam()).minor, std::get<0>(GetParam()).format, std::get<1>(GetParam())};
  LasBytes _scan{variedScan(_settings, 2000)};
  Folder _folder;
  std::string _source = _folder.write("scan.las", _scan.bytes);
};
INSTANTIATE_TEST_SUITE_P(VersionsFormatsAndExtraBytes, ScanCropOfEachKind,
                         testing::Combine(testing::ValuesIn(allKinds()), testing::Values(0U, 5U)));

TEST_P(ScanCropOfEachKind, keepsTheRecordsInsideByteForByteWithCountsAndBoundsOfTheirOwn) {
  const InsideTest inside = [](const osg::Vec3d& at) { return at.x() > 1000 && at.y() < 2060 && at.z() > 25; };
  const Bytes file = cropped(_source, _folder.path("out.las"), inside);
  expectCrop(file, _scan, inside);
  EXPECT_LT(LasBytes(file).count, _scan.count);
}

TEST_P(ScanCropOfEachKind, aBoxAroundEverythingGivesTheSourcesRecords) {
  const Bytes file = cropped(_source, _folder.path("out.las"), everywhere);
  EXPECT_EQ(file.size(), _scan.bytes.size());
  EXPECT_EQ(part(file, _scan.pointsAt), part(_scan.bytes, _scan.pointsAt));
  expectCrop(file, _scan, everywhere);
}

TEST_F(ScanCropTest, randomPlanesKeepWhatABruteForceTestOfEveryPointFinds) {
  const std::string sample = (fs::path(__FILE__).parent_path() / "../../data/haystack_rock.las").string();
  const LasBytes scan(contentOf(sample));
  const osg::Vec3d middle(2230970, 252240, 20);
  std::mt19937 random(4711);
  std::uniform_real_distribution<double> part(-1, 1);
  for (int round = 0; round < 20; ++round) {
    std::vector<osg::Plane> planes;
    for (int plane = 0; plane < 6; ++plane) {
      planes.emplace_back(osg::Vec3d(part(random), part(random), part(random)), 70.0 * std::abs(part(random)) + 1);
    }
    const auto brute = [&](const osg::Vec3d& world) {
      const osg::Vec3d at = world - middle;
      return std::all_of(planes.begin(), planes.end(), [&](const osg::Plane& plane) {
        return plane[0] * at.x() + plane[1] * at.y() + plane[2] * at.z() + plane[3] >= 0;
      });
    };
    if (pointsInside(scan, brute).empty()) {
      continue;
    }
    const Bytes file =
        cropped(sample, _target, [&](const osg::Vec3d& world) { return insidePlanes(planes, world - middle); });
    expectCrop(file, scan, brute);
  }
}

TEST_F(ScanCropTest, theTestIsGivenEachPointsCoordinatesOnceAndInOrder) {
  const LasBytes scan(variedScan({4, 7}, 20000));
  std::uint64_t asked = 0;
  const InsideTest inside = [&](const osg::Vec3d& at) {
    EXPECT_EQ(at, scan.coordinates(asked));
    return ++asked % 3 == 0;
  };
  EXPECT_EQ(LasBytes(_cropOf(scan.bytes, inside)).count, 20000U / 3);
  EXPECT_EQ(asked, 20000U);
}

TEST_F(ScanCropTest, variableRecordsAndWhatFollowsThemAreKept) {
  Bytes scan = variedScan({2, 3, 2}, 100);
  Bytes between = variableRecord("LASF_Projection", 34735, 64);
  const Bytes extra = variableRecord("LASF_Spec", 4, 192);
  between.insert(between.end(), extra.begin(), extra.end());
  between.addText("bytes that no record describes");
  insertBehindHeader(scan, between);
  scan.set(100, std::uint32_t{2});
  const LasBytes saved(_cropOf(scan));
  EXPECT_EQ(saved.pointsAt, LasBytes(scan).pointsAt);
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 100), 2U);
  EXPECT_EQ(part(saved.bytes, 227, 227 + between.size()), plain(between));
  EXPECT_EQ(saved.record(99), LasBytes(scan).record(99));
}

TEST_F(ScanCropTest, aHeaderLongerThanItsVersionKeepsItsLastBytes) {
  Bytes scan = variedScan({2, 1}, 10);
  insertBehindHeader(scan, {11, 22, 33, 44});
  scan.set(94, std::uint16_t{231});
  const Bytes file = _cropOf(scan);
  EXPECT_EQ(load<std::uint16_t>(file, 94), 231U);
  EXPECT_EQ(part(file, 227), part(scan, 227));
}

TEST_F(ScanCropTest, theStartSignatureOfEarlyFilesStaysBeforeTheFirstPoint) {
  Bytes scan = variedScan({0, 0}, 50);
  scan.insert(scan.begin() + 227, {0xDD, 0xCC});
  const LasBytes saved(_cropOf(scan));
  EXPECT_EQ(saved.pointsAt, 229U);
  EXPECT_EQ(saved.bytes[227], 0xDD);
  EXPECT_EQ(saved.bytes[228], 0xCC);
  EXPECT_EQ(part(saved.bytes, 229), part(scan, 229));
  EXPECT_EQ(ScanReader::open(_target)->coordinates(49), saved.coordinates(49));
}

TEST_F(ScanCropTest, aVariableRecordThatExtendsIntoThePointsIsKeptUnchanged) {
  Bytes scan = variedScan({2, 0}, 10);
  Bytes record = variableRecord("LASF_Projection", 2112, 10);
  record.set(20, std::uint16_t{60000});
  insertBehindHeader(scan, record);
  scan.set(100, std::uint32_t{1});
  const Bytes file = _cropOf(scan);
  EXPECT_EQ(load<std::uint32_t>(file, 100), 1U);
  EXPECT_EQ(part(file, 227, 227 + record.size()), plain(record));
}

TEST_F(ScanCropTest, aHoleOfMegabytesBeforeThePointsIsLeftOutAndTheRecordsBeforeItStay) {
  Bytes scan = variedScan({2, 0}, 10);
  const std::size_t pointsAt = 227;
  const Bytes points(scan.begin() + pointsAt, scan.end());
  const Bytes kept = variableRecord("LASF_Projection", 2112, 40);
  std::vector<unsigned char> between(kept.begin(), kept.end());
  between.resize(between.size() + (std::size_t{17} << 20U));
  insertBehindHeader(scan, between);
  scan.set(100, std::uint32_t{1});
  const LasBytes saved(_cropOf(scan));
  EXPECT_EQ(saved.pointsAt, 227 + kept.size());
  EXPECT_EQ(part(saved.bytes, 227, 227 + kept.size()), plain(kept));
  EXPECT_EQ(part(saved.bytes, saved.pointsAt), plain(points));
}

TEST_F(ScanCropTest, recordsThatIndexThePointsAreLeftOut) {
  Bytes scan = variedScan({4, 6}, 10);
  const Bytes kept = variableRecord("LASF_Projection", 2112, 40);
  Bytes between = variableRecord("copc", 1, 160);
  between.insert(between.end(), kept.begin(), kept.end());
  const Bytes index = variableRecord("LAStools", 30, 5);
  between.insert(between.end(), index.begin(), index.end());
  insertBehindHeader(scan, between);
  scan.set(100, std::uint32_t{3});
  const Bytes description = variableRecord("someone", 7, 9, true);
  addExtendedRecords(scan, {variableRecord("copc", 1000, 64, true), description});
  const LasBytes saved(_cropOf(scan));
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 100), 1U);
  EXPECT_EQ(saved.pointsAt, 375 + kept.size());
  EXPECT_EQ(part(saved.bytes, 375, 375 + kept.size()), plain(kept));
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 243), 1U);
  EXPECT_EQ(part(saved.bytes, load<std::uint64_t>(saved.bytes, 235)), plain(description));
}

TEST_F(ScanCropTest, extendedRecordsFollowThePointsEvenLongOnes) {
  Bytes scan = variedScan({4, 7}, 1000);
  const std::size_t pointsEnd = scan.size();
  addExtendedRecords(scan, {variableRecord("LASF_Projection", 2112, 700, true),
                            variableRecord("someone", 7, 1000000, true), variableRecord("nobody", 8, 0, true)});
  const auto inside = [](const osg::Vec3d& at) { return at.x() < 1100; };
  const LasBytes saved(_cropOf(scan, inside));
  const std::size_t end = 375 + pointsInside(LasBytes(scan), inside).size() * 36;
  EXPECT_LT(saved.count, 1000U);
  EXPECT_EQ(load<std::uint64_t>(saved.bytes, 235), end);
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 243), 3U);
  EXPECT_EQ(load<std::uint64_t>(saved.bytes, 227), 0U);
  EXPECT_EQ(part(saved.bytes, end), part(scan, pointsEnd));
}

TEST_F(ScanCropTest, extendedRecordsComeFromTheOpenScanAlsoIfItsNameNowRefersToAnotherFile) {
  Bytes scan = variedScan({4, 6}, 20);
  const Bytes record = variableRecord("someone", 7, 300000, true);
  addExtendedRecords(scan, {record});
  const std::string source = _folder.write("scan.las", scan);
  const auto reader = ScanReader::open(source);
  ScanCrop crop(*reader, _target, everywhere);
  crop.step(kOneBlock);
  std::error_code inUse;
  fs::rename(source, source + ".old", inUse);
  if (inUse) {
    GTEST_SKIP() << "this system does not rename an open file: " << inUse.message();
  }
  _folder.write("scan.las", variedScan({4, 6}, 20000));
  runToItsEnd(crop);
  const LasBytes saved(contentOf(_target));
  ASSERT_GE(saved.bytes.size(), record.size());
  EXPECT_TRUE(std::equal(record.begin(), record.end(), saved.bytes.end() - static_cast<std::ptrdiff_t>(record.size())));
}

TEST_F(ScanCropTest, anExtendedRecordCutOffByTheEndOfTheFileIsLeftOut) {
  Bytes scan = variedScan({4, 6}, 10);
  const Bytes whole = variableRecord("LASF_Projection", 2112, 70, true);
  addExtendedRecords(scan, {whole, variableRecord("someone", 7, 500, true)});
  scan.resize(scan.size() - 1);
  const LasBytes saved(_cropOf(scan));
  EXPECT_EQ(load<std::uint32_t>(saved.bytes, 243), 1U);
  EXPECT_EQ(saved.bytes.size(), 375 + 10 * 30 + whole.size());
}

TEST_F(ScanCropTest, extendedRecordsStatedBeyondTheFileAreLeftOut) {
  for (const std::uint64_t offset : {std::uint64_t{1} << 40U, std::numeric_limits<std::uint64_t>::max()}) {
    Bytes scan = variedScan({4, 6}, 10);
    scan.set(227, offset);
    scan.set(235, offset);
    scan.set(243, std::uint32_t{4000000000});
    const LasBytes saved(_cropOf(scan));
    EXPECT_EQ(load<std::uint64_t>(saved.bytes, 227), 0U);
    EXPECT_EQ(load<std::uint64_t>(saved.bytes, 235), 0U);
    EXPECT_EQ(load<std::uint32_t>(saved.bytes, 243), 0U);
    EXPECT_EQ(saved.bytes.size(), 375U + 10U * 30U);
  }
}

TEST_F(ScanCropTest, waveformsOfVersionThreeAreCopiedCompletely) {
  Bytes scan = variedScan({3, 4}, 200);
  const Bytes waveforms = variableRecord("LASF_Spec", 65535, 4000, true);
  scan.set(227, static_cast<std::uint64_t>(scan.size()));
  scan.insert(scan.end(), waveforms.begin(), waveforms.end());
  const auto inside = [](const osg::Vec3d& at) { return at.x() < 1000; };
  const LasBytes saved(_cropOf(scan, inside));
  const auto end = 235 + pointsInside(LasBytes(scan), inside).size() * 57;
  EXPECT_LT(saved.count, 200U);
  ASSERT_EQ(load<std::uint64_t>(saved.bytes, 227), end);
  EXPECT_EQ(part(saved.bytes, end), plain(waveforms));
}

TEST_F(ScanCropTest, waveformsAmongTheExtendedRecordsAreCopiedOnceAndFound) {
  Bytes scan = variedScan({4, 9}, 20);
  const Bytes first = variableRecord("LASF_Projection", 2112, 70, true);
  addExtendedRecords(scan, {first, variableRecord("LASF_Spec", 65535, 500, true)});
  scan.set(227, load<std::uint64_t>(scan, 235) + first.size());
  const Bytes file = _cropOf(scan);
  EXPECT_EQ(file.size(), scan.size());
  EXPECT_EQ(load<std::uint64_t>(file, 227), load<std::uint64_t>(scan, 227));
  EXPECT_EQ(load<std::uint32_t>(file, 243), 2U);
}

TEST_F(ScanCropTest, waveformsOutsideTheExtendedRecordsAreCopiedButNotCounted) {
  Bytes scan = variedScan({4, 10}, 20);
  addExtendedRecords(scan, {variableRecord("LASF_Projection", 2112, 70, true)});
  scan.set(227, static_cast<std::uint64_t>(scan.size()));
  const Bytes waveforms = variableRecord("LASF_Spec", 65535, 500, true);
  scan.insert(scan.end(), waveforms.begin(), waveforms.end());
  const Bytes file = _cropOf(scan);
  EXPECT_EQ(file.size(), scan.size());
  EXPECT_EQ(load<std::uint64_t>(file, 227), load<std::uint64_t>(scan, 227));
  EXPECT_EQ(load<std::uint32_t>(file, 243), 1U);
}

TEST_F(ScanCropTest, anOffsetToNoWaveformsIsCleared) {
  Bytes scan = variedScan({4, 9}, 20);
  scan.set(227, std::uint64_t{400});
  EXPECT_EQ(load<std::uint64_t>(_cropOf(scan), 227), 0U);
}

TEST_F(ScanCropTest, aStepCopiesABlockAndTheFileGetsItsNameLast) {
  const auto reader = ScanReader::open(_folder.write("scan.las", variedScan({2, 1}, 40000)));
  ScanCrop crop(*reader, _target, [](const osg::Vec3d& at) { return at.x() > 1500; });
  EXPECT_EQ(crop.pointCount(), 40000U);
  EXPECT_EQ(crop.pointsRead(), 0U);
  unsigned steps = 0;
  for (std::uint64_t before = 0; crop.pointsRead() < 40000; before = crop.pointsRead(), ++steps) {
    EXPECT_FALSE(crop.finished());
    EXPECT_THAT(_names(), ElementsAre("out.las.part", "scan.las"));
    crop.step(kOneBlock);
    EXPECT_GT(crop.pointsRead(), before);
    EXPECT_LE(crop.pointsWritten(), crop.pointsRead());
  }
  EXPECT_GT(steps, 2U);
  runToItsEnd(crop);
  EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las"));
  EXPECT_EQ(crop.pointsWritten(), LasBytes(contentOf(_target)).count);
  crop.step(kOneBlock);
  EXPECT_TRUE(crop.finished());
}

TEST_F(ScanCropTest, theReaderCanBeUsedBetweenTheSteps) {
  const LasBytes scan(variedScan({2, 3}, 30000));
  const auto reader = ScanReader::open(_folder.write("scan.las", scan.bytes));
  ScanCrop crop(*reader, _target, everywhere);
  while (!crop.finished()) {
    crop.step(kOneBlock);
    EXPECT_EQ(reader->coordinates(29999), scan.coordinates(29999));
  }
  expectRecords(LasBytes(contentOf(_target)), scan, pointsInside(scan, everywhere));
}

TEST_F(ScanCropTest, aCancelledCropLeavesTheFormerFile) {
  _folder.write("out.las", std::string("former"));
  {
    const auto reader = ScanReader::open(_folder.write("scan.las", variedScan({2, 1}, 40000)));
    ScanCrop crop(*reader, _target, everywhere);
    crop.step(kOneBlock);
  }
  EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las"));
  EXPECT_EQ(fs::file_size(_target), 6U);
}

TEST_F(ScanCropTest, aFormerFileIsReplacedByAFinishedCrop) {
  _folder.write("out.las", std::string(999999, 'x'));
  const Bytes scan = variedScan({2, 1}, 10);
  EXPECT_EQ(_cropOf(scan).size(), scan.size());
  EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las"));
}

TEST_F(ScanCropTest, whereNoPointLiesInsideThereIsAMessageAndNoFile) {
  _folder.write("out.las", std::string("former"));
  EXPECT_EQ(writeErrorOf([&] {
              _cropOf(variedScan({4, 6}, 10000), nowhere);
            }),
            "cannot write " + _target + ": no point is inside");
  EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las"));
  EXPECT_EQ(fs::file_size(_target), 6U);
}

TEST_F(ScanCropTest, aScanWithoutPointsHasNoneInside) {
  EXPECT_THAT(writeErrorOf([&] { _cropOf(variedScan({2, 0}, 0)); }), HasSubstr("no point is inside"));
}

TEST_F(ScanCropTest, theScanItselfIsRefusedAsTheTargetUnderAnyName) {
  const Bytes scan = variedScan({2, 1}, 100);
  const std::string source = _folder.write("scan.las", scan);
  fs::create_directory(_folder.path("sub"));
  std::vector<std::string> names = {source, _folder.path("sub/../scan.las")};
  std::error_code error;
  fs::create_hard_link(source, _folder.path("hard.las"), error);
  names.push_back(error ? source : _folder.path("hard.las"));
  fs::create_symlink(source, _folder.path("soft.las"), error);
  names.push_back(error ? source : _folder.path("soft.las"));
  for (const std::string& name : names) {
    EXPECT_EQ(writeErrorOf([&] { cropped(source, name, everywhere); }),
              "cannot write " + name + ": this would overwrite the scan being copied");
  }
  EXPECT_EQ(contentOf(source), scan);
}

TEST_F(ScanCropTest, aScanNamedLikeTheTemporaryFileIsNotOverwritten) {
  const Bytes scan = variedScan({2, 1}, 100);
  const std::string source = _folder.write("out.las.part", scan);
  EXPECT_THAT(writeErrorOf([&] { cropped(source, _target, everywhere); }), HasSubstr("this would overwrite the scan"));
  EXPECT_EQ(contentOf(source), scan);
}

// The system's own message for a path that cannot be written.
std::string reasonAgainstWriting(const std::string& path) {
  EXPECT_FALSE(std::ofstream(path).is_open());
  return std::generic_category().message(errno);
}

TEST_F(ScanCropTest, unwritablePathsAreReportedAtOnceWithTheReason) {
  const auto reader = ScanReader::open(_folder.write("scan.las", variedScan({2, 1}, 100)));
  const auto refusal = [&](const std::string& target) {
    return writeErrorOf([&] { ScanCrop(*reader, target, everywhere); });
  };
  EXPECT_EQ(refusal(_folder.path("missing/out.las")),
            "cannot write " + _folder.path("missing/out.las") + ": No such file or directory");
  fs::create_directory(_target);
  EXPECT_EQ(refusal(_target), "cannot write " + _target + ": not a regular file");
  const std::string inFile = _folder.path("scan.las") + "/out.las";
  EXPECT_EQ(refusal(inFile), "cannot write " + inFile + ": " + reasonAgainstWriting(inFile));
  EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las"));
}

TEST_F(ScanCropTest, aFolderInPlaceOfTheTemporaryFileIsKept) {
  fs::create_directory(_target + ".part");
  EXPECT_THAT(writeErrorOf([&] {
                _cropOf(variedScan({2, 1}, 100));
              }),
              EndsWith(": " + reasonAgainstWriting(_target + ".part")));
  EXPECT_THAT(_names(), ElementsAre("out.las.part", "scan.las"));
}

TEST_F(ScanCropTest, aDiskThatFillsUpIsReportedAndTheFormerFileStays) {
  if (!QuorTests::FileSizeLimit::isToBeHad()) {
    GTEST_SKIP() << "a process cannot limit the size of its files on this system";
  }
  _folder.write("out.las", std::string("former"));
  Bytes scan = variedScan({4, 6}, 40000);
  const std::size_t pointsEnd = scan.size();
  addExtendedRecords(scan, {variableRecord("someone", 7, 1000000, true)});
  const auto reader = ScanReader::open(_folder.write("scan.las", scan));
  // The disk is full immediately, in the middle of the points, or in the middle of what follows them.
  for (const std::size_t room : {std::size_t{100}, pointsEnd / 2, pointsEnd + 500000}) {
    ScanCrop crop(*reader, _target, everywhere);
    std::string message;
    std::string again;
    {
      const QuorTests::FileSizeLimit full(room);
      message = writeErrorOf([&] { runToItsEnd(crop); });
      EXPECT_THAT(_names(), ElementsAre("out.las", "scan.las")) << "while the crop object still exists";
    }
    again = writeErrorOf([&] { crop.step(kOneBlock); });
    EXPECT_EQ(message, "cannot write " + _target + ": File too large");
    EXPECT_EQ(again, message);
    EXPECT_FALSE(crop.finished());
  }
  EXPECT_EQ(fs::file_size(_target), 6U);
}

// So few bytes that they are written only when the file is closed.
TEST_F(ScanCropTest, aDiskThatIsFullOnlyWhenTheFileIsClosedIsReported) {
  if (!QuorTests::FileSizeLimit::isToBeHad()) {
    GTEST_SKIP() << "a process cannot limit the size of its files on this system";
  }
  const std::string source = _folder.write("scan.las", variedScan({2, 0}, 3));
  const auto reader = ScanReader::open(source);
  const QuorTests::FileSizeLimit full(100);
  EXPECT_EQ(writeErrorOf([&] {
              ScanCrop crop(*reader, _target, everywhere);
              runToItsEnd(crop);
            }),
            "cannot write " + _target + ": File too large");
  EXPECT_THAT(_names(), ElementsAre("scan.las"));
}

TEST_F(ScanCropTest, aScanThatShrinksMeanwhileIsReportedAndLeavesNothing) {
  const std::string source = _folder.write("scan.las", variedScan({2, 1}, 40000));
  const auto reader = ScanReader::open(source);
  ScanCrop crop(*reader, _target, everywhere);
  crop.step(kOneBlock);
  fs::resize_file(source, 600000);
  try {
    runToItsEnd(crop);
    FAIL() << "no error";
  } catch (const ScanError& error) {
    EXPECT_THAT(error.what(), HasSubstr(source + ": the file was truncated while it was being read"));
  }
  EXPECT_THAT(_names(), ElementsAre("scan.las"));
  EXPECT_THROW(crop.step(kOneBlock), ScanError);
}

TEST_F(ScanCropTest, anExceptionOfThePointTestLeavesNoFile) {
  const auto reader = ScanReader::open(_folder.write("scan.las", variedScan({2, 1}, 10)));
  ScanCrop crop(*reader, _target, [](const osg::Vec3d&) -> bool { throw std::out_of_range("asked too much"); });
  EXPECT_THROW(crop.step(kOneBlock), std::out_of_range);
  EXPECT_THAT(_names(), ElementsAre("scan.las"));
}

std::string plyOf(const std::vector<std::array<float, 3>>& positions, bool coloured) {
  std::string header = "ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(positions.size()) +
                       "\nproperty float x\nproperty float y\nproperty float z\n";
  header += coloured ? "property uchar red\nproperty uchar green\nproperty uchar blue\n" : "";
  Bytes bytes;
  bytes.addText(header + "end_header\n");
  for (std::size_t point = 0; point < positions.size(); ++point) {
    for (const float value : positions[point]) {
      bytes.add(value);
    }
    for (unsigned channel = 0; coloured && channel < 3; ++channel) {
      bytes.add(static_cast<std::uint8_t>(point * 40 + channel * 5 + 1));
    }
  }
  return {bytes.begin(), bytes.end()};
}

TEST_F(ScanCropTest, aColouredPlyScanBecomesPointFormatTwoWithColoursOfSixteenBits) {
  const std::string source = _folder.write("scan.ply", plyOf({{1.5f, 2.5f, 3.5f}, {-4, 5, 6}, {7.25f, 8, 10}}, true));
  const LasBytes saved(cropped(source, _target, [](const osg::Vec3d& at) { return at.x() > 0; }));
  EXPECT_EQ(saved.minor, 2U);
  EXPECT_EQ(saved.format, 2U);
  ASSERT_EQ(saved.count, 2U);
  ASSERT_EQ(saved.recordLength, 26U);
  for (const unsigned point : {0U, 1U}) {
    const unsigned original = point == 0 ? 0 : 2;
    for (unsigned channel = 0; channel < 3; ++channel) {
      const unsigned value = original * 40 + channel * 5 + 1;
      EXPECT_EQ(load<std::uint16_t>(saved.bytes, saved.pointsAt + point * 26 + 20 + 2 * channel), value * 257);
    }
  }
  EXPECT_LT((saved.coordinates(0) - osg::Vec3d(1.5, 2.5, 3.5)).length(), 1e-8);
  EXPECT_LT((saved.coordinates(1) - osg::Vec3d(7.25, 8, 10)).length(), 1e-8);
  expectBounds(saved);
  expectCounts(saved);
  EXPECT_EQ(ScanReader::open(_target)->info().format, "LAS 1.2, point format 2");
}

TEST_F(ScanCropTest, anAscScanWithoutColourBecomesPointFormatZero) {
  const std::string source = _folder.write("scan.asc", std::string("1.5 2 3\n4 5 6.125\n-7 8 9\n"));
  const LasBytes saved(cropped(source, _target, [](const osg::Vec3d& at) { return at.x() > 0; }));
  EXPECT_EQ(saved.format, ScanReader::open(source)->info().hasColour ? 2U : 0U);
  ASSERT_EQ(saved.count, 2U);
  EXPECT_LT((saved.coordinates(1) - osg::Vec3d(4, 5, 6.125)).length(), 1e-8);
}

TEST_F(ScanCropTest, aGeoreferencedTextScanKeepsItsMillimetresAndIntensities) {
  const std::string source =
      _folder.write("scan.asc", std::string("412345.678 9999999.001 87.125 70\n412345.679 9999999.002 87.126 2744\n"
                                            "412346.5 9999998.5 80 9\n"));
  const LasBytes saved(cropped(source, _target, [](const osg::Vec3d& at) { return at.x() < 412346; }));
  EXPECT_EQ(saved.format, 0U);
  ASSERT_EQ(saved.count, 2U);
  EXPECT_LT((saved.coordinates(0) - osg::Vec3d(412345.678, 9999999.001, 87.125)).length(), 1e-6);
  EXPECT_LT((saved.coordinates(1) - osg::Vec3d(412345.679, 9999999.002, 87.126)).length(), 1e-6);
  EXPECT_EQ(load<std::uint16_t>(saved.bytes, saved.pointsAt + 12), 70U);
  EXPECT_EQ(load<std::uint16_t>(saved.bytes, saved.pointsAt + 20 + 12), 2744U);
}

// A coordinate whose own precision is coarser than the grid's step comes back unchanged.
TEST_F(ScanCropTest, theGridKeepsSinglePrecisionOverEveryExtent) {
  std::mt19937 random(8);
  for (const float extent : {1e-3f, 1.0f, 50.0f, 4000.0f, 1e6f, 1e9f, 1e20f}) {
    SCOPED_TRACE(extent);
    std::uniform_real_distribution<float> within(-extent, extent);
    std::vector<std::array<float, 3>> positions;
    for (int point = 0; point < 500; ++point) {
      positions.push_back({within(random) + 3 * extent, within(random), within(random) / 1000});
    }
    const LasBytes saved(cropped(_folder.write("scan.ply", plyOf(positions, false)), _target, everywhere));
    ASSERT_EQ(saved.count, positions.size());
    for (std::size_t point = 0; point < positions.size(); ++point) {
      for (unsigned axis = 0; axis < 3; ++axis) {
        const float value = positions[point][axis];
        const double step = load<double>(saved.bytes, 131 + 8 * axis);
        const double own = std::nextafter(std::abs(value), std::numeric_limits<float>::max()) - std::abs(value);
        EXPECT_NEAR(saved.coordinate(point, axis), value, std::max(step * 0.5001, own * 0.01));
        if (own > step * 2) {
          EXPECT_EQ(static_cast<float>(saved.coordinate(point, axis)), value);
        }
      }
    }
    // The step is a power of ten, and a hundredth of the single-precision step at the far end.
    EXPECT_LT(load<double>(saved.bytes, 131), extent * 4 / 16777216 / 5);
    const double exponent = std::log10(load<double>(saved.bytes, 131));
    EXPECT_NEAR(exponent, std::round(exponent), 1e-9);
  }
}

TEST_F(ScanCropTest, coincidentPointsStillHaveAGrid) {
  const LasBytes saved(
      cropped(_folder.write("scan.ply", plyOf({{5, 5, 0.25f}, {5, 5, 0.25f}}, false)), _target, everywhere));
  ASSERT_EQ(saved.count, 2U);
  EXPECT_EQ(saved.coordinates(1), osg::Vec3d(5, 5, 0.25));
  EXPECT_EQ(ScanReader::open(_target)->info().pointCount, 2U);
}

TEST_F(ScanCropTest, anExtentNearTheSmallestDoubleStillHasAGrid) {
  const std::string source = _folder.write("scan.asc", std::string("0 0 1\n5e-324 1e-310 1\n-5e-324 1e-305 1\n"));
  const LasBytes saved(cropped(source, _target, everywhere));
  ASSERT_EQ(saved.count, 3U);
  for (unsigned axis = 0; axis < 3; ++axis) {
    EXPECT_GT(load<double>(saved.bytes, 131 + 8 * axis), 0.0);
  }
  EXPECT_LT(saved.coordinate(2, 0), 1e-290);
  EXPECT_EQ(ScanReader::open(_target)->coordinates(1).z(), 1.0);
}

TEST_F(ScanCropTest, nonFiniteCoordinatesAreNeverInside) {
  constexpr float none = std::numeric_limits<float>::quiet_NaN();
  constexpr float endless = std::numeric_limits<float>::infinity();
  const std::string source =
      _folder.write("scan.ply", plyOf({{1, 2, none}, {1, 2, 3}, {endless, 2, 3}, {1, -endless, 3}}, false));
  const LasBytes saved(cropped(source, _target, everywhere));
  ASSERT_EQ(saved.count, 1U);
  EXPECT_EQ(saved.coordinates(0), osg::Vec3d(1, 2, 3));
}

TEST(InsidePlanes, aPointOnAPlaneIsInsideAndOneBeyondAnyPlaneIsNot) {
  const std::vector<osg::Plane> planes = {{1, 0, 0, 5}, {0, -1, 0, 7}};
  EXPECT_TRUE(insidePlanes(planes, osg::Vec3d(-5, 7, 100)));
  EXPECT_FALSE(insidePlanes(planes, osg::Vec3d(-5.0000001, 7, 100)));
  EXPECT_FALSE(insidePlanes(planes, osg::Vec3d(0, 7.0000001, 100)));
  EXPECT_TRUE(insidePlanes({}, osg::Vec3d(1, 2, 3)));
}

TEST(InsidePlanes, aPointThatIsNoNumberIsOutside) {
  EXPECT_FALSE(insidePlanes({{1, 0, 0, 5}}, osg::Vec3d(std::numeric_limits<double>::quiet_NaN(), 0, 0)));
}

}  // namespace
