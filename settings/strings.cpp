// strings.cpp: the built-in string table: names of profile keys and a few texts that hosts ask for by identifier.

#include <algorithm>
#include <cstring>

#include "settings/strings.h"

// In the order that hosts walk it in; the fallback stands last.
const StringRow gStringTable[kStringRows] = {
    {kStringDefaults, "~Defaults"},
    {kStringMode, "~Mode"},
    {kStringHeader, "~Header"},
    {kStringDefaultMode, "~Default Mode"},
    {kStringDriver, "Driver"},
    {kStringDefaultFileSpec, "DefaultFileSpec"},
    {kStringFont, "Font"},
    {kStringColourMode, "Color Mode"},
    {kStringUserPatterns, "User-Defined Patterns"},
    {kStringColourTableSource, "ColorTableSource"},
    {kStringColour, "Color"},
    {kStringFile, "FILE"},
    {kStringProfile, "PROFILE"},
    {kStringResolutionMode, "Resolution Mode"},
    {kStringXResolution, "X Resolution"},
    {kStringYResolution, "Y Resolution"},
    {kStringWidth, "Width"},
    {kStringHeight, "Height"},
    {kStringFileType, "File Type"},
    {kStringSizeMode, "Size Mode"},
    {kStringGifExport, "GIF Export"},
    {kStringLineMode, "Line Mode"},
    {kStringFallback, "Not Defined"},
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

const StringRow& stringRow(uint32_t id) {
    const StringRow* const last = gStringTable + kStringRows - 1;
    return *std::find_if(gStringTable, last,
                         [id](const StringRow& row) { return row.id == static_cast<uint16_t>(id); });
}

}  // namespace tolva

int32_t LoadString(uintptr_t, uint32_t id, char* buffer, int32_t size) {
    const StringRow& row = tolva::stringRow(id);
    const int32_t length = copyText(row.text, buffer, size);
    return row.id == static_cast<uint16_t>(id) ? length : 0;
}
