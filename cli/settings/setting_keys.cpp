// setting_keys.cpp: the table of settings and the spelling of their values. Called by the reading of options and by
// the setup command.

#include "cli/settings/setting_keys.h"

#include <charconv>
#include <cstring>
#include <iterator>

#include "cli/options/numbers.h"

namespace cli {
namespace {

constexpr size_t kLongestNumber = 40;
// A shorter value would keep the tail of the default that it is laid over; no default has more than two decimals.
constexpr size_t kFewestDecimals = 3;

constexpr ValueWord kToneWords[] = {{"normal", kTolvaColourNormal},
                                    {"invert", kTolvaColourInvert},
                                    {"invert-greys", kTolvaColourInvertGreys},
                                    {"grey", kTolvaColourGrey},
                                    {"invert-grey", kTolvaColourInvertGrey}};
constexpr ValueWord kSizeWords[] = {
    {"screen", kTolvaSizeOfScreen}, {"saved", kTolvaSizeSaved}, {"picture", kTolvaSizeOfPicture}};
constexpr ValueWord kResolutionWords[] = {
    {"screen", kTolvaResolutionOfScreen}, {"saved", kTolvaResolutionSaved}, {"picture", kTolvaResolutionOfPicture}};

constexpr char kToneWanted[] = "normal, invert, invert-greys, grey or invert-grey";
constexpr char kModeWanted[] = "screen, saved or picture";

template <size_t Count>
constexpr SettingKey ofWords(const char* word, const char* profileKey, int32_t TolvaSetup::*mode,
                             const ValueWord (&words)[Count], const char* wanted) {
    return {word, profileKey, mode, nullptr, nullptr, words, Count, wanted};
}

constexpr SettingKey ofDots(const char* word, const char* profileKey, int16_t TolvaSetup::*resolution) {
    return {word, profileKey, nullptr, resolution, nullptr, nullptr, 0, nullptr};
}

constexpr SettingKey ofInches(const char* word, const char* profileKey, double TolvaSetup::*extent) {
    return {word, profileKey, nullptr, nullptr, extent, nullptr, 0, nullptr};
}

std::string shortestText(double value) {
    char text[kLongestNumber];
    const std::to_chars_result result = std::to_chars(text, std::end(text), value, std::chars_format::fixed);
    return result.ec == std::errc() ? std::string(text, result.ptr) : std::to_string(value);
}

std::string wantedFor(const SettingKey& key) {
    if (key.wanted != nullptr) return key.wanted;
    return key.resolution != nullptr ? "a whole number from " + dotsLimits()
                                     : "a number of inches from " + inchesLimits();
}

}  // namespace

// clang-format off
const SettingKey kSettingTable[kSettingKeys] = {
    ofWords ("colour-mode",     "Color Mode",      &TolvaSetup::colourMode,     kToneWords,       kToneWanted),
    ofWords ("size-mode",       "Size Mode",       &TolvaSetup::sizeMode,       kSizeWords,       kModeWanted),
    ofInches("width",           "Width",           &TolvaSetup::width),
    ofInches("height",          "Height",          &TolvaSetup::height),
    ofWords ("resolution-mode", "Resolution Mode", &TolvaSetup::resolutionMode, kResolutionWords, kModeWanted),
    ofDots  ("x-resolution",    "X Resolution",    &TolvaSetup::xResolution),
    ofDots  ("y-resolution",    "Y Resolution",    &TolvaSetup::yResolution),
};
// clang-format on
const SettingKey& kColourModeKey = kSettingTable[0];

std::string dotsLimits() {
    return std::to_string(kTolvaLowestResolution) + " to " + std::to_string(kTolvaHighestResolution);
}

std::string inchesLimits() { return shortestText(kSmallestInches) + " to " + shortestText(kLargestInches); }

const SettingKey* findSettingKey(const char* word) {
    for (const SettingKey& key : kSettingTable) {
        if (std::strcmp(word, key.word) == 0) return &key;
    }
    return nullptr;
}

ExitStatus parseSetting(const SettingKey& key, const char* shown, const char* text, double& value) {
    for (size_t i = 0; i < key.wordCount; ++i) {
        if (std::strcmp(text, key.words[i].word) != 0) continue;
        value = key.words[i].value;
        return kExitDone;
    }
    int dots = 0;
    if (key.resolution != nullptr && parseNumber<int>(text, kTolvaLowestResolution, kTolvaHighestResolution, dots)) {
        value = dots;
        return kExitDone;
    }
    if (key.extent != nullptr && parseNumber(text, kSmallestInches, kLargestInches, value)) return kExitDone;
    return fail(kExitWrongUsage, "%s %s: %s is wanted", shown, text, wantedFor(key).c_str());
}

double settingIn(const TolvaSetup& setup, const SettingKey& key) {
    if (key.mode != nullptr) return setup.*key.mode;
    return key.resolution != nullptr ? static_cast<double>(setup.*key.resolution) : setup.*key.extent;
}

std::string shownSetting(const SettingKey& key, double value) {
    for (size_t i = 0; i < key.wordCount; ++i) {
        if (key.words[i].value == value) return key.words[i].word;
    }
    return shortestText(value);
}

std::string profileText(const SettingKey& key, double value) {
    std::string text = shortestText(value);
    if (key.extent == nullptr) return text;
    if (text.find('.') == std::string::npos) text += '.';
    while (text.size() - text.find('.') - 1 < kFewestDecimals) text += '0';
    return text;
}

bool isInUse(const TolvaSetup& setup, const SettingKey& key) {
    if (key.extent != nullptr) return setup.sizeMode != kTolvaSizeOfPicture && setup.sizeMode != kTolvaSizeOfScreen;
    if (key.resolution == nullptr) return true;
    return setup.resolutionMode != kTolvaResolutionOfPicture && setup.resolutionMode != kTolvaResolutionOfScreen;
}

}  // namespace cli
