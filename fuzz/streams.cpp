// streams.cpp: streams of all kinds under operations in any order: plain and typed transfers, records of any format,
// lines, seeks, and sub-streams of compound documents.

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include <tolva/stream.h>
#include "fuzz/input.h"

namespace {

constexpr int kWidths[] = {1, 1, 2, 4, 4, 8};
constexpr decltype(&zunRead) kReads[] = {zunRead, zunReadChar, zunReadShort, zunReadLong, zunReadFloat, zunReadDouble};
constexpr decltype(&zunWrite) kWrites[] = {zunWrite,     zunWriteChar,  zunWriteShort,
                                           zunWriteLong, zunWriteFloat, zunWriteDouble};
Input* input;
TolvaHandle tables[2];  // of a compound document

intptr_t answer(intptr_t, intptr_t operation, intptr_t a, intptr_t b) {
    const auto said = static_cast<int8_t>(input->byte());
    if (operation != kTolvaProcRead || said <= 0) return said;
    input->take(reinterpret_cast<void*>(a), static_cast<size_t>(std::clamp<intptr_t>(b, 0, said)));
    return said;
}

// No less than a record takes in memory: items are at most 8 bytes wide, and lie at most 8 bytes apart.
int64_t mostBytes(const std::string& format) {
    int64_t bytes = 0, count = -1;
    for (const char c : format) {
        const bool digit = c >= '0' && c <= '9';
        if (std::strchr("CcSsLlFfDd", c) != nullptr) bytes += 16 + 8 * std::max<int64_t>(count, 1);
        count = digit ? std::min<int64_t>(std::max<int64_t>(count, 0) * 10 + c - '0', 1 << 20) : -1;
    }
    return bytes;
}

void transferRecords(TolvaHandle stream, bool reading) {
    const std::string format = input->text(40);
    const int32_t records = input->pick({1, 2, 3, 17, 0, -1, INT_MAX});
    const int64_t bytes = mostBytes(format) * std::max(records, 0);
    if (bytes > 1 << 20) return;  // more than this host has
    std::vector<uint8_t> memory = input->bytes(static_cast<size_t>(bytes));
    if (reading) zunReadStruct(stream, format.c_str(), memory.data(), records);
    if (!reading) zunWriteStruct(stream, format.c_str(), memory.data(), records);
}

void enterSubStream(StreamRecord& s) {
    for (TolvaHandle& table : tables) {
        GlobalFree(table);
        table = GlobalAlloc(kTolvaMoveableZeroed, input->byte());
        input->take(GlobalLock(table), GlobalSize(table));
    }
    s.docSectorTable = tables[0];
    s.docMiniSectorTable = tables[1];
    for (uint32_t* const word : {&s.docMiniStreamStart, &s.docStartSector, &s.docSize})
        *word = input->number<uint32_t>();
    s.docPosition = 0;
    s.docMode = 1;
}

void operate(TolvaHandle stream) {
    const uint32_t kind = input->upTo(5), operation = input->upTo(9);
    const int32_t number = input->number<int32_t>(), count = number % 2000;
    auto& s = *static_cast<StreamRecord*>(GlobalLock(stream));
    std::vector<uint8_t> memory(std::max(count, 0) * kWidths[kind]);
    if (operation == 1 || operation == 4) input->take(memory.data(), memory.size());
    char* const text = reinterpret_cast<char*>(memory.data());
    const int32_t got = operation == 0 ? kReads[kind](stream, memory.data(), count) : 0;
    if (got > std::max(count, 0) && s.ioProc == nullptr) std::abort();
    if (operation == 1) kWrites[kind](stream, memory.data(), count);
    if (operation == 2)
        zunSeek(stream, s.mode == 0 && s.file != nullptr ? number : number % 20000,
                input->upTo(3));  // others would grow
    if (operation == 3) zunReadLine(stream, text, count);
    if (operation == 4) zunWriteLine(stream, text, count);
    if (operation == 5) zunSetDataFormat(stream, kind % 2, kind / 2), zunSetLineFormat(stream, number & 3);
    if (operation == 6) (kind < 2 ? zunGetLineFormat : kind < 4 ? FillZunIOBuf : FlushZunIO)(stream);
    if (operation == 7 && s.mode == 0) enterSubStream(s);
    if (operation > 7) transferRecords(stream, operation == 8);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input all(data, size);
    input = &all;
    const uint32_t kind = all.upTo(3);  // memory, a procedure, a file handed over, a file by name
    const int32_t mode = all.pick({0, 1, 2, 0x1000, 0x1001, 0x1003});
    const uint32_t held = all.upTo(4000);
    void* block = GlobalLock(GlobalAlloc(kTolvaMoveableZeroed, held));
    all.take(block, held);
    StreamDescriptor descriptor = {};
    descriptor.blockRef = reinterpret_cast<intptr_t>(&block);
    descriptor.size = all.number<int16_t>();
    descriptor.growBy = all.number<int16_t>();
    if (kind == 1) descriptor.ioProc = reinterpret_cast<intptr_t>(answer);
    FILE* const file = kind < 2 ? nullptr : fdopen(memfd_create("streams", 0), "r+");
    char name[40] = "";
    if (file != nullptr) {
        if (write(fileno(file), block, held) < 0) return 0;
        if (kind == 3) std::snprintf(name, sizeof name, "/proc/self/fd/%d", fileno(file));
        descriptor.file = reinterpret_cast<intptr_t>(file);
    }
    const TolvaHandle stream = zunOpen(name, &descriptor, kind == 2 ? -1 : mode);
    for (int i = 0; stream != 0 && i < 60 && all.left() > 0; ++i) operate(stream);
    (size % 2 == 0 ? zunClose(stream) : zunCloseandDelete(stream, name));
    if (file != nullptr) std::fclose(file);
    for (TolvaHandle& table : tables) table = GlobalFree(table);
    GlobalFree(GlobalHandle(block));
    return 0;
}
