// export_variant.cpp: the export-filter variant, for hosts that load that entry: its state stands in the settings block
// and in the host's Common block. There are no metafiles on this platform, so its term ends with an error, as hosts
// know it; everything up to that point is done.

#include <cstring>

#include <tolva/driver.h>
#include <tolva/output.h>
#include "host/numbers.h"
#include "output/output_stream.h"
#include "settings/current.h"
#include "settings/export_remains.h"
#include "settings/one_call.h"

using namespace tolva;

namespace {

// Words of the init block.
enum InitWord { kWordHost = 1, kWordFileName = 3, kWordSecond = 5, kWordSetup = 13, kWordStatus = 14 };
constexpr size_t kStatusWord4 = offsetof(TolvaStatusRecord, word4);

template <class T>
T wordOf(const void* block, size_t index) {
    return loadField<T>(block, index * sizeof(uintptr_t));
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
    // On a platform with metafiles this is the host's, to be told of its properties; on this one the hook zeroes it.
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
    return kTolvaNoError;
}

// There is no metafile to draw, and the host is told so.
int32_t termVariant() {
    if (lpRaster == nullptr) return kTolvaExportFailed;
    const int32_t closed = closeStream(*lpRaster);
    // The host's record may be gone after term.
    lpRaster->exporting.status = nullptr;
    return closed != 0 ? kTolvaStreamFailed : kTolvaExportFailed;
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
