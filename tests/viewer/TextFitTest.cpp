#include "viewer/ui/TextFit.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace QuorViewer;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Ten pixels for each character, however many bytes it has.
constexpr float kCharacterPixels = 10.0f;

std::size_t charactersIn(const std::string& utf8) {
  std::size_t count = 0;
  for (const char byte : utf8) {
    count += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
  }
  return count;
}

float widthOf(const std::string& utf8) {
  return kCharacterPixels * static_cast<float>(charactersIn(utf8));
}

std::vector<std::string> fit(const std::string& utf8, int characters, std::size_t mostLines) {
  return fitLines(utf8, kCharacterPixels * static_cast<float>(characters), mostLines, widthOf);
}

std::string path(int folders) {
  std::string path;
  for (int folder = 0; folder < folders; ++folder) {
    path += "/folder" + std::to_string(10 + folder);
  }
  return path + "/scan.las";
}

TEST(TextFitTest, aTextThatFitsIsOneLine) {
  EXPECT_THAT(fit("ten wide..", 10, 3), ElementsAre("ten wide.."));
  EXPECT_THAT(fit("", 10, 3), IsEmpty());
}

TEST(TextFitTest, linesBreakAtTheLastBlankThatFits) {
  EXPECT_THAT(fit("one two three four", 9, 3), ElementsAre("one two", "three", "four"));
  EXPECT_THAT(fit("one two three", 7, 3), ElementsAre("one two", "three"));
}

TEST(TextFitTest, aWideGapIsTheFirstChoiceForABreakAndDisappearsThere) {
  EXPECT_THAT(fit("1.00   2.00   3.00      7 water", 24, 3), ElementsAre("1.00   2.00   3.00", "7 water"));
}

TEST(TextFitTest, aWordThatIsTooWideBreaksAfterASlashAndElseAnywhere) {
  EXPECT_THAT(fit("/home/scans/town.las", 14, 3), ElementsAre("/home/scans/", "town.las"));
  EXPECT_THAT(fit("abcdefghij", 4, 3), ElementsAre("abcd", "efgh", "ij"));
}

TEST(TextFitTest, whatNeedsTooManyLinesLosesTheMiddleOfItsLongestWord) {
  const std::string text = "cannot read " + path(20) + ": no such file";
  const std::vector<std::string> lines = fit(text, 40, 2);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[0], StartsWith("cannot read /folder10"));
  EXPECT_THAT(lines[1], EndsWith("no such file"));
  EXPECT_THAT(lines[0] + lines[1], HasSubstr("\u2026"));
  EXPECT_THAT(lines[0] + lines[1], HasSubstr("scan.las:"));
  EXPECT_GT(charactersIn(lines[0]) + charactersIn(lines[1]), 50U) << "more was removed than necessary";
}

TEST(TextFitTest, everyLineFitsAndNoCharacterIsSplit) {
  std::string chinese;
  for (int repeat = 0; repeat < 30; ++repeat) {
    chinese += "\u70B9\u4E91 ";
  }
  for (const std::string& text : {chinese, path(30), "a " + path(3) + " b " + path(25) + " c", std::string(300, 'x')}) {
    for (int characters = 1; characters < 120; characters += 7) {
      for (std::size_t mostLines = 1; mostLines < 4; ++mostLines) {
        const std::vector<std::string> lines = fit(text, characters, mostLines);
        EXPECT_LE(lines.size(), mostLines);
        for (const std::string& line : lines) {
          EXPECT_LE(charactersIn(line), static_cast<std::size_t>(characters));
          EXPECT_TRUE(line.empty() || (static_cast<unsigned char>(line.front()) & 0xC0U) != 0x80U);
        }
      }
    }
  }
}

TEST(TextFitTest, partsAreDroppedFromTheLeft) {
  const std::string text = "one   \u00B7   two   \u00B7   three";
  EXPECT_EQ(fitParts(text, 250.0f, widthOf), text);
  EXPECT_EQ(fitParts(text, 240.0f, widthOf), "two   \u00B7   three");
  EXPECT_EQ(fitParts(text, 100.0f, widthOf), "three");
  EXPECT_EQ(fitParts(text, 49.0f, widthOf), "");
  EXPECT_EQ(fitParts(text, -5.0f, widthOf), "");
}

}  // namespace
