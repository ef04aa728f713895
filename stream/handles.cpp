// handles.cpp: opening, closing, deleting and copying streams, and temporary names. A stream is a memory handle that
// holds its record, from zunOpen to zunClose or zunCloseandDelete.

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/numbers.h"
#include "host/system_calls.h"
#include "stream/buffer.h"

using namespace tolva;

namespace {

constexpr uint8_t kEndMarker = 0xFF;  // behind a memory stream's bytes; the next open for reading strips it
constexpr char kTemporaryPattern[] = "/tmp/tolvaXXXXXX";

// A caller's descriptor, taken by copy. Without one all words are 0.
StreamDescriptor copyOf(const StreamDescriptor* descriptor) {
    return descriptor == nullptr ? StreamDescriptor{} : load<StreamDescriptor>(descriptor);
}

StreamIOProc procOf(const StreamDescriptor& descriptor) { return reinterpret_cast<StreamIOProc>(descriptor.ioProc); }

bool isEmpty(const char* name) { return name == nullptr || name[0] == '\0'; }

// Modes that open nothing: the host's procedure answers, or the file system.
Handle fileExists(const char* name, StreamIOProc proc) {
    if (proc != nullptr) return static_cast<Handle>(proc(0, kTolvaProcExists, reinterpret_cast<intptr_t>(name), 0));
    FILE* const file = name == nullptr ? nullptr : systemCalls.open(name, "r");
    if (file == nullptr) return static_cast<Handle>(-1);
    systemCalls.close(file);
    return 1;
}

Handle deleteFile(const char* name, StreamIOProc proc) {
    if (proc != nullptr) return static_cast<Handle>(proc(0, kTolvaProcDelete, reinterpret_cast<intptr_t>(name), 0));
    return name != nullptr && systemCalls.remove(name) == 0 ? 1 : 0;
}

// Whoever runs the host, a stop must not take a device or a pipe away. Links are followed: that to a regular file may
// go.
bool isRegularFile(const char* name) {
    struct stat about = {};
    return name != nullptr && systemCalls.lookAt(name, &about) == 0 && S_ISREG(about.st_mode);
}

const char* runtimeMode(int32_t mode) {
    if ((mode & kTolvaCreateFile) != 0) return "w+";
    if ((mode & kTolvaUpdateFile) != 0) return "r+";
    return (mode & kTolvaWriteFile) != 0 ? "w+" : "r";
}

FILE* openFile(const char* name, int32_t mode) {
    if (std::strcmp(name, "stdin") == 0) return stdin;
    if (std::strcmp(name, "stdout") == 0) return stdout;
    return systemCalls.open(name, runtimeMode(mode));
}

void startFile(StreamRecord& s) {
    s.bufferHandle = GlobalAlloc(kTolvaMoveableZeroed, kTolvaStreamBufferBytes);
    s.lastValid = -1;
    s.lastSlot = kTolvaStreamBufferBytes - 1;
    s.lineFormat = kTolvaLineLf;
    if (s.ioProc == nullptr) measureFile(s);
}

// The contents of a block opened for reading: trailing zero bytes are growth slack, and the byte before them is the end
// marker. A block without contents thus measures -1.
int32_t measureBlock(const uint8_t* block, int32_t size) {
    while (size != 0 && block[size - 1] == 0) --size;
    return size - 1;
}

bool startMemory(StreamRecord& s, const StreamDescriptor& descriptor, StreamDescriptor* callers) {
    s.nextFill = -1;
    s.lineFormat = kTolvaLineLf;
    s.growBy = saturated(descriptor.growBy);
    // With a procedure the first word is its context, not the address of a block: nothing here may look at it.
    if (s.ioProc != nullptr) return true;
    s.blockPointerRef = reinterpret_cast<void**>(descriptor.blockRef);
    if (s.blockPointerRef == nullptr) return false;
    s.bufferHandle = GlobalHandle(load<void*>(s.blockPointerRef));
    // A size beyond the block, or below nothing, would have bytes outside it read and written.
    const int32_t held = saturated(GlobalSize(s.bufferHandle));
    int32_t size = std::clamp(saturated(descriptor.size), 0, held);
    if ((s.mode & kTolvaCreateFile) == 0) {
        size = measureBlock(static_cast<const uint8_t*>(GlobalLock(s.bufferHandle)), size);
        storeField(callers, offsetof(StreamDescriptor, size), intptr_t{size});
        s.lastValid = size - 1;
    } else {
        s.lastValid = -1;
    }
    s.lastSlot = size - 1;
    s.size = s.lastValid;
    return true;
}

bool startNamed(StreamRecord& s, const char* name, int32_t mode) {
    s.namedFile = 1;
    s.file = openFile(name, mode);
    if (s.file == nullptr) return false;
    startFile(s);
    return true;
}

bool startWrapped(StreamRecord& s, const StreamDescriptor& descriptor) {
    s.borrowedFile = 1;
    s.ioProc = procOf(descriptor);
    if (s.ioProc != nullptr) {
        s.ioInstance = descriptor.ioInstance;
        return true;
    }
    if (descriptor.file == 0 || descriptor.file == -1) return false;
    s.file = reinterpret_cast<FILE*>(descriptor.file);
    startFile(s);
    return true;
}

bool startStream(StreamRecord& s, const char* name, StreamDescriptor* callers, int32_t mode) {
    const StreamDescriptor descriptor = copyOf(callers);
    if (mode == kTolvaWrapStream) return startWrapped(s, descriptor);
    s.ioProc = procOf(descriptor);
    if (s.ioProc != nullptr) {
        s.ioInstance = s.ioProc(descriptor.blockRef, kTolvaProcOpen, reinterpret_cast<intptr_t>(name), mode);
        if (s.ioInstance != 0) return true;
        // Kept: the procedure that did not handle the open stays recorded and is called, with instance 0, for
        // everything that follows; hosts rely on the file being made all the same.
    }
    if (!isEmpty(name)) return startNamed(s, name, mode);
    return callers != nullptr && startMemory(s, descriptor, callers);
}

int32_t closeMemory(StreamRecord& s) {
    if (!mayWrite(s) || load<void*>(s.blockPointerRef) == nullptr) return 0;
    return seekBuffered(s, 0, kTolvaFromEnd) != -1 && writeBuffered(s, &kEndMarker, 1) == 1 ? 0 : -1;
}

// Whoever reads the other end of a standard stream is to see its end; the host's own FILE stays usable, so that it may
// print on, or open the name again, and reach nothing instead of freed memory or a file that took the number.
int closeRuntime(FILE* file) {
    if (file != stdin && file != stdout) return systemCalls.close(file);
    const int result = systemCalls.flush(file);
    const int nothing = systemCalls.openFile("/dev/null", O_RDWR | O_CLOEXEC, 0);
    if (nothing == -1) return result;
    const int replaced = dup2(nothing, fileno(file));
    systemCalls.closeFile(nothing);
    return replaced == -1 ? -1 : result;
}

// Also the file of a procedure stream whose open the procedure did not handle.
int32_t closeFile(StreamRecord& s) {
    flushBuffer(s);
    int32_t result = 0;
    if (s.borrowedFile == 0) result = closeRuntime(s.file);
    GlobalFree(s.bufferHandle);
    return s.flushFailed != 0 ? -1 : result;
}

int32_t closeStream(Handle stream, intptr_t procedureFlag) {
    StreamRecord& s = *lockStream(stream);
    int32_t result = 0;
    if (s.ioProc != nullptr) {
        result = static_cast<int32_t>(callProc(s, kTolvaProcClose, 0, procedureFlag));
        if (s.file != nullptr) closeFile(s);
    } else if (isMemoryStream(s)) {
        result = closeMemory(s);
        giveBackRoom(s);
        if (s.flushFailed != 0) result = -1;
    } else {
        result = closeFile(s);
    }
    GlobalFree(stream);
    return result;
}

}  // namespace

Handle zunOpen(const char* name, StreamDescriptor* descriptor, int32_t mode) {
    if (mode == kTolvaFileExists) return fileExists(name, procOf(copyOf(descriptor)));
    if (mode == kTolvaDeleteFile) return deleteFile(name, procOf(copyOf(descriptor)));
    const Handle stream = GlobalAlloc(kTolvaMoveableZeroed, sizeof(StreamRecord));
    StreamRecord& s = *lockStream(stream);
    s.mode = static_cast<uint32_t>(mode);
    if (startStream(s, name, descriptor, mode)) return stream;
    GlobalFree(stream);
    return 0;
}

int32_t zunClose(Handle stream) { return stream == 0 ? -1 : closeStream(stream, 0); }

int32_t zunCloseandDelete(Handle stream, const char* name) {
    StreamRecord* const s = lockStream(stream);
    if (s == nullptr) return -1;
    if (s->ioProc != nullptr) return closeStream(stream, kTolvaDeleteFile);
    if (s->ownedBlockRef != nullptr) {
        void** const owned = s->ownedBlockRef;
        const Handle block = GlobalHandle(*owned);
        // The block goes before the close, as hosts know it; a stream over that very block then gets no end marker.
        if (block == s->bufferHandle && s->blockPointerRef != nullptr) *s->blockPointerRef = nullptr;
        GlobalFree(block);
        *owned = nullptr;
        closeStream(stream, 0);
        return 0;
    }
    closeStream(stream, 0);
    if (isRegularFile(name)) zunOpen(name, nullptr, kTolvaDeleteFile);
    return 0;
}

int32_t zunCopy(const char* source, const char* destination) {
    uint8_t piece[4096];
    const Handle from = zunOpen(source, nullptr, kTolvaReadFile);
    const Handle to = zunOpen(destination, nullptr, kTolvaCreateAndWrite);
    int64_t balance = 0;
    int32_t got = 0;
    while ((got = zunRead(from, piece, sizeof piece)) > 0) balance += zunWrite(to, piece, got) - got;
    zunClose(from);
    // What could not be read, or did not get beyond a buffer, is missing in the copy though all that was read was
    // taken. Kept: hosts rely on it that a source that does not open is nothing to copy, and no failure.
    const bool closed = to == 0 || zunClose(to) == 0;
    return got == 0 && closed ? saturated(balance) : std::min(saturated(balance), -1);
}

int32_t ZUNGetTempFileName(int32_t, const char*, int32_t, char* buffer) {
    if (buffer == nullptr) return 0;
    char path[sizeof kTemporaryPattern];
    std::memcpy(path, kTemporaryPattern, sizeof path);
    // The file is made here and now, readable by its owner alone: a name that is only made up could be taken by another
    // before it is opened.
    const int file = systemCalls.makeTemporary(path);
    if (file == -1) return 0;
    systemCalls.closeFile(file);
    std::memcpy(buffer, path, sizeof path);
    return 1;
}
