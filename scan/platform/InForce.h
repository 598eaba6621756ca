#pragma once

namespace QuorViewer {

/// Makes something the one that a pointer, such as a thread's own, leads to, for as long as this lives.
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
