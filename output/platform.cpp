// platform.cpp: the host's offscreen callback behind plain functions, and the metafile hooks, which have nothing to do
// on this platform. OutputPicture draws through the former; the export variant's init and term call the latter.

#include <initializer_list>

#include <tolva/stream.h>
#include "host/numbers.h"
#include "output/query.h"

using namespace tolva;

static_assert(sizeof(TolvaOffscreenQuery) == 24);
static_assert(sizeof(TolvaOffscreenInit) == 5 * sizeof(void*));
static_assert(sizeof(void*) != 4 || sizeof(TolvaOffscreenRecord) == 40);
static_assert(sizeof(void*) != 4 || sizeof(TolvaMetafilePicture) == 80);

namespace {

constexpr int16_t kMetafileValue = 4;

intptr_t wordOf(const void* pointer) { return reinterpret_cast<intptr_t>(pointer); }

// Reads no more of the host's record than it uses: bounds and resolution.
int32_t boundOf(const void* host, size_t offset) { return loadField<int32_t>(host, offset); }

intptr_t queryMetafile(const void* host, TolvaOffscreenQuery* answer) {
    if (host == nullptr || answer == nullptr) return 0;
    const int64_t width = int64_t{boundOf(host, offsetof(TolvaMetafilePicture, right))} -
                          boundOf(host, offsetof(TolvaMetafilePicture, left));
    const int64_t height = int64_t{boundOf(host, offsetof(TolvaMetafilePicture, top))} -
                           boundOf(host, offsetof(TolvaMetafilePicture, bottom));
    answerSize(*answer, static_cast<double>(width), static_cast<double>(height),
               boundOf(host, offsetof(TolvaMetafilePicture, resolution)), kMetafileValue);
    return 0;
}

}  // namespace

void QueryPlatformOffscreen(TolvaOffscreenQuery* query, void* hostContext, TolvaOffscreenCallback callback) {
    callback(kTolvaOffscreenQuery, wordOf(hostContext), wordOf(query), 0);
}

TolvaOffscreenRecord* InitPlatformOffscreen(int32_t width, int32_t* bandRows, int16_t depth, int16_t colours,
                                            uint8_t* palette, void* hostContext, TolvaOffscreenCallback callback,
                                            uint8_t flag) {
    TolvaOffscreenRecord* const record =
        static_cast<TolvaOffscreenRecord*>(zunPtrGlobalAlloc(sizeof(TolvaOffscreenRecord)));
    record->hostContext = hostContext;
    record->callback = callback;
    record->colours = colours;
    record->palette = palette;
    record->width = width;
    record->bandRows = *bandRows;
    record->depth = depth;
    record->flag = flag;
    TolvaOffscreenInit init = {width, *bandRows, depth, colours, palette};
    // A callback that answers in 32 bits leaves the upper half of the word undefined.
    *bandRows = static_cast<int32_t>(callback(kTolvaOffscreenInit, wordOf(record), wordOf(&init), 0));
    return record;
}

Handle DrawPlatformOffscreen(TolvaOffscreenRecord* record, int32_t lower, int32_t upper) {
    return static_cast<Handle>(record->callback(kTolvaOffscreenDraw, wordOf(record), lower, upper));
}

void TermPlatformOffscreen(TolvaOffscreenRecord* record) {
    record->callback(kTolvaOffscreenTerm, wordOf(record), 0, 0);
    zunPtrGlobalFree(record);
}

intptr_t DrawPlatformMetafile(intptr_t operation, intptr_t record, intptr_t a, intptr_t) {
    switch (operation) {
        case kTolvaOffscreenQuery:
            return queryMetafile(reinterpret_cast<void*>(record), reinterpret_cast<TolvaOffscreenQuery*>(a));
        case kTolvaOffscreenTerm: return record == 0 ? 1 : 0;
        default: return 0;  // no band is offered, and none drawn
    }
}

intptr_t InitPlatformMetafileFilter(intptr_t a, intptr_t, intptr_t, uintptr_t* d, uintptr_t* e, uintptr_t* f,
                                    uintptr_t* g) {
    for (uintptr_t* const word : {d, e, f, g}) {
        if (word != nullptr) *word = 0;
    }
    return a;
}

int32_t TermPlatformMetafileFilter(intptr_t) { return 0; }
uintptr_t GetMetaFileHandle(intptr_t, intptr_t) { return 0; }
int32_t DeleteMetaFileHandle(uintptr_t) { return 0; }
