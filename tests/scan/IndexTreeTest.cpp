#include "scan/edit/LasWriter.h"
#include "scan/index/IndexBuilder.h"
#include "scan/index/IndexTree.h"
#include "tests/scan/MessageOf.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace QuorViewer;
using testing::AllOf;
using testing::HasSubstr;

constexpr std::size_t kIndexHeaderBytes = 256;

/// A finished index file and what its reader does with damage.
class IndexTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    std::vector<ScanBytes::Point> points = ScanBytes::variedPoints(40000, 7);
    const std::string scan = _folder.write("scan.las", ScanBytes::file({4, 7}, points));
    IndexFileSink sink(_path);
    IndexSettings settings;
    settings.temporaryPath = _folder.path("temporary");
    IndexProgress progress;
    buildIndex(*ScanReader::open(scan), _identity, sink, settings, progress);
    std::ifstream file(_path, std::ios::binary);
    _bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }

  /// Opens the file and reads all points. The error's text, or "no error".
  std::string readWhole() const {
    return ReaderSupport::messageOf([this] {
      const auto tree = IndexTree::open(_path);
      tree->sample();
      for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
        tree->read(node);
      }
    });
  }
  void write(const std::vector<unsigned char>& bytes) { _folder.write("scan.index", bytes); }

  ScanBytes::Folder _folder;
  std::string _path = _folder.path("scan.index");
  const IndexedScan _identity = {"/scans/scan.las", 123456789, -42, 40000};
  std::vector<unsigned char> _bytes;
};

TEST_F(IndexTreeTest, aFinishedIndexKnowsItsScanAndIsAloneInItsFolder) {
  const auto tree = IndexTree::open(_path);
  EXPECT_TRUE(tree->scan() == _identity);
  EXPECT_EQ(tree->summary().points, 40000U);
  EXPECT_TRUE(tree->summary().anyIntensity);
  EXPECT_TRUE(tree->summary().anyColour);
  EXPECT_EQ(tree->summary().classes.count(), 256U);
  EXPECT_EQ(readWhole(), "no error");
  const auto files = std::filesystem::directory_iterator(_folder.path("."));
  EXPECT_EQ(std::distance(begin(files), end(files)), 2) << "the scan and its index, no temporary file";
}

TEST_F(IndexTreeTest, theSampleIsEveryNthRecordOfTheScan) {
  const NodePoints sample = IndexTree::open(_path)->sample();
  ASSERT_EQ(sample.records->size(), 2500U);
  for (unsigned int i = 0; i < 2500; ++i) {
    EXPECT_EQ((*sample.records)[i], 16 * i);
  }
}

TEST_F(IndexTreeTest, aCopyForAnotherThreadOutlivesTheOriginal) {
  auto tree = IndexTree::open(_path);
  const NodePoints expected = tree->read(0);
  const std::unique_ptr<PointTree> copy = tree->clone();
  tree.reset();
  EXPECT_EQ(copy->read(0).records->asVector(), expected.records->asVector());
}

TEST_F(IndexTreeTest, onlyAnIndexInMemoryHoldsItsPoints) {
  MemoryIndex index;
  index.append(_bytes);
  EXPECT_EQ(IndexTree(index.bytes()).heldBytes(), _bytes.size());
  EXPECT_EQ(IndexTree::open(_path)->heldBytes(), 0U);
}

TEST_F(IndexTreeTest, eachChangedByteIsNoticed) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::vector<unsigned char> damaged = _bytes;
    const std::size_t place = round < 100 ? random() % kIndexHeaderBytes : random() % damaged.size();
    damaged[place] = static_cast<unsigned char>(damaged[place] ^ (1U << random() % 8));
    write(damaged);
    EXPECT_THAT(readWhole(), AllOf(HasSubstr("scan.index: the index is damaged: "), HasSubstr("byte"))) << place;
  }
}

TEST_F(IndexTreeTest, aTruncatedIndexIsRefused) {
  for (const std::size_t length :
       {std::size_t{1}, kIndexHeaderBytes - 1, kIndexHeaderBytes, _bytes.size() / 2, _bytes.size() - 1}) {
    write({_bytes.begin(), _bytes.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_THAT(readWhole(), HasSubstr("truncated at byte " + std::to_string(length)));
  }
}

TEST_F(IndexTreeTest, anotherVersionIsRefused) {
  _bytes[8] = 2;
  write(_bytes);
  EXPECT_THAT(readWhole(), HasSubstr("version 2 at byte 8, not 1"));
}

TEST_F(IndexTreeTest, withoutItsEndNothingWithTheNameOfTheIndexRemains) {
  const std::string path = _folder.path("unfinished.index");
  {
    IndexFileSink sink(path);
    sink.append({1, 2, 3});
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  const auto files = std::filesystem::directory_iterator(_folder.path("."));
  EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

TEST_F(IndexTreeTest, whereNothingCanBeWrittenTheFileIsNamed) {
  const std::string path = _folder.path("missing/scan.index");
  EXPECT_THAT(ReaderSupport::messageOf<ScanWriteError>([&] { IndexFileSink sink(path); }),
              HasSubstr("cannot create the file"));
}

TEST_F(IndexTreeTest, theIndexIsSmallerThanSixTenthsOfTheScan) {
  EXPECT_LE(_bytes.size(), std::filesystem::file_size(_folder.path("scan.las")) * 6 / 10);
}

}  // namespace
