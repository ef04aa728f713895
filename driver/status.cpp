// status.cpp: the host's status function: progress out, a request to stop in. Every call of it goes through one
// wrapper.

#include "driver/status.h"
#include "settings/current.h"

using namespace tolva;

namespace {

constexpr intptr_t kDetailRequest = 2;
constexpr intptr_t kDetailStopped = 61;

intptr_t query(const TolvaStatusRecord* record, intptr_t value) {
    return CallGetSet_Status(statusFunctionOf(record), statusContextOf(record), 0, 0, 0, value, 0, 0);
}

int32_t stopAnswer(intptr_t answer) {
    if (answer == 0) return kTolvaNoError;
    push_er(kTolvaStoppedByHost);
    return kTolvaStoppedByHost;
}

}  // namespace

intptr_t CallGetSet_Status(TolvaStatusFunction function, intptr_t context, intptr_t a, intptr_t b, intptr_t c,
                           intptr_t d, intptr_t e, intptr_t f) {
    if (function == nullptr) return 0;
    const intptr_t answer = function(context, a, b, c, d, e, f);
    if (answer == 0 || a != 0 || b != 0) return answer;
    // A stop in answer to a plain query: its detail is asked for, and that answer is what counts.
    intptr_t detail[kTolvaStatusDetailWords] = {};
    return function(context, kDetailRequest, kDetailStopped, 0, 0, 0, reinterpret_cast<intptr_t>(detail));
}

int32_t RASTER_escape() {
    if (lpEMData == nullptr || lpEMData->status == nullptr) return kTolvaNoError;
    return stopAnswer(query(lpEMData->status, 0));
}

int32_t escape() {
    if (lpCommon == nullptr) return kTolvaNoError;
    const auto* const record = loadField<const TolvaStatusRecord*>(lpCommon, offsetof(TolvaCommonBlock, status));
    if (record == nullptr) return kTolvaNoError;
    return stopAnswer(query(record, loadField<int32_t>(lpCommon, offsetof(TolvaCommonBlock, statusValue))));
}

int32_t UpdateStatus(int32_t value) {
    const TolvaStatusRecord* const record = lpRaster == nullptr ? nullptr : lpRaster->exporting.status;
    if (record == nullptr || query(record, value) == 0) return kTolvaNoError;
    return kTolvaStoppedByHost;
}

namespace tolva {

bool reportProgress(int32_t percent) {
    if (lpEMData == nullptr || lpEMData->status == nullptr) return true;
    return query(lpEMData->status, percent) == 0;
}

}  // namespace tolva
