// profiles.cpp: any text as a profile, read and changed key by key, by a Setup block and by the setup escape. It stands
// in a file that is rewritten in place, or in one that others take the place of.

#include <cstdio>

#include <sys/mman.h>
#include <unistd.h>

#include <tolva/settings.h>
#include "fuzz/input.h"

namespace {

void ask(Input& input, const char* name) {
    const std::string texts[] = {input.text(160), input.text(300), input.text(300)};
    const char* parts[3];
    const uint32_t what = input.byte();  // the low bits: which of them are null
    for (int i = 0; i < 3; ++i) parts[i] = (what >> i & 1) != 0 ? nullptr : texts[i].c_str();
    const auto& [section, key, value] = parts;
    const int32_t size = input.byte() - 1;
    std::vector<char> buffer(static_cast<size_t>(std::max(size, 0)));
    std::string line = texts[1];
    switch (what >> 3 & 7) {
        case 0: GetPrivateProfileInt(section, key, size, name); break;
        case 1: GetPrivateProfileString(section, key, value, buffer.data(), size, name); break;
        case 2: LoadString(0, input.byte(), buffer.data(), size); break;
        case 3: CleanProfileLine(line.data(), what >> 6), TrimProfileChar(line.data(), '"'); break;
        case 4:
        case 5: {
            const TolvaHandle setup = CreateSetup(0, name, section, 0);
            std::vector<uint8_t> in = input.bytes(8);
            xEscapeSetup(setup, static_cast<int32_t>(input.upTo(20)), input.upTo(1) == 0 ? 4 : 8, in.data(), nullptr,
                         1);
            DestroySetup(setup);
            break;
        }
        default: WritePrivateProfileString(section, key, value, name);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string names[] = {"/proc/self/fd/" + std::to_string(memfd_create("profile", 0)),
                                        "/tmp/tolva-fuzz-" + std::to_string(getpid()) + ".ini"};
    Input input(data, size);
    const std::string& name = names[input.upTo(1)];
    const std::vector<uint8_t> text = input.bytes(input.upTo(2000));
    FILE* const file = std::fopen(name.c_str(), "w");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    for (int i = 0; i < 20 && input.left() > 0; ++i) ask(input, name.c_str());
    unlink(names[1].c_str());
    return 0;
}
