// profile.cpp: from the profile to the Setup block. Called by main before the picture is read, and by the setup and
// info commands. The library finds and loads; here is decided what becomes of a profile that cannot be loaded.

#include "cli/settings/profile.h"

#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "cli/library/output_size.h"
#include "cli/settings/profile_file.h"

namespace cli {
namespace {

constexpr char kFolderVariable[] = "INIDIR";
constexpr char kProfileSuffix[] = ".ini";
constexpr char kFirstSection[] = "GIF Export";  // of a profile that is made here
constexpr char kNoProfile[] = "/dev/null";      // a block is always filled from something; the defaults go over it

bool isNamed(const ProfileChoice& choice) { return choice.file != nullptr || choice.section != nullptr; }

// Of the library: everything behind the first "." is left away.
std::string defaultName(const Library& library) {
    const std::string name = library.path.substr(library.path.rfind('/') + 1);
    return name.substr(0, name.find('.')) + kProfileSuffix;
}

// Where the library looks. It passes over the folder where the path with it would be too long, so a profile that was
// made there would not be found.
std::string defaultPath(const Library& library) {
    std::string name = defaultName(library);
    const char* const folder = std::getenv(kFolderVariable);
    if (folder == nullptr || folder[0] == '\0') return name;
    std::string path = folder;
    if (path.back() != '/') path += '/';
    path += name;
    return path.size() < kTolvaProfilePathBytes ? path : name;
}

ExitStatus checkName(const ProfileChoice& choice) {
    if (choice.file == nullptr) return kExitDone;
    if (std::strlen(choice.file) >= kTolvaProfilePathBytes) {
        return fail(kExitInputRefused, "%s: a profile's path may have at most %d bytes", choice.file,
                    kTolvaProfilePathBytes - 1);
    }
    if (!isPlainOrMissing(choice.file)) return fail(kExitInputRefused, "%s: is no plain file", choice.file);
    return kExitDone;
}

ExitStatus makeBlock(const Library& library, const ProfileChoice& choice, Settings& settings) {
    if (const ExitStatus failed = checkName(choice)) return failed;
    settings.library = &library;
    settings.handle = library.calls.CreateSetup(0, choice.none ? kNoProfile : choice.file, choice.section, 0);
    settings.setup = static_cast<TolvaSetup*>(library.calls.GlobalLock(settings.handle));
    if (settings.setup == nullptr) return fail(kExitExportFailed, "the library gives no settings block");
    return kExitDone;
}

// Also where the one that would be looked for is there and cannot be read: the library passes over it.
ExitStatus reportMissing(const Library& library, const ProfileChoice& choice) {
    if (choice.file != nullptr) return fail(kExitInputRefused, "%s: %s", choice.file, whyUnread(choice.file));
    const std::string path = defaultPath(library);
    const bool isThere = access(path.c_str(), F_OK) == 0;
    if (choice.section == nullptr) {
        if (isThere) warn("%s: %s, so the defaults are used", path.c_str(), whyUnread(path.c_str()));
        return kExitDone;
    }
    return fail(kExitInputRefused, "section [%s] cannot be loaded: %s: %s", choice.section, path.c_str(),
                whyUnread(path.c_str()));
}

bool hasKeys(const Library& library, const TolvaSetup& setup) {
    char keys[kTolvaSettingsNameBytes] = {};
    return needEntries(library, EntryGroup::kProfiles) == kExitDone &&
           library.calls.GetPrivateProfileString(setup.sectionName, nullptr, "", keys, sizeof keys, setup.profilePath) >
               0;
}

// A section that is not loaded leaves a block of zeros.
ExitStatus reportUnloaded(const Library& library, const ProfileChoice& choice, const TolvaSetup& setup) {
    const std::string section = setup.sectionName;
    const std::string why = section.empty()           ? "[TOLVA] has no ~Mode"
                            : hasKeys(library, setup) ? "there is no Driver in [" + section + "]"
                                                      : "there is no section [" + section + "] with settings in it";
    if (isNamed(choice)) return fail(kExitInputRefused, "%s: %s", setup.profilePath, why.c_str());
    warn("%s: %s, so the defaults are used", setup.profilePath, why.c_str());
    return kExitDone;
}

}  // namespace

ExitStatus loadSettings(const Library& library, const ProfileChoice& choice, Settings& settings) {
    if (const ExitStatus failed = makeBlock(library, choice, settings)) return failed;
    TolvaSetup& setup = *settings.setup;
    if (!choice.none && setup.profilePath[0] == '\0') return reportMissing(library, choice);
    if (!choice.none && hasOpenEnd(setup.profilePath)) {
        warn("%s: nothing ends the last line, so it is not read", setup.profilePath);
    }
    settings.loaded = !choice.none && setup.driverName[0] != '\0';
    if (settings.loaded) {
        note("settings: %s, [%s]", setup.profilePath, setup.sectionName);
        return kExitDone;
    }
    const ExitStatus reported = choice.none ? kExitDone : reportUnloaded(library, choice, setup);
    library.calls.UseDefaultSettings(&setup);
    return reported;
}

Settings::~Settings() {
    if (handle != 0) library->calls.DestroySetup(handle);
}

ExitStatus applyOptions(const Options& options, TolvaSetup& setup) {
    if (options.colourMode) setup.colourMode = *options.colourMode;
    if (options.sizeRequest != SizeRequest::kAsPicture) setup.sizeMode = kTolvaSizeSaved;
    if (options.sizeRequest == SizeRequest::kFitInches) {
        setup.width = options.box.width;
        setup.height = options.box.height;
        // A picture has no resolution of its own that a size in inches could be meant for.
        if (setup.resolutionMode == kTolvaResolutionOfPicture) setup.resolutionMode = kTolvaResolutionSaved;
    } else if (options.sizeRequest == SizeRequest::kFitPixels) {
        setup.width = options.box.width / kPictureResolution;
        setup.height = options.box.height / kPictureResolution;
        setup.resolutionMode = kTolvaResolutionSaved;
        setup.xResolution = setup.yResolution = kPictureResolution;
    }
    if (options.resolution == 0) return kExitDone;
    if (setup.sizeMode == kTolvaSizeOfPicture && setup.resolutionMode == kTolvaResolutionOfPicture) {
        return fail(kExitWrongUsage, "--resolution goes with --size, or with a profile that has a size");
    }
    setup.resolutionMode = kTolvaResolutionSaved;
    setup.xResolution = setup.yResolution = static_cast<int16_t>(options.resolution);
    return kExitDone;
}

void settleFit(const Options& options, uint32_t width, uint32_t height, TolvaSetup& setup) {
    if (options.sizeRequest != SizeRequest::kFitPixels || options.raw || options.enlarge) return;
    if (width > options.box.width || height > options.box.height) return;
    setup.sizeMode = kTolvaSizeOfPicture;
    setup.resolutionMode = kTolvaResolutionOfPicture;
}

// As the driver has it: a mode it does not know converts nothing.
TolvaConversionMode toneOf(const TolvaSetup& setup) {
    if (setup.colourMode < kTolvaColourNormal || setup.colourMode > kTolvaColourInvertGrey) return kTolvaConvertNothing;
    return static_cast<TolvaConversionMode>(setup.colourMode - kTolvaColourNormal);
}

ExitStatus locateProfile(const Library& library, const ProfileChoice& choice, ProfilePlace& place) {
    Settings settings;
    if (const ExitStatus failed = makeBlock(library, choice, settings)) return failed;
    TolvaSetup& setup = *settings.setup;
    place.exists = setup.profilePath[0] != '\0';
    place.loads = place.exists && setup.driverName[0] != '\0';
    place.path = place.exists ? setup.profilePath : choice.file != nullptr ? choice.file : defaultPath(library);
    place.section = choice.section != nullptr      ? choice.section
                    : setup.sectionName[0] != '\0' ? setup.sectionName
                                                   : kFirstSection;
    library.calls.UseDefaultSettings(&setup);
    place.driverName = setup.driverName;
    return kExitDone;
}

}  // namespace cli
