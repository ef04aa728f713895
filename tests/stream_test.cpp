// Streams against files of the system, and their stated results.
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include "support.h"

namespace {

// A host's procedure over a file of the system's, which has no buffers of ours.
intptr_t hostProcedure(intptr_t file, intptr_t operation, intptr_t a, intptr_t b) {
    const int host = static_cast<int>(file);
    switch (operation) {
        case procOpen: return file;
        case procRead: return read(host, reinterpret_cast<void*>(a), b);
        case procWrite: return write(host, reinterpret_cast<void*>(a), b);
        case procSeek: return lseek(host, *reinterpret_cast<int32_t*>(a), static_cast<int>(b));
        default: return 7;
    }
}

void checkRandomOperations(TolvaHandle stream, std::mt19937& random, int model) {
    for (int step = 0; step < 3000; ++step) {
        const off_t at = lseek(model, 0, SEEK_CUR), end = lseek(model, 0, SEEK_END);
        lseek(model, at, SEEK_SET);
        int32_t size = upTo(random, 3) == 0 ? upTo(random, 30000) : upTo(random, 40);
        switch (random() % 4) {
            case 0: {
                size = end > 150000 ? std::min(size, 3) : size;
                const Bytes bytes = noise(size, 1, 256, step).pixels;
                ASSERT_EQ(zunWrite(stream, bytes.data(), size), write(model, bytes.data(), size));
                break;
            }
            case 1: {
                Bytes expected(size), got(size);
                ASSERT_EQ(zunRead(stream, got.data(), size), read(model, expected.data(), size)) << step;
                ASSERT_TRUE(same(got, expected));
                break;
            }
            default: {
                const int32_t origin = upTo(random, 2);
                const off_t base[] = {0, at, end}, offset = upTo(random, static_cast<int>(end) + 50) - base[origin];
                ASSERT_EQ(zunSeek(stream, offset, origin), lseek(model, offset, origin));
            }
        }
        ASSERT_EQ(zunSeek(stream, 0, fromCurrent), lseek(model, 0, SEEK_CUR));
    }
}

}  // namespace

TEST(Streams, FilesMemoryAndProceduresActAsOnesOfTheSystem) {
    const Temporary file;
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        std::mt19937 random(seed);
        const int model = memfd_create("model", 0), host = memfd_create("host", 0);
        MemoryFile memory;
        TolvaHandle stream = memory.stream;
        if (seed % 3 == 0) stream = zunOpen(file, nullptr, toCreate);
        StreamDescriptor descriptor = {};
        descriptor.blockRef = host;
        descriptor.ioProc = reinterpret_cast<intptr_t>(hostProcedure);
        if (seed % 3 == 2) stream = zunOpen("theirs", &descriptor, toCreate);
        checkRandomOperations(stream, random, model);
        if (HasFatalFailure()) return;
        if (seed % 3 != 1) {
            EXPECT_EQ(zunClose(stream), seed % 3 == 2 ? 7 : 0);
        }
        const Bytes inMemory = memory.close(), atHost = readFile("/proc/self/fd/" + std::to_string(host));
        const Bytes& arrived = seed % 3 == 0 ? readFile(file.path) : seed % 3 == 1 ? inMemory : atHost;
        EXPECT_TRUE(same(arrived, readFile("/proc/self/fd/" + std::to_string(model)))) << seed;
        for (const int each : {model, host}) close(each);
    }
    EXPECT_EQ(zunOpen(file, nullptr, toDelete), 1u);
    EXPECT_EQ(zunOpen(file, nullptr, toDelete), 0u);
    EXPECT_EQ(zunOpen(file, nullptr, toFind), static_cast<TolvaHandle>(-1));
}

TEST(Streams, ReadOnlyOnesRefuseToSeekPastTheEndAndToWriteAndRememberIt) {
    const Temporary file, copy;
    TolvaHandle stream = zunOpen(file, nullptr, toCreate);
    Bytes bytes(bufferBytes + 1, 5);
    EXPECT_EQ(zunWrite(stream, bytes.data(), bufferBytes + 1), bufferBytes + 1);
    const StreamRecord& record = *static_cast<StreamRecord*>(GlobalLock(stream));
    EXPECT_EQ(record.bufferStart, bufferBytes);
    EXPECT_EQ(record.cursor, 1);
    EXPECT_EQ(zunClose(stream), 0);
    stream = zunOpen(file, nullptr, toRead);
    EXPECT_EQ(zunSeek(stream, bufferBytes + 2, fromStart), -1);
    EXPECT_EQ(static_cast<StreamRecord*>(GlobalLock(stream))->error, -1);
    EXPECT_EQ(zunSeek(stream, 10, fromStart), 10);
    EXPECT_EQ(zunSeek(stream, 0, 9), -1);
    EXPECT_EQ(zunClose(stream), 0);
    stream = zunOpen(file, nullptr, toRead);
    EXPECT_EQ(zunWrite(stream, "x", 1), 1);
    EXPECT_EQ(FlushZunIO(stream), -1);
    EXPECT_EQ(zunSeek(stream, -50, fromEnd), bufferBytes - 49);  // it reads on
    EXPECT_EQ(zunClose(stream), -1);
    EXPECT_EQ(zunCopy(file, copy), 0);
    EXPECT_TRUE(same(readFile(copy.path), bytes));
    EXPECT_EQ(zunCopy("/nowhere/at/all", copy), 0);
}

TEST(Streams, ThatAreStandardOrAHostsOwnStayItsOwn) {
    const Temporary file;
    const int out = dup(STDOUT_FILENO);
    FILE* const theirs = std::freopen(file, "w", stdout);
    const TolvaHandle standard = zunOpen("stdout", nullptr, toCreate);
    EXPECT_EQ(zunWrite(standard, "abc", 3) + zunClose(standard), 3);
    EXPECT_EQ(std::fprintf(theirs, "lost") + std::fflush(theirs), 4);
    dup2(out, STDOUT_FILENO);
    close(out);
    FILE* const wrapped = std::fopen(file, "r+");
    StreamDescriptor descriptor = {0, 0, 0, reinterpret_cast<intptr_t>(wrapped), 0, 0};
    const TolvaHandle stream = zunOpen(nullptr, &descriptor, toWrap);
    EXPECT_EQ(zunSeek(stream, 0, fromEnd) + zunWrite(stream, "de", 2) + zunClose(stream), 5);
    EXPECT_EQ(std::fputs("f", wrapped) + std::fclose(wrapped), 1);
    EXPECT_EQ(textOf(file.path), "abcdef");
    EXPECT_EQ(zunOpen(file, nullptr, toFind), 1u);
    const StreamIOProc asked = [](intptr_t, intptr_t operation, intptr_t, intptr_t) { return operation; };
    descriptor.ioProc = reinterpret_cast<intptr_t>(asked);  // from here on the host answers
    EXPECT_EQ(zunOpen(file, &descriptor, toFind), 6u);
    EXPECT_EQ(zunOpen(file, &descriptor, toDelete), 7u);
}

TEST(Streams, AMemoryBlockReadsBackWithoutItsEndMarkerAndSlack) {
    MemoryFile memory;
    EXPECT_EQ(zunWrite(memory.stream, "ab", 2), 2);
    EXPECT_EQ(zunSeek(memory.stream, 5000, fromEnd), 5002);  // far past the block: the write grows it first
    EXPECT_EQ(zunWrite(memory.stream, "c", 1), 1);
    EXPECT_EQ(zunSeek(memory.stream, -1, fromStart), -1);
    EXPECT_EQ(zunSeek(memory.stream, INT32_MAX, fromStart), -1);
    EXPECT_EQ(zunClose(memory.stream), 0);
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&memory.block);
    descriptor.size = 1 << 20;  // more than the block holds
    const TolvaHandle stream = zunOpen(nullptr, &descriptor, toRead);
    EXPECT_EQ(descriptor.size, 5003);
    char bytes[6000];
    EXPECT_EQ(zunRead(stream, bytes, sizeof bytes), 5003);
    EXPECT_EQ(bytes[5002], 'c');
    EXPECT_EQ(zunSeek(stream, 5003, fromStart), -1);  // kept: the size at open is one byte short
    EXPECT_EQ(zunClose(stream), 0);
    GlobalFree(GlobalHandle(memory.block));
}

TEST(Streams, GrowInMemoryStepByStepWithRoomThatIsNeverMissed) {
    MemoryFile file;
    const Bytes piece = noise(1000, 1, 255, 1).pixels;
    for (uint32_t written = 0; written < 400000;) {
        ASSERT_EQ(zunWrite(file.stream, piece.data(), 1000), 1000);
        written += 1000;
        if (written % 16000 == 0) RASTER_dd_entry32(0, 2, nullptr);  // a call's end gives the room back
        const uint32_t size = GlobalSize(GlobalHandle(file.block));
        ASSERT_EQ(size, (written + 4095) / 4096 * 4096);
        const uint8_t* const bytes = static_cast<uint8_t*>(file.block);
        ASSERT_EQ(std::memcmp(bytes + written - 1000, piece.data(), 1000), 0);
        ASSERT_EQ(std::count(bytes + written, bytes + size, 0), size - written);
    }
    const TolvaHandle other = GlobalReAlloc(handleOf(contents(GlobalHandle(file.block))), 500000, 66);
    const Bytes all = taken(other);
    EXPECT_EQ(zunClose(file.stream), 0);
    EXPECT_EQ(std::memcmp(file.block, all.data(), 400000), 0);
    GlobalFree(GlobalHandle(file.block));
#ifndef __SANITIZE_ADDRESS__
    const RunResult inLittleMemory = runForked([] {
        MemoryFile tight;
        const Bytes megabyte(1 << 20, 7);
        const rlim_t most = std::stoull(textOf("/proc/self/statm")) * getpagesize() + (180 << 20);
        const rlimit limit = {most, most};
        setrlimit(RLIMIT_AS, &limit);
        for (int i = 0; i < 70; ++i) zunWrite(tight.stream, megabyte.data(), 1 << 20);
        GlobalAlloc(66, 105 << 20);  // what the stream has in reserve is given back for it
        const uint8_t* const bytes = static_cast<uint8_t*>(tight.block);
        return std::count(bytes, bytes + (70 << 20), 7) == 70 << 20 ? 0 : 1;
    });
    EXPECT_EQ(inLittleMemory.status, 0);
#endif
}

TEST(Streams, AreMeasuredByTheirBlockWhateverTheDescriptorSays) {
    for (const intptr_t size : {intptr_t{0}, INTPTR_MIN, intptr_t{-5}, intptr_t{1} << 30}) {
        void* block = GlobalLock(GlobalAlloc(66, 100));
        StreamDescriptor descriptor = {};
        descriptor.blockRef = reinterpret_cast<intptr_t>(&block);
        descriptor.size = size;
        const TolvaHandle stream = zunOpen(nullptr, &descriptor, toCreate);
        EXPECT_TRUE(size == 0 || FlushZunIO(stream) == 1);  // a step of 0 makes the block anew
        const Bytes bytes(5000, 1);
        EXPECT_EQ(zunWrite(stream, bytes.data(), 5000), -1);  // and no room, nor may it grow
        EXPECT_EQ(zunClose(stream), -1);
        GlobalFree(GlobalHandle(block));
    }
}

TEST(Streams, AProcedureThatDoesNotHandleTheOpenIsStillCalled) {
    StreamDescriptor descriptor = {};
    descriptor.ioProc = reinterpret_cast<intptr_t>(+[](intptr_t, intptr_t op, intptr_t, intptr_t b) -> intptr_t {
        return op == procWrite ? b - 1 : op == procClose ? b : 0;
    });
    const Temporary file;
    TolvaHandle stream = zunOpen(file, &descriptor, toCreate);
    EXPECT_EQ(access(file, F_OK), 0);
    EXPECT_EQ(zunWrite(stream, "abc", 3), 2);
    EXPECT_EQ(zunCloseandDelete(stream, file), toDelete);
    stream = zunOpen("", &descriptor, toCreate);
    EXPECT_EQ(zunWrite(stream, "abc", 3), 2);
    EXPECT_EQ(FlushZunIO(stream), -1);  // there is no block
    EXPECT_EQ(FillZunIOBuf(stream), 0);
    EXPECT_EQ(zunClose(stream), 0);
}
