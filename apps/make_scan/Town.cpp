#include "make_scan/Town.h"

#include "make_scan/Ground.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorViewer {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr std::uint64_t kPlanSeed = 1879;
constexpr double kHalf = Terrain::kHalfSizeMetres;

std::size_t placeOf(int column, int row) {
  return static_cast<std::size_t>(row) * Terrain::kCellsAcross + static_cast<std::size_t>(column);
}

std::vector<Shape> plannedShapes(const Terrain& terrain) {
  Ground ground(terrain);
  Dice dice(kPlanSeed);
  addChurch(ground);
  addHouses(ground, dice);
  addStreetLife(ground, dice);
  addNature(ground, dice);
  return ground.takeShapes();
}

// The part of the ray above the square that the town covers.
Passage overTown(const Ray& ray) {
  Passage inside{0.0, kNever};
  for (int axis = 0; axis < 2; ++axis) {
    const double speed = ray.direction[axis];
    const double start = ray.start[axis];
    if (speed == 0.0) {
      if (std::abs(start) >= kHalf) {
        return {kNever, 0.0};
      }
      continue;
    }
    const double behind = (speed > 0.0 ? -kHalf : kHalf) - start;
    const double ahead = (speed > 0.0 ? kHalf : -kHalf) - start;
    inside.enter = std::max(inside.enter, behind / speed);
    inside.leave = std::min(inside.leave, ahead / speed);
  }
  return inside;
}

}  // namespace

// Follows a ray from cell to cell in plan view, nearest first.
class Town::Walk {
 public:
  Walk(const Town& town, const Ray& ray) : _town(town), _ray(ray) {}

  Sight run() {
    Passage inside = overTown(_ray);
    const double climb = _ray.direction.z();
    const double untilTop = (_town._top - _ray.start.z()) / climb;
    if (climb > 0.0) {
      inside.leave = std::min(inside.leave, untilTop);
    }
    if (climb < 0.0) {
      inside.enter = std::max(inside.enter, untilTop);
    }
    if (inside.enter < inside.leave) {
      _follow(inside);
    }
    _finish();
    return _sight;
  }

 private:
  struct Axis {
    int cell, step;
    double nextBorder, perCell;  // distances along the ray
  };

  Axis _axis(int axis, double enter) const {
    const double speed = _ray.direction[axis];
    const int cell = Terrain::cellOf(_ray.at(enter)[axis]);
    if (speed == 0.0) {
      return {cell, 0, kNever, kNever};
    }
    const int step = speed > 0.0 ? 1 : -1;
    const double border = Terrain::borderOf(cell + (step + 1) / 2);
    return {cell, step, (border - _ray.start[axis]) / speed, Terrain::kCellMetres / std::abs(speed)};
  }

  void _follow(const Passage& inside) {
    Axis x = _axis(0, inside.enter);
    Axis y = _axis(1, inside.enter);
    double enter = inside.enter;
    while (enter < inside.leave && enter < _nearest) {
      const double leave = std::min(std::min(x.nextBorder, y.nextBorder), inside.leave);
      _visit(x.cell, y.cell, {enter, leave});
      enter = leave;
      Axis& crossed = x.nextBorder <= y.nextBorder ? x : y;
      crossed.cell += crossed.step;
      crossed.nextBorder += crossed.perCell;
      if (crossed.cell < 0 || crossed.cell >= Terrain::kCellsAcross) {
        return;
      }
    }
  }

  void _visit(int column, int row, const Passage& stretch) {
    const Cell& cell = _town._cell(column, row);
    const double lowest =
        _ray.start.z() + _ray.direction.z() * (_ray.direction.z() < 0.0 ? stretch.leave : stretch.enter);
    if (lowest <= cell.shapesTop) {
      _visitShapes(cell);
    }
    if (lowest > cell.groundTop) {
      return;
    }
    const std::optional<double> ground = _town._terrain.cross(column, row, _ray, stretch.enter, stretch.leave);
    if (ground && *ground < _nearest) {
      _nearest = *ground;
      _nearestShape = Hit::kTerrain;
    }
  }

  void _visitShapes(const Cell& cell) {
    for (std::uint32_t place = 0; place < cell.shapeCount; ++place) {
      const std::uint32_t index = _town._cellShapes[cell.firstShape + place];
      const Shape& shape = _town._shapes[index];
      if (shape.foliage) {
        _visitFoliage(shape, index);
        continue;
      }
      const std::optional<Touch> met = touch(shape, _ray);
      if (!met || met->t >= _nearest) {
        continue;
      }
      _nearest = met->t;
      _nearestShape = index;
      _touch = *met;
    }
  }

  // A lobe may be in several cells, and is recorded once.
  void _visitFoliage(const Shape& shape, std::uint32_t index) {
    const std::optional<Passage> inside = passage(std::get<Ball>(shape.body), _ray);
    if (!inside || _sight.thicketCount == Sight::kThicketsMost) {
      return;
    }
    for (std::size_t noted = 0; noted < _sight.thicketCount; ++noted) {
      if (_sight.thickets[noted].shape == index) {
        return;
      }
    }
    _sight.thickets[_sight.thicketCount++] = {*inside, index};
  }

  void _finish() {
    std::sort(_sight.thickets.begin(), _sight.thickets.begin() + static_cast<std::ptrdiff_t>(_sight.thicketCount),
              [](const Thicket& a, const Thicket& b) { return a.passage.enter < b.passage.enter; });
    if (_nearest == kNever) {
      return;
    }
    if (_nearestShape == Hit::kTerrain) {
      _sight.opaque = _town._groundHit(_ray, _nearest);
      return;
    }
    const Shape& shape = _town._shapes[_nearestShape];
    _sight.opaque = Hit{_nearest,     _ray.at(_nearest), _touch.normal, _touch.material, shape.classification,
                        Cover::Grass, _nearestShape};
  }

  const Town& _town;
  const Ray& _ray;
  Sight _sight;
  double _nearest = kNever;
  std::uint32_t _nearestShape = Hit::kTerrain;
  Touch _touch{};
};

Town::Town() : _shapes(plannedShapes(_terrain)) {
  _fillCells();
}

void Town::_fillCells() {
  std::vector<std::vector<std::uint32_t>> inCell(static_cast<std::size_t>(Terrain::kCellsAcross) *
                                                 Terrain::kCellsAcross);
  for (std::size_t index = 0; index < _shapes.size(); ++index) {
    const Shape& shape = _shapes[index];
    for (int row = Terrain::cellOf(shape.low.y()); row <= Terrain::cellOf(shape.high.y()); ++row) {
      for (int column = Terrain::cellOf(shape.low.x()); column <= Terrain::cellOf(shape.high.x()); ++column) {
        inCell[placeOf(column, row)].push_back(static_cast<std::uint32_t>(index));
      }
    }
  }
  for (std::size_t place = 0; place < inCell.size(); ++place) {
    const int row = static_cast<int>(place) / Terrain::kCellsAcross;
    Cell cell{static_cast<std::uint32_t>(_cellShapes.size()), static_cast<std::uint32_t>(inCell[place].size()), -kNever,
              _terrain.top(static_cast<int>(place) % Terrain::kCellsAcross, row)};
    for (const std::uint32_t index : inCell[place]) {
      cell.shapesTop = std::max(cell.shapesTop, _shapes[index].high.z());
    }
    _cellShapes.insert(_cellShapes.end(), inCell[place].begin(), inCell[place].end());
    _top = std::max(_top, std::max(cell.shapesTop, cell.groundTop));
    _cells.push_back(cell);
  }
}

const Town::Cell& Town::_cell(int column, int row) const {
  return _cells[placeOf(column, row)];
}

Sight Town::sight(const Ray& ray) const {
  return Walk(*this, ray).run();
}

Hit Town::_groundHit(const Ray& ray, double t) const {
  const osg::Vec3d position = ray.at(t);
  const Cover cover = coverAt({position.x(), position.y()});
  const bool paved = cover == Cover::Asphalt || cover == Cover::Marking;
  return {t,     position,     _terrain.normal(position.x(), position.y()), Material::Ground, paved ? kRoad : kGround,
          cover, Hit::kTerrain};
}

Hit Town::leafHit(const Ray& ray, const Thicket& thicket, double t) const {
  const Shape& shape = _shapes[thicket.shape];
  osg::Vec3d outwards = ray.at(t) - std::get<Ball>(shape.body).centre;
  outwards.normalize();
  return {t, ray.at(t), outwards, shape.material, shape.classification, Cover::Grass, thicket.shape};
}

double Town::distanceToSurface(const osg::Vec3d& point) const {
  double nearest = std::abs(point.z() - _terrain.height(point.x(), point.y()));
  const auto low = [](double coordinate) { return Terrain::cellOf(coordinate - Terrain::kCellMetres); };
  const auto high = [](double coordinate) { return Terrain::cellOf(coordinate + Terrain::kCellMetres); };
  for (int row = low(point.y()); row <= high(point.y()); ++row) {
    for (int column = low(point.x()); column <= high(point.x()); ++column) {
      const Cell& cell = _cell(column, row);
      for (std::uint32_t place = 0; place < cell.shapeCount; ++place) {
        const Shape& shape = _shapes[_cellShapes[cell.firstShape + place]];
        nearest = std::min(nearest, QuorViewer::distanceToSurface(shape, point));
      }
    }
  }
  return nearest;
}

}  // namespace QuorViewer
