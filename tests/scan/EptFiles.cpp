#include "tests/scan/EptFiles.h"

#include "tests/scan/LazFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace QuorTests {
namespace {

namespace fs = std::filesystem;

using QuorViewer::NodeKey;
using ScanBytes::FileSettings;

std::string nameOf(const NodeKey& key) {
  std::ostringstream name;
  name << key.level << '-' << key.x << '-' << key.y << '-' << key.z;
  return name.str();
}

std::string description(const FileSettings& settings, const std::vector<TreeFileNode>& nodes) {
  const QuorViewer::RootCube cube = treeCube(settings);
  const osg::Vec3d greatest = cube.least + osg::Vec3d(cube.size, cube.size, cube.size);
  std::size_t count = 0;
  for (const TreeFileNode& node : nodes) {
    count += node.points.size();
  }
  std::ostringstream text;
  text.precision(17);
  const auto box = [&](double margin) {
    text << '[' << cube.least.x() + margin << ", " << cube.least.y() + margin << ", " << cube.least.z() + margin << ", "
         << greatest.x() - margin << ", " << greatest.y() - margin << ", " << greatest.z() - margin << "],\n";
  };
  text << "{\n\"bounds\": ";
  box(0.0);
  text << "\"boundsConforming\": ";
  box(kTreeStep);
  text << "\"dataType\": \"laszip\",\n\"hierarchyType\": \"json\",\n\"points\": " << count
       << ",\n\"schema\": [],\n\"span\": 128,\n\"srs\": {\"authority\": \"EPSG\", \"horizontal\": \"2056\", \"wkt\": "
          "\"PROJCS[\\\"CH1903+ / LV95\\\",UNIT[\\\"metre\\\",1]]\"},\n\"version\": \"1.0.0\"\n}\n";
  return text.str();
}

/// The nodes of each page, and the first key of the next one, in the form of JSON.
std::map<unsigned, std::string> pagesOf(const std::vector<TreeFileNode>& nodes) {
  std::map<unsigned, std::string> pages;
  for (const TreeFileNode& node : nodes) {
    std::string& page = pages[node.page];
    page += (page.empty() ? "{\n\"" : ",\n\"") + nameOf(node.key) + "\": " + std::to_string(node.points.size());
  }
  return pages;
}

NodeKey firstKeyOf(const std::vector<TreeFileNode>& nodes, unsigned page) {
  NodeKey first{~0U};
  for (const TreeFileNode& node : nodes) {
    first = node.page == page ? std::min(first, node.key) : first;
  }
  return first;
}

void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

void writePages(const std::string& folder, const std::vector<TreeFileNode>& nodes) {
  const std::map<unsigned, std::string> pages = pagesOf(nodes);
  for (const auto& [number, page] : pages) {
    const std::string next =
        pages.count(number + 1) > 0 ? ",\n\"" + nameOf(firstKeyOf(nodes, number + 1)) + "\": -1" : std::string();
    writeText(eptFile(folder, "ept-hierarchy/" + nameOf(firstKeyOf(nodes, number)) + ".json"), page + next + "\n}\n");
  }
}

}  // namespace

std::vector<TreeFileNode> sampleTiles(unsigned format) {
  std::vector<TreeFileNode> nodes = sampleTree(format);
  for (TreeFileNode& node : nodes) {
    if (node.points.empty()) {
      node.points = pointsInNode(node.key, 3, format, 31);
    }
  }
  return nodes;
}

std::string writeEpt(const ScanBytes::Folder& folder, const FileSettings& settings,
                     const std::vector<TreeFileNode>& nodes) {
  const std::string path = folder.path("ept");
  fs::remove_all(path);
  fs::create_directories(eptFile(path, "ept-data"));
  fs::create_directories(eptFile(path, "ept-hierarchy"));
  writeText(eptFile(path, "ept.json"), description(settings, nodes));
  writePages(path, nodes);
  for (const TreeFileNode& node : nodes) {
    writeLaz(eptFile(path, "ept-data/" + nameOf(node.key) + ".laz"), settings, node.points, 100);
  }
  return path;
}

std::string eptFile(const std::string& folder, const std::string& name) {
  return (fs::path(folder) / fs::path(name)).make_preferred().string();
}

}  // namespace QuorTests
