/** @file
 * What a host touches first: the entry points, the name table, the records that host and filter share, and
 * the opcode handlers behind the entries.
 *
 * A host loads the library, looks the entries up in fltLoadPointers' table, asks the version (-2) and the 32-bit entry
 * (-3), inits (0), calls opcodes (2) and terminates (-1). One device at a time; one thread.
 * Readable as C and as C++. */
#ifndef TOLVA_DRIVER_H
#define TOLVA_DRIVER_H

#include <stdint.h>

#include <tolva/host.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- Numbers of the protocol ----------------------------------------------------------------------------------- */

/** What an entry is called for. */
enum TolvaFunctionCode {
    kTolvaFuncInit = 0,     /**< makes the device */
    kTolvaFuncCall = 2,     /**< runs an opcode */
    kTolvaFuncTerm = -1,    /**< ends the device */
    kTolvaFuncVersion = -2, /**< asks kTolvaFilterVersion; at any time */
    kTolvaFuncEntry32 = -3  /**< asks a 16-bit-style entry for its 32-bit one; at any time */
};

/** Where a device stands. One bit each, so that a mask can name several. */
enum TolvaDeviceState {
    kTolvaInitialised = 1,
    kTolvaDeviceOpen = 2,
    kTolvaPictureBegun = 4,
    kTolvaPictureBody = 8,
    kTolvaPictureEnded = 16
};

/** What a call (kTolvaFuncCall) can ask for. docs/protocol.md has the states in which each runs, and its block. */
enum TolvaOpcode {
    kTolvaOpOpenDevice = 0x1,
    kTolvaOpCloseDevice = 0x2,
    kTolvaOpBeginPicture = 0x3,
    kTolvaOpBeginBody = 0x4,
    kTolvaOpEndPicture = 0x5,
    kTolvaOpSetWindow = 0x206,
    kTolvaOpSetBackground = 0x207,
    kTolvaOpSetViewport = 0x208,
    kTolvaOpSetScaling = 0x209,
    kTolvaOpQueryViewport = 0x2fd,
    kTolvaOpQueryWindow = 0x2ff,
    kTolvaOpAxc = 0x303, /**< these four, and kTolvaOpDm, are supported and have no effect */
    kTolvaOpTran = 0x304,
    kTolvaOpClpr = 0x305,
    kTolvaOpClip = 0x306,
    kTolvaOpCellArray = 0x409,
    kTolvaOpPrimitive = 0x40a,
    kTolvaOpSetColourTable = 0x522,
    kTolvaOpQueryCapability = 0x52b, /**< never supported */
    kTolvaOpDm = 0x906,
    kTolvaOpPopErrors = 0xf02,
    kTolvaOpClearErrors = 0xf03
};

/** The primitives (kTolvaOpPrimitive) that do something: the bracket round the cell arrays of one picture. */
enum TolvaPrimitiveId { kTolvaOpenPicture = -5, kTolvaClosePicture = -6 };

/** What calls answer, and what the error stack holds. */
enum TolvaErrorCode {
    kTolvaNoError = 0,
    kTolvaNoWorkBuffer = 21,  /**< a work buffer could not be had */
    kTolvaNoSettings = 22,    /**< the settings block handed to init is missing */
    kTolvaNoPicture = 27,     /**< no picture could be obtained */
    kTolvaExportFailed = 300, /**< memory could not be had, or the export could not run */
    kTolvaStreamFailed = 303, /**< an output stream could not be opened, written or closed */
    kTolvaStoppedByHost = 901 /**< the host's status function asked to stop */
};

enum {
    kTolvaFilterVersion = 0x02000005,
    kTolvaNameTableRows = 9,
    kTolvaCapabilitySlots = 60, /**< room the host's capability array needs */
    kTolvaCapabilityConversion = 47,
    kTolvaDispatchRows = 74,
    kTolvaPrimitiveIds = 8,
    kTolvaErrorEntries = 10,
    kTolvaFileNameBytes = 144,
    kTolvaStatusRecordWords = 13,
    kTolvaStatusDetailWords = 10,
    kTolvaOneBitCells = -32768 /**< bits per cell: 1 bit, data by address */
};

/** Byte positions in opcode blocks. Blocks are unaligned; all fields are native words of the stated width. */
enum TolvaOpcodeBlock {
    kTolvaBlockOpcode = 0,
    kTolvaBlockData = 16,    /**< where most handlers' fields begin (word 4) */
    kTolvaPopRequested = 16, /**< 32-bit: errors wanted */
    kTolvaScalingMode = 16,  /**< 16-bit: 0 to 2 */
    kTolvaScalingUnit = 24,  /**< double: millimetres a unit, for mode 1 */
    kTolvaTableLength = 4,   /**< 32-bit: 2 + 3 x colours */
    kTolvaTableFirst = 16,   /**< 32-bit: first index */
    kTolvaTableColours = 20, /**< triples */
    kTolvaCellFirstY = 24,   /**< doubles: the corners' y */
    kTolvaCellSecondY = 48,
    kTolvaCellsPerRow = 88, /**< 32-bit */
    kTolvaCellRows = 92,    /**< 32-bit */
    kTolvaCellBits = 96,    /**< 32-bit: negative = data by address */
    kTolvaCellData = 102,   /**< the data, or its native-wide address */
    kTolvaPrimitiveId = 16, /**< 32-bit: a TolvaPrimitiveId */
    kTolvaPrimitivePoints =
        20, /**< 32-bit: points of kTolvaPointBytes each; behind them a 32-bit length and the data */
    kTolvaPrimitiveFirstPoint = 24,
    kTolvaPointBytes = 24,
    kTolvaOpenWidth = 0,     /**< in the opening primitive's data: 32-bit, most pixels a row */
    kTolvaOpenRows = 4,      /**< 32-bit */
    kTolvaOpenBits = 8,      /**< 32-bit: bits a pixel by magnitude, or kTolvaOneBitCells */
    kTolvaOpenCellFlag = 14, /**< 16-bit */
    kTolvaOpenBytes = 28
};

/* ---- Records --------------------------------------------------------------------------------------------------- */

/** A host's progress and cancel function: (context, then six values). Non-zero asks to stop. Must not start another
 * call of the device: see RASTER_dd_entry32. */
typedef intptr_t (*TolvaStatusFunction)(intptr_t context, intptr_t a, intptr_t b, intptr_t c, intptr_t d, intptr_t e,
                                        intptr_t f);

/** The host's, from init to term; the filter only reads it. Native words. */
typedef struct TolvaStatusRecord {
    intptr_t unused;              /**< not looked at */
    intptr_t context;             /**< word 1: handed to the function; 0 leaves out the report at init */
    TolvaStatusFunction function; /**< word 2; null: nobody is asked */
    intptr_t word3;               /**< not looked at */
    intptr_t word4;               /**< held by the export variant */
    intptr_t word5[2];            /**< not looked at */
    intptr_t picture[5];          /**< words 7 to 11: into the export variant's picture */
    intptr_t streamContext;       /**< word 12: first word of the output stream's descriptor */
} TolvaStatusRecord;

/** One entry of the error stack. */
typedef struct TolvaErrorRecord {
    int32_t opcode; /**< TolvaEMData.currentOpcode when it was pushed */
    int16_t code;   /**< a TolvaErrorCode */
} TolvaErrorRecord;

/** One device's state, from init to term. 1224 bytes on every build. */
typedef struct TolvaEMData {
    TolvaHandle outputStream;    /**< from open to close; 0 = none */
    TolvaHandle pictureBitmap;   /**< collects the rows of a bracketed picture */
    int32_t accumulating;        /**< 1 between the primitives -5 and -6 */
    int32_t currentRow;          /**< next row of the bitmap to be filled */
    uint8_t colourTable[256][3]; /**< red, green, blue */
    uint8_t backgroundColour[3]; /**< as set; not used */
    int32_t lastErrorOpcode;     /**< of the latest error */
    int16_t result;              /**< of the current call */
    int32_t errorCapacity;       /**< written by the host alone, 0 to kTolvaErrorEntries */
    int32_t errorCount;          /**< on the stack */
    int32_t lostErrors;          /**< pushed on a full one */
    TolvaErrorRecord firstError; /**< the first since the stack was clear; without a capacity the latest */
    TolvaErrorRecord errors[kTolvaErrorEntries];  /**< the stack, oldest first */
    double window[6];                             /**< x1, y1, z1, x2, y2, z2 */
    double viewport[6];                           /**< slots 2 and 5 stay zero */
    int32_t state;                                /**< a TolvaDeviceState */
    int32_t currentOpcode;                        /**< written by the host alone */
    uint32_t replyPosition;                       /**< where the next reply goes; never rewound here */
    uint32_t replySize;                           /**< bytes of reply buffer */
    TolvaHandle replyHandle;                      /**< the buffer's, freed by term */
    uint8_t* replyBuffer;                         /**< the same, locked */
    char fileName[kTolvaFileNameBytes];           /**< empty: output to a memory stream */
    uint32_t pictureWidth;                        /**< pixels, of the bracketed picture; so are the next two */
    uint32_t pictureHeight;                       /**< rows; stays behind when the bracket is closed */
    uint32_t pictureDepth;                        /**< bits a pixel */
    TolvaStatusRecord* status;                    /**< the host's; may be null */
    int32_t conversionMode;                       /**< a TolvaConversionMode */
    TolvaHandle setup;                            /**< the Setup block handed to init, the host's */
    int32_t resolution;                           /**< dots per inch, 0 = not given */
    int16_t cellFlag;                             /**< from the opening primitive; not used */
    uint8_t reserve[sizeof(void*) == 8 ? 2 : 34]; /**< up to the same size on every build */
} TolvaEMData;

/** The raster variant's init block. Native words. */
typedef struct TolvaRasterInitBlock {
    intptr_t unused[3];        /**< not looked at */
    const char* fileName;      /**< word 3: copied, at most 143 bytes; null or empty: see TolvaEMData.fileName */
    intptr_t unused2[5];       /**< not looked at */
    uintptr_t replySize;       /**< word 9: bytes of reply buffer wanted */
    void* replyBuffer;         /**< word 10, out: where replies will stand, until term */
    intptr_t unused3[2];       /**< not looked at */
    TolvaHandle setup;         /**< word 13: the host's, to be kept until term */
    TolvaStatusRecord* status; /**< word 14: the host's, to be kept until term; may be null */
    int32_t* capabilities;     /**< word 15: kTolvaCapabilitySlots values, filled; may be null */
} TolvaRasterInitBlock;

/** The export variant's state, made by the host. */
typedef struct TolvaCommonBlock {
    int32_t state;             /**< calls run where it is above 0 */
    int16_t result;            /**< what calls answer; cleared before each */
    TolvaStatusRecord* status; /**< asked by `escape`; may be null */
    int32_t statusValue;       /**< what it is asked with */
} TolvaCommonBlock;

/** One entry of the name table. */
typedef struct TolvaNameRow {
    const char* name; /**< as a host asks for it */
    uint16_t ordinal; /**< 1001 to 1010; 1007 is not given */
    void* target;     /**< a function's address, or for "szDLLName" that of export_szDLLName */
} TolvaNameRow;

/** What fltLoadPointers fills. Native words. */
typedef struct TolvaNameTableRecord {
    intptr_t unused; /**< not looked at */
    union {
        uint16_t rows;         /**< opens word 1 */
        intptr_t word;         /**< the whole of it */
    } count;                   /**< entries of the table: kTolvaNameTableRows */
    const TolvaNameRow* table; /**< static, never freed */
} TolvaNameTableRecord;

/** Takes the opcode block and returns it; reports only through the error stack and the reply buffer. */
typedef void* (*TolvaOpcodeHandler)(void* block);

#ifndef TOLVA_TYPES_ONLY

/* ---- Exported data --------------------------------------------------------------------------------------------- */

extern uint16_t FilterVersion;     /**< 1 */
extern uint16_t FilterID;          /**< 19 */
extern uintptr_t hDLLModule;       /**< the host's own word; not looked at */
extern uintptr_t hAppAnchorBlock;  /**< the host's own word; not looked at */
extern TolvaHandle hCommon;        /**< set by hosts alone, for the export variant; otherwise leave it 0 */
extern TolvaCommonBlock* lpCommon; /**< set by hosts alone; the export variant's state, which stays the host's */
extern TolvaHandle hEMData;        /**< the device's block, from init to term; the library's */
extern TolvaEMData* lpEMData;      /**< the same, locked; null without a device */
/** What InquireSupport answers for primitives, by negated identifier. All 0 until a host writes it. */
extern int32_t GDPSupport[kTolvaPrimitiveIds];

/* ---- Entries --------------------------------------------------------------------------------------------------- */

/** The raster device's 16-bit-style entry: -2 writes the version (4 bytes) to `out`, -3 the address of
 * RASTER_dd_entry32 (a native word); other codes do nothing, and so does a null `out`. Always 0. */
int32_t RASTER_dd_entry(int16_t func, void* out, void* arg);
/** The same for the export variant: -3 gives the address of dd_entry32. */
int32_t dd_entry(int16_t func, void* out, void* arg);
/** The raster device's entry: a TolvaFunctionCode with its block.
 *
 * - Init takes a TolvaRasterInitBlock: 0, or kTolvaExportFailed with nothing left behind (no block, no Setup block, a
 *   file name of more than 143 bytes, a reply size above 32 bits). Setup block and status record stay the host's, and
 *   must stand until term.
 * - Call takes an opcode block at any address, opcode first: the last error that its handler pushed, or 0. Unknown
 *   opcodes, those not allowed in the device's state, and calls without a device do nothing: 0.
 * - Term closes a device that is still open, whatever becomes of that, and frees what init made: 0.
 * - Version writes 4 bytes to `block` and answers 4.
 *
 * Other codes answer 0. Init, call and term from a callback of another call: kTolvaExportFailed, with nothing touched;
 * so do RASTER_initdvr, RASTER_termdvr, initdvr and termdvr. */
int32_t RASTER_dd_entry32(uintptr_t ignored, int16_t func, void* block);
/** The export variant's entry, for hosts that load a metafile filter: it opens and closes its output and draws nothing.
 * Init: 0, kTolvaNoSettings or kTolvaStreamFailed; it takes 15 native words, word 3 the file name (whose first byte
 * becomes 0) and word 13 the Setup block's handle (which becomes 0). Call: the Common block's result word, 0 without a
 * Common block. Term: kTolvaExportFailed, or kTolvaStreamFailed where the output failed. Otherwise as
 * RASTER_dd_entry32. */
int32_t dd_entry32(uintptr_t ignored, int16_t func, void* block);
/** kTolvaFilterVersion. */
uint32_t ZUNGetFilterVersion(void);
/** Stores number and address of the table of entries in the host's record, which may stand at any address. The table is
 * static. A null record is passed over. */
void fltLoadPointers(TolvaNameTableRecord* record);

/** What RASTER_dd_entry32 does for init, without its look at hCommon: 0 or kTolvaExportFailed. A second init makes a
 * new device and does not release the one before. */
int32_t RASTER_initdvr(TolvaRasterInitBlock* block);
/** What RASTER_dd_entry32 does for term: 0; kTolvaExportFailed from a callback. */
int32_t RASTER_termdvr(void);
/** What dd_entry32 does for init. */
int32_t initdvr(void* block);
/** What dd_entry32 does for term. */
int32_t termdvr(uintptr_t unused);
/** Makes a zeroed block of state, hEMData and lpEMData, unless hCommon is set; it is the caller's to free by
 * FreeGlobal. Init does this. Always 0. */
int32_t AllocGlobal(void);
/** Frees that block. Term does this. Always 0. */
int32_t FreeGlobal(void);
int32_t LockGlobal(TolvaHandle h);   /**< does nothing; 0 */
int32_t UnlockGlobal(TolvaHandle h); /**< does nothing; 0 */
int32_t AltFontsAvailable(void);     /**< 0: there are none */
int32_t esc_mode(int32_t flag);      /**< does nothing; 0 */

/* ---- Dispatch -------------------------------------------------------------------------------------------------- */

/** The handler that the opcode has in the device's state; d_noop where it has none, and without a device. Never null.
 */
TolvaOpcodeHandler getfunc(int32_t opcode);
/** 2 = the opcode (its low 16 bits) is handled in the current state, 0 = not; for kTolvaOpPrimitive what InqGDPSupport
 * answers for the argument. */
int32_t InquireSupport(int32_t opcode, int32_t argument);
/** GDPSupport's word for an identifier from -1 to -7; 0 for any other. */
int32_t InqGDPSupport(int32_t id);

/** @name Opcode handlers
 * A host calls opcodes through its entry, which looks at the state and collects
 * the result; these do neither. Each takes the whole opcode block, unaligned, which stays the host's and which ds_ct
 * alone writes to, and returns it. Without a device they do nothing. What fails is pushed on the error stack. */
/**@{*/
void* d_noop(void* block);                   /**< does nothing */
void* d_opdv(void* block);                   /**< opens the output: 303 */
void* d_cldv(void* block);                   /**< closes it, or deletes the file at the host's wish: 303, 901 */
void* d_begp(void* block);                   /**< to state kTolvaPictureBegun */
void* d_begpb(void* block);                  /**< to state kTolvaPictureBody */
void* d_endp(void* block);                   /**< to state kTolvaPictureEnded */
void d_reset(int32_t first, int32_t second); /**< does nothing; d_begp calls it */
void* d_ca(void* block);                     /**< cells: a picture, or rows of a bracketed one: 300, 303 */
void* d_gdp(void* block);                    /**< opens and closes the bracket: 300, 303 */
void* d_popes(void* block);                  /**< errors to the reply buffer, latest first, and off the stack */
void* d_empes(void* block);                  /**< forgets all errors */
void* dq_es(void* block);                    /**< replies count, first record, lost errors; no opcode leads here */
void* ds_dvwn(void* block);                  /**< window: six doubles */
void* ds_bgc(void* block);                   /**< background: three bytes, kept and not used */
void* ds_dvvp(void* block);                  /**< viewport: doubles, slots 0, 1, 3 and 4; kept and not used */
void* ds_vpsm(void* block);                  /**< scaling, from which the resolution follows */
void* ds_ct(void* block);                    /**< colour table; converts the triples in the host's block */
void* dq_dvwn(void* block);                  /**< replies the window: 48 bytes */
void* dq_dvvp(void* block);                  /**< replies the viewport: 48 bytes, in an order of their own */
void* ds_axc(void* block);                   /**< supported, no effect; so are the next four */
void* ds_tran(void* block);                  /**< no effect */
void* ds_clpr(void* block);                  /**< no effect */
void* ds_clip(void* block);                  /**< no effect */
void* ds_dm(void* block);                    /**< no effect */
void* ds_fl(void* block);                    /**< no effect; no opcode leads here */
/**@}*/

/* ---- Errors, replies, status ----------------------------------------------------------------------------------- */

/** Puts an error on the device's stack, with the opcode that the host noted, and makes it the call's result: its low 16
 * bits. One that already stands on top, opcode and code alike, changes nothing, the result included. Without a capacity
 * from the host the first record alone is kept up. */
void push_er(int32_t code);
/** Appends bytes to the reply buffer; what does not fit is cut, silently. */
void mov2buf(const void* from, uint32_t length);
/** Asks the host's status function: its answer, or 0 without a function. A stop in answer to a plain query (a and b 0)
 * is asked for its detail, and that answer counts. */
intptr_t CallGetSet_Status(TolvaStatusFunction function, intptr_t context, intptr_t a, intptr_t b, intptr_t c,
                           intptr_t d, intptr_t e, intptr_t f);
/** Asks the device's host whether to stop: 0, or kTolvaStoppedByHost, which is then also pushed. */
int32_t RASTER_escape(void);
/** The same for the export variant, through the Common block. */
int32_t escape(void);
/** Reports progress in percent to the status record in lpRaster's `exporting`: 0 to go on, also where nobody is to be
 * asked, or kTolvaStoppedByHost. Pushes nothing. */
int32_t UpdateStatus(int32_t value);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
