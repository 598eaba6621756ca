#include "viewer/tour/TourRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace {

using namespace QuorViewer;
using Json = nlohmann::ordered_json;

TourRecord recordOf(const std::optional<TourPick>& pick) {
  TourStepRecord step;
  step.name = "measure";
  step.picture = "03-measure.png";
  step.pointer = {17, 4};
  step.depth = 0.75;
  step.eye = {2230738.84, -7.5, 100.0};
  step.centre = {1.0, 2.0, 3.0};
  step.up = {0.0, 0.0, 1.0};
  step.projection = osg::Matrixd::scale(2.0, 4.0, -0.5);
  step.pick = pick;
  return {{480, 270}, 21932, {step}};
}

Json parsed(const TourRecord& record) {
  return Json::parse(toJson(record));
}

TEST(TourRecordTest, theFileDescribesTheWindowThePointsAndEachStep) {
  const Json json = parsed(recordOf(std::nullopt));
  EXPECT_EQ(json["window"], Json({480, 270}));
  EXPECT_EQ(json["points"], 21932);
  ASSERT_EQ(json["steps"].size(), 1U);
  const Json& step = json["steps"][0];
  EXPECT_EQ(step["name"], "measure");
  EXPECT_EQ(step["picture"], "03-measure.png");
  EXPECT_EQ(step["pointer"], Json({17, 4}));
  EXPECT_EQ(step["depth"], 0.75);
  EXPECT_EQ(step["camera"]["eye"], Json({2230738.84, -7.5, 100.0}));
  EXPECT_EQ(step["camera"]["centre"], Json({1.0, 2.0, 3.0}));
  EXPECT_EQ(step["camera"]["up"], Json({0.0, 0.0, 1.0}));
  EXPECT_EQ(step["camera"]["projection"],
            Json({2.0, 0.0, 0.0, 0.0, 0.0, 4.0, 0.0, 0.0, 0.0, 0.0, -0.5, 0.0, 0.0, 0.0, 0.0, 1.0}));
  EXPECT_TRUE(step["pick"].is_null());
}

TEST(TourRecordTest, fieldsKeepTheirOrder) {
  const std::string text = toJson(recordOf(TourPick{}));
  std::size_t last = 0;
  for (const char* field :
       {"window", "points", "steps", "name", "picture", "pointer", "depth", "camera", "eye", "centre", "up",
        "projection", "pick", "scan", "point", "coordinates", "classification", "intensity"}) {
    const std::size_t next = text.find('"' + std::string(field) + '"', last);
    ASSERT_NE(next, std::string::npos) << field;
    last = next;
  }
}

TEST(TourRecordTest, aPickNamesItsRecord) {
  const Json pick =
      parsed(recordOf(TourPick{"a \"b\" \\ \n.las", 5000000000, {1.5, 2.5, -3.5}, 6, 65535}))["steps"][0]["pick"];
  EXPECT_EQ(pick["scan"], "a \"b\" \\ \n.las");
  EXPECT_EQ(pick["point"], 5000000000);
  EXPECT_EQ(pick["coordinates"], Json({1.5, 2.5, -3.5}));
  EXPECT_EQ(pick["classification"], 6);
  EXPECT_EQ(pick["intensity"], 65535);
}

TEST(TourRecordTest, bytesOfANameThatAreNotUtf8AreReplaced) {
  const Json json = parsed(recordOf(TourPick{"caf\xE9.las", 0, {}, 0, 0}));
  EXPECT_EQ(json["steps"][0]["pick"]["scan"], "caf\xEF\xBF\xBD.las");
}

TEST(TourRecordTest, aNumberThatIsNotFiniteBecomesNull) {
  TourRecord record = recordOf(std::nullopt);
  record.steps[0].depth = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(parsed(record)["steps"][0]["depth"].is_null());
}

}  // namespace
