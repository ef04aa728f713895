// errors.cpp: how handlers report: an error stack in the device's state and a reply buffer that is only ever appended
// to.

#include <algorithm>
#include <cstring>

#include <tolva/driver.h>
#include "host/numbers.h"

using namespace tolva;

namespace {

int32_t errorCount(const TolvaEMData& em) { return std::clamp(em.errorCount, 0, int32_t{kTolvaErrorEntries}); }

template <class T>
void reply(const T& value) {
    mov2buf(&value, sizeof value);
}

}  // namespace

void push_er(int32_t code) {
    if (lpEMData == nullptr) return;
    TolvaEMData& em = *lpEMData;
    const int32_t count = errorCount(em);
    const TolvaErrorRecord record = {em.currentOpcode, low16(code)};
    if (count != 0 && em.errors[count - 1].opcode == record.opcode && em.errors[count - 1].code == record.code) return;
    if (count == 0) em.firstError = record;
    const int32_t capacity = std::clamp(em.errorCapacity, 0, int32_t{kTolvaErrorEntries});
    if (count < capacity) {
        em.errors[count] = record;
        em.errorCount = count + 1;
    } else {
        // Kept: without a capacity, which only a host sets, every error lands in the first record and counts as lost;
        // hosts without one find the latest there.
        (capacity == 0 ? em.firstError : em.errors[capacity - 1]) = record;
        ++em.lostErrors;
    }
    em.lastErrorOpcode = record.opcode;
    em.result = record.code;
}

void mov2buf(const void* from, uint32_t length) {
    if (lpEMData == nullptr) return;
    TolvaEMData& em = *lpEMData;
    const uint32_t room = em.replySize > em.replyPosition ? em.replySize - em.replyPosition : 0;
    length = std::min(length, room);
    if (length == 0 || em.replyBuffer == nullptr) return;
    std::memcpy(em.replyBuffer + em.replyPosition, from, length);
    em.replyPosition += length;
}

void* d_popes(void* block) {
    if (lpEMData == nullptr) return block;
    TolvaEMData& em = *lpEMData;
    em.errorCount = errorCount(em);
    const int32_t n = std::min(load<int32_t>(static_cast<const uint8_t*>(block) + kTolvaPopRequested), em.errorCount);
    reply(n);
    for (int32_t i = 0; i < n; ++i) reply(em.errors[--em.errorCount]);
    return block;
}

void* d_empes(void* block) {
    if (lpEMData == nullptr) return block;
    lpEMData->errorCount = 0;
    lpEMData->lostErrors = 0;
    lpEMData->lastErrorOpcode = 0;
    lpEMData->result = kTolvaNoError;
    return block;
}

void* dq_es(void* block) {
    if (lpEMData == nullptr) return block;
    reply(lpEMData->errorCount);
    reply(lpEMData->firstError);
    reply(lpEMData->lostErrors);
    return block;
}
