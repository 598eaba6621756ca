#pragma once

#include "make_scan/Appearance.h"
#include "make_scan/Random.h"
#include "make_scan/Town.h"

#include <array>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// One return of a pulse.
struct Return {
  Hit hit;
  Appearance look;
  double intensity;  ///< 0 to 1
};

/// The returns of a pulse, the nearest first.
struct Echo {
  static constexpr std::size_t kReturnsMost = 5;

  std::array<Return, kReturnsMost> returns;
  std::size_t count = 0;
  double scanAngleDegrees = 0.0;  ///< above the horizon for a station, off the vertical for a flight line
};

/// How the town is scanned.
struct Survey {
  std::uint64_t seed = 1;
  unsigned stations = 4;  ///< tripods, or flight lines
  bool airborne = false;
};

constexpr unsigned kStationsMost = 200;

/// Simulates laser scanners in the town. Every pulse depends only on its numbers and the seed, so any part of a scan
/// can be computed by itself, on any thread. Pulses are grouped into sectors: parts of a station's full rotation, or
/// stretches of a flight line.
class Scanner {
 public:
  static constexpr unsigned kSectorsPerStation = 256;

  Scanner(const Town& town, const Survey& survey);

  unsigned sectorCount() const { return _survey.stations * kSectorsPerStation; }
  static unsigned stationOf(unsigned sector) { return sector / kSectorsPerStation; }

  /// Position of a station's laser; for a flight line, of its middle.
  const osg::Vec3d& position(unsigned station) const { return _positions[station]; }

  /// The ray of a pulse. Pulses with neighbouring numbers are spread evenly over the sector.
  Ray pulse(unsigned sector, std::uint64_t number) const;

  /// The returns of a pulse; none from the sky.
  Echo echo(unsigned sector, std::uint64_t number) const;

 private:
  struct Spread {
    double across, along;
  };

  Spread _spread(unsigned sector, std::uint64_t number) const;
  double _angleTurns(double along) const;
  std::optional<double> _leafDepth(const Thicket& thicket, std::uint64_t chance) const;
  void _addReturn(Echo& echo, const Ray& ray, const Hit& hit, double strength) const;
  bool _addLeaves(Echo& echo, const Ray& ray, const Sight& sight, std::uint64_t chance) const;
  void _addEdge(Echo& echo, const Ray& ray, std::uint64_t chance) const;

  const Town& _town;
  Survey _survey;
  std::vector<osg::Vec3d> _positions;
};

}  // namespace QuorViewer
