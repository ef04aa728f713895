// buffer.cpp: one buffer between a stream's calls and its file or memory block: read, write, seek, fill and flush.
// Procedure streams have none: their calls go to the host.

#include "stream/buffer.h"

#include <algorithm>
#include <limits>

#include "host/memory.h"
#include "host/numbers.h"
#include "host/system_calls.h"

using namespace tolva;

namespace tolva {
namespace {

constexpr int64_t kLastPosition = std::numeric_limits<int32_t>::max();

uint8_t* bufferOf(const StreamRecord& s) { return static_cast<uint8_t*>(GlobalLock(s.bufferHandle)); }

int32_t fail(StreamRecord& s) {
    s.error = -1;
    return -1;
}

int32_t failFlush(StreamRecord& s) {
    s.flushFailed = 1;
    return fail(s);
}

// ---- Blocks that grow ----

// Streams whose blocks have room in reserve: where memory runs out it is given back, so that it is never the reason.
StreamRecord* withRoom = nullptr;

void useBlock(StreamRecord& s, Handle block) {
    s.bufferHandle = block;
    store(s.blockPointerRef, GlobalLock(block));
}

void forgetRoom(StreamRecord& s) {
    StreamRecord** link = &withRoom;
    while (*link != nullptr && *link != &s) link = &(*link)->nextWithRoom;
    if (*link != nullptr) *link = s.nextWithRoom;
    s.room = 0;
    if (withRoom == nullptr) roomOwners = nullptr;
}

void giveBackAll() {
    while (withRoom != nullptr) giveBackRoom(*withRoom);
}

// A host may free a stream's handle, or its block, without closing it.
void forgetFreed(Handle freed) {
    for (StreamRecord* s = withRoom; s != nullptr; s = s->nextWithRoom) {
        if (s->bufferHandle == freed || s == GlobalLock(freed)) return forgetRoom(*s);
    }
}

constexpr RoomOwners kStreams = {giveBackAll, forgetFreed};

void keepRoom(StreamRecord& s, uint32_t room) {
    s.room = room;
    s.nextWithRoom = withRoom;
    withRoom = &s;
    roomOwners = &kStreams;
}

// A larger block, with as much room behind as can be had up to its own size; where there is none, larger by the step
// alone.
void moveToLarger(StreamRecord& s, uint32_t size) {
    constexpr uint32_t kLeastRoom = 65536;
    giveBackRoom(s);
    const Handle old = s.bufferHandle;
    for (uint32_t room = std::min(size, uint32_t{kLastPosition} - size); room >= kLeastRoom; room /= 4) {
        const Handle grown = allocWithRoom(kTolvaMoveableZeroed, size, room);
        if (grown == 0) continue;
        std::memcpy(GlobalLock(grown), GlobalLock(old), std::min(GlobalSize(old), size));
        GlobalFree(old);
        useBlock(s, grown);
        keepRoom(s, room);
        return;
    }
    useBlock(s, GlobalReAlloc(old, size, kTolvaMoveableZeroed));
}

// Grows a memory stream's block so that `lastSlot` is its last byte. The block stays locked, so that the caller's
// pointer remains valid. False, with nothing changed, where positions would not fit, and without a block, which a
// nameless stream whose procedure declined the open does not have.
bool growBlock(StreamRecord& s, int64_t lastSlot) {
    if (s.blockPointerRef == nullptr) return false;
    if (lastSlot < -1 || lastSlot < s.lastSlot || lastSlot >= kLastPosition) return false;
    const uint32_t held = GlobalSize(s.bufferHandle);
    const uint32_t size = static_cast<uint32_t>(lastSlot + 1);
    if (size >= held && size - held <= s.room) {
        growIntoRoom(s.bufferHandle, size);
        s.room -= size - held;
        useBlock(s, s.bufferHandle);
    } else {
        moveToLarger(s, size);
    }
    s.lastSlot = static_cast<int32_t>(lastSlot);
    s.dirty = 0;
    return true;
}

// Whole growth steps until the cursor lies inside the block: after a seek far past the end one step may not do, and a
// byte must never be stored beyond it.
bool growToCursor(StreamRecord& s) {
    if (s.growBy <= 0) return false;
    const int64_t missing = int64_t{s.cursor} - s.lastSlot;
    const int64_t steps = (missing + s.growBy - 1) / s.growBy;
    return growBlock(s, s.lastSlot + steps * s.growBy);
}

// After a flush nothing waits in the runtime's buffer, so that the file itself knows; it is asked, because others may
// write to it too.
void measureFlushed(StreamRecord& s) {
    struct stat status;
    if (systemCalls.status(s.file, &status) != 0 || !S_ISREG(status.st_mode)) return measureFile(s);
    s.size = saturated(status.st_size);
}

// Called with the cursor past the last slot; afterwards there is room at the cursor.
bool makeRoom(StreamRecord& s) {
    if (isMemoryStream(s)) return growToCursor(s);
    if (s.dirty != 0) return flushBuffer(s) != -1;
    // A full buffer that was only read: writing goes on behind it.
    const int64_t next = int64_t{s.bufferStart} + s.cursor;
    if (next > kLastPosition) return false;
    s.bufferStart = s.nextFill = static_cast<int32_t>(next);
    s.cursor = 0;
    s.lastValid = -1;
    return true;
}

int32_t seekMemory(StreamRecord& s, int64_t offset, int32_t origin) {
    if (origin != kTolvaFromStart && origin != kTolvaFromEnd) return fail(s);
    const int64_t target = origin == kTolvaFromStart ? offset : int64_t{s.lastValid} + 1 + offset;
    if (target < 0) return fail(s);
    if (target > kLastPosition) return -1;
    if (origin == kTolvaFromStart && target > s.lastSlot) {
        if (s.growBy < 0 || !growBlock(s, target + s.growBy)) return -1;
    }
    s.cursor = static_cast<int32_t>(target);
    return s.cursor;
}

int32_t seekFile(StreamRecord& s, int64_t offset, int32_t origin) {
    if (s.dirty != 0) flushBuffer(s);
    if (offset > kLastPosition) return fail(s);
    const int32_t position = unxSeek(s.file, static_cast<int32_t>(offset), origin);
    if (position == -1) return fail(s);
    s.nextFill = position;
    return fillBuffer(s) == -1 ? fail(s) : position;
}

}  // namespace

void giveBackRoom(StreamRecord& s) {
    const bool hasRoom = s.room != 0;
    forgetRoom(s);
    if (!hasRoom) return;
    const Handle block = giveRoomBack(s.bufferHandle);
    if (block != s.bufferHandle) useBlock(s, block);
}

void measureFile(StreamRecord& s) {
    const off_t here = systemCalls.tell(s.file);
    if (here < 0 || systemCalls.seek(s.file, 0, SEEK_END) != 0) return;
    s.size = saturated(systemCalls.tell(s.file));
    systemCalls.seek(s.file, here, SEEK_SET);
}

int32_t fillBuffer(StreamRecord& s) {
    if (isMemoryStream(s) || s.file == nullptr) return 0;
    if (s.dirty != 0) flushBuffer(s);
    if (unxSeek(s.file, s.nextFill, kTolvaFromStart) == -1) return fail(s);
    const ssize_t got = systemCalls.read(bufferOf(s), kTolvaStreamBufferBytes, s.file);
    if (got < 0) return fail(s);
    const int64_t next = int64_t{s.nextFill} + got;
    if (next > kLastPosition) return fail(s);
    s.cursor = 0;
    s.lastValid = static_cast<int32_t>(got) - 1;
    s.lastSlot = kTolvaStreamBufferBytes - 1;
    s.bufferStart = s.nextFill;
    s.nextFill = static_cast<int32_t>(next);
    return static_cast<int32_t>(got);
}

int32_t flushBuffer(StreamRecord& s) {
    if (isMemoryStream(s)) {
        return s.growBy >= 0 && growBlock(s, int64_t{s.lastSlot} + s.growBy) ? 1 : -1;
    }
    if (s.dirty == 0 || s.file == nullptr) return 0;
    const int32_t bytes = s.lastValid + 1;
    const int64_t end = int64_t{s.bufferStart} + bytes;
    if (end > kLastPosition || unxSeek(s.file, s.bufferStart, kTolvaFromStart) == -1) return failFlush(s);
    const size_t written = systemCalls.write(bufferOf(s), static_cast<size_t>(bytes), s.file);
    // The runtime's own buffer goes too: on a full disk it would otherwise report success and lose the bytes later.
    const bool whole = written == static_cast<size_t>(bytes) && systemCalls.flush(s.file) == 0;
    (whole ? measureFlushed : measureFile)(s);
    if (!whole) return failFlush(s);
    s.cursor = 0;
    s.lastValid = -1;
    s.lastSlot = kTolvaStreamBufferBytes - 1;
    s.bufferStart = s.nextFill = static_cast<int32_t>(end);
    s.dirty = 0;
    return bytes;
}

int32_t readBuffered(StreamRecord& s, void* buffer, int32_t count) {
    int32_t done = 0;
    while (done < count) {
        if (s.cursor > s.lastValid) {
            const int32_t loaded = fillBuffer(s);
            if (loaded == -1) return fail(s);
            if (loaded == 0) break;
        }
        const int32_t piece = std::min(count - done, s.lastValid - s.cursor + 1);
        std::memcpy(static_cast<uint8_t*>(buffer) + done, bufferOf(s) + s.cursor, static_cast<size_t>(piece));
        s.cursor += piece;
        done += piece;
    }
    return done;
}

int32_t writeBuffered(StreamRecord& s, const void* buffer, int32_t count) {
    int32_t cursor = s.cursor;
    int32_t lastValid = s.lastValid;
    int32_t dirty = s.dirty;
    int32_t done = 0;
    while (done < count) {
        if (cursor > s.lastSlot) {
            // Kept: after an earlier error the call answers 0, by which hosts that went on see that nothing went out,
            // and what it placed so far is not recorded.
            if (s.error == -1) return 0;
            s.cursor = cursor;
            s.lastValid = lastValid;
            s.dirty = dirty;
            if (!makeRoom(s)) return failFlush(s);
            cursor = s.cursor;
            lastValid = s.lastValid;
        }
        const int32_t piece = std::min(count - done, s.lastSlot - cursor + 1);
        std::memcpy(bufferOf(s) + cursor, static_cast<const uint8_t*>(buffer) + done, static_cast<size_t>(piece));
        cursor += piece;
        lastValid = std::max(lastValid, cursor - 1);
        dirty = 1;
        done += piece;
    }
    s.cursor = cursor;
    s.lastValid = lastValid;
    s.dirty = dirty;
    return done;
}

int32_t seekBuffered(StreamRecord& s, int32_t offset, int32_t origin) {
    const int64_t here = int64_t{s.bufferStart} + s.cursor;
    if (origin == kTolvaFromCurrent && offset == 0) return here > kLastPosition ? -1 : static_cast<int32_t>(here);

    int64_t target = offset;
    if (origin == kTolvaFromCurrent) {
        origin = kTolvaFromStart;
        target += here;
    }
    if (origin == kTolvaFromStart) {
        if (target < 0 || (target > s.size && !mayWrite(s))) return fail(s);
        const int64_t inBuffer = target - s.bufferStart;
        if (inBuffer >= 0 && inBuffer <= s.lastValid) {
            s.cursor = static_cast<int32_t>(inBuffer);
            return static_cast<int32_t>(target);
        }
    }
    return isMemoryStream(s) ? seekMemory(s, target, origin) : seekFile(s, target, origin);
}

int32_t readPlain(StreamRecord& s, void* buffer, int32_t count) {
    if (s.ioProc == nullptr) return readBuffered(s, buffer, count);
    return static_cast<int32_t>(callProc(s, kTolvaProcRead, reinterpret_cast<intptr_t>(buffer), count));
}

int32_t seekPlain(StreamRecord& s, int32_t offset, int32_t origin) {
    if (s.ioProc == nullptr) return seekBuffered(s, offset, origin);
    return static_cast<int32_t>(callProc(s, kTolvaProcSeek, reinterpret_cast<intptr_t>(&offset), origin));
}

}  // namespace tolva

using namespace tolva;

int32_t unxSeek(FILE* file, int32_t offset, int32_t origin) {
    if (file == nullptr || systemCalls.seek(file, offset, origin) != 0) return -1;
    const off_t position = systemCalls.tell(file);
    return position > kLastPosition ? -1 : static_cast<int32_t>(position);
}
