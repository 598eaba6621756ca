#pragma once

#include <osg/Vec3f>

#include <cmath>
#include <cstddef>
#include <vector>

namespace QuorViewer {

inline bool isFinite(float value) {
  return std::isfinite(value);
}
inline bool isFinite(const osg::Vec3f& value) {
  return std::isfinite(value.x()) && std::isfinite(value.y()) && std::isfinite(value.z());
}

/// A sample of a long stream, in bounded memory and spread evenly over it: keeps every n-th value, and doubles n
/// whenever there are too many. Skips values that are not finite.
template <typename Value>
class Sample {
 public:
  explicit Sample(std::size_t mostValues) : _mostValues(mostValues) {}

  /// Continues with `count` values, each `stride` elements after the previous one.
  template <typename Source>
  void add(const Source* values, std::size_t count, std::size_t stride = 1) {
    for (; _skip < count; _skip += _step) {
      const auto value = static_cast<Value>(values[_skip * stride]);
      if (isFinite(value)) {
        _keep(value);
      }
    }
    _skip -= count;
  }

  /// Merges the samples of two streams in proportion to their lengths. No values may be added afterwards.
  void join(Sample other) {
    while (_step < other._step) {
      _thinOut();
    }
    while (other._step < _step) {
      other._thinOut();
    }
    while (_values.size() + other._values.size() > _mostValues) {
      _thinOut();
      other._thinOut();
    }
    _values.insert(_values.end(), other._values.begin(), other._values.end());
  }

  const std::vector<Value>& values() const { return _values; }

 private:
  void _keep(const Value& value) {
    if (_values.size() == _mostValues) {
      _thinOut();
    }
    _values.push_back(value);
  }

  void _thinOut() {
    const std::size_t left = (_values.size() + 1) / 2;
    for (std::size_t i = 0; i < left; ++i) {
      _values[i] = _values[2 * i];
    }
    _values.resize(left);
    _step *= 2;
  }

  std::size_t _mostValues;
  std::vector<Value> _values;
  std::size_t _step = 1;
  std::size_t _skip = 0;  // how many of the next values to skip
};

}  // namespace QuorViewer
