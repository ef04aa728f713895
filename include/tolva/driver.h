/* driver.h: what a host touches first: the entry points, the name table, the records that host and filter share, and
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

enum TolvaFunctionCode {
    kTolvaFuncInit = 0,
    kTolvaFuncCall = 2,
    kTolvaFuncTerm = -1,
    kTolvaFuncVersion = -2,
    kTolvaFuncEntry32 = -3
};

/* One bit each, so that a mask can name several. */
enum TolvaDeviceState {
    kTolvaInitialised = 1,
    kTolvaDeviceOpen = 2,
    kTolvaPictureBegun = 4,
    kTolvaPictureBody = 8,
    kTolvaPictureEnded = 16
};

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
    kTolvaOpAxc = 0x303, /* these four, and kTolvaOpDm, are supported and have no effect */
    kTolvaOpTran = 0x304,
    kTolvaOpClpr = 0x305,
    kTolvaOpClip = 0x306,
    kTolvaOpCellArray = 0x409,
    kTolvaOpPrimitive = 0x40a,
    kTolvaOpSetColourTable = 0x522,
    kTolvaOpQueryCapability = 0x52b, /* never supported */
    kTolvaOpDm = 0x906,
    kTolvaOpPopErrors = 0xf02,
    kTolvaOpClearErrors = 0xf03
};

enum TolvaPrimitiveId { kTolvaOpenPicture = -5, kTolvaClosePicture = -6 };

enum TolvaErrorCode {
    kTolvaNoError = 0,
    kTolvaNoWorkBuffer = 21,  /* a work buffer could not be had */
    kTolvaNoSettings = 22,    /* the settings block handed to init is missing */
    kTolvaNoPicture = 27,     /* no picture could be obtained */
    kTolvaExportFailed = 300, /* memory could not be had, or the export could not run */
    kTolvaStreamFailed = 303, /* an output stream could not be opened, written or closed */
    kTolvaStoppedByHost = 901 /* the host's status function asked to stop */
};

enum {
    kTolvaFilterVersion = 0x02000005,
    kTolvaNameTableRows = 9,
    kTolvaCapabilitySlots = 60, /* room the host's capability array needs */
    kTolvaCapabilityConversion = 47,
    kTolvaDispatchRows = 74,
    kTolvaPrimitiveIds = 8,
    kTolvaErrorEntries = 10,
    kTolvaFileNameBytes = 144,
    kTolvaStatusRecordWords = 13,
    kTolvaStatusDetailWords = 10,
    kTolvaOneBitCells = -32768 /* bits per cell: 1 bit, data by address */
};

/* Byte positions in opcode blocks. Blocks are unaligned; all fields are native words of the stated width. */
enum TolvaOpcodeBlock {
    kTolvaBlockOpcode = 0,
    kTolvaBlockData = 16,    /* where most handlers' fields begin (word 4) */
    kTolvaPopRequested = 16, /* 32-bit: errors wanted */
    kTolvaScalingMode = 16,  /* 16-bit: 0 to 2 */
    kTolvaScalingUnit = 24,  /* double: millimetres a unit, for mode 1 */
    kTolvaTableLength = 4,   /* 32-bit: 2 + 3 x colours */
    kTolvaTableFirst = 16,   /* 32-bit: first index */
    kTolvaTableColours = 20, /* triples */
    kTolvaCellFirstY = 24,   /* doubles: the corners' y */
    kTolvaCellSecondY = 48,
    kTolvaCellsPerRow = 88,     /* 32-bit */
    kTolvaCellRows = 92,        /* 32-bit */
    kTolvaCellBits = 96,        /* 32-bit: negative = data by address */
    kTolvaCellData = 102,       /* the data, or its native-wide address */
    kTolvaPrimitiveId = 16,     /* 32-bit: a TolvaPrimitiveId */
    kTolvaPrimitivePoints = 20, /* 32-bit: points of kTolvaPointBytes each; behind them a 32-bit length and the data */
    kTolvaPrimitiveFirstPoint = 24,
    kTolvaPointBytes = 24,
    kTolvaOpenWidth = 0,     /* in the opening primitive's data: 32-bit, most pixels a row */
    kTolvaOpenRows = 4,      /* 32-bit */
    kTolvaOpenBits = 8,      /* 32-bit: bits a pixel by magnitude, or kTolvaOneBitCells */
    kTolvaOpenCellFlag = 14, /* 16-bit */
    kTolvaOpenBytes = 28
};

/* ---- Records --------------------------------------------------------------------------------------------------- */

/* A host's progress and cancel function: (context, then six values). Non-zero asks to stop. */
typedef intptr_t (*TolvaStatusFunction)(intptr_t context, intptr_t a, intptr_t b, intptr_t c, intptr_t d, intptr_t e,
                                        intptr_t f);

/* The host's; the filter only reads it. Native words. */
typedef struct TolvaStatusRecord {
    intptr_t unused;
    intptr_t context;             /* word 1 */
    TolvaStatusFunction function; /* word 2 */
    intptr_t word3;
    intptr_t word4; /* held by the export variant */
    intptr_t word5[2];
    intptr_t picture[5];    /* words 7 to 11: into the export variant's picture */
    intptr_t streamContext; /* word 12: first word of the output stream's descriptor */
} TolvaStatusRecord;

typedef struct TolvaErrorRecord {
    int32_t opcode;
    int16_t code;
} TolvaErrorRecord;

/* One device's state, from init to term. 1224 bytes on every build. */
typedef struct TolvaEMData {
    TolvaHandle outputStream;
    TolvaHandle pictureBitmap; /* collects the rows of a bracketed picture */
    int32_t accumulating;      /* 1 between the primitives -5 and -6 */
    int32_t currentRow;        /* next row of the bitmap to be filled */
    uint8_t colourTable[256][3];
    uint8_t backgroundColour[3];
    int32_t lastErrorOpcode;
    int16_t result;        /* of the current call */
    int32_t errorCapacity; /* written by the host alone, 0 to kTolvaErrorEntries */
    int32_t errorCount;
    int32_t lostErrors;
    TolvaErrorRecord firstError;
    TolvaErrorRecord errors[kTolvaErrorEntries];
    double window[6];       /* x1, y1, z1, x2, y2, z2 */
    double viewport[6];     /* slots 2 and 5 stay zero */
    int32_t state;          /* a TolvaDeviceState */
    int32_t currentOpcode;  /* written by the host alone */
    uint32_t replyPosition; /* never rewound here */
    uint32_t replySize;
    TolvaHandle replyHandle;
    uint8_t* replyBuffer;
    char fileName[kTolvaFileNameBytes]; /* empty: output to a memory stream */
    uint32_t pictureWidth;
    uint32_t pictureHeight;
    uint32_t pictureDepth;
    TolvaStatusRecord* status;
    int32_t conversionMode; /* a TolvaConversionMode */
    TolvaHandle setup;
    int32_t resolution; /* dots per inch, 0 = not given */
    int16_t cellFlag;
    uint8_t reserve[sizeof(void*) == 8 ? 2 : 34];
} TolvaEMData;

/* The raster variant's init block. Native words. */
typedef struct TolvaRasterInitBlock {
    intptr_t unused[3];
    const char* fileName; /* word 3; may be empty */
    intptr_t unused2[5];
    uintptr_t replySize; /* word 9: bytes of reply buffer wanted */
    void* replyBuffer;   /* word 10, out: where replies will stand */
    intptr_t unused3[2];
    TolvaHandle setup;         /* word 13 */
    TolvaStatusRecord* status; /* word 14; may be null */
    int32_t* capabilities;     /* word 15: kTolvaCapabilitySlots values, filled */
} TolvaRasterInitBlock;

/* The export variant's state, made by the host. */
typedef struct TolvaCommonBlock {
    int32_t state;
    int16_t result;
    TolvaStatusRecord* status;
    int32_t statusValue;
} TolvaCommonBlock;

typedef struct TolvaNameRow {
    const char* name;
    uint16_t ordinal;
    void* target;
} TolvaNameRow;

/* What fltLoadPointers fills. Native words. */
typedef struct TolvaNameTableRecord {
    intptr_t unused;
    union {
        uint16_t rows; /* opens word 1 */
        intptr_t word;
    } count;
    const TolvaNameRow* table;
} TolvaNameTableRecord;

/* Takes the opcode block and returns it; reports only through the error stack and the reply buffer. */
typedef void* (*TolvaOpcodeHandler)(void* block);

#ifndef TOLVA_TYPES_ONLY

/* ---- Exported data --------------------------------------------------------------------------------------------- */

extern uint16_t FilterVersion;
extern uint16_t FilterID;
extern uintptr_t hDLLModule;
extern uintptr_t hAppAnchorBlock;
extern TolvaHandle hCommon; /* set by hosts alone */
extern TolvaCommonBlock* lpCommon;
extern TolvaHandle hEMData;
extern TolvaEMData* lpEMData;
extern int32_t GDPSupport[kTolvaPrimitiveIds]; /* by negated primitive; the host may write it */

/* ---- Entries --------------------------------------------------------------------------------------------------- */

/* -2 writes the version (4 bytes) to `out`, -3 the 32-bit entry's address (a native word). Always 0. */
int32_t RASTER_dd_entry(int16_t func, void* out, void* arg);
int32_t dd_entry(int16_t func, void* out, void* arg);
/* A TolvaFunctionCode with its block. Init: 0 or a TolvaErrorCode. Call: the opcode's result. Term: 0,
 * or the export variant's error. Version: 4. Init, call and term from a callback of another call: kTolvaExportFailed,
 * with nothing touched; so do the four functions below. */
int32_t RASTER_dd_entry32(uintptr_t ignored, int16_t func, void* block);
int32_t dd_entry32(uintptr_t ignored, int16_t func, void* block);
uint32_t ZUNGetFilterVersion(void);
void fltLoadPointers(TolvaNameTableRecord* record);

int32_t RASTER_initdvr(TolvaRasterInitBlock* block); /* 0 or kTolvaExportFailed */
int32_t RASTER_termdvr(void);                        /* 0 */
int32_t initdvr(void* block);
int32_t termdvr(uintptr_t unused);
int32_t AllocGlobal(void);
int32_t FreeGlobal(void);
int32_t LockGlobal(TolvaHandle h);
int32_t UnlockGlobal(TolvaHandle h);
int32_t AltFontsAvailable(void);
int32_t esc_mode(int32_t flag);

/* ---- Dispatch -------------------------------------------------------------------------------------------------- */

TolvaOpcodeHandler getfunc(int32_t opcode);
/* 2 = handled in the current state, 0 = not; for the primitive, GDPSupport's word. */
int32_t InquireSupport(int32_t opcode, int32_t argument);
int32_t InqGDPSupport(int32_t id);

void* d_noop(void* block);
void* d_opdv(void* block);
void* d_cldv(void* block);
void* d_begp(void* block);
void* d_begpb(void* block);
void* d_endp(void* block);
void d_reset(int32_t first, int32_t second);
void* d_ca(void* block);
void* d_gdp(void* block);
void* d_popes(void* block);
void* d_empes(void* block);
void* dq_es(void* block);
void* ds_dvwn(void* block);
void* ds_bgc(void* block);
void* ds_dvvp(void* block);
void* ds_vpsm(void* block);
void* ds_ct(void* block);
void* dq_dvwn(void* block);
void* dq_dvvp(void* block);
void* ds_axc(void* block);
void* ds_tran(void* block);
void* ds_clpr(void* block);
void* ds_clip(void* block);
void* ds_dm(void* block);
void* ds_fl(void* block);

/* ---- Errors, replies, status ----------------------------------------------------------------------------------- */

void push_er(int32_t code);
void mov2buf(const void* from, uint32_t length);
/* The host's answer, or 0 without a function. A stop to a plain query is asked for its detail, whose answer counts. */
intptr_t CallGetSet_Status(TolvaStatusFunction function, intptr_t context, intptr_t a, intptr_t b, intptr_t c,
                           intptr_t d, intptr_t e, intptr_t f);
int32_t RASTER_escape(void);         /* 0 or kTolvaStoppedByHost, which is then also pushed */
int32_t escape(void);                /* the export variant's */
int32_t UpdateStatus(int32_t value); /* 0 or kTolvaStoppedByHost; pushes nothing */

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
