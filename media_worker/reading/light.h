// The curve that brings the light of HDR screens to common ones.
#pragma once

namespace quorvin {

/// How the light of HDR pictures and films is brought to common screens, one way for renderings and
/// exports. Light is counted in reference whites. Up to a knee it stays; above, the brightest of
/// the three channels is bent so that the most that a signal can say becomes 1, and takes the other
/// two along.
inline constexpr double kReferenceWhite = 203;  ///< candela per square metre
inline constexpr double kMostLight = 10'000 / kReferenceWhite;
inline constexpr double kKnee = 0.7;

}  // namespace quorvin
