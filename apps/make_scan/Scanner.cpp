#include "make_scan/Scanner.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr double kTripodMetres = 1.9;
constexpr double kFlightMetres = 420.0;
constexpr double kRangeMostMetres = 600.0;
constexpr double kLowestTurns = -52.0 / 360.0;  // the tripod is below
constexpr double kHighestTurns = 58.0 / 360.0;
constexpr double kShareBelowHorizon = 0.62;
constexpr double kHalfSwathTurns = 17.0 / 360.0;
constexpr double kElbowRoomMetres = 1.2;
constexpr double kEchoesApartMetres = 0.4;  // the receiver cannot separate closer ones

const std::array<osg::Vec2d, 8> kChosenPlaces = {{{24.0, 40.0},
                                                  {-4.4, -46.0},
                                                  {-62.0, 1.0},
                                                  {58.0, 8.0},
                                                  {-30.0, -76.0},
                                                  {-60.0, 95.0},
                                                  {110.0, 40.0},
                                                  {60.0, -60.0}}};

bool isClear(const Town& town, const osg::Vec2d& place, double eyeLevel) {
  const osg::Vec3d eye(place.x(), place.y(), town.terrain().height(place.x(), place.y()) + eyeLevel);
  return town.distanceToSurface(eye) > kElbowRoomMetres;
}

// The chosen places first, then random ones on streets, each shifted at random until there is room for a tripod.
std::vector<osg::Vec3d> tripods(const Town& town, unsigned count) {
  std::vector<osg::Vec3d> result;
  Dice dice(77);
  while (result.size() < count) {
    osg::Vec2d place = result.size() < kChosenPlaces.size() ? kChosenPlaces[result.size()] : osg::Vec2d();
    if (result.size() >= kChosenPlaces.size()) {
      const Street& street = streets()[dice.below(streets().size())];
      const double along = dice.between(20.0, street.length() - 20.0);
      place = street.at(along, dice.between(-1.0, 1.0) * street.halfWidth);
    }
    while (!isClear(town, place, kTripodMetres)) {
      place += osg::Vec2d{dice.between(-1.0, 1.0), dice.between(-1.0, 1.0)};
    }
    result.emplace_back(place.x(), place.y(), town.terrain().height(place.x(), place.y()) + kTripodMetres);
  }
  return result;
}

std::vector<osg::Vec3d> flightLines(unsigned count) {
  std::vector<osg::Vec3d> result;
  for (unsigned line = 0; line < count; ++line) {
    const double share = (line + 0.5) / count;
    result.emplace_back((2.0 * share - 1.0) * Terrain::kHalfSizeMetres, 0.0, kFlightMetres);
  }
  return result;
}

}  // namespace

Scanner::Scanner(const Town& town, const Survey& survey)
    : _town(town),
      _survey(survey),
      _positions(survey.airborne ? flightLines(survey.stations) : tripods(town, survey.stations)) {}

// The additive recurrence in the plane whose steps are powers of the inverse of the root of x³ = x + 1: it fills the
// square evenly, however many of its points are taken. The 64-bit integers wrap around as intended.
Scanner::Spread Scanner::_spread(unsigned sector, std::uint64_t number) const {
  const std::uint64_t start = scrambled(_survey.seed, sector);
  return {toUnit(start + number * 0xC13FA9A902A6328FULL), toUnit(scrambled(start) + number * 0x91E10DA5C79E7B1DULL)};
}

// Most pulses go out near the horizon, where a metre of ground or wall subtends the smallest angle.
double Scanner::_angleTurns(double along) const {
  if (along < kShareBelowHorizon) {
    const double down = 1.0 - along / kShareBelowHorizon;
    return kLowestTurns * down * down;
  }
  const double up = (along - kShareBelowHorizon) / (1.0 - kShareBelowHorizon);
  return kHighestTurns * up * up;
}

Ray Scanner::pulse(unsigned sector, std::uint64_t number) const {
  const Spread spread = _spread(sector, number);
  const osg::Vec3d& position = _positions[stationOf(sector)];
  const double share = (sector % kSectorsPerStation + spread.across) / kSectorsPerStation;
  if (_survey.airborne) {
    const double aside = (2.0 * spread.along - 1.0) * kHalfSwathTurns;
    const double north = (2.0 * share - 1.0) * Terrain::kHalfSizeMetres;
    return {{position.x(), north, position.z()}, {sineOfTurns(aside), 0.0, -cosineOfTurns(aside)}};
  }
  const double up = _angleTurns(spread.along);
  const double level = cosineOfTurns(up);
  return {position, {level * cosineOfTurns(share), level * sineOfTurns(share), sineOfTurns(up)}};
}

// Where in the leaves the pulse is returned; some pulses get deep into them. Nothing if the pulse leaves them first.
std::optional<double> Scanner::_leafDepth(const Thicket& thicket, std::uint64_t chance) const {
  constexpr double kTypicalMetres = 0.7;
  const double draw = toUnit(chance);
  const double depth = kTypicalMetres * draw / (1.03 - draw);
  if (depth >= thicket.passage.leave - thicket.passage.enter) {
    return std::nullopt;
  }
  return thicket.passage.enter + depth;
}

void Scanner::_addReturn(Echo& echo, const Ray& ray, const Hit& hit, double strength) const {
  const Appearance look = appearance(_town, hit);
  const double facing = 0.35 + 0.65 * std::abs(hit.normal * ray.direction);
  const double range = _survey.airborne ? 1.0 : 1.0 / (1.0 + hit.t * hit.t / 22500.0);
  echo.returns[echo.count++] = {hit, look, look.reflectance * facing * range * strength};
}

// True if the pulse ended in the leaves.
bool Scanner::_addLeaves(Echo& echo, const Ray& ray, const Sight& sight, std::uint64_t chance) const {
  constexpr double kEndingShare = 0.55;
  const double opaque = sight.opaque ? sight.opaque->t : kRangeMostMetres;
  double last = 0.0;
  for (std::size_t place = 0; place < sight.thicketCount && echo.count + 1 < Echo::kReturnsMost; ++place) {
    chance = scrambled(chance);
    const std::optional<double> depth = _leafDepth(sight.thickets[place], chance);
    if (!depth || *depth >= opaque || *depth < last + kEchoesApartMetres) {
      continue;
    }
    last = *depth;
    const double strength = echo.count == 0 ? 1.0 : 0.5;
    _addReturn(echo, ray, _town.leafHit(ray, sight.thickets[place], *depth), strength);
    if (toUnit(scrambled(chance, 1)) < kEndingShare) {
      return true;
    }
  }
  return false;
}

// The laser's spot has a width: at an edge, a part of it continues and returns from farther away.
void Scanner::_addEdge(Echo& echo, const Ray& ray, std::uint64_t chance) const {
  constexpr double kDivergence = 0.0012;
  constexpr double kApartMetres = 1.0;
  const double turn = toUnit(scrambled(chance, 2));
  const osg::Vec3d aside = ray.direction ^ osg::Vec3d(cosineOfTurns(turn), sineOfTurns(turn), 0.31);
  Ray beside{ray.start, ray.direction + aside * kDivergence};
  beside.direction.normalize();
  const std::optional<Hit> hit = _town.trace(beside);
  if (hit && hit->t < kRangeMostMetres && hit->t > echo.returns[echo.count - 1].hit.t + kApartMetres) {
    _addReturn(echo, beside, *hit, 0.4);
  }
}

Echo Scanner::echo(unsigned sector, std::uint64_t number) const {
  constexpr std::uint64_t kPulsesPerEdgeTest = 8;
  const Ray ray = pulse(sector, number);
  const Sight sight = _town.sight(ray);
  const std::uint64_t chance = scrambled(scrambled(_survey.seed ^ 0x5EEDULL, sector), number);
  Echo echo;
  echo.scanAngleDegrees = 360.0 * (_survey.airborne ? (2.0 * _spread(sector, number).along - 1.0) * kHalfSwathTurns
                                                    : _angleTurns(_spread(sector, number).along));
  const bool ended = _addLeaves(echo, ray, sight, chance);
  if (ended || !sight.opaque || sight.opaque->t > kRangeMostMetres) {
    return echo;
  }
  if (echo.count > 0 && sight.opaque->t < echo.returns[echo.count - 1].hit.t + kEchoesApartMetres) {
    return echo;
  }
  _addReturn(echo, ray, *sight.opaque, echo.count == 0 ? 1.0 : 0.6);
  if (echo.count < Echo::kReturnsMost && chance % kPulsesPerEdgeTest == 0) {
    _addEdge(echo, ray, chance);
  }
  return echo;
}

}  // namespace QuorViewer
