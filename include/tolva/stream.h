/** @file
 * Portable buffered streams. One kind of handle stands for a named file, a memory block that grows, a host's
 * own I/O procedure, or a sub-stream of a compound document; typed and structured transfers with a chosen byte order
 * stand on top. Positions and counts are signed 32-bit. Failures are return values; nothing is printed.
 * Readable as C and as C++. */
#ifndef TOLVA_STREAM_H
#define TOLVA_STREAM_H

#include <stdint.h>
#include <stdio.h>

#include <tolva/host.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- Records --------------------------------------------------------------------------------------------------- */

/** The optional second argument of zunOpen. Six native words; zero them all first. */
typedef struct StreamDescriptor {
    intptr_t blockRef;   /**< memory: address of the variable with the block's locked pointer; procedure: its context */
    intptr_t size;       /**< memory: bytes of contents; rewritten when opened for reading */
    intptr_t growBy;     /**< memory: bytes added at each growth; 4096 is usual */
    intptr_t file;       /**< mode kTolvaWrapStream: an open standard I/O stream */
    intptr_t ioProc;     /**< a StreamIOProc, or 0 */
    intptr_t ioInstance; /**< mode kTolvaWrapStream with a procedure: its instance */
} StreamDescriptor;

/** A host's own I/O: (instance, operation, a, b). docs/protocol.md has what it must answer. */
typedef intptr_t (*StreamIOProc)(intptr_t instance, intptr_t operation, intptr_t a, intptr_t b);

/** What a StreamIOProc is called for, with which a and b, and what it answers. */
enum TolvaStreamOperation {
    kTolvaProcOpen = 1,   /**< name, mode: the instance, 0 = not handled */
    kTolvaProcRead = 2,   /**< buffer, count: bytes read */
    kTolvaProcWrite = 3,  /**< buffer, count: bytes written */
    kTolvaProcSeek = 4,   /**< address of a 32-bit offset, origin: the new position or -1 */
    kTolvaProcClose = 5,  /**< 0, 0 or kTolvaDeleteFile: status */
    kTolvaProcExists = 6, /**< name, 0 */
    kTolvaProcDelete = 7  /**< name, 0 */
};

/** How zunOpen opens. */
enum TolvaStreamMode {
    kTolvaReadFile = 0,        /**< what is there */
    kTolvaWriteFile = 0x0001,  /**< makes or truncates a file; memory: over what is there */
    kTolvaUpdateFile = 0x0002, /**< what is there, to be read and written */
    kTolvaDeleteFile = 0x0200, /**< no stream: deletes the name; 1 = done */
    kTolvaCreateFile = 0x1000, /**< truncates; memory streams start empty */
    kTolvaFileExists = 0x4000, /**< no stream: -1 = absent */
    kTolvaCreateAndWrite = kTolvaCreateFile | kTolvaWriteFile,
    kTolvaWrapStream = -1 /**< takes the descriptor's open stream or procedure instance */
};

/** What a position counts from. */
enum TolvaSeekOrigin { kTolvaFromStart = 0, kTolvaFromCurrent = 1, kTolvaFromEnd = 2 };

/** Byte order of the 16-, 32- and 64-bit values in the data. */
enum TolvaDataFormat { kTolvaLittleEndian = 0, kTolvaBigEndian = 1 };
/** How zunReadFloat and zunWriteFloat see the data. */
enum TolvaFloatFormat { kTolvaIeeeFloat = 0, kTolvaFixed16_16 = 1 };
/** Line ends. */
enum TolvaLineFormat { kTolvaLineCrLf = 0, kTolvaLineCr = 1, kTolvaLineLf = 2 };

enum { kTolvaStreamBufferBytes = 12288, kTolvaUsualGrowth = 4096 };

/** One per open stream, behind the stream's handle. */
typedef struct StreamRecord {
    FILE* file;                     /**< null for memory and procedure streams */
    TolvaHandle bufferHandle;       /**< files: the I/O buffer; memory: the caller's block */
    void** blockPointerRef;         /**< memory: the caller's variable, rewritten after every growth */
    int32_t cursor;                 /**< index of the next byte */
    int32_t lastValid;              /**< index of the last valid byte, -1 = empty */
    int32_t lastSlot;               /**< index of the last usable byte */
    int32_t bufferStart;            /**< file offset of buffer byte 0 */
    int32_t nextFill;               /**< file offset of the next fill; -1 marks a memory stream */
    int32_t dirty;                  /**< 1 = bytes not yet in the file */
    int32_t growBy;                 /**< memory: bytes added at each growth */
    int32_t size;                   /**< files: length at open and after each flush; memory: lastValid at open */
    void** ownedBlockRef;           /**< non-null: zunCloseandDelete frees this block instead of deleting a file */
    StreamIOProc ioProc;            /**< the host's procedure, or null */
    intptr_t ioInstance;            /**< what it is called with */
    uint32_t mode;                  /**< a TolvaStreamMode, as opened */
    int32_t borrowedFile;           /**< 1 = the caller's standard I/O stream, not closed here */
    int32_t error;                  /**< -1 once anything has failed */
    uint16_t dataFormat;            /**< a TolvaDataFormat */
    uint16_t floatFormat;           /**< a TolvaFloatFormat */
    uint16_t lineFormat;            /**< a TolvaLineFormat */
    int32_t namedFile;              /**< 1 = opened by name */
    uint32_t docPosition;           /**< compound documents, from here on: byte of the sub-stream that comes next */
    int32_t docMode;                /**< 1 = reads and seeks mean the sub-stream */
    TolvaHandle docSectorTable;     /**< 32-bit links from sector to sector */
    TolvaHandle docMiniSectorTable; /**< the same of mini-sectors */
    uint32_t docMiniStreamStart;    /**< first sector of the mini-sectors' container */
    uint32_t docStartSector;        /**< first sector, or mini-sector, of the sub-stream */
    uint32_t docSize;               /**< bytes of the sub-stream */
    int32_t flushFailed;  /**< behind the named fields: 1 once bytes could not be written; the close then reports -1 */
    int32_t deviceMemory; /**< 1 = block and variable were taken by the device, which frees them */
    uint32_t room;        /**< memory: bytes in reserve behind the block */
    struct StreamRecord* nextWithRoom; /**< the library's list of those */
} StreamRecord;

#ifndef TOLVA_TYPES_ONLY

/* ---- Streams --------------------------------------------------------------------------------------------------- */

/** Opens a stream, which the caller closes by zunClose or zunCloseandDelete.
 *
 * @param name       the file's; null or empty: a memory stream. "stdin" and "stdout" are the standard streams
 * @param descriptor null where a name is enough; taken by copy
 * @param mode       a TolvaStreamMode
 * @return a stream, or 0 where it cannot be opened. For kTolvaDeleteFile 1 or 0, for kTolvaFileExists 1, or -1 when
 *         absent: no streams. With a procedure in the descriptor these two, and every later operation, are the
 *         procedure's; one that answers the open with 0 stays in charge of a named file that is made all the same */
TolvaHandle zunOpen(const char* name, StreamDescriptor* descriptor, int32_t mode);
/** Writes what is still buffered, closes and frees the stream. A memory stream's block stays the caller's; one opened
 * for writing gets a byte 0xFF behind its contents. 0; -1 for a null handle, for bytes that could not be written now or
 * earlier, or the close's own failure; a procedure's status. */
int32_t zunClose(TolvaHandle stream);
/** Closes and deletes the named file, if it is a regular one (or frees the owned block). 0, whatever the close gave; -1
 * for a null handle; a procedure's status. */
int32_t zunCloseandDelete(TolvaHandle stream, const char* name);
/** Bytes read, at most `count`; 0 at the end or for a null handle, -1 on error. */
int32_t zunRead(TolvaHandle stream, void* buffer, int32_t count);
/** Bytes written, which is `count`; 0 for a null handle, -1 on error; 0 also when the buffer is full after an earlier
 * error. What is buffered may still fail: the close says so. */
int32_t zunWrite(TolvaHandle stream, const void* buffer, int32_t count);
/** The new position in bytes from the start, -1 on error. (stream, 0, kTolvaFromCurrent) tells the position and moves
 * nothing. `origin` is a TolvaSeekOrigin. A memory stream grows with a seek from its start past its end. */
int32_t zunSeek(TolvaHandle stream, int32_t offset, int32_t origin);
/** Copies a file; bytes written less bytes read, so 0 is success; less than 0 too where reading or the
 * close failed. A source that does not open copies nothing and gives 0. */
int32_t zunCopy(const char* source, const char* destination);
/** Loads the buffer from the next position: bytes loaded, 0 at the end and for memory streams, -1 on error. */
int32_t FillZunIOBuf(TolvaHandle stream);
/** Writes the buffer out: its bytes, 0 when nothing was dirty, 1 after a memory block grew (which it does each time),
 * -1 on error. */
int32_t FlushZunIO(TolvaHandle stream);
/** Seek, then tell; -1 when the seek fails or the position does not fit 31 bits. */
int32_t unxSeek(FILE* file, int32_t offset, int32_t origin);
/** The bytes that a sub-stream of a compound document gave; zunRead comes here while docMode is set. A piece of which
 * the file has less counts whole, and ends the read. */
int32_t docRead(TolvaHandle stream, void* buffer, int32_t count);
/** The new position in the sub-stream, held inside it; -1 for an origin that is none. From the end the offset counts
 * backwards. zunSeek comes here while docMode is set. */
int32_t docSeek(TolvaHandle stream, int32_t offset, int32_t origin);
/** 1 with a fresh path in "/tmp" in the buffer (17 bytes; an empty file of mode 0600 stands there, the caller's to
 * delete), or 0. The first three are ignored. */
int32_t ZUNGetTempFileName(int32_t drive, const char* prefix, int32_t unique, char* buffer);

/* ---- Pointer-style memory -------------------------------------------------------------------------------------- */

/** @name Memory by address
 * For callers that keep the address and not the handle: what GlobalLock gives, of blocks of GlobalAlloc. Without
 * memory they end the process as that does. */
/**@{*/
void* zunPtrGlobalAlloc(uint32_t size);           /**< a zero-filled block; null for size 0 */
TolvaHandle zunPtrGlobalHandle(const void* data); /**< the block's handle; 0 for null */
TolvaHandle zunPtrGlobalFree(void* data);         /**< frees the block; null is ignored; always 0 */
/** A block of `size` bytes with the old contents; the old address is dead. Null makes one, size 0 frees and gives null.
 */
void* zunPtrGlobalReAlloc(void* data, uint32_t size, uint32_t flags);
/**@}*/

/* ---- Typed transfers: count elements, in place ----------------------------------------------------------------- */

/** Readers of `count` elements of 2, 4 or 8 bytes into the machine's own form: count, or 0 with nothing converted when
 * fewer bytes arrived. zunReadChar: zunRead's result. */
/**@{*/
int32_t zunReadChar(TolvaHandle stream, void* buffer, int32_t count);
int32_t zunReadShort(TolvaHandle stream, void* buffer, int32_t count);
int32_t zunReadLong(TolvaHandle stream, void* buffer, int32_t count);  /**< 32 bits */
int32_t zunReadFloat(TolvaHandle stream, void* buffer, int32_t count); /**< 32 bits, by the stream's TolvaFloatFormat */
int32_t zunReadDouble(TolvaHandle stream, void* buffer, int32_t count);
/**@}*/
/** Writers: elements written, or the failing write's result (0 or -1). zunWriteChar: zunWrite's result. */
/**@{*/
int32_t zunWriteChar(TolvaHandle stream, const void* buffer, int32_t count);
int32_t zunWriteShort(TolvaHandle stream, const void* buffer, int32_t count);
int32_t zunWriteLong(TolvaHandle stream, const void* buffer, int32_t count); /**< 32 bits */
/** 32 bits, by the stream's TolvaFloatFormat; what is written as fixed point is not what zunReadFloat takes. */
int32_t zunWriteFloat(TolvaHandle stream, const void* buffer, int32_t count);
/** What is written big-endian is not what zunReadDouble takes. */
int32_t zunWriteDouble(TolvaHandle stream, const void* buffer, int32_t count);
/**@}*/

/** Records by format: items of an optional count and C, S, L, F or D (1, 2, 4, 4, 8 bytes), structures in braces,
 * unions in parentheses (read: skipped in memory; written: an error), runs in brackets that move through memory and
 * transfer nothing. Packed in the file, naturally aligned in memory. The number of records, or the last transfer's
 * result (0 or -1) when one failed. A character without a meaning makes the count come out one too low. */
/**@{*/
int32_t zunReadStruct(TolvaHandle stream, const char* format, void* buffer, int32_t records);
int32_t zunWriteStruct(TolvaHandle stream, const char* format, const void* buffer, int32_t records);
/**@}*/

/** Sets byte order (TolvaDataFormat, little-endian from the start) and float format (TolvaFloatFormat) of a stream: 0,
 * or -1 for a null handle. */
int32_t zunSetDataFormat(TolvaHandle stream, uint16_t dataFormat, uint16_t floatFormat);
/** Tells both; either pointer may be null. 0, or -1 for a null handle. */
int32_t zunGetDataFormat(TolvaHandle stream, uint16_t* dataFormat, uint16_t* floatFormat);
/** The n low-order bytes of a value, least significant first. */
void zunNativeToLE(uint8_t* destination, uint32_t value, int32_t n);
/** The n low-order bytes of a value, most significant first. */
void zunNativeToBE(uint8_t* destination, uint32_t value, int32_t n);
/** 1, 2, 4 or 8: the alignment of the structure or union that starts here, or of the whole format. */
int32_t GetPadWidth(const char* format);
/** The position of the union's ")" (or of the string's end); the union's bytes in memory through `size`. The
 * alternative behind the last "|" never counts. */
const char* GetUnionSize(const char* format, int32_t* size);

/* ---- Lines ----------------------------------------------------------------------------------------------------- */

/** Reads a line with any line end into `size` bytes; one that is longer comes in pieces, and a piece that fills the
 * buffer has no terminator. Characters stored, or -1 at the end of the data (a last line without a line end is in the
 * buffer then too). */
int32_t zunReadLine(TolvaHandle stream, char* buffer, int32_t size);
/** Writes `length` bytes and the stream's line end: the bytes, or what failed gave; 0 for a null handle. */
int32_t zunWriteLine(TolvaHandle stream, const char* text, int32_t length);
/** Sets the line end that is written (a TolvaLineFormat; LF from the start for files and memory): 0, or -1 for a null
 * handle. */
int32_t zunSetLineFormat(TolvaHandle stream, uint16_t format);
/** The first line end in the data from here on, -1 for none; the stream then stands at its start. */
int32_t zunGetLineFormat(TolvaHandle stream);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
