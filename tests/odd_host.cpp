// A host with functions and data named like the library's, all of them visible to it: loading and driving the library
// must work as if they were not there. Prints the GIF's size and how often the host's own were called.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include <tolva/driver.h>
#include <tolva/settings.h>

static int called = 0;

extern "C" {
int32_t escape() { return ++called; }
int split() { return ++called; }
TolvaHandle GlobalAlloc(uint32_t, uint32_t) { return static_cast<TolvaHandle>(++called) * 0; }
int stricmp(const char*, const char*) { return ++called; }
int32_t roundd(double) { return ++called; }
TolvaEMData* lpEMData = nullptr;
}

int main(int, char** arguments) {
    void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL);
    if (library == nullptr) return std::printf("%s\n", dlerror()), 1;
    const auto entry = reinterpret_cast<decltype(&RASTER_dd_entry32)>(dlsym(library, "RASTER_dd_entry32"));
    const auto create = reinterpret_cast<decltype(&CreateSetup)>(dlsym(library, "CreateSetup"));
    int32_t capabilities[kTolvaCapabilitySlots] = {};
    TolvaRasterInitBlock init = {};
    init.fileName = "";
    init.replySize = 64;
    init.setup = create(0, "/nowhere/at/all.ini", nullptr, 0);
    init.capabilities = capabilities;
    const int result = entry(0, kTolvaFuncInit, &init);
    uint8_t block[128] = {};
    for (const int32_t opcode :
         {kTolvaOpOpenDevice, kTolvaOpBeginPicture, kTolvaOpBeginBody, kTolvaOpEndPicture, kTolvaOpCloseDevice}) {
        std::memcpy(block, &opcode, sizeof opcode);
        if (entry(0, kTolvaFuncCall, block) != 0) return 2;
    }
    entry(0, kTolvaFuncTerm, nullptr);
    std::printf("init %d, capability %d, called %d, own block %s\n", result, capabilities[38], called,
                lpEMData == nullptr ? "untouched" : "taken");
    return 0;
}
