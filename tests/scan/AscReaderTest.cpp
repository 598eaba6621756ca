#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "tests/scan/ReaderSupport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <limits>
#include <memory>

namespace {

using namespace ReaderSupport;
using QuorViewer::PointChunk;
using ScanBytes::Folder;
using testing::ElementsAre;
using testing::HasSubstr;

class AscReaderTest : public testing::Test {
 protected:
  std::unique_ptr<ScanReader> _open(const std::string& text) const {
    return ScanReader::open(_folder.write("scan.asc", text));
  }

  Folder _folder;
};

TEST_F(AscReaderTest, threeColumnsAreCoordinates) {
  const auto reader = _open("1 2 3\n4 5 6");
  EXPECT_EQ(reader->info().format, "ASC");
  ASSERT_EQ(reader->info().pointCount, 2U);
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_FALSE(reader->info().hasIntensity);
  EXPECT_FALSE(reader->info().localOnly);
  EXPECT_EQ(reader->coordinates(1), osg::Vec3d(4, 5, 6));
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(255, 255, 255, 255));
}

TEST_F(AscReaderTest, theFourthOfFourColumnsIsTheIntensity) {
  const auto reader = _open("1 2 3 70\n4 5 6 2744\n");
  EXPECT_TRUE(reader->info().hasIntensity);
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_THAT(*readAll(*reader).intensities, ElementsAre(70, 2744));
}

TEST_F(AscReaderTest, sixColumnsHoldAColour) {
  for (const char* name : {"points.asc", "points.ASC"}) {
    const auto reader =
        ScanReader::open(_folder.write(name, std::string("1.5 2.5 3.5 10 20 30\n-4 5 6 40 50 60\n7 8 10 70 80 255\n")));
    ASSERT_EQ(reader->info().pointCount, 3U);
    EXPECT_TRUE(reader->info().hasColour);
    EXPECT_FALSE(reader->info().hasIntensity);
    const PointChunk chunk = reader->read(1, 2, osg::Vec3d(1, 1, 1));
    EXPECT_EQ((*chunk.positions)[0], osg::Vec3(-5, 4, 5));
    EXPECT_EQ((*chunk.colours)[1], osg::Vec4ub(70, 80, 255, 255));
    EXPECT_EQ(reader->coordinates(0), osg::Vec3d(1.5, 2.5, 3.5));
  }
}

TEST_F(AscReaderTest, sevenColumnsHoldAnIntensityBeforeTheColour) {
  const auto reader = _open("1 2 3 900 10 20 30\n4 5 6 901 40 50 60\n");
  const PointChunk chunk = readAll(*reader);
  EXPECT_THAT(*chunk.intensities, ElementsAre(900, 901));
  EXPECT_EQ((*chunk.colours)[1], osg::Vec4ub(40, 50, 60, 255));
}

TEST_F(AscReaderTest, columnsAfterTheColourAreIgnored) {
  const auto reader = _open("1 2 3 10 20 30 0.5 -0.5 0 scan7\n4 5 6 40 50 60 0.5 0.5 1 scan7\n");
  EXPECT_FALSE(reader->info().hasIntensity);
  EXPECT_EQ((*readAll(*reader).colours)[1], osg::Vec4ub(40, 50, 60, 255));
}

TEST_F(AscReaderTest, normalsInPlaceOfAColourAreIgnored) {
  const auto reader = _open("1 2 3 0.6 0.8 0\n4 5 6 -0.6 0 0.8\n");
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(255, 255, 255, 255));
}

TEST_F(AscReaderTest, colourColumnsOfOnlyZeroAndOneAreIgnored) {
  const auto reader = _open("1 2 3 0 0 1\n4 5 6 1 0 0\n");
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(255, 255, 255, 255));
}

TEST_F(AscReaderTest, coloursFromZeroToOneAreFractions) {
  const auto reader = _open("1 2 3 0.5 0 1\n4 5 6 1 0.25 0\n");
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(128, 0, 255, 255));
}

TEST_F(AscReaderTest, oneColourThatIsNotFiniteLeavesTheOthers) {
  const auto reader = _open("1 2 3 nan nan nan\n4 5 6 10 20 30\n");
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[0], osg::Vec4ub(255, 255, 255, 255));
  EXPECT_EQ((*readAll(*reader).colours)[1], osg::Vec4ub(10, 20, 30, 255));
}

TEST_F(AscReaderTest, columnsAreSeparatedBySpacesTabsCommasOrSemicolons) {
  for (const char* text : {"7 8 9\n1 2.5 -3\n", "7\t8\t9\n1\t2.5\t-3\n", "7,8,9\n1,2.5,-3\n", "7;8;9\r\n1;2.5;-3\r\n",
                           "  7, 8, 9\n  1,  2.5, -3  \n"}) {
    SCOPED_TRACE(text);
    const auto reader = _open(text);
    EXPECT_EQ(reader->info().pointCount, 2U);
    EXPECT_EQ(reader->coordinates(1), osg::Vec3d(1, 2.5, -3));
  }
}

TEST_F(AscReaderTest, commentsAndEmptyLinesAreSkipped) {
  const auto reader = _open("# made by hand\n\n//X Y Z\n1 2 3\n   \t\n  # and more\n4 5 6\n\n// the end");
  ASSERT_EQ(reader->info().pointCount, 2U);
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(1, 2, 3));
  EXPECT_EQ(reader->coordinates(1), osg::Vec3d(4, 5, 6));
}

TEST_F(AscReaderTest, aFirstLineOfColumnNamesOrWithACountIsSkipped) {
  for (const char* heading : {"x y z\n", "\"X\",\"Y\",\"Z\"\n", "2\n", "# a comment\n\nEasting;Northing;Height\n"}) {
    const auto reader = _open(heading + std::string("1 2 3\n4 5 6\n"));
    ASSERT_EQ(reader->info().pointCount, 2U) << heading;
    EXPECT_EQ(reader->coordinates(0), osg::Vec3d(1, 2, 3));
  }
}

TEST_F(AscReaderTest, numbersTooSmallForADoubleAreZero) {
  const auto reader = _open("1e-400 -0.5e-9999999999999999999999 0." + std::string(400, '0') + "1\n1 5e-324 3\n");
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d());
  EXPECT_EQ(reader->coordinates(1).y(), std::numeric_limits<double>::denorm_min());
}

TEST_F(AscReaderTest, aSeparatorAfterTheLastColumnIsIgnored) {
  const auto reader = _open("1;2;3;70;\n4;5;6;80;\n");
  EXPECT_THAT(*readAll(*reader).intensities, ElementsAre(70, 80));
}

TEST_F(AscReaderTest, anEndOfFileCharacterAtTheVeryEndIsIgnored) {
  for (const char* text : {"1 2 3\n4 5 6\n\x1A", "1 2 3\n4 5 6\x1A"}) {
    const auto reader = _open(text);
    ASSERT_EQ(reader->info().pointCount, 2U);
    EXPECT_EQ(reader->coordinates(1), osg::Vec3d(4, 5, 6));
  }
}

TEST_F(AscReaderTest, aByteOrderMarkDoesNotHideTheFirstPoint) {
  EXPECT_EQ(_open("\xEF\xBB\xBF"
                  "1 2 3\n4 5 6\n")
                ->coordinates(0),
            osg::Vec3d(1, 2, 3));
}

TEST_F(AscReaderTest, georeferencedCoordinatesKeepTheirMillimetres) {
  const auto reader = _open("412345.678 9999999.001 87.125\n412345.679 9999999.002 87.126\n");
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(412345.678, 9999999.001, 87.125));
  EXPECT_EQ(reader->coordinates(1), osg::Vec3d(412345.679, 9999999.002, 87.126));
  const PointChunk chunk = readAll(*reader);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_NEAR((*chunk.positions)[1][axis] - (*chunk.positions)[0][axis], 0.001, 1e-6);
  }
}

TEST_F(AscReaderTest, theLocaleDoesNotChangeTheDecimalPoint) {
  constexpr std::array<const char*, 3> kGerman = {"de_DE.UTF-8", "de_DE", "German"};
  if (std::none_of(kGerman.begin(), kGerman.end(), [](const char* name) { return std::setlocale(LC_NUMERIC, name); })) {
    GTEST_SKIP() << "this machine has no German locale";
  }
  const auto reader = _open("1.5 2.5 3.5\n");
  std::setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(1.5, 2.5, 3.5));
}

TEST_F(AscReaderTest, aMissingMeasurementIsAPointOutsideTheBounds) {
  const auto reader = _open("1 2 3\nnan nan nan\n4 5 6\n");
  EXPECT_EQ(reader->info().pointCount, 3U);
  EXPECT_EQ(reader->read(0, 3, osg::Vec3d()).bounds._max, osg::Vec3(4, 5, 6));
}

constexpr unsigned kManyPoints = 50000;

/// With comments in between, so that the number of a point is not that of its line.
std::string manyPoints() {
  std::string text;
  for (unsigned index = 0; index < kManyPoints; ++index) {
    if (index % 1000 == 7) {
      text += "# comment\n";
    }
    text += std::to_string(index) + " 0.5 " + std::to_string(index % 9) + "\n";
  }
  return text;
}

TEST_F(AscReaderTest, aFileOfManyPointsIsReadFromAnyOfThem) {
  const auto reader = _open(manyPoints());
  ASSERT_EQ(reader->info().pointCount, kManyPoints);
  EXPECT_EQ(reader->info().origin.y(), 1);
  EXPECT_NEAR(reader->info().origin.x(), kManyPoints / 2.0, kManyPoints / 100.0);
  EXPECT_GT(reader->entryPoints(), 1U);
  EXPECT_LT(reader->entryPoints(), kManyPoints / 2);
  const auto other = reader->clone();
  for (const unsigned index : {49999U, 0U, 16384U, 16383U, 1007U, 32768U, 32769U}) {
    EXPECT_EQ(reader->coordinates(index), osg::Vec3d(index, 0.5, index % 9));
    EXPECT_EQ(other->coordinates(index), osg::Vec3d(index, 0.5, index % 9));
  }
}

TEST_F(AscReaderTest, chunksReadTheSameAsAllPointsAtOnce) {
  const auto reader = _open(manyPoints());
  const PointChunk whole = readAll(*reader);
  for (unsigned first = 0; first < kManyPoints; first += 9001) {
    const unsigned count = std::min(9001U, kManyPoints - first);
    const PointChunk part = reader->read(first, count, reader->info().origin);
    ASSERT_TRUE(std::equal(part.positions->begin(), part.positions->end(), whole.positions->begin() + first));
  }
  QuorViewer::ChunkBuilder builder = reader->startChunk({11, 70, 700}, reader->info().origin);
  reader->decode({11, 700, 70}, builder);
  const PointChunk run = builder.finish();
  for (unsigned place = 0; place < 70; ++place) {
    ASSERT_EQ((*run.positions)[place], (*whole.positions)[11 + place * 700]);
  }
}

TEST_F(AscReaderTest, aFileThatShrinksWhileItIsOpenIsAnError) {
  const std::string text = manyPoints();
  const auto reader = _open(text)->clone();
  std::filesystem::resize_file(_folder.path("scan.asc"), text.size() / 2);
  EXPECT_EQ(reader->coordinates(0), osg::Vec3d(0, 0.5, 0));
  EXPECT_THAT(messageOf([&] { reader->read(0, kManyPoints, osg::Vec3d()); }),
              HasSubstr("the file was truncated while it was being read, at byte " + std::to_string(text.size() / 2)));
}

std::string repeated(const std::string& text, unsigned times) {
  std::string all;
  for (unsigned time = 0; time < times; ++time) {
    all += text;
  }
  return all;
}

class DamagedAsc : public testing::TestWithParam<DamagedText> {
 protected:
  Folder _folder;
};

TEST_P(DamagedAsc, isRefusedWithTheLineThatIsWrong) {
  const std::string path = _folder.write("damaged.asc", GetParam().content);
  EXPECT_EQ(refusalOf(path), path + ": " + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DamagedAsc,
    testing::Values(
        DamagedText{"words", "1 2 3\nhello there you\n", "not a number, in line 2, at byte 6: \"hello\" found"},
        DamagedText{"wordAmongNumbers", "1 2 three\n", "not a number, in line 1, at byte 0: \"three\" found"},
        DamagedText{"letterInTheFirstNumber", "1O.5 2 3\n4 5 6\n",
                    "not a number, in line 1, at byte 0: \"1O.5\" found"},
        DamagedText{"hexadecimal", "0x10 0x20 0x30\n4 5 6\n", "not a number, in line 1, at byte 0: \"0x10\" found"},
        DamagedText{"tooLarge", "1e400 2 3\n4 5 6\n",
                    "a number is out of range, in line 1, at byte 0: \"1e400\" found"},
        DamagedText{"tooManyDigits", "1 2 3\n-1" + std::string(400, '0') + " 5 6\n",
                    "a number is out of range, in line 2, at byte 6: \"-1" + std::string(38, '0') + "\" found"},
        DamagedText{"twoSigns", "1 2 3\n+-1 5 6\n", "not a number, in line 2, at byte 6: \"+-1\" found"},
        DamagedText{"nameBeforeNumbers", "x 2 3\n4 5 6\n", "not a number, in line 1, at byte 0: \"x\" found"},
        DamagedText{"oldLineEnds", "1 2 3\r4 5 6\r7 8 9\r",
                    "a carriage return inside a line: lines must end with a line feed, or with both, in line 1, at "
                    "byte 5"},
        DamagedText{"manyOldLineEnds", "# a comment\n" + repeated("1 2 3\r", 20000),
                    "a carriage return inside a line: lines must end with a line feed, or with both, in line 2, at "
                    "byte 17"},
        DamagedText{"decimalCommas", "1,5;2,5;3,5\n",
                    "decimal commas are not supported, in line 1, at byte 0: both semicolons and commas found"},
        DamagedText{"emptyColumn", "1 2 3 4\n1,,3,4\n", "empty column, in line 2, at byte 8: column 2 has no value"},
        DamagedText{"emptyFirstColumn", ";1;2;3\n", "empty column, in line 1, at byte 0: column 1 has no value"},
        DamagedText{"emptyColumnAtTheEnd", "1,2,3,,\n", "empty column, in line 1, at byte 0: column 4 has no value"},
        DamagedText{"controlCharacters", "1 2 3\n\x1B[2J\x7F\xFF\xC2\x9B\xC3\xA4 5 6\n",
                    "not a number, in line 2, at byte 6: \"\\x1b[2J\\x7f\\xff\\xc2\\x9b\xC3\xA4\" found"},
        DamagedText{"zeroByte", std::string("1 2 3\n4 5 6\0\n", 13),
                    "not a number, in line 2, at byte 6: \"6\\x00\" found"},
        DamagedText{"endOfFileCharacterInside", "1 2 3\n\x1A\n4 5 6\n",
                    "not a number, in line 2, at byte 6: \"\\x1a\" found"},
        DamagedText{"utf16",
                    std::string("\xFF\xFE"
                                "1\0 \0",
                                6),
                    "UTF-16 text is not supported: the file begins with its byte order mark"},
        DamagedText{"utf16BigEndian",
                    std::string("\xFE\xFF"
                                "\0"
                                "1\0 ",
                                6),
                    "UTF-16 text is not supported: the file begins with its byte order mark"},
        DamagedText{"twoNumbers", "1 2\n", "at least x, y and z expected, in line 1, at byte 0: 2 columns found"},
        DamagedText{"columnMissing", "1 2 3\n# ok\n4 5\n",
                    "the number of columns changes, in line 3, at byte 11: 2 found, 3 in line 1"},
        DamagedText{"columnTooMany", "x y z\n1 2 3\n4 5 6 7\n",
                    "the number of columns changes, in line 3, at byte 12: 4 found, 3 in line 2"},
        DamagedText{"colourCutOff", "1 2 3 4 5 6\n1 2 3 4 5",
                    "the number of columns changes, in line 2, at byte 12: 5 found, 6 in line 1"},
        DamagedText{"twoHeadings", "some\nmore\n1 2 3\n",
                    "at least x, y and z expected, in line 2, at byte 5: 1 columns found"},
        DamagedText{"onlyComments", "# nothing\n\n", "no line contains a point: at least x, y and z expected"},
        DamagedText{"onlyAHeading", "x y z\n", "no line contains a point: at least x, y and z expected"},
        DamagedText{"endlessLine", "1 2 3\n" + std::string(70000, '1') + "\n",
                    "a line is longer than 65536 bytes, in line 2, at byte 6"}),
    textName);

TEST_F(AscReaderTest, aFileOfArbitraryBytesIsEitherReadOrRefused) {
  std::mt19937 random(20240302);
  ScanBytes::Bytes text;
  text.addText("//X Y Z I R G B\n1 2 3 4 5 6 7\n1.5;2.5;3.5;4;5;6;7\n-1e3 2e-3 3 4 5 6 7\n");
  unsigned opened = 0;
  constexpr unsigned rounds = 2000;
  for (unsigned round = 0; round < rounds; ++round) {
    ScanBytes::Bytes bytes = text;
    flipBytes(bytes, 0, bytes.size(), random);
    openAndRead(_folder.write("mutant.asc", bytes), opened);
  }
  EXPECT_GT(opened, rounds / 20);
  EXPECT_LT(opened, rounds);
}

}  // namespace
