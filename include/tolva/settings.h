/** @file
 * The filter's settings for one use. A host makes a Setup block, changes its fields through GlobalLock or
 * the setup escape, and hands its handle over at init. Also what the filter knows of the screen and the printer.
 * Readable as C and as C++. */
#ifndef TOLVA_SETTINGS_H
#define TOLVA_SETTINGS_H

#include <stdint.h>

#include <tolva/host.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- The Setup block ------------------------------------------------------------------------------------------- */

/** How colours are converted on their way in; the values behind are those of TolvaConversionMode. */
enum TolvaColourMode {
    kTolvaColourNormal = 103,
    kTolvaColourInvert = 104,
    kTolvaColourInvertGreys = 105,
    kTolvaColourGrey = 106,
    kTolvaColourInvertGrey = 107
};
/** The same for a host's dialog: 101 to 105. */
enum TolvaColourClass { kTolvaColourClassNormal = 101, kTolvaColourClassInvertGrey = 105 };
/** How large a picture becomes in inches. docs/protocol.md has what follows from each. */
enum TolvaSizeMode {
    kTolvaSizeOfScreen = 600,
    kTolvaSizeSaved = 601, /**< the saved width and height are a box that the picture is fitted into */
    kTolvaSizeOfPicture = 602,
    kTolvaSizeFourth = 603 /**< as kTolvaSizeSaved */
};
/** At how many dots per inch. */
enum TolvaResolutionMode {
    kTolvaResolutionOfScreen = 307,
    kTolvaResolutionSaved = 308,
    kTolvaResolutionOfPicture = 309,
    kTolvaResolutionFourth = 310 /**< as kTolvaResolutionSaved */
};
/** TolvaSetup.interlaceChoice; any other value is "no", as in the next two. */
enum TolvaInterlaceChoice { kTolvaInterlaced = 715 };
/** TolvaSetup.transparencyChoice: the entry nearest to the transparent colour becomes that colour, and transparent. */
enum TolvaTransparencyChoice { kTolvaTransparentColour = 719 };
/** TolvaSetup.backgroundChoice: the file's background is the entry nearest to the background colour. */
enum TolvaBackgroundChoice { kTolvaBackgroundColour = 728 };

enum { kTolvaModesEach = 4 }; /**< selectors 0 to 3 choose a size or resolution mode */
enum {
    kTolvaSettingsNameBytes = 144,
    kTolvaDriverNameBytes = 13,
    kTolvaSetupBytes = 2128,
    kTolvaModuleNameBytes = 260,
    kTolvaLowestResolution = 32,
    kTolvaHighestResolution = 400,
    kTolvaDefaultResolution = 96,
    kTolvaLargestInches = 22,    /**< of a width or height */
    kTolvaSmallestInchPart = 32, /**< the smallest is this part of an inch, 0.03125 */
    kTolvaDefaultLineMode = 119,
    kTolvaResolutionRepaired = -62,
    kTolvaExtentRepaired = -63,
    kTolvaStringRows = 23
};

/** Doubles are aligned to 8 bytes on some 32-bit machines and to 4 on others: positions behind the Setup block's width
 * differ there, its size does not. */
typedef struct TolvaDoubleInRecord {
    char first;    /**< one byte */
    double second; /**< where it starts tells its alignment */
} TolvaDoubleInRecord;

enum {
    kTolvaSetupNamedBytes = sizeof(void*) == 8 ? 688 : 664 + offsetof(TolvaDoubleInRecord, second) / 8 * 4 + 4,
    kTolvaSetupReserve = kTolvaSetupBytes - kTolvaSetupNamedBytes
};

struct TolvaStatusRecord; /**< driver.h */

/** What an export outside a device keeps: the export variant from init to term, ExportCellData while it runs. */
typedef struct TolvaExportState {
    struct TolvaStatusRecord* status; /**< the host's; progress goes there */
    intptr_t statusWord;              /**< its word 4 */
    TolvaHandle outputStream;         /**< of the export variant; 0 = none */
    void* streamMemory;               /**< its block, when it goes to memory */
    /** ExportCellData to memory: its block, the host's to read until the next export or DestroySetup; behind the GIF
     * one byte 0xFF, then zeros. */
    void* memory;
    uintptr_t metafileWord;                 /**< written by the metafile hooks; so are the next two */
    uintptr_t secondWord;                   /**< the second one */
    intptr_t hookResult;                    /**< what their init answered */
    double resolution;                      /**< of the page, dots per inch */
    int32_t page[4];                        /**< left, top, right, bottom */
    int32_t propertyWord;                   /**< told to a host with metafiles */
    char fileName[kTolvaSettingsNameBytes]; /**< of the export variant's output */
} TolvaExportState;

/** The settings for one use: 2128 bytes on every build, zero where nothing was set. A host changes fields through
 * GlobalLock. */
typedef struct TolvaSetup {
    uint8_t hostArea[kTolvaSettingsNameBytes]; /**< the host's; not touched here */
    char sectionName[kTolvaSettingsNameBytes]; /**< profile section that holds the settings */
    char profilePath[kTolvaSettingsNameBytes]; /**< profile file */
    char thirdName[kTolvaSettingsNameBytes];   /**< the saved profile path while a backup is in use */
    char driverName[16];                       /**< kTolvaDriverNameBytes of text */
    uintptr_t reserved[3];                     /**< the second holds the parent that EditSetup is given */
    int32_t colourMode;                        /**< a TolvaColourMode */
    int32_t secondMode;                        /**< 0; not used */
    uintptr_t outputDevice;                    /**< a StreamIOProc: non-zero sends the output through the host */
    uint8_t backgroundColour[3];               /**< red, green, blue; used when backgroundChoice is set */
    int32_t lineMode;                          /**< read from the profile; not used */
    int32_t sizeMode;                          /**< a TolvaSizeMode */
    int32_t resolutionMode;                    /**< a TolvaResolutionMode */
    int16_t xResolution;                       /**< dots per inch */
    int16_t yResolution;                       /**< dots per inch */
    double width;                              /**< inches */
    double height;                             /**< inches */
    int32_t interlaceChoice;                   /**< kTolvaInterlaced, anything else = not */
    int32_t transparencyChoice;                /**< kTolvaTransparentColour, anything else = none */
    uint8_t transparentColour[3];              /**< red, green, blue */
    int32_t backgroundChoice;                  /**< kTolvaBackgroundColour, anything else = none */
    union {
        TolvaExportState exporting;
        uint8_t reserve[kTolvaSetupReserve];
    };
} TolvaSetup;

/** One text of the library's, keys of profiles among them. */
typedef struct TolvaStringRow {
    uint16_t id;      /**< a TolvaStringId */
    const char* text; /**< static */
} TolvaStringRow;

/** Which text LoadString gives. */
enum TolvaStringId {
    kTolvaStringDefaults = 0,
    kTolvaStringMode = 1,
    kTolvaStringHeader = 2,
    kTolvaStringDefaultMode = 3,
    kTolvaStringDriver = 4,
    kTolvaStringColourTableSource = 5,
    kTolvaStringDefaultFileSpec = 6,
    kTolvaStringFont = 7,
    kTolvaStringColour = 8,
    kTolvaStringFile = 9,
    kTolvaStringProfile = 10,
    kTolvaStringColourMode = 11,
    kTolvaStringGifExport = 13,
    kTolvaStringUserPatterns = 15,
    kTolvaStringResolutionMode = 18,
    kTolvaStringXResolution = 19,
    kTolvaStringYResolution = 20,
    kTolvaStringWidth = 21,
    kTolvaStringHeight = 22,
    kTolvaStringFileType = 23,
    kTolvaStringSizeMode = 24,
    kTolvaStringLineMode = 34,
    kTolvaStringFallback = 0xFFFF
};

/** What xEscapeSetup is asked for. */
enum TolvaSetupEscapeCode {
    kTolvaEscSetColourClass = 1,  /**< in: 32-bit TolvaColourClass; saved */
    kTolvaEscSetXResolution = 11, /**< in: 32-bit, kTolvaLowestResolution to kTolvaHighestResolution; saved */
    kTolvaEscSetYResolution = 12,
    kTolvaEscSetWidth = 13, /**< in: double, inches, an inch / kTolvaSmallestInchPart to kTolvaLargestInches; saved */
    kTolvaEscSetHeight = 14,
    kTolvaEscQueryResolution = 16,      /**< out: two 32-bit, 0 when the picture's own counts */
    kTolvaEscQuerySize = 17,            /**< out: two doubles, 0 when the picture's own counts */
    kTolvaEscSelectResolutionMode = 18, /**< size: 0 to 3, from kTolvaResolutionOfScreen */
    kTolvaEscSelectSizeMode = 19,       /**< size: 0 to 3, from kTolvaSizeOfScreen */
    kTolvaEscRasterInfo = 56,           /**< as GetRasterInfo */
    kTolvaEscQueryColourClass = 57,     /**< out: 32-bit TolvaColourClass */
    kTolvaEscSetOutputDevice = 81       /**< in: the value itself */
};

/** Words that GetRasterInfo takes. */
enum TolvaRasterInfoIn {
    kTolvaInfoDisplayDpi, /**< 0 = unknown */
    kTolvaInfoUnused,
    kTolvaInfoDpi,  /**< the picture's, 0 = none */
    kTolvaInfoDots, /**< the picture's width and height at that resolution */
    kTolvaInfoRows,
    kTolvaInfoDisplayDots, /**< pixels */
    kTolvaInfoDisplayRows,
    kTolvaInfoInWords
};

/** Words that GetRasterInfo gives: pixels, rows, and kTolvaOutputDepth. */
enum TolvaRasterInfoOut { kTolvaInfoPixelWidth, kTolvaInfoPixelHeight, kTolvaInfoBitsPerPixel, kTolvaInfoOutWords };

enum {
    kTolvaOutputDepth = 8,      /**< every GIF is written with 8 bits a pixel */
    kTolvaLargestExtent = 65535 /**< pixels in either direction: what the file's 16-bit fields hold */
};

#ifndef TOLVA_TYPES_ONLY

/* ---- Exported data --------------------------------------------------------------------------------------------- */

extern TolvaHandle hSetup;  /**< as handed to the raster variant's init */
extern TolvaSetup* lpSetup; /**< the same, locked; null once that block is destroyed */
extern TolvaHandle hRaster; /**< the last Setup block made, or handed to the export variant's init or ExportCellData */
extern TolvaSetup*
    lpRaster;          /**< the same, locked: what pictures take their settings from, and where it is null lpSetup */
extern char* szFilter; /**< the module's name; upper case once a Setup block was made */
extern char export_szDLLName[kTolvaModuleNameBytes]; /**< the host may store the module's path here */

extern const TolvaStringRow gStringTable[kTolvaStringRows]; /**< all texts; the last row is for unknown identifiers */

/* ---- Setup calls ----------------------------------------------------------------------------------------------- */

/** A new Setup block, the caller's to destroy. Becomes lpRaster.
 *
 * @param ignored  not used
 * @param profile  the file's name; null or empty: named after the module, "NAME.ini". One that is not found leaves the
 *                 defaults
 * @param section  null or empty: the one that "~Mode" in "[TOLVA]" names. One that does not load leaves zeros, colour
 *                 mode 0 among them
 * @param ignored2 not used
 * @return never 0 */
TolvaHandle CreateSetup(uintptr_t ignored, const char* profile, const char* section, uintptr_t ignored2);
/** Stores the value in the second reserved word; 0, or -1 for a null handle. */
int32_t EditSetup(TolvaHandle setup, uintptr_t value);
/** Frees the block, and what an export of that very block left; 0, or 1 for a null handle and, with nothing freed, from
 * a callback of a call that is under way. Clears lpRaster, whichever block that was, and a matching lpSetup. */
int32_t DestroySetup(TolvaHandle setup);
/** Writes the defaults: colour mode 103, size mode 602, resolution mode 309, 96 x 96 dots per inch, 6.67 x 5 inches, no
 * names. Line mode, interlacing, transparency and background stay. Null is ignored. Always 0. */
int32_t UseDefaultSettings(TolvaSetup* setup);
/** Reads lpRaster's settings from its profile, and has LimitCheck repair them; 1 when its section has a "Driver" key,
 * else 0, and
 * nothing but the driver's name has changed. */
int32_t LoadProfile(uintptr_t ignored);
/** Repairs what is out of range in lpRaster by the default: 32 to 400 dots per inch, 0.03125 to 22 inches. 0,
 * kTolvaResolutionRepaired or kTolvaExtentRepaired, whichever came last. */
int32_t LimitCheck(void);
/** The text for an identifier (its low 16 bits), at most `size` bytes of it, unterminated when cut: its length, or 0
 * with "Not Defined" for an unknown one. */
int32_t LoadString(uintptr_t module, uint32_t id, char* buffer, int32_t size);
/** Always 1; does nothing. */
int32_t SaveProfile(void);
/** Keeps the profile path in the third name and replaces it by a fresh temporary file's, which the caller deletes;
 * always 1. */
int32_t BackupProfile(TolvaSetup* setup);
/** Always 0; does nothing. */
int32_t LoadProfileList(uint32_t first, uint32_t second, uint16_t third);

/** The setup escape: reads and changes single settings by code. A profile that cannot be written is not told.
 *
 * @param setup the block that is changed
 * @param code  a TolvaSetupEscapeCode
 * @param size  bytes of the input, for the codes that have one; for the modes the selector
 * @param in    the input, at any address; for kTolvaEscSetOutputDevice the value itself
 * @param out   the answer's place, for the codes that have one
 * @param save  not 0: the new value also goes to the block's profile and section
 * @return 1 = done, -1 = refused and nothing changed (a null handle or pointer, a wrong size, a value out of range),
 *         0 = a code that is not handled */
int32_t xEscapeSetup(TolvaHandle setup, int32_t code, int32_t size, void* in, void* out, int32_t save);
/** How many pixels a picture will have: kTolvaInfoInWords words in, kTolvaInfoOutWords out. Rounds up where the export
 * truncates, and keeps size and resolution in lpRaster as the export does. Looks at lpRaster whatever the handle;
 * without it all answers are 0. A null pointer: nothing is done. */
void GetRasterInfo(TolvaHandle setup, const int32_t* in, int32_t* out);
/** Brings a size in inches down to 22 in its greater extent, aspect kept; always 0. */
int32_t ScaleImageSize(double* width, double* height);

/* ---- Geometry: how large will a picture be? -------------------------------------------------------------------- */

/** Size and depth of the output by the settings in force, which keep what was used. Without settings only the depth is
 * given; where the resolution comes out as 0 the size stays in inches.
 *
 * @param width        in: the picture's, in inches with a resolution, without one in whatever unit; out: pixels
 * @param height       the same
 * @param bitsPerPixel out: kTolvaOutputDepth; may be null
 * @param resolution   in: the picture's dots per inch, 0 = none; out: those used
 * @param unused       not looked at
 * @param unused2      not looked at */
void QueryCellFormat(double* width, double* height, int16_t* bitsPerPixel, int32_t* resolution, void* unused,
                     void* unused2);
/** Fits a picture's aspect into the box of the settings; `size` receives width and height in inches, or stays as it is
 * without settings. Always 0. */
int32_t RasterAdjustAspect(double* size, double width, double height);

/* ---- Display and printer --------------------------------------------------------------------------------------- */

/** What the screen is taken for, in pixels and dots per inch; a 0 leaves that value at its default (1280 x 1078, 96).
 */
void SetDisplayInfo(double width, double height, int16_t xDpi, int16_t yDpi);
/** Keeps the same of the printer, for GetPrinterInfo alone. */
void SetPrinterInfo(double width, double height, int16_t xDpi, int16_t yDpi);
/** The screen's width and height in inches, and its dots per inch; each pointer may be null; always 0. "DISPLAYINFO" in
 * the environment wins; what it says of 0 dots per inch gives infinite inches. */
int32_t GetDisplayInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi);
/** The printer's record as set; each pointer may be null; always 0. */
int32_t GetPrinterInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi);
/** Always 0. */
int32_t GetDisplayColorInfo(uintptr_t ignored);
/** Moves a text's pointer past a run of digits and one more character, but never past the terminator. */
void moveptr(const char** text);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
