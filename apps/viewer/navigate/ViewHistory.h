#pragma once

#include "viewer/navigate/ViewControl.h"

#include <optional>
#include <vector>

namespace QuorViewer {

/// The views that the user has left, to go back to and forward again, like the pages of a browser.
class ViewHistory {
 public:
  /// Stores a view that the user has left. Drops the views to go forward to.
  void leave(const View& view);
  /// The view before `current`; nothing if there is none.
  std::optional<View> back(const View& current);
  /// The view that the last `back` left; nothing if there is none.
  std::optional<View> forward(const View& current);
  void clear();

 private:
  static std::optional<View> _step(std::vector<View>& from, std::vector<View>& to, const View& current);

  std::vector<View> _behind;  // the latest is last
  std::vector<View> _ahead;   // the next is last
};

/// Whether two views look the same.
bool isSameView(const View& a, const View& b);

}  // namespace QuorViewer
