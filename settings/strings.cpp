// strings.cpp: the built-in string table: names of profile keys and a few texts that hosts ask for by identifier.

#include <algorithm>
#include <cstring>

#include "settings/strings.h"

// In the order that hosts walk it in; the fallback stands last.
const TolvaStringRow gStringTable[kTolvaStringRows] = {
    {kTolvaStringDefaults, "~Defaults"},
    {kTolvaStringMode, "~Mode"},
    {kTolvaStringHeader, "~Header"},
    {kTolvaStringDefaultMode, "~Default Mode"},
    {kTolvaStringDriver, "Driver"},
    {kTolvaStringDefaultFileSpec, "DefaultFileSpec"},
    {kTolvaStringFont, "Font"},
    {kTolvaStringColourMode, "Color Mode"},
    {kTolvaStringUserPatterns, "User-Defined Patterns"},
    {kTolvaStringColourTableSource, "ColorTableSource"},
    {kTolvaStringColour, "Color"},
    {kTolvaStringFile, "FILE"},
    {kTolvaStringProfile, "PROFILE"},
    {kTolvaStringResolutionMode, "Resolution Mode"},
    {kTolvaStringXResolution, "X Resolution"},
    {kTolvaStringYResolution, "Y Resolution"},
    {kTolvaStringWidth, "Width"},
    {kTolvaStringHeight, "Height"},
    {kTolvaStringFileType, "File Type"},
    {kTolvaStringSizeMode, "Size Mode"},
    {kTolvaStringGifExport, "GIF Export"},
    {kTolvaStringLineMode, "Line Mode"},
    {kTolvaStringFallback, "Not Defined"},
};

namespace {

// Kept: a text that does not fit is cut without a terminator; hosts pass buffers that are large enough.
int32_t copyText(const char* text, char* buffer, int32_t size) {
    const int32_t length = static_cast<int32_t>(std::strlen(text));
    if (buffer != nullptr && size > 0) std::memcpy(buffer, text, static_cast<size_t>(std::min(size, length + 1)));
    return length;
}

}  // namespace

namespace tolva {

const TolvaStringRow& stringRow(uint32_t id) {
    const TolvaStringRow* const last = gStringTable + kTolvaStringRows - 1;
    return *std::find_if(gStringTable, last,
                         [id](const TolvaStringRow& row) { return row.id == static_cast<uint16_t>(id); });
}

}  // namespace tolva

int32_t LoadString(uintptr_t, uint32_t id, char* buffer, int32_t size) {
    const TolvaStringRow& row = tolva::stringRow(id);
    const int32_t length = copyText(row.text, buffer, size);
    return row.id == static_cast<uint16_t>(id) ? length : 0;
}
