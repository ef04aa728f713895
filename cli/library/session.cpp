// session.cpp: what every way needs: the settings and the status record. Called by main between reading the picture
// and keeping the file.

#include "cli/library/session.h"

#include <cstring>

#include "cli/library/device_way.h"
#include "cli/library/export_way.h"
#include "cli/output/host_file.h"
#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr intptr_t kWritingPercent = 50;  // what comes before are steps that few pictures need

// The filter's reports and its questions whether to go on; any answer but 0 stops it. A plain query carries 0.
intptr_t answerStatus(intptr_t, intptr_t a, intptr_t b, intptr_t, intptr_t percent, intptr_t, intptr_t) {
    if (a == 0 && b == 0 && percent < kWritingPercent) showPart(static_cast<uint64_t>(percent), kWritingPercent);
    if (a == 0 && b == 0 && percent >= kWritingPercent) enterStage(Stage::kWriting);
    return stopRequested() ? 1 : 0;
}

void putColour(uint8_t* bytes, Colour colour) { std::memcpy(bytes, &colour, sizeof colour); }

// Size and resolution stand as the settings have them; the rest is the order's.
void fillSetup(TolvaSetup& setup, const ExportOrder& order) {
    setup.colourMode = static_cast<int32_t>(kTolvaColourNormal) + static_cast<int32_t>(order.tone);
    setup.outputDevice = order.hostFile != nullptr ? reinterpret_cast<uintptr_t>(serveHostFile) : 0;
    if (order.sizeReached) {
        setup.sizeMode = kTolvaSizeOfPicture;
        setup.resolutionMode = kTolvaResolutionOfPicture;
    }
    setup.interlaceChoice = order.interlace ? kTolvaInterlaced : 0;
    setup.transparencyChoice = order.transparent ? kTolvaTransparentColour : 0;
    if (order.transparent) putColour(setup.transparentColour, *order.transparent);
    setup.backgroundChoice = order.background ? kTolvaBackgroundColour : 0;
    if (order.background) putColour(setup.backgroundColour, *order.background);
}

}  // namespace

ExitStatus runSession(const Library& library, const ExportOrder& order) {
    TolvaStatusRecord status = {};
    status.context = 1;  // without one the filter does not report its init
    status.function = answerStatus;
    status.streamContext = reinterpret_cast<intptr_t>(order.hostFile);
    TolvaSetup& setup = *static_cast<TolvaSetup*>(library.calls.GlobalLock(order.setup));
    fillSetup(setup, order);
    // A bracket's picture is reported through the settings, which the device's init does not tell of the record.
    if (order.way == Way::kBracket) setup.exporting.status = &status;
    enterStage(Stage::kReducing);
    if (order.hostFile != nullptr) order.hostFile->expected = uint64_t{order.picture->width} * order.picture->height;
    const ExitStatus result =
        order.way == Way::kExport ? exportWhole(library, order, status) : driveDevice(library, order, status);
    setup.exporting.status = nullptr;
    library.calls.GlobalUnlock(order.setup);
    if (result == kExitDone) showPart(1, 1);
    clearBar();
    return result;
}

}  // namespace cli
