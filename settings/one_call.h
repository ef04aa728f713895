// one_call.h: the calls of a host during which no other may begin. A host's callbacks run inside them and may call
// back; what would close the device, or free the settings, that the call works on is refused then.
#ifndef TOLVA_SETTINGS_ONE_CALL_H
#define TOLVA_SETTINGS_ONE_CALL_H

#include <cstdint>

#include "host/memory.h"

namespace tolva {

extern bool callUnderWay;

// Serves a call, or answers `refusal` where one is under way. A host that leaves a callback other than by returning
// leaves the library busy for good.
template <class Serve>
int32_t asOneCall(int32_t refusal, Serve serve) {
    if (callUnderWay) return refusal;
    callUnderWay = true;
    const int32_t result = serve();
    callUnderWay = false;
    // What streams have in reserve is not to be missed by the host between its calls.
    if (roomOwners != nullptr) roomOwners->giveBack();
    return result;
}

}  // namespace tolva

#endif
