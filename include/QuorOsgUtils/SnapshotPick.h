#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/Vec3d>

#include <array>
#include <optional>

namespace QuorOsgUtils {

/// Picks in a captured frame. Positions are the column and the row of a pixel, counted from the bottom left of the
/// window, as events carry them (rounded down). World units. Any thread; GL is not used.
///
///     osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = tool->latest();
///     if (const auto pick = frame ? QuorOsgUtils::nearest(*frame, x, y, 6) : std::nullopt) { ... pick->itemID ... }

/// What a pixel of a frame shows. Attachments that were not read are 0, the depth then 1.
struct SnapshotPick {
  int x = 0;           ///< the column of the pixel in the window
  int y = 0;           ///< its row, from the bottom
  float depth = 1.0f;  ///< 0 near, 1 far and background
  /// The centre of the pixel at its depth, in world units. Nothing if it is background or its depth was not read.
  std::optional<osg::Vec3d> world;
  std::array<unsigned int, 4> itemID{};  ///< attachment 1
  std::array<float, 4> itemFloat{};      ///< attachment 2
  std::array<float, 4> pcFloat{};        ///< attachment 3
  std::array<int, 4> pcInt{};            ///< attachment 4
};

/// Which pixel near a position is picked.
struct PickRule {
  /// Whether a pixel counts only if the first channel of its identifier is not 0. Otherwise, and if identifiers were
  /// not read, all pixels count that are not background.
  bool identifiedOnly = true;

  /// How much nearer to the eye a pixel must be to be picked instead of another one that it does not hide: as a share
  /// of the height that the view shows at the distance of the other one. Infinity: depths do not matter.
  double muchNearerShare = 0.25;
};

/// The world point at the centre of a pixel. Nothing if it is background, was not read, or the matrices of the frame
/// cannot be inverted.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT std::optional<osg::Vec3d> worldAt(const FrameSnapshot& frame, int x, int y);

/// The pixel itself, whatever it shows. Nothing outside the region that was read.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT std::optional<SnapshotPick> pixelAt(const FrameSnapshot& frame, int x, int y);

/// The pixel that a click at a position means, at most `radiusPixels` away from it.
///
/// That is the pixel at the position itself, or, if it does not count, the nearest one that counts, so a click between
/// points still hits one. But through the holes of a near surface, a far one may be visible. So if pixels in the circle
/// are much nearer to the eye, the one of these nearest to the position is picked instead, and so on until none is much
/// nearer. There must be a gap between the distances of all pixels in the circle,
/// and it must be a step: most of the steps across it, from a pixel to the next one in its row or column, are more than
/// four times as steep as the surfaces on both sides of them (by the values of the depth buffer, which on a plane are
/// an affine function of the pixel). So pixels of a continuous surface, dense or sparse, are not picked instead of each
/// other, not even where it is seen at a grazing angle and its distances differ by hundreds of units from row to row.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT std::optional<SnapshotPick> nearest(const FrameSnapshot& frame, int x, int y,
                                                                        int radiusPixels, const PickRule& rule = {});

}  // namespace QuorOsgUtils
