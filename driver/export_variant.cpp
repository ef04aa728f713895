// export_variant.cpp: the export-filter variant, for hosts that load that entry: its state stands in the settings block
// and in the host's Common block. There are no metafiles on this platform, so its term ends with an error, as hosts
// know it; everything up to that point is done.

#include <cstring>

#include <tolva/driver.h>
#include <tolva/raster.h>
#include <tolva/stream.h>
#include "driver/status.h"
#include "output/bands.h"
#include "output/output_stream.h"
#include "settings/current.h"
#include "settings/export_remains.h"
#include "settings/one_call.h"

using namespace tolva;

namespace {

// Words of the init block.
enum InitWord { kWordHost = 1, kWordFileName = 3, kWordSecond = 5, kWordSetup = 13, kWordStatus = 14 };
constexpr size_t kStatusWord4 = offsetof(TolvaStatusRecord, word4);

// The properties that a host with metafiles is told: (init block word 13, code, 4, address of the value, 0, 0).
using PropertyCallback = intptr_t (*)(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t);
enum PropertyCode {
    kPropertyColourClass = 1,
    kPropertyFonts = 2,
    kPropertyThird = 3,
    kPropertyWord = 5,
    kPropertySixth = 6
};
constexpr int32_t kNoAlternativeFonts = 110;
constexpr int32_t kAlternativeFonts = 111;
constexpr int32_t kSixthValue = 130;
constexpr int32_t kThirdValue = 1;
constexpr intptr_t kPropertyBytes = 4;

template <class T>
T wordOf(const void* block, size_t index) {
    return loadField<T>(block, index * sizeof(uintptr_t));
}

int32_t colourClassOf(int32_t colourMode) {
    const bool known = colourMode > kTolvaColourNormal && colourMode <= kTolvaColourInvertGrey;
    return kTolvaColourClassNormal + (known ? colourMode - kTolvaColourNormal : 0);
}

void tellProperties(PropertyCallback callback, uintptr_t target, Setup& setup) {
    int32_t colourClass = colourClassOf(setup.colourMode);
    int32_t fonts = AltFontsAvailable() != 0 ? kAlternativeFonts : kNoAlternativeFonts;
    int32_t sixth = kSixthValue;
    int32_t third = kThirdValue;
    if (callback == nullptr) return;
    const auto tell = [&](PropertyCode code, int32_t* value) {
        callback(static_cast<intptr_t>(target), code, kPropertyBytes, reinterpret_cast<intptr_t>(value), 0, 0);
    };
    tell(kPropertyColourClass, &colourClass);
    tell(kPropertyFonts, &fonts);
    tell(kPropertySixth, &sixth);
    tell(kPropertyWord, &setup.exporting.propertyWord);
    tell(kPropertyThird, &third);
}

// The file's name, which becomes the settings' own; false where it does not fit.
bool takeFileName(TolvaExportState& state, const char* name) {
    state.fileName[0] = '\0';
    const size_t bytes = name == nullptr ? 1 : strnlen(name, sizeof state.fileName) + 1;
    if (bytes > sizeof state.fileName) return false;
    if (name != nullptr) std::memcpy(state.fileName, name, bytes);
    return true;
}

bool openStream(Setup& setup, const char* name) {
    TolvaExportState& state = setup.exporting;
    if (ownsStream(setup)) closeStream(setup);  // of an init that was never terminated
    state.streamMemory = nullptr;
    if (!takeFileName(state, name)) return false;
    keepStream(setup, openOutputStream(&setup, state.status, state.fileName, &state.streamMemory));
    // Kept: an output device that does not open is not reported, since the host whose procedure refused knows;
    // everything written then goes nowhere.
    return state.outputStream != 0 || setup.outputDevice != 0;
}

TolvaMetafilePicture pictureOf(uintptr_t metafile) {
    TolvaMetafilePicture picture = {};
    picture.metafile = metafile;
    if (lpRaster == nullptr) return picture;
    const TolvaExportState& state = lpRaster->exporting;
    picture.left = state.page[0];
    picture.top = state.page[1];
    picture.right = state.page[2];
    picture.bottom = state.page[3];
    picture.resolution = roundd(state.resolution);
    picture.metafileWord = state.metafileWord;
    if (state.status != nullptr) {
        const auto* const record = reinterpret_cast<const uint8_t*>(state.status);
        std::memcpy(picture.host, record + offsetof(TolvaStatusRecord, picture), sizeof picture.host);
    }
    return picture;
}

int32_t drawMetafile(uintptr_t metafile) {
    TolvaMetafilePicture picture = pictureOf(metafile);
    if (metafile == 0 || lpRaster == nullptr || escape() != kTolvaNoError) return kTolvaExportFailed;
    const int32_t result = drawBands(lpRaster->exporting.outputStream, &picture, DrawPlatformMetafile);
    if (escape() != kTolvaNoError) zunOpen(lpRaster->exporting.fileName, nullptr, kTolvaDeleteFile);
    return result;
}

int32_t commonState() { return loadField<int32_t>(lpCommon, offsetof(TolvaCommonBlock, state)); }
void clearCommonResult() { storeField(lpCommon, offsetof(TolvaCommonBlock, result), int16_t{kTolvaNoError}); }

int32_t callOpcode(void* block) {
    if (lpCommon == nullptr) return 0;
    clearCommonResult();
    if (commonState() <= 0 || block == nullptr) return 0;
    const TolvaOpcodeHandler handler = getfunc(load<int32_t>(block));
    esc_mode(1);
    handler(block);
    esc_mode(0);
    return lpCommon == nullptr ? 0 : loadField<int16_t>(lpCommon, offsetof(TolvaCommonBlock, result));
}

// Kept: state 1 here, where the raster variant asks for -1; hosts init either way.
bool refusesInit() { return hCommon != 0 && lpCommon != nullptr && commonState() != kTolvaInitialised; }

int32_t initVariant(void* block) {
    if (block == nullptr) return kTolvaNoSettings;
    hRaster = wordOf<Handle>(block, kWordSetup);
    lpRaster = static_cast<Setup*>(GlobalLock(hRaster));
    if (lpRaster == nullptr) return kTolvaNoSettings;
    Setup& setup = *lpRaster;
    TolvaExportState& state = setup.exporting;
    TolvaStatusRecord* const status = wordOf<TolvaStatusRecord*>(block, kWordStatus);
    state.status = status;
    uintptr_t callback = 0;
    state.hookResult = InitPlatformMetafileFilter(
        wordOf<intptr_t>(block, kWordHost), wordOf<intptr_t>(block, kWordSecond), reinterpret_cast<intptr_t>(status),
        &state.metafileWord, &hSetup, &state.secondWord, &callback);
    char* const name = wordOf<char*>(block, kWordFileName);
    if (!openStream(setup, name)) {
        state.status = nullptr;  // no term will follow
        return kTolvaStreamFailed;
    }
    if (name != nullptr) name[0] = '\0';
    state.statusWord = status == nullptr ? 0 : loadField<intptr_t>(status, kStatusWord4);
    storeField(block, kWordSetup * sizeof(uintptr_t), hSetup);
    tellProperties(reinterpret_cast<PropertyCallback>(callback), hSetup, setup);
    return kTolvaNoError;
}

int32_t termVariant() {
    const uintptr_t metafile = GetMetaFileHandle(0, 0);
    int32_t result = drawMetafile(metafile);
    DeleteMetaFileHandle(metafile);
    const int32_t hookResult = TermPlatformMetafileFilter(lpRaster == nullptr ? 0 : lpRaster->exporting.hookResult);
    Setup* const setup = lpRaster;
    if (setup != nullptr) {
        if (closeStream(*setup) != 0) result = kTolvaStreamFailed;
        // The host's record may be gone after term.
        setup->exporting.status = nullptr;
    }
    return result == kTolvaNoError ? hookResult : result;
}

int32_t serveEntry(int16_t func, void* block) {
    if (func == kTolvaFuncInit) return refusesInit() ? 0 : initVariant(block);
    if (func == kTolvaFuncCall) return callOpcode(block);
    if (lpCommon != nullptr) clearCommonResult();
    return termVariant();
}

}  // namespace

int32_t initdvr(void* block) {
    return asOneCall(kTolvaExportFailed, [=] { return initVariant(block); });
}

int32_t termdvr(uintptr_t) { return asOneCall(kTolvaExportFailed, termVariant); }

int32_t dd_entry32(uintptr_t, int16_t func, void* block) {
    switch (func) {
        case kTolvaFuncInit:
        case kTolvaFuncCall:
        case kTolvaFuncTerm: return asOneCall(kTolvaExportFailed, [=] { return serveEntry(func, block); });
        case kTolvaFuncVersion:
            if (block != nullptr) store(block, ZUNGetFilterVersion());
            return sizeof(uint32_t);
        default: return 0;
    }
}

int32_t AltFontsAvailable() { return 0; }
int32_t esc_mode(int32_t) { return 0; }
