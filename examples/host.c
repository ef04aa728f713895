/* host.c: a host in C, to copy from: draws a landscape band by band and has it written as a GIF, so that no more of the
 * picture than one band is ever in memory. The library is loaded at run time; its headers say what is in it.
 *
 * About once in 1,500 bands one ends exactly where the codes grow wider, and decoders fail there: a host that wants
 * every picture readable answers with the height wanted, which makes one band. More than one are wrong or unreadable,
 * too, where an interlaced picture is narrower than 4.
 *
 *     example_host LIBRARY FILE.gif [WIDTH HEIGHT [BAND-ROWS]] */
#define _XOPEN_SOURCE 700
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tolva/driver.h>
#include <tolva/output.h>
#include <tolva/settings.h>
#include <tolva/stream.h>

/* ---- The picture: misty mountains at sunset, in whole numbers, so that it is the same on every machine ---- */

enum { kRamps = 8, kShades = 32, kSky = 3 * kShades, kRidges = 5, kUnits = 1024 /* the picture's height */ };

/* First and last colour of each ramp of the palette: three for the sky, then one a ridge, crest to mist. */
static const int rampColours[kRamps][2] = {
    {0x1B2250, 0x64468A}, {0x64468A, 0xE47C68}, {0xE47C68, 0xFFEDB4}, {0xB9748A, 0xF2B48E},
    {0x8C5780, 0xD9987F}, {0x5D3F70, 0xB67876}, {0x33294F, 0x7C5468}, {0x130F24, 0x3A2B45},
};

static void fillPalette(uint8_t* triples) {
    for (int i = 0; i < kRamps * kShades; ++i) {
        const int* const ramp = rampColours[i / kShades];
        for (int shift = 16; shift >= 0; shift -= 8) {
            const int first = ramp[0] >> shift & 255, last = ramp[1] >> shift & 255;
            *triples++ = (uint8_t)((first * (kShades - i % kShades) + last * (i % kShades)) / kShades);
        }
    }
}

static int least(int a, int b) { return a < b ? a : b; }

/* A sine's shape made of parabolas: -256 to 256, a period of 512. */
static int wave(int t) {
    const int half = (t & 255) * (256 - (t & 255)) / 64;
    return (t & 256) != 0 ? -half : half;
}

static int crestOf(int ridge, int u) {
    const int waves = 64 * wave(u * ridge / 6 + 97 * ridge) + 24 * wave(u * ridge / 2 + 211 * ridge) +
                      9 * wave(u * ridge * 4 / 3 + 59 * ridge) + 4 * wave(u * ridge * 3 + 131 * ridge);
    return (256 * (445 + 100 * ridge) - waves) / 256;
}

/* The palette index at column x of row y, counted from the top. */
static uint8_t colourAt(int x, int y, int width, int height) {
    const int u = (int)((int64_t)x * kUnits / height), v = y * kUnits / height;
    for (int ridge = kRidges; ridge > 0; --ridge) {
        const int depth = v - crestOf(ridge, u);
        if (depth >= 0) return (uint8_t)(kSky + kShades * (ridge - 1) + least(depth / 6, kShades - 1));
    }
    const int64_t across = u - (int64_t)width * kUnits / height * 2 / 3, down = v - 330;
    const int64_t distance = across * across + down * down;
    if (distance < 60 * 60) return kSky - 1;
    return (uint8_t)least(v / 10 + (int)(60 * 150 * 150 / (150 * 150 + distance)), kSky - 2);
}

/* ---- The library ---- */

static struct {
    void (*fltLoadPointers)(TolvaNameTableRecord* record);
    uint32_t (*ZUNGetFilterVersion)(void);
    TolvaHandle (*CreateSetup)(uintptr_t ignored, const char* profile, const char* section, uintptr_t ignored2);
    int32_t (*DestroySetup)(TolvaHandle setup);
    int32_t (*UseDefaultSettings)(TolvaSetup* setup);
    TolvaHandle (*GlobalAlloc)(uint32_t flags, uint32_t size);
    void* (*GlobalLock)(TolvaHandle h);
    TolvaHandle (*GlobalFree)(TolvaHandle h);
    TolvaHandle (*zunOpen)(const char* name, StreamDescriptor* descriptor, int32_t mode);
    int32_t (*zunClose)(TolvaHandle stream);
    int32_t (*zunCloseandDelete)(TolvaHandle stream, const char* name);
    int32_t (*OutputPicture)(TolvaHandle stream, void* hostContext, TolvaOffscreenCallback callback);
} tolva;

/* By the library's own table where it lists the name. Copied as bytes: C has no cast from data to functions. */
static int take(void* library, const TolvaNameTableRecord* names, const char* name, void* entry) {
    void* found = NULL;
    for (int i = 0; i < names->count.rows; ++i) {
        if (strcmp(names->table[i].name, name) == 0) found = names->table[i].target;
    }
    if (found == NULL) found = dlsym(library, name);
    if (found == NULL) fprintf(stderr, "the library has no %s\n", name);
    memcpy(entry, &found, sizeof found);
    return found != NULL;
}

static int takeAll(void* library) {
    TolvaNameTableRecord names = {0};
    if (!take(library, &names, "fltLoadPointers", &tolva.fltLoadPointers)) return 0;
    tolva.fltLoadPointers(&names);
#define TAKE(name) take(library, &names, #name, &tolva.name)
    return TAKE(ZUNGetFilterVersion) && TAKE(CreateSetup) && TAKE(DestroySetup) && TAKE(UseDefaultSettings) &&
           TAKE(GlobalAlloc) && TAKE(GlobalLock) && TAKE(GlobalFree) && TAKE(zunOpen) && TAKE(zunClose) &&
           TAKE(zunCloseandDelete) && TAKE(OutputPicture);
}

/* ---- What the library calls ---- */

typedef struct Scene {
    int32_t width, height, bandRows; /* the height as asked for, then as the library wants it: made even */
    TolvaHandle band;                /* the last one drawn: the library is done with it when it asks for the next */
} Scene;

enum { kResolution = 128 }; /* dots per inch: a power of two, so that pixels through inches to pixels stay the same */

/* Rows are counted from the bottom, and each is padded to 4 bytes. */
static TolvaHandle drawBand(Scene* scene, int32_t lower, int32_t upper) {
    const uint32_t stride = ((uint32_t)scene->width + 3) / 4 * 4;
    tolva.GlobalFree(scene->band);
    scene->band = tolva.GlobalAlloc(kTolvaMoveableZeroed, stride * (uint32_t)(upper - lower));
    uint8_t* row = tolva.GlobalLock(scene->band);
    for (int32_t y = lower; y < upper; ++y, row += stride) {
        for (int x = 0; x < scene->width; ++x) row[x] = colourAt(x, scene->height - 1 - y, scene->width, scene->height);
    }
    return scene->band;
}

static intptr_t answerOffscreen(intptr_t operation, intptr_t record, intptr_t a, intptr_t b) {
    if (operation == kTolvaOffscreenQuery) { /* comes before there is a record, and brings the context itself */
        const Scene* scene = (const Scene*)record;
        TolvaOffscreenQuery* query = (TolvaOffscreenQuery*)a;
        query->width = (double)scene->width / kResolution;
        query->height = (double)scene->height / kResolution;
        query->resolution = kResolution;
        return 0;
    }
    Scene* const scene = ((const TolvaOffscreenRecord*)record)->hostContext;
    if (operation == kTolvaOffscreenDraw) return (intptr_t)drawBand(scene, (int32_t)a, (int32_t)b);
    if (operation == kTolvaOffscreenTerm) tolva.GlobalFree(scene->band);
    if (operation != kTolvaOffscreenInit) return 0;
    const TolvaOffscreenInit* const init = (const TolvaOffscreenInit*)a;
    scene->width = (int32_t)init->width;
    scene->height = (int32_t)init->bandRows;
    fillPalette(init->palette);
    return scene->bandRows; /* may be more than there are: then the picture is one band */
}

static volatile sig_atomic_t interrupted;
static void interrupt(int signalNumber) { interrupted = signalNumber; }

/* With a and b 0 a report after each band; else the question after a wish to stop, to confirm it. */
static intptr_t answerStatus(intptr_t context, intptr_t a, intptr_t b, intptr_t c, intptr_t percent, intptr_t e,
                             intptr_t f) {
    (void)context, (void)c, (void)e, (void)f;
    if (a == 0 && b == 0) fprintf(stderr, "\r%3d%%", (int)percent);
    return interrupted != 0;
}

/* ---- The export ---- */

static int fail(const char* what, const char* how, int code) {
    fprintf(stderr, "%s: %s (%d)\n", what, how, code);
    return EXIT_FAILURE;
}

static int exportScene(const char* name, const char* part, Scene* scene) {
    const TolvaHandle stream = tolva.zunOpen(part, NULL, kTolvaCreateAndWrite);
    if (stream == 0) return fail(name, "cannot be created", kTolvaStreamFailed);
    const int32_t result = tolva.OutputPicture(stream, scene, answerOffscreen);
    fputs("\n", stderr);
    if (result != kTolvaNoError) { /* what stands there by now has no end */
        tolva.zunCloseandDelete(stream, part);
        return fail(name, result == kTolvaStoppedByHost ? "stopped" : "not exported", result);
    }
    return tolva.zunClose(stream) == 0 ? EXIT_SUCCESS
                                       : fail(name, "could not be written to its end", kTolvaStreamFailed);
}

/* Under another name in the same folder, and renamed when it is whole: until then an earlier GIF stays as it is. What a
 * link leads to is replaced, not the link; one that leads to nothing is refused. */
static int replaceByScene(const char* name, Scene* scene) {
    char target[PATH_MAX], part[PATH_MAX + 32];
    struct stat earlier;
    const int exists = realpath(name, target) != NULL;
    const int reason = errno;
    if (!exists && (reason != ENOENT || lstat(name, &earlier) == 0)) return fail(name, strerror(reason), reason);
    if (!exists) snprintf(target, sizeof target, "%s", name);
    if (exists && (stat(target, &earlier) != 0 || !S_ISREG(earlier.st_mode))) return fail(name, "not a plain file", 0);
    const char* const slash = strrchr(target, '/');
    const int folder = slash == NULL ? 0 : (int)(slash + 1 - target);
    snprintf(part, sizeof part, "%.*sexample-%ld.part", folder, target, (long)getpid());
    const int file = open(part, O_WRONLY | O_CREAT | O_EXCL, 0666); /* nobody else's: the library truncates it */
    if (file < 0) return fail(name, strerror(errno), errno);
    close(file);
    if (exportScene(name, part, scene) == EXIT_SUCCESS) {
        if (exists) chmod(part, earlier.st_mode & 07777);
        if (rename(part, target) == 0) return EXIT_SUCCESS;
        fail(name, strerror(errno), errno);
    }
    unlink(part);
    return EXIT_FAILURE;
}

int main(int count, char** arguments) {
    const long width = count > 4 ? strtol(arguments[3], NULL, 10) : 640;
    const long height = count > 4 ? strtol(arguments[4], NULL, 10) : 400;
    const long bandRows = count > 5 ? strtol(arguments[5], NULL, 10) : 64;
    /* Two pixels a row, since a band must have more than one. */
    if (count < 3 || count == 4 || count > 6 || width < 2 || width > kTolvaLargestExtent || height < 1 ||
        height >= kTolvaLargestExtent || bandRows < 1 || bandRows > kTolvaLargestExtent) {
        return fprintf(stderr, "usage: example_host LIBRARY FILE.gif [WIDTH HEIGHT [BAND-ROWS]]\n"), EXIT_FAILURE;
    }
    void* const library = dlopen(arguments[1], RTLD_NOW);
    if (library == NULL) return fprintf(stderr, "%s\n", dlerror()), EXIT_FAILURE;
    if (!takeAll(library)) return EXIT_FAILURE;
    if (tolva.ZUNGetFilterVersion() != kTolvaFilterVersion)
        return fail(arguments[1], "not the version of the headers", 0);
    const TolvaHandle setup = tolva.CreateSetup(0, NULL, NULL, 0);
    TolvaSetup* const settings = tolva.GlobalLock(setup);
    if (settings == NULL) return fail(arguments[1], "no settings", kTolvaNoSettings);
    tolva.UseDefaultSettings(settings); /* whatever a profile says: here the picture decides its size */
    TolvaStatusRecord status = {.function = answerStatus};
    settings->exporting.status = &status;
    signal(SIGINT, interrupt);
    signal(SIGTERM, interrupt);
    signal(SIGXFSZ, SIG_IGN); /* a file that may not grow is then a failed write */

    Scene scene = {.width = (int32_t)width, .height = (int32_t)height, .bandRows = (int32_t)bandRows};
    const int result = replaceByScene(arguments[2], &scene);
    tolva.DestroySetup(setup);
    dlclose(library);
    return result;
}
