// profiles.cpp: any text as a profile, read and changed key by key, by a Setup block and by the setup escape. It stands
// in a file that is rewritten in place, or in one that others take the place of.

#include <cstdlib>
#include <fstream>

#include <sys/mman.h>
#include <unistd.h>

#include <tolva/settings.h>
#include "fuzz/input.h"
#include "host/system_calls.h"

namespace {

void ask(Input& input, const char* name) {
    std::string texts[] = {input.text(160), input.text(300), input.text(300)};
    const uint32_t what = input.byte();
    // The low bits: which of them are null.
    const auto part = [&](int i) { return (what >> i & 1) != 0 ? nullptr : texts[i].c_str(); };
    const int32_t size = input.byte() - 1;
    std::vector<char> buffer(std::max(size, 0));
    switch (what >> 3 & 7) {
        case 0: GetPrivateProfileInt(part(0), part(1), size, name); break;
        case 1: GetPrivateProfileString(part(0), part(1), part(2), buffer.data(), size, name); break;
        case 2: CleanProfileLine(texts[1].data(), what >> 6), TrimProfileChar(texts[2].data(), '"'); break;
        case 3: {
            const TolvaHandle setup = CreateSetup(0, name, part(0), 0);
            auto value = input.number<double>();
            xEscapeSetup(setup, input.byte() % 20, input.byte() % 2 == 0 ? 4 : 8, &value, nullptr, 1);
            DestroySetup(setup);
            break;
        }
        default: WritePrivateProfileString(part(0), part(1), part(2), name);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int text = dup2(memfd_create("text", 0), 99), profile = memfd_create("profile", 0);
    static const std::string names[] = {"/proc/self/fd/" + std::to_string(profile),
                                        "/dev/shm/tolva-fuzz-" + std::to_string(getpid()) + ".ini"};
    // A disk would take most of the time: the library's temporary file is one in memory.
    tolva::systemCalls.sync = [](int) { return 0; };
    tolva::systemCalls.makeTemporary = [](char* name) {
        if (name[1] != 't') return mkstemp(name);
        std::strcpy(name, "/proc/self/fd/99");
        return dup(text);
    };
    Input input(data, size);
    const std::string& name = names[input.upTo(1)];
    const std::vector<uint8_t> given = input.bytes(input.upTo(2000));
    std::ofstream(name).write(reinterpret_cast<const char*>(given.data()), static_cast<std::streamsize>(given.size()));
    for (int i = 0; i < 20 && input.left() > 0; ++i) ask(input, name.c_str());
    unlink(names[1].c_str());
    return 0;
}
