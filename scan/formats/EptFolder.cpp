#include "scan/formats/EptFolder.h"

#include "scan/ParseNumber.h"
#include "scan/formats/JsonFile.h"
#include "scan/formats/Quoted.h"
#include "scan/formats/Wkt.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <set>
#include <utility>

namespace QuorViewer {

namespace {

using Json = nlohmann::json;

constexpr const char* kDescription = "ept.json";
constexpr std::uint64_t kMostTilePoints = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kFurtherPage = -1;  // as the number of points

std::string within(const std::string& folder, const char* subfolder, const std::string& name) {
  return fromPath(toPath(folder) / subfolder / name);
}

std::string tilePath(const std::string& folder, const NodeKey& key) {
  return within(folder, "ept-data", textOf(key) + ".laz");
}

/// The folder of a path that `isEpt` accepts, without a separator at its end.
std::string folderOf(const std::string& path) {
  std::filesystem::path place = toPath(path);
  if (!place.has_filename() || place.filename() == kDescription) {
    place = place.parent_path();
  }
  return place.empty() ? "." : fromPath(place);
}

std::optional<NodeKey> parseKey(std::string_view name) {
  std::array<std::uint32_t, 4> numbers{};
  std::string_view left = name;
  for (std::uint32_t& number : numbers) {
    const std::string_view digits = left.substr(0, left.find('-'));
    if (parseNumber(digits, number) != std::errc()) {
      return std::nullopt;
    }
    left.remove_prefix(std::min(digits.size() + 1, left.size()));
  }
  const NodeKey key{numbers[0], numbers[1], numbers[2], numbers[3]};
  return textOf(key) == name ? std::optional(key) : std::nullopt;
}

/// Six numbers: the least corner, then the greatest.
osg::BoundingBoxd boxIn(const JsonFile& file, const std::string& field) {
  const Json& numbers = file.at(field);
  if (!numbers.is_array() || numbers.size() != 6 ||
      !std::all_of(numbers.begin(), numbers.end(), [](const Json& one) { return one.is_number(); })) {
    throw file.error(field, "6 numbers expected");
  }
  const auto number = [&](std::size_t place) { return numbers[place].get<double>(); };
  return {number(0), number(1), number(2), number(3), number(4), number(5)};
}

std::string textIn(const Json& object, const char* field) {
  const auto found = object.find(field);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// The file ept.json.
class Description {
 public:
  explicit Description(const std::string& folder) : _file(fromPath(toPath(folder) / kDescription)) {}

  void readInto(EptFolder& to) const {
    _requireText("dataType", "laszip");
    _requireText("hierarchyType", "json");
    to.pointCount = _pointCount();
    to.cube = _cube();
    to.rootSpacing = to.cube.size / _span();
    if (_file.find("boundsConforming") != nullptr) {
      to.bounds = boxIn(_file, "boundsConforming");
    }
    to.coordinateSystem = _coordinateSystem();
  }

  ScanError error(const std::string& what) const { return _file.error(what); }

 private:
  void _requireText(const char* field, const std::string& supported) const {
    if (_file.at(field) != supported) {
      throw _file.error(field, "only \"" + supported + "\" is supported");
    }
  }

  std::uint64_t _pointCount() const {
    const Json& count = _file.at("points");
    if (!count.is_number_unsigned()) {
      throw _file.error("points", "a number of points expected");
    }
    return count.get<std::uint64_t>();
  }

  RootCube _cube() const {
    const osg::BoundingBoxd box = boxIn(_file, "bounds");
    const osg::Vec3d sides = box._max - box._min;
    const RootCube cube{box._min, sides.x()};
    if (const std::string fault = faultOf(cube); !fault.empty()) {
      throw _file.error("bounds", "not a cube: " + fault);
    }
    const double rounding = cube.size * 1e-6;
    if (!(std::abs(sides.y() - cube.size) <= rounding && std::abs(sides.z() - cube.size) <= rounding)) {
      throw _file.error("bounds", "not a cube: its sides differ in length");
    }
    return cube;
  }

  double _span() const {
    const Json& span = _file.at("span");
    if (!span.is_number() || !(span.get<double>() >= 1.0)) {
      throw _file.error("span", "a number of at least 1 expected");
    }
    return span.get<double>();
  }

  CoordinateSystem _coordinateSystem() const {
    const Json* stated = _file.find("srs");
    if (stated == nullptr || !stated->is_object()) {
      return {};
    }
    CoordinateSystem system = coordinateSystemOfWkt(textIn(*stated, "wkt"));
    if (system.epsg == 0 && textIn(*stated, "authority") == "EPSG") {
      parseNumber(textIn(*stated, "horizontal"), system.epsg);
    }
    return system;
  }

  JsonFile _file;
};

/// Reads all pages of the hierarchy.
class Pages {
 public:
  explicit Pages(const std::string& folder) : _folder(folder) {}

  std::vector<RecordNode> run() {
    _refer({});
    while (!_left.empty()) {
      const NodeKey key = _left.back();
      _left.pop_back();
      _read(key);
    }
    return _checkedNodes();
  }

 private:
  struct Node {
    RecordNode tile;
    std::size_t page = 0;  // index in `_paths`
  };

  /// False if something else refers to the same page.
  bool _refer(const NodeKey& key) {
    _left.push_back(key);
    return _referred.insert(key).second;
  }

  void _read(const NodeKey& first) {
    const std::string path = within(_folder, "ept-hierarchy", textOf(first) + ".json");
    const JsonFile page(path);
    _paths.push_back(path);
    for (const auto& [name, count] : page.root().items()) {
      _take(page, name, count);
    }
    if (page.find(textOf(first)) == nullptr) {
      throw page.error("the page lacks its first node " + textOf(first));
    }
  }

  void _take(const JsonFile& page, const std::string& name, const Json& count) {
    const std::optional<NodeKey> key = parseKey(name);
    if (!key) {
      throw page.error(page.placeOf(name) + ", invalid key " + QuorViewer::quoted(name) + ": level-x-y-z expected");
    }
    if (count == kFurtherPage) {
      if (!_refer(*key)) {
        throw page.error(name, "but something else refers to this page");
      }
      return;
    }
    if (!count.is_number_unsigned() || count < 1 || count > kMostTilePoints) {
      throw page.error(
          name, "a number of points from 1 to " + std::to_string(kMostTilePoints) + ", or -1 for a page, expected");
    }
    _nodes.push_back({{*key, count.get<std::uint64_t>(), 0}, _paths.size() - 1});
  }

  std::vector<RecordNode> _checkedNodes() {
    std::stable_sort(_nodes.begin(), _nodes.end(),
                     [](const Node& one, const Node& other) { return one.tile.key < other.tile.key; });
    std::vector<RecordNode> tiles;
    std::uint64_t first = 0;
    for (Node& node : _nodes) {
      node.tile.firstRecord = first;
      first += node.tile.pointCount;
      tiles.push_back(node.tile);
    }
    if (const std::optional<NodeFault> fault = findFault(tiles)) {
      const JsonFile page(_paths[_nodes[fault->node].page]);
      const std::string key = textOf(tiles[fault->node].key);
      throw page.error(page.placeOf(key) + ", invalid node " + key + ": " + fault->reason);
    }
    return tiles;
  }

  const std::string& _folder;
  std::vector<NodeKey> _left;
  std::set<NodeKey> _referred;
  std::vector<std::string> _paths;  // of the pages that were read
  std::vector<Node> _nodes;
};

void requireSum(const Description& description, const EptFolder& folder) {
  const std::uint64_t sum = folder.tiles.back().firstRecord + folder.tiles.back().pointCount;
  if (sum != folder.pointCount) {
    throw description.error("the hierarchy does not match the field \"points\": " + std::to_string(sum) +
                            " points in " + std::to_string(folder.tiles.size()) + " nodes, " +
                            std::to_string(folder.pointCount) + " stated");
  }
}

/// A tile whose own header is plausible and has the number of points that the hierarchy states.
std::pair<ScanFile, CheckedLas> openAnyTile(const std::string& folder, const RecordNode& tile) {
  ScanFile file(tilePath(folder, tile.key));
  constexpr std::string_view kSignature = "LASF";
  const std::vector<unsigned char> begin = file.beginning(kSignature.size());
  if (!std::equal(begin.begin(), begin.end(), kSignature.begin(), kSignature.end())) {
    throw file.error("not a LAZ file, at byte 0 (field \"file signature\"): it does not begin with \"LASF\"");
  }
  CheckedLas las = checkLas(file);
  if (!las.header.compressed()) {
    throw file.error("the points are not compressed, " + lasHeaderPlace(&LasHeader::pointFormat));
  }
  if (las.pointCount != tile.pointCount) {
    const std::string place = las.header.extendedPointCount != 0 ? lasHeaderPlace(&LasHeader::extendedPointCount)
                                                                 : lasHeaderPlace(&LasHeader::legacyPointCount);
    throw file.error("the tile does not match the hierarchy, " + place + ": " + std::to_string(las.pointCount) +
                     " points found, " + std::to_string(tile.pointCount) + " expected");
  }
  return {std::move(file), std::move(las)};
}

template <typename T>
void requireEqual(const ScanFile& file, const LasHeader& tile, const LasHeader& first, T LasHeader::*member) {
  if (tile.*member != first.*member) {
    throw file.error("the tile does not match the first one, " + lasHeaderPlace(member) + ": the values differ");
  }
}

}  // namespace

std::pair<ScanFile, CheckedLas> EptFolder::openTile(const RecordNode& tile) const {
  std::pair<ScanFile, CheckedLas> opened = openAnyTile(path, tile);
  const auto require = [&](auto member) { requireEqual(opened.first, opened.second.header, firstTile.header, member); };
  require(&LasHeader::pointFormat);
  require(&LasHeader::recordLengthBytes);
  require(&LasHeader::scale);
  require(&LasHeader::offset);
  return opened;
}

bool isEpt(const std::string& path) {
  const std::filesystem::path place = toPath(path);
  std::error_code ignored;
  return place.filename() == kDescription || std::filesystem::is_regular_file(place / kDescription, ignored);
}

EptFolder readEptFolder(const std::string& path) {
  EptFolder folder;
  folder.path = folderOf(path);
  const Description description(folder.path);
  description.readInto(folder);
  folder.tiles = Pages(folder.path).run();
  requireSum(description, folder);
  folder.firstTile = openAnyTile(folder.path, folder.tiles.front()).second;
  return folder;
}

}  // namespace QuorViewer
