// streams.cpp: streams of all kinds under operations in any order, records of any format among them.

#include <cctype>
#include <climits>
#include <cstdio>

#include <sys/mman.h>
#include <unistd.h>

#include <tolva/stream.h>
#include "fuzz/input.h"

namespace {

Input* input;  // the host's procedure answers from it too

intptr_t answer(intptr_t, intptr_t operation, intptr_t a, intptr_t b) {
    const auto said = static_cast<int8_t>(input->byte());
    if (operation != kTolvaProcRead || said <= 0) return said;
    const std::vector<uint8_t> bytes = input->bytes(static_cast<size_t>(std::clamp<intptr_t>(b, 0, said)));
    if (!bytes.empty()) std::memcpy(reinterpret_cast<void*>(a), bytes.data(), bytes.size());
    return static_cast<intptr_t>(bytes.size());
}

// Where a record ends that starts at `at`: what a host owes. By the manual, but for a union's size.
int64_t recordEnd(const char* format, bool reading, int64_t at) {
    const auto align = [&at](int64_t to) { at = (at + to - 1) / to * to; };
    for (const char* p = format; *p != 0; ++p) {
        int64_t count = std::isdigit(static_cast<uint8_t>(*p)) != 0 ? 0 : 1;
        for (; std::isdigit(static_cast<uint8_t>(*p)) != 0; ++p)
            count = std::min<int64_t>(count * 10 + *p - '0', 1u << 31);
        const int kind = std::toupper(static_cast<uint8_t>(*p));
        const int64_t width = kind == 'C' ? 1 : kind == 'S' ? 2 : kind == 'L' || kind == 'F' ? 4 : kind == 'D' ? 8 : 0;
        if (kind == '{' || (kind == '(' && reading)) align(GetPadWidth(p));
        if (width != 0) align(width);
        if (count * width > INT_MAX) return at;
        at += count * width;
        if (kind != '(' || !reading) {
            if (kind == 0) break;
            continue;
        }
        int32_t size = 0;
        p = GetUnionSize(p, &size);
        at += size;
        if (*p == 0) break;
    }
    align(GetPadWidth(format));
    return at;
}

void transferRecords(TolvaHandle stream, bool reading) {
    const std::string format = input->text(40);
    const int32_t records = input->pick({1, 2, 3, 17, 0, -1, INT_MAX});
    int64_t end = 0;
    for (int32_t i = 0, before = -1; i < records && end != before && end < 1 << 20; ++i) {
        before = static_cast<int32_t>(end);
        end = recordEnd(format.c_str(), reading, end);
    }
    if (end >= 1 << 20) return;  // more than this host has
    std::vector<uint8_t> memory = input->bytes(static_cast<size_t>(end));
    if (reading) {
        zunReadStruct(stream, format.c_str(), memory.data(), records);
    } else {
        zunWriteStruct(stream, format.c_str(), memory.data(), records);
    }
}

constexpr int kWidths[] = {1, 1, 2, 4, 4, 8};
constexpr decltype(&zunRead) kReads[] = {zunRead, zunReadChar, zunReadShort, zunReadLong, zunReadFloat, zunReadDouble};
constexpr decltype(&zunWrite) kWrites[] = {zunWrite,     zunWriteChar,  zunWriteShort,
                                           zunWriteLong, zunWriteFloat, zunWriteDouble};

void operate(TolvaHandle stream, bool inMemory) {
    const uint32_t kind = input->upTo(5), operation = input->upTo(8);
    const int32_t number = input->number<int32_t>(), count = number % 4000;
    const auto elements = static_cast<size_t>(std::max(count, 0));
    std::vector<uint8_t> memory(elements * kWidths[kind]);
    switch (operation) {
        case 0: kReads[kind](stream, memory.data(), count); break;
        case 1: kWrites[kind](stream, input->bytes(memory.size()).data(), count); break;
        case 2: zunSeek(stream, inMemory ? number % 20000 : number, input->upTo(3)); break;  // grows memory
        case 3: zunReadLine(stream, reinterpret_cast<char*>(input->bytes(elements).data()), count); break;
        case 4: zunWriteLine(stream, reinterpret_cast<char*>(input->bytes(elements).data()), count); break;
        case 5: zunSetDataFormat(stream, kind % 2, kind / 2), zunSetLineFormat(stream, number & 3); break;
        case 6: (kind < 2 ? zunGetLineFormat : kind < 4 ? FillZunIOBuf : FlushZunIO)(stream); break;
        default: transferRecords(stream, operation == 7);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input all(data, size);
    input = &all;
    const uint32_t kind = all.upTo(3);  // memory, a procedure, a file handed over, a file by name
    const int32_t mode = all.pick({0, 1, 2, 0x1000, 0x1001, 0x1003});
    const std::vector<uint8_t> contents = all.bytes(all.upTo(600));
    void* block = GlobalLock(GlobalAlloc(kTolvaMoveableZeroed, static_cast<uint32_t>(contents.size())));
    if (!contents.empty()) std::memcpy(block, contents.data(), contents.size());
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&block);
    descriptor.size = all.number<int16_t>();
    descriptor.growBy = all.number<int16_t>();
    if (kind == 1) descriptor.ioProc = reinterpret_cast<intptr_t>(answer);
    FILE* file = nullptr;
    char name[40] = "";
    if (kind >= 2) {
        const int memory = memfd_create("streams", 0);
        file = fdopen(memory, "r+");
        if (write(memory, contents.data(), contents.size()) < 0) return 0;
        std::snprintf(name, sizeof name, "/proc/self/fd/%d", memory);
        if (kind == 2) descriptor.file = reinterpret_cast<intptr_t>(file);
    }
    const TolvaHandle stream = zunOpen(kind == 3 ? name : nullptr, &descriptor, kind == 2 ? -1 : mode);
    for (int i = 0; stream != 0 && i < 200 && all.left() > 0; ++i) operate(stream, kind == 0);
    (size % 2 == 0 ? zunClose(stream) : zunCloseandDelete(stream, name));
    if (file != nullptr) std::fclose(file);
    GlobalFree(GlobalHandle(block));
    return 0;
}
