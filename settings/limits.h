// limits.h: how large a picture may be made by the settings, in inches. Used by settings/ alone.
#ifndef TOLVA_SETTINGS_LIMITS_H
#define TOLVA_SETTINGS_LIMITS_H

namespace tolva {

inline constexpr double kSmallestExtent = 0.03125;
inline constexpr double kLargestExtentInches = 22.0;

// What is no number lies outside.
inline bool isExtent(double inches) { return inches >= kSmallestExtent && inches <= kLargestExtentInches; }

}  // namespace tolva

#endif
