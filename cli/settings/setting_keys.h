// setting_keys.h: the settings a user can name: their words, their limits, and how a profile has to spell a value so
// that it is loaded as it was meant.
#ifndef TOLVA_CLI_SETTINGS_SETTING_KEYS_H
#define TOLVA_CLI_SETTINGS_SETTING_KEYS_H

#include <cstddef>
#include <string>

#include <tolva/settings.h>
#include "cli/terminal/messages.h"

namespace cli {

// Of a width or a height, in inches.
inline constexpr double kSmallestInches = 1.0 / int{kTolvaSmallestInchPart};
inline constexpr double kLargestInches = kTolvaLargestInches;

struct ValueWord {
    const char* word;
    int32_t value;
};

// Exactly one of the three fields is not null; the first has words, the second is whole, the third in inches.
struct SettingKey {
    const char* word;        // the user's
    const char* profileKey;  // the profile's
    int32_t TolvaSetup::*mode;
    int16_t TolvaSetup::*resolution;
    double TolvaSetup::*extent;
    const ValueWord* words;
    size_t wordCount;
    const char* wanted;  // of the words, for messages
};

inline constexpr size_t kSettingKeys = 7;
extern const SettingKey kSettingTable[kSettingKeys];
extern const SettingKey& kColourModeKey;

// In words: "32 to 400" and the like.
std::string dotsLimits();
std::string inchesLimits();

// Null for a word that names none.
const SettingKey* findSettingKey(const char* word);
// Says what is wanted where it is none of that; `shown` is the option or the key.
ExitStatus parseSetting(const SettingKey& key, const char* shown, const char* text, double& value);
double settingIn(const TolvaSetup& setup, const SettingKey& key);
// As the user writes it; a mode without a word as its number.
std::string shownSetting(const SettingKey& key, double value);
// As a profile has to hold it.
std::string profileText(const SettingKey& key, double value);
// Whether the modes leave it any effect.
bool isInUse(const TolvaSetup& setup, const SettingKey& key);

}  // namespace cli

#endif
