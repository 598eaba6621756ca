#pragma once

namespace QuorViewer {

/// Sets a pointer, for example a thread-local one, for the lifetime of this object, then resets it to null.
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
