// setup.cpp: making, filling, checking and freeing Setup blocks. A host makes one before init; init locks it; pictures
// read their settings from it.

#include <algorithm>
#include <cstring>

#include <tolva/stream.h>
#include "settings/current.h"
#include "settings/export_remains.h"
#include "settings/limits.h"
#include "settings/one_call.h"
#include "settings/strings.h"

using namespace tolva;

namespace {

constexpr int32_t kNotDestroyed = 1;
constexpr char kMainSection[] = "TOLVA";
constexpr char kProfileSuffix[] = ".ini";
constexpr char kDriverSuffix[] = ".1";
constexpr size_t kLongestModule = kTolvaDriverNameBytes - sizeof kDriverSuffix;

// The module's file name up to its first ".", with the suffix. False where it does not fit: such a profile cannot be
// found either.
bool nameAfterModule(char* path) {
    char name[kTolvaModuleNameBytes];
    s_getname(name, export_szDLLName);
    const size_t length = std::strcspn(name, ".");
    if (length + sizeof kProfileSuffix > kTolvaSettingsNameBytes) return false;
    std::memcpy(path, name, length);
    std::memcpy(path + length, kProfileSuffix, sizeof kProfileSuffix);
    return true;
}

bool nameProfile(char* path, const char* given) {
    if (given == nullptr || given[0] == '\0') return nameAfterModule(path);
    const size_t bytes = std::strlen(given) + 1;
    if (bytes > kTolvaSettingsNameBytes) return false;
    std::memcpy(path, given, bytes);
    return true;
}

// A name that does not fit is cut; its terminator stays.
void nameSection(Setup& setup, const char* given) {
    constexpr size_t kMost = kTolvaSettingsNameBytes - 1;
    if (given != nullptr && given[0] != '\0') {
        std::memcpy(setup.sectionName, given, strnlen(given, kMost));
        return;
    }
    GetPrivateProfileString(kMainSection, profileKey(kTolvaStringMode), "", setup.sectionName, kMost,
                            setup.profilePath);
}

// What an export left is freed for the block that it wrote to alone.
void destroy(Setup& setup) {
    if (ownsStream(setup)) closeStream(setup);
    dropMemory(setup);
    // A block that init locked must not be looked at once it is gone.
    if (lpSetup == &setup) lpSetup = nullptr;
    hRaster = 0;
    lpRaster = nullptr;
}

}  // namespace

Handle CreateSetup(uintptr_t, const char* profile, const char* section, uintptr_t) {
    const Handle h = GlobalAlloc(kTolvaMoveableZeroed, kTolvaSetupBytes);
    Setup* const setup = static_cast<Setup*>(GlobalLock(h));
    hRaster = h;
    lpRaster = setup;
    if (szFilter != nullptr) strupr(szFilter);
    export_szDLLName[kTolvaModuleNameBytes - 1] = '\0';
    if (!nameProfile(setup->profilePath, profile) || GetProfileDirectory(setup->profilePath, export_szDLLName) != 0) {
        UseDefaultSettings(setup);
        return h;
    }
    nameSection(*setup, section);
    // Kept: a section that does not load leaves the zero fill, not the defaults; hosts tell it by colour mode 0.
    LoadProfile(0);
    return h;
}

int32_t EditSetup(Handle h, uintptr_t value) {
    Setup* const setup = static_cast<Setup*>(GlobalLock(h));
    if (setup == nullptr) return -1;
    setup->reserved[1] = value;
    return 0;
}

int32_t DestroySetup(Handle h) {
    Setup* const setup = static_cast<Setup*>(GlobalLock(h));
    if (setup == nullptr) return kNotDestroyed;
    return asOneCall(kNotDestroyed, [=] {
        destroy(*setup);
        GlobalFree(h);
        return 0;
    });
}

int32_t UseDefaultSettings(Setup* setup) {
    if (setup == nullptr) return 0;
    std::memset(setup->sectionName, 0, sizeof setup->sectionName);
    std::memset(setup->profilePath, 0, sizeof setup->profilePath);
    std::memset(setup->thirdName, 0, sizeof setup->thirdName);
    const size_t length = szFilter == nullptr ? 0 : std::min(std::strlen(szFilter), kLongestModule);
    if (length != 0) std::memcpy(setup->driverName, szFilter, length);
    std::memcpy(setup->driverName + length, kDriverSuffix, sizeof kDriverSuffix);
    strupr(setup->driverName);
    std::memset(setup->reserved, 0, sizeof setup->reserved);
    setup->colourMode = kTolvaColourNormal;
    setup->secondMode = 0;
    setup->sizeMode = kTolvaSizeOfPicture;
    setup->resolutionMode = kTolvaResolutionOfPicture;
    setup->xResolution = kTolvaDefaultResolution;
    setup->yResolution = kTolvaDefaultResolution;
    setup->width = kDefaultWidth;
    setup->height = kDefaultHeight;
    return 0;
}

int32_t SaveProfile() { return 1; }

int32_t BackupProfile(Setup* setup) {
    if (setup == nullptr) return 1;
    std::memcpy(setup->thirdName, setup->profilePath, sizeof setup->thirdName);
    ZUNGetTempFileName(0, "", 0, setup->profilePath);
    return 1;
}

int32_t LoadProfileList(uint32_t, uint32_t, uint16_t) { return 0; }
