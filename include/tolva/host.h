/* host.h: what the floor under everything offers: movable memory handles, byte-string helpers, numeric helpers and
 * the finding of profile files. A host that has no such services of its own uses these; the filter uses nothing else.
 * Readable as C and as C++. All functions are exported under exactly these names. */
#ifndef TOLVA_HOST_H
#define TOLVA_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- Memory handles -------------------------------------------------------------------------------------------- */

/* The address of a TolvaBlockHeader; 0 means no block. Native word: 4 bytes on a 32-bit build, 8 on a 64-bit one. */
typedef uintptr_t TolvaHandle;

/* Stands in front of every block's data, in the same allocation. Hosts read it through the calls below alone. */
typedef struct TolvaBlockHeader {
    uint32_t size;      /* bytes asked for, not the rounded size */
    uint32_t flags;     /* as given; stored only, never interpreted */
    uint32_t reserved;  /* 0 */
    void* data;         /* what GlobalLock hands out */
    uint8_t dataOffset; /* from the header's start to the data */
    uint8_t reserved2[3];
} TolvaBlockHeader;

enum {
    kTolvaMoveableZeroed = 66, /* the flags every block of the filter is taken with: moveable, zero-filled */
    kTolvaBlockAlignment = 8   /* where data starts, so that doubles in a block can be read directly */
};

enum {
    kTolvaProfilePathBytes = 144, /* room for a profile's path, terminator included */
    kTolvaProfileLineBytes = 256, /* a longer line counts as several */
    kTolvaProfileNumberBytes = 32 /* of a value that is read as a number */
};

/* What CleanProfileLine leaves in the text. */
enum TolvaProfileKeep { kTolvaKeepBrackets = 1, kTolvaKeepQuotes = 4 };

#ifndef TOLVA_TYPES_ONLY

/* A zero-filled block of `size` bytes, whatever the flags say. Never returns 0: when the memory is not there it prints
 * a line to standard output and ends the process abnormally. */
TolvaHandle GlobalAlloc(uint32_t flags, uint32_t size);
/* The block's address, the same at every call; null for 0. There is no lock count. */
void* GlobalLock(TolvaHandle h);
/* Always 0: nothing is ever held. */
int32_t GlobalUnlock(TolvaHandle h);
/* Releases the block; 0 is ignored. Always 0. */
TolvaHandle GlobalFree(TolvaHandle h);
/* A new block with the old one's first bytes; the old handle is dead whatever happens. */
TolvaHandle GlobalReAlloc(TolvaHandle h, uint32_t size, uint32_t flags);
/* The handle of an address that GlobalLock gave for a GlobalAlloc handle; 0 for null. */
TolvaHandle GlobalHandle(const void* data);
/* The size asked for; 0 for 0. */
uint32_t GlobalSize(TolvaHandle h);
/* A handle that describes memory of the caller's; freeing it releases the description only. */
TolvaHandle GlobalPointerToHandle(void* data, uint32_t size);
/* The argument, or 65536 for 0. */
uint32_t GlobalCompact(uint32_t bytes);

/* ---- Byte strings ---------------------------------------------------------------------------------------------- */

char* strupr(char* text);
char* strlower(char* text);
char* strlwr(char* text);
/* upper(b) - upper(a) at the first difference: the reverse of the usual sign, kept because hosts rely on it. */
int stricmp(const char* a, const char* b);
/* The same over exactly n bytes; does not stop at a terminating zero. */
int strnicmp(const char* a, const char* b, int32_t n);
/* The directory part, separator included; empty without one. Returns the destination, which must hold the path. */
char* s_getpath(char* destination, const char* path);
/* The base name up to its last ".". Returns the destination. */
char* s_getname(char* destination, const char* path);

/* ---- Numbers --------------------------------------------------------------------------------------------------- */

/* x when x > 0, else -x; so 0.0 gives -0.0, and a NaN comes back with its sign flipped. */
double dabs(double x);
/* 1 when |a - b| <= tolerance, else 0. */
int32_t feqi(int32_t a, int32_t b, int32_t tolerance);
/* Half away from zero. Values outside the 32-bit range saturate; not a number gives 0. */
int32_t roundd(double x);

/* ---- Profile files --------------------------------------------------------------------------------------------- */

/* Sections of key=value lines: "[Section]", "Key=value", ";" comments. Names match without regard to case. Lines are
 * read in pieces of kTolvaProfileLineBytes; a last line without a line end is not seen, and a rewrite drops it. */

/* The value of a key, over the default, without a terminator of its own: a value shorter than the default leaves the
 * default's tail. Without a key: the names of the section's keys, each with a zero behind it. Returns the value's or
 * the default's length; for names, the default's length and theirs, separators not counted. A section of null or "", or
 * a default of null, gives 0 and leaves the buffer alone. Never writes beyond `size` bytes. */
int32_t GetPrivateProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size,
                                const char* file);
int32_t GetProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size);
/* The default where the key is missing or empty; 0 where the value is no number. */
int32_t GetPrivateProfileInt(const char* section, const char* key, int32_t fallback, const char* file);
int32_t GetProfileInt(const char* section, const char* key, int32_t fallback);
/* Sets a key; without a value deletes it; without a key deletes the section. The file changes whole or not at all.
 * 1 = the new file stands, 0 = it does not, and the old one is as it was. A file that may be written and not read
 * counts as empty and loses the rest. */
int32_t WritePrivateProfileString(const char* section, const char* key, const char* value, const char* file);
int32_t WriteProfileString(const char* section, const char* key, const char* value);

/* A stream on the profile, as named or in the folder that "INIDIR" names, or 0. The path used replaces the name when
 * it is not the name and `size` is not 0: at most `size` bytes of it. */
TolvaHandle INIopen(char* name, int32_t size, int32_t mode);
/* 0, or what closing gives. */
int32_t INIclose(TolvaHandle stream);
/* Completes a profile's name (kTolvaProfilePathBytes of room) to the path it was found at: in the folder that "INIDIR"
 * names, then as given. An empty name becomes the module's base name with ".ini". Returns 0 when found, 1 when not. */
int32_t GetProfileDirectory(char* name, const char* module);

/* In place, each returning its text. Takes line ends, quotes and brackets out (but for `keep`), the comment and the
 * spaces at both ends. */
char* CleanProfileLine(char* text, uint32_t keep);
char* CutProfileComment(char* text);
/* All leading and trailing copies of the character; of double quotes at most one at each end. */
char* TrimProfileChar(char* text, char character);
/* Decimal, or hexadecimal behind "0x"; what follows the digits is passed over, 0 where there are none. Wraps. */
int32_t ParseProfileNumber(const char* text);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
