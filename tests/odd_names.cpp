// odd_names.cpp: preloaded into a host: functions and data named like the library's, for nobody to call or to change.
#include <cstdlib>

extern "C" {
void GlobalAlloc() { std::abort(); }
void stricmp() { std::abort(); }
void* lpRaster = &lpRaster;
}

__attribute__((destructor)) static void leave() {
    if (lpRaster != &lpRaster) std::abort();
}
