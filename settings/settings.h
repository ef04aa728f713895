/* settings.h: the filter's settings for one use. A host makes a Setup block, changes its fields through GlobalLock or
 * the setup escape, and hands its handle over at init. Also what the filter knows of the screen and the printer.
 * Readable as C and as C++. */
#ifndef TOLVA_SETTINGS_SETTINGS_H
#define TOLVA_SETTINGS_SETTINGS_H

#include <stdint.h>

#include "host/host.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- The Setup block ------------------------------------------------------------------------------------------- */

enum ColourMode { /* how colours are converted on their way in; the values behind are those of ConversionMode */
                  kColourNormal = 103,
                  kColourInvert = 104,
                  kColourInvertGreys = 105,
                  kColourGrey = 106,
                  kColourInvertGrey = 107
};
enum ColourClass { /* the same for a host's dialog */
                   kColourClassNormal = 101,
                   kColourClassInvertGrey = 105
};
enum SizeMode {
    kSizeOfScreen = 600,
    kSizeSaved = 601, /* the saved width and height are a box that the picture is fitted into */
    kSizeOfPicture = 602,
    kSizeFourth = 603
};
enum ResolutionMode {
    kResolutionOfScreen = 307,
    kResolutionSaved = 308,
    kResolutionOfPicture = 309,
    kResolutionFourth = 310
};
enum InterlaceChoice { kInterlaced = 715 };
enum TransparencyChoice { kTransparentColour = 719 };
enum BackgroundChoice { kBackgroundColour = 728 };

enum { kModesEach = 4 }; /* selectors 0 to 3 choose a size or resolution mode */
enum {
    kSettingsNameBytes = 144,
    kDriverNameBytes = 13,
    kSetupBytes = 2128,
    kModuleNameBytes = 260,
    kLowestResolution = 32,
    kHighestResolution = 400,
    kDefaultResolution = 96,
    kDefaultLineMode = 119,
    kResolutionRepaired = -62,
    kExtentRepaired = -63,
    kStringRows = 23
};

/* Doubles are aligned to 8 bytes on some 32-bit machines and to 4 on others: positions behind the Setup block's width
 * differ there, its size does not. */
typedef struct DoubleInRecord {
    char first;
    double second;
} DoubleInRecord;

enum {
    kSetupNamedBytes = sizeof(void*) == 8 ? 688 : 664 + offsetof(DoubleInRecord, second) / 8 * 4 + 4,
    kSetupReserve = kSetupBytes - kSetupNamedBytes
};

struct StatusRecord; /* driver.h */

/* What an export outside a device keeps: the export variant from init to term, ExportCellData while it runs. */
typedef struct ExportState {
    struct StatusRecord* status; /* the host's; progress goes there */
    intptr_t statusWord;         /* its word 4 */
    Handle outputStream;         /* of the export variant; 0 = none */
    void* streamMemory;          /* its block, when it goes to memory */
    void* memory;                /* ExportCellData to memory: its block, the host's to read until the next export or
                                    DestroySetup; behind the GIF one byte 0xFF, then zeros */
    uintptr_t metafileWord;      /* written by the metafile hooks */
    uintptr_t secondWord;
    intptr_t hookResult;
    double resolution; /* of the page, dots per inch */
    int32_t page[4];   /* left, top, right, bottom */
    int32_t propertyWord;
    char fileName[kSettingsNameBytes];
} ExportState;

typedef struct Setup {
    uint8_t hostArea[kSettingsNameBytes]; /* the host's; not touched here */
    char sectionName[kSettingsNameBytes]; /* profile section that holds the settings */
    char profilePath[kSettingsNameBytes]; /* profile file */
    char thirdName[kSettingsNameBytes];   /* the saved profile path while a backup is in use */
    char driverName[16];                  /* kDriverNameBytes of text */
    uintptr_t reserved[3];                /* the second holds the parent that EditSetup is given */
    int32_t colourMode;                   /* a ColourMode */
    int32_t secondMode;
    uintptr_t outputDevice;      /* a StreamIOProc: non-zero sends the output through the host */
    uint8_t backgroundColour[3]; /* red, green, blue; used when backgroundChoice is set */
    int32_t lineMode;
    int32_t sizeMode;       /* a SizeMode */
    int32_t resolutionMode; /* a ResolutionMode */
    int16_t xResolution;    /* dots per inch */
    int16_t yResolution;
    double width; /* inches */
    double height;
    int32_t interlaceChoice;      /* kInterlaced, anything else = not */
    int32_t transparencyChoice;   /* kTransparentColour, anything else = none */
    uint8_t transparentColour[3]; /* red, green, blue */
    int32_t backgroundChoice;     /* kBackgroundColour, anything else = none */
    union {
        ExportState exporting;
        uint8_t reserve[kSetupReserve];
    };
} Setup;

/* ---- Exported data --------------------------------------------------------------------------------------------- */

extern Handle hSetup; /* as locked by the raster variant's init */
extern Setup* lpSetup;
extern Handle hRaster; /* the last Setup block made, or locked by the export variant's init */
extern Setup* lpRaster;
extern char* szFilter;                          /* the module's name; upper case once a Setup block was made */
extern char export_szDLLName[kModuleNameBytes]; /* the host may store the module's path here */

typedef struct StringRow {
    uint16_t id;
    const char* text;
} StringRow;

enum StringId {
    kStringDefaults = 0,
    kStringMode = 1,
    kStringHeader = 2,
    kStringDefaultMode = 3,
    kStringDriver = 4,
    kStringColourTableSource = 5,
    kStringDefaultFileSpec = 6,
    kStringFont = 7,
    kStringColour = 8,
    kStringFile = 9,
    kStringProfile = 10,
    kStringColourMode = 11,
    kStringGifExport = 13,
    kStringUserPatterns = 15,
    kStringResolutionMode = 18,
    kStringXResolution = 19,
    kStringYResolution = 20,
    kStringWidth = 21,
    kStringHeight = 22,
    kStringFileType = 23,
    kStringSizeMode = 24,
    kStringLineMode = 34,
    kStringFallback = 0xFFFF
};

extern const StringRow gStringTable[kStringRows];

/* ---- Setup calls ----------------------------------------------------------------------------------------------- */

/* A new Setup block, filled from the profile (given, or named after the module) or with defaults. Becomes lpRaster. */
Handle CreateSetup(uintptr_t ignored, const char* profile, const char* section, uintptr_t ignored2);
/* Stores the value in the second reserved word; 0, or -1 for a null handle. */
int32_t EditSetup(Handle setup, uintptr_t value);
/* Frees the block, and what an export of that very block left; 0, or 1 for a null handle and, with nothing freed, from
 * a callback of a call that is under way. Clears lpRaster, whichever block that was, and a matching lpSetup. */
int32_t DestroySetup(Handle setup);
/* Writes the defaults; always 0. */
int32_t UseDefaultSettings(Setup* setup);
/* Reads lpRaster's settings from its profile; 1 when its section has a "Driver" key, else 0. */
int32_t LoadProfile(uintptr_t ignored);
/* Repairs what is out of range in lpRaster: 0, kResolutionRepaired or kExtentRepaired, whichever came last. */
int32_t LimitCheck(void);
/* The text for an identifier: its length, or 0 with "Not Defined" for an unknown one. Unterminated when cut. */
int32_t LoadString(uintptr_t module, uint32_t id, char* buffer, int32_t size);
/* Always 1; does nothing. */
int32_t SaveProfile(void);
/* Keeps the profile path in the third name and replaces it by a fresh temporary file's; always 1. */
int32_t BackupProfile(Setup* setup);
/* Always 0; does nothing. */
int32_t LoadProfileList(uint32_t first, uint32_t second, uint16_t third);

enum SetupEscapeCode {
    kEscSetColourClass = 1,  /* in: 32-bit ColourClass; saved */
    kEscSetXResolution = 11, /* in: 32-bit, kLowestResolution to kHighestResolution; saved */
    kEscSetYResolution = 12,
    kEscSetWidth = 13, /* in: double, 0.03125 to 22 inches; saved */
    kEscSetHeight = 14,
    kEscQueryResolution = 16,      /* out: two 32-bit, 0 when the picture's own counts */
    kEscQuerySize = 17,            /* out: two doubles, 0 when the picture's own counts */
    kEscSelectResolutionMode = 18, /* size: 0 to 3, from kResolutionOfScreen */
    kEscSelectSizeMode = 19,       /* size: 0 to 3, from kSizeOfScreen */
    kEscRasterInfo = 56,           /* as GetRasterInfo */
    kEscQueryColourClass = 57,     /* out: 32-bit ColourClass */
    kEscSetOutputDevice = 81       /* in: the value itself */
};

enum RasterInfoIn {
    kInfoDisplayDpi, /* 0 = unknown */
    kInfoUnused,
    kInfoDpi,  /* the picture's, 0 = none */
    kInfoDots, /* the picture's width and height at that resolution */
    kInfoRows,
    kInfoDisplayDots, /* pixels */
    kInfoDisplayRows,
    kInfoInWords
};
enum RasterInfoOut { kInfoPixelWidth, kInfoPixelHeight, kInfoBitsPerPixel, kInfoOutWords };

/* The setup escape: reads and changes single settings by code; `size` must be the input's for the codes that have one.
 * 1 = done, -1 = refused and nothing changed, 0 = not handled. A profile that cannot be written is not told. */
int32_t xEscapeSetup(Handle setup, int32_t code, int32_t size, void* in, void* out, int32_t save);
/* How many pixels a picture will have: kInfoInWords words in, kInfoOutWords out. Rounds up where the export truncates,
 * and keeps size and resolution in lpRaster as the export does. Without lpRaster all answers are 0. */
void GetRasterInfo(Handle setup, const int32_t* in, int32_t* out);
/* Caps a size in inches at the largest extent; always 0. */
int32_t ScaleImageSize(double* width, double* height);

/* ---- Geometry: how large will a picture be? -------------------------------------------------------------------- */

enum {
    kOutputDepth = 8,      /* every GIF is written with 8 bits a pixel */
    kLargestExtent = 65535 /* pixels in either direction: what the file's 16-bit fields hold */
};

/* Size and depth of the output by the settings: width and height come in as the picture's and go out in pixels, the
 * resolution (0 = none) comes in as the picture's and goes out as the one used. The last two are not used. */
void QueryCellFormat(double* width, double* height, int16_t* bitsPerPixel, int32_t* resolution, void* unused,
                     void* unused2);
/* Fits a picture's aspect into the box of the settings; `size` receives width and height in inches. Always 0. */
int32_t RasterAdjustAspect(double* size, double width, double height);

/* ---- Display and printer --------------------------------------------------------------------------------------- */

void SetDisplayInfo(double width, double height, int16_t xDpi, int16_t yDpi);
void SetPrinterInfo(double width, double height, int16_t xDpi, int16_t yDpi);
/* Width and height in inches; each pointer may be null; always 0. "DISPLAYINFO" in the environment wins. */
int32_t GetDisplayInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi);
/* The record as set; each pointer may be null; always 0. */
int32_t GetPrinterInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi);
int32_t GetDisplayColorInfo(uintptr_t ignored);
/* Past a run of digits and one more character, but never past the terminator. */
void moveptr(const char** text);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
