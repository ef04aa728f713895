// limits.h: how large the settings may make a picture, in inches. Used by settings/ alone.
#ifndef TOLVA_SETTINGS_LIMITS_H
#define TOLVA_SETTINGS_LIMITS_H

#include <tolva/settings.h>

namespace tolva {

// A decimal, digits on both sides of its point, as the number that it would be in the code.
constexpr double decimal(const char* text) {
    double digits = 0;
    double unit = 1;
    for (bool behind = false; *text != '\0'; behind = behind || *text == '.', ++text) {
        if (*text != '.') digits = digits * 10 + (*text - '0');
        if (behind) unit *= 10;
    }
    return digits / unit;
}

// Profiles are read over these texts (load_profile.cpp), so what they say has to be what the numbers are.
inline constexpr char kDefaultWidthText[] = "6.67";
inline constexpr char kDefaultHeightText[] = "5.0";
inline constexpr double kDefaultWidth = decimal(kDefaultWidthText);
inline constexpr double kDefaultHeight = decimal(kDefaultHeightText);
inline constexpr double kSmallestExtent = 1.0 / int{kTolvaSmallestInchPart};
inline constexpr double kLargestExtentInches = kTolvaLargestInches;

// What is no number lies outside.
inline bool isExtent(double inches) { return inches >= kSmallestExtent && inches <= kLargestExtentInches; }

}  // namespace tolva

#endif
