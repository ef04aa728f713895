// colour_profile.cpp: colour profiles through Little CMS. Called by the PNG and JPEG readers before the first row;
// compiled only with the picture libraries. Profiles come from strangers: what the library says about them goes to the
// user as a warning, never to the terminal by itself.

#include "imageio/colour_profile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <lcms2.h>

namespace imageio {
namespace {

constexpr size_t kClassAt = 12;  // of a profile's header
constexpr size_t kSpaceAt = 16;
constexpr uint32_t kGridSteps = 17;
constexpr int kSameLevel = 1;  // what differs by no more counts as equal
constexpr double kSrgbGamma = 1 / 0.45455;
constexpr double kSameGamma = 0.05;
constexpr double kSamePlace = 0.001;
constexpr double kLargestGamma = 100;
constexpr Calibration kSrgb = {0, {0.3127, 0.329}, {0.64, 0.33}, {0.3, 0.6}, {0.15, 0.06}};
// The exponent, and what the curve of sRGB needs besides.
constexpr cmsInt32Number kPower = 1;
constexpr cmsInt32Number kPowerBehindLine = 4;
constexpr double kSrgbCurve[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};

// Both are closed by whoever made them; a transform keeps what it needs.
struct Profiles {
    cmsHPROFILE from;
    cmsHPROFILE to;
};

void keepTrouble(cmsContext context, cmsUInt32Number, const char* text) {
    Conversion& conversion = *static_cast<Conversion*>(cmsGetContextUserData(context));
    if (conversion.trouble[0] == '\0') std::snprintf(conversion.trouble, sizeof conversion.trouble, "%s", text);
}

bool start(Conversion& conversion) {
    conversion = Conversion{};
    conversion.context = cmsCreateContext(nullptr, &conversion);
    if (conversion.context == nullptr) return false;
    cmsSetLogErrorHandlerTHR(static_cast<cmsContext>(conversion.context), keepTrouble);
    return true;
}

cmsContext contextOf(const Conversion& conversion) { return static_cast<cmsContext>(conversion.context); }

cmsToneCurve* makeCurve(const Conversion& conversion, double gamma) {
    return gamma > 0 ? cmsBuildParametricToneCurve(contextOf(conversion), kPower, &gamma)
                     : cmsBuildParametricToneCurve(contextOf(conversion), kPowerBehindLine, kSrgbCurve);
}

cmsHPROFILE makeProfile(const Conversion& conversion, const Calibration& calibration, ColourModel model) {
    cmsToneCurve* const curve = makeCurve(conversion, calibration.gamma);
    if (curve == nullptr) return nullptr;
    cmsToneCurve* const curves[] = {curve, curve, curve};
    const cmsCIExyY white = {calibration.white.x, calibration.white.y, 1};
    const cmsCIExyYTRIPLE primaries = {{calibration.red.x, calibration.red.y, 1},
                                       {calibration.green.x, calibration.green.y, 1},
                                       {calibration.blue.x, calibration.blue.y, 1}};
    cmsHPROFILE profile = model == ColourModel::kGrey
                              ? cmsCreateGrayProfileTHR(contextOf(conversion), &white, curve)
                              : cmsCreateRGBProfileTHR(contextOf(conversion), &white, &primaries, curves);
    cmsFreeToneCurve(curve);
    return profile;
}

uint32_t channelsOf(ColourModel model) {
    switch (model) {
        case ColourModel::kGrey: return 1;
        case ColourModel::kColours: return 3;
        default: return 4;
    }
}

uint32_t formatOf(SampleLayout layout, ColourModel model) {
    const uint32_t space = model == ColourModel::kGrey ? PT_GRAY : model == ColourModel::kColours ? PT_RGB : PT_CMYK;
    const uint32_t bytes = layout.deep ? 2 : 1;
    const uint32_t inverted = layout.inverted && model == ColourModel::kPrint ? 1 : 0;
    return COLORSPACE_SH(space) | CHANNELS_SH(channelsOf(model)) | BYTES_SH(bytes) | EXTRA_SH(layout.alpha ? 1U : 0U) |
           FLAVOR_SH(inverted);
}

cmsHTRANSFORM link(const Conversion& conversion, const Profiles& profiles, SampleLayout layout) {
    const ColourModel result = layout.model == ColourModel::kGrey ? ColourModel::kGrey : ColourModel::kColours;
    // What the library optimises for 16 bits is wrong by up to 20 levels of 8 where colours leave sRGB.
    const uint32_t care = layout.deep ? cmsFLAGS_NOOPTIMIZE : 0;
    return cmsCreateTransformTHR(contextOf(conversion), profiles.from, formatOf(layout, layout.model), profiles.to,
                                 formatOf(layout, result), cmsGetHeaderRenderingIntent(profiles.from),
                                 cmsFLAGS_BLACKPOINTCOMPENSATION | care);
}

bool changesNothing(cmsHTRANSFORM transform, ColourModel model) {
    const auto level = [](uint32_t step) { return static_cast<uint8_t>(step * UINT8_MAX / (kGridSteps - 1)); };
    const uint32_t channels = model == ColourModel::kGrey ? 1 : kColourBytes;
    const uint32_t count = model == ColourModel::kGrey ? kGridSteps : kGridSteps * kGridSteps * kGridSteps;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t colour[] = {level(i % kGridSteps), level(i / kGridSteps % kGridSteps),
                                  level(i / (kGridSteps * kGridSteps))};
        uint8_t shown[std::size(colour)];
        cmsDoTransform(transform, colour, shown, 1);
        for (uint32_t k = 0; k < channels; ++k) {
            if (std::abs(shown[k] - colour[k]) > kSameLevel) return false;
        }
    }
    return true;
}

// False where the library could not.
bool connect(Conversion& conversion, const Profiles& profiles, SampleLayout layout) {
    if (layout.model != ColourModel::kPrint) {
        cmsHTRANSFORM trial = link(conversion, profiles, {layout.model, false, false, false});
        if (trial == nullptr) return false;
        const bool needless = changesNothing(trial, layout.model);
        const bool usable = !layout.deep && !layout.alpha;
        if (!needless && usable) conversion.transform = trial;
        if (needless || !usable) cmsDeleteTransform(trial);
        if (needless || usable) return true;
    }
    conversion.transform = link(conversion, profiles, layout);
    return conversion.transform != nullptr;
}

bool connectToSrgb(Conversion& conversion, cmsHPROFILE from, SampleLayout layout) {
    const Profiles profiles = {from, makeProfile(conversion, kSrgb, layout.model)};
    if (profiles.to == nullptr) return false;
    const bool connected = connect(conversion, profiles, layout);
    cmsCloseProfile(profiles.to);
    return connected;
}

void warnOfTrouble(const Conversion& conversion, const Input& input) {
    warn(input, "the colour profile is ignored: %s",
         conversion.trouble[0] != '\0' ? conversion.trouble : "it cannot be read");
}

cmsColorSpaceSignature spaceOf(ColourModel model) {
    switch (model) {
        case ColourModel::kGrey: return cmsSigGrayData;
        case ColourModel::kColours: return cmsSigRgbData;
        default: return cmsSigCmykData;
    }
}

// From the profile's own bytes: what the library hands back as its enumeration need not be a value of it.
uint32_t signatureAt(const uint8_t* profile, size_t at) {
    return uint32_t{profile[at]} << 24 | uint32_t{profile[at + 1]} << 16 | uint32_t{profile[at + 2]} << 8 |
           profile[at + 3];
}

// Others would link, but to something that is no picture.
bool isOfDevice(const uint8_t* profile) {
    switch (signatureAt(profile, kClassAt)) {
        case cmsSigInputClass:
        case cmsSigDisplayClass:
        case cmsSigOutputClass:
        case cmsSigColorSpaceClass: return true;
        default: return false;
    }
}

// Of a profile that was opened, so that its header is there.
bool suits(const Input& input, const uint8_t* profile, ColourModel model) {
    if (!isOfDevice(profile)) {
        warn(input, "the colour profile is ignored: it is not one of a device");
        return false;
    }
    const uint32_t wanted = spaceOf(model);
    const uint32_t found = signatureAt(profile, kSpaceAt);
    if (found == wanted) return true;
    const auto name = [](uint32_t space, char(&text)[5]) {
        for (int i = 0; i < 4; ++i) {
            const auto c = static_cast<char>(space >> (24 - 8 * i));
            text[i] = c > ' ' && c <= '~' ? c : '\0';
        }
        text[4] = '\0';
        return text;
    };
    char ofProfile[5];
    char ofPicture[5];
    warn(input, "the colour profile is ignored: its colours are %s, the picture's %s", name(found, ofProfile),
         name(wanted, ofPicture));
    return false;
}

bool isNear(Chromaticity a, Chromaticity b) {
    return std::abs(a.x - b.x) <= kSamePlace && std::abs(a.y - b.y) <= kSamePlace;
}
bool isColour(Chromaticity c) { return c.y > 0 && c.x + c.y <= 1; }

bool makesSense(const Calibration& c) {
    const bool bends = c.gamma == 0 || (c.gamma >= 1 / kLargestGamma && c.gamma <= kLargestGamma);
    return bends && isColour(c.white) && isColour(c.red) && isColour(c.green) && isColour(c.blue);
}

bool hasSrgbPrimaries(const Calibration& c) {
    return isNear(c.white, kSrgb.white) && isNear(c.red, kSrgb.red) && isNear(c.green, kSrgb.green) &&
           isNear(c.blue, kSrgb.blue);
}

}  // namespace

void openProfile(Conversion& conversion, const Input& input, const uint8_t* bytes, size_t count, SampleLayout layout) {
    if (!start(conversion)) return warn(input, "the colour profile is ignored: no memory");
    if (count > kMostProfileBytes) {
        return warn(input, "the colour profile is ignored: %zu bytes; the limit is %zu", count, kMostProfileBytes);
    }
    cmsHPROFILE profile = cmsOpenProfileFromMemTHR(contextOf(conversion), bytes, static_cast<cmsUInt32Number>(count));
    if (profile == nullptr) return warnOfTrouble(conversion, input);
    if (suits(input, bytes, layout.model) && !connectToSrgb(conversion, profile, layout)) {
        warnOfTrouble(conversion, input);
    }
    cmsCloseProfile(profile);
}

void openCalibration(Conversion& conversion, const Input& input, const Calibration& calibration, SampleLayout layout) {
    if (!start(conversion)) return warn(input, "the picture's gamma is ignored: no memory");
    const bool placed = calibration.white.y != 0 && layout.model != ColourModel::kGrey;
    const bool usualGamma = calibration.gamma == 0 || std::abs(calibration.gamma / kSrgbGamma - 1) <= kSameGamma;
    if (usualGamma && (!placed || hasSrgbPrimaries(calibration))) return;
    Calibration whole = placed ? calibration : kSrgb;
    whole.gamma = calibration.gamma;
    cmsHPROFILE profile = makesSense(whole) ? makeProfile(conversion, whole, layout.model) : nullptr;
    if (profile == nullptr || !connectToSrgb(conversion, profile, layout)) {
        warn(input, "the picture's gamma and primaries are ignored: they make no sense");
    }
    if (profile != nullptr) cmsCloseProfile(profile);
}

void convertPixels(const Conversion& conversion, const uint8_t* from, uint8_t* to, uint32_t count) {
    cmsDoTransform(static_cast<cmsHTRANSFORM>(conversion.transform), from, to, count);
}

void closeConversion(Conversion& conversion) {
    if (conversion.transform != nullptr) cmsDeleteTransform(static_cast<cmsHTRANSFORM>(conversion.transform));
    if (conversion.context != nullptr) cmsDeleteContext(contextOf(conversion));
    conversion = Conversion{};
}

}  // namespace imageio
