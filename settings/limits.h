// limits.h: how large the settings may make a picture, in inches. Used by settings/ alone.
#ifndef TOLVA_SETTINGS_LIMITS_H
#define TOLVA_SETTINGS_LIMITS_H

namespace tolva {

inline constexpr double kDefaultWidth = 6.67;
inline constexpr double kDefaultHeight = 5.0;
inline constexpr double kSmallestExtent = 0.03125;
inline constexpr double kLargestExtentInches = 22.0;

// What is no number lies outside.
inline bool isExtent(double inches) { return inches >= kSmallestExtent && inches <= kLargestExtentInches; }

}  // namespace tolva

#endif
