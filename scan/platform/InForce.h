#pragma once

namespace QuorViewer {

/// Points a pointer, for example a thread-local one, at an object for as long as this lives, then resets it to null.
template <typename Thing>
class InForce {
 public:
  InForce(Thing*& pointer, Thing& thing) : _pointer(pointer) { _pointer = &thing; }
  InForce(const InForce&) = delete;
  InForce& operator=(const InForce&) = delete;
  ~InForce() { _pointer = nullptr; }

 private:
  Thing*& _pointer;
};

}  // namespace QuorViewer
