/** @file
 * What the floor under everything offers: movable memory handles, byte-string helpers, numeric helpers and
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

/** The address of a TolvaBlockHeader; 0 means no block. Native word: 4 bytes on a 32-bit build, 8 on a 64-bit one. */
typedef uintptr_t TolvaHandle;

/** Stands in front of every block's data, in the same allocation. Hosts read it through the calls below alone. */
typedef struct TolvaBlockHeader {
    uint32_t size;        /**< bytes asked for, not the rounded size */
    uint32_t flags;       /**< as given; stored only, never interpreted */
    uint32_t reserved;    /**< 0 */
    void* data;           /**< what GlobalLock hands out */
    uint8_t dataOffset;   /**< from the header's start to the data */
    uint8_t reserved2[3]; /**< 0 */
} TolvaBlockHeader;

enum {
    kTolvaMoveableZeroed = 66, /**< the flags every block of the filter is taken with: moveable, zero-filled */
    kTolvaBlockAlignment = 8   /**< where data starts, so that doubles in a block can be read directly */
};

enum {
    kTolvaProfilePathBytes = 144, /**< room for a profile's path, terminator included */
    kTolvaProfileLineBytes = 256, /**< a longer line counts as several */
    kTolvaProfileNumberBytes = 32 /**< of a value that is read as a number */
};

/** What CleanProfileLine leaves in the text. */
enum TolvaProfileKeep { kTolvaKeepBrackets = 1, kTolvaKeepQuotes = 4 };

#ifndef TOLVA_TYPES_ONLY

/** A zero-filled block of `size` bytes, whatever the flags say; the caller frees it by GlobalFree. Never returns 0:
 * when the memory is not there it prints a line to standard output and ends the process abnormally. */
TolvaHandle GlobalAlloc(uint32_t flags, uint32_t size);
/** The block's address, aligned to kTolvaBlockAlignment, the same at every call; null for 0. There is no lock count,
 * and a handle that is not 0 is not checked: it must be a living one. */
void* GlobalLock(TolvaHandle h);
/** Always 0: nothing is ever held. */
int32_t GlobalUnlock(TolvaHandle h);
/** Releases the block; 0 is ignored. Always 0. */
TolvaHandle GlobalFree(TolvaHandle h);
/** A new block of `size` bytes with the old one's first bytes, zeros behind them; the old handle is dead whatever
 * happens. For 0 what GlobalAlloc gives. */
TolvaHandle GlobalReAlloc(TolvaHandle h, uint32_t size, uint32_t flags);
/** The handle of an address that GlobalLock gave for a GlobalAlloc handle; 0 for null. Any other address reads memory
 * that is no block's. */
TolvaHandle GlobalHandle(const void* data);
/** The bytes asked for; 0 for 0. */
uint32_t GlobalSize(TolvaHandle h);
/** A handle that describes `size` bytes of the caller's; freeing it releases the description only. GlobalHandle does
 * not find it. Out of memory it ends the process as GlobalAlloc does. */
TolvaHandle GlobalPointerToHandle(void* data, uint32_t size);
/** The argument, or 65536 for 0. */
uint32_t GlobalCompact(uint32_t bytes);

/* ---- Byte strings ---------------------------------------------------------------------------------------------- */

/** @name Byte strings
 * Zero-terminated and never null. Upper and lower case are those of the process's locale, byte by byte. */
/**@{*/
char* strupr(char* text);   /**< to upper case in place; returns the text */
char* strlower(char* text); /**< to lower case in place; returns the text */
char* strlwr(char* text);   /**< the same */
/** upper(b) - upper(a) at the first difference, 0 without one: the reverse of the usual sign, kept because hosts rely
 * on it. */
int stricmp(const char* a, const char* b);
/** The same over exactly n bytes; does not stop at a terminating zero. */
int strnicmp(const char* a, const char* b, int32_t n);
/** The part up to the last backslash, or if there is none up to the last "/", separator included; empty without one.
 * Returns the destination, which must hold as much as the path has; they may be the same. */
char* s_getpath(char* destination, const char* path);
/** What stands behind that separator (without any, behind the last ":"), up to its last ".". Returns the destination,
 * which must hold the path; they may be the same. */
char* s_getname(char* destination, const char* path);
/**@}*/

/* ---- Numbers --------------------------------------------------------------------------------------------------- */

/** x when x > 0, else -x; so 0.0 gives -0.0, and a NaN comes back with its sign flipped. */
double dabs(double x);
/** 1 when |a - b| <= tolerance, else 0. The difference wraps at 32 bits. */
int32_t feqi(int32_t a, int32_t b, int32_t tolerance);
/** Half away from zero. Values outside the 32-bit range saturate; not a number gives 0. */
int32_t roundd(double x);

/* ---- Profile files --------------------------------------------------------------------------------------------- */

/* Sections of key=value lines: "[Section]", "Key=value", ";" comments. Names match without regard to case. Lines are
 * read in pieces of kTolvaProfileLineBytes; a last line without a line end is not seen, and a rewrite drops it. A file
 * is looked for as it is named, then in the folder that the environment variable "INIDIR" names; folders, pipes,
 * devices and the names "stdin" and "stdout" are no profiles. */

/** The value of a key, over the default, without a terminator of its own: a value shorter than the default leaves the
 * default's tail. Without a key (null): the names of the section's keys, each with a zero behind it.
 *
 * @param section  its name, brackets optional; null or "" gives 0 and leaves the buffer alone
 * @param key      null for the names
 * @param fallback the default, which stands where the key, the section or the file is missing; null gives 0
 * @param buffer   zeroed first; null where only a length is asked for
 * @param size     bytes of the buffer; nothing is written beyond them
 * @param file     the profile
 * @return the value's length, at most `size`, or the default's, which may be more; for names, the default's length and
 *         theirs, separators not counted */
int32_t GetPrivateProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size,
                                const char* file);
/** The same from the profile "ZUN.INI". */
int32_t GetProfileString(const char* section, const char* key, const char* fallback, char* buffer, int32_t size);
/** A key's value as ParseProfileNumber reads its first kTolvaProfileNumberBytes. The default where the key is missing
 * or empty; 0 where the value is no number. */
int32_t GetPrivateProfileInt(const char* section, const char* key, int32_t fallback, const char* file);
/** The same from the profile "ZUN.INI". */
int32_t GetProfileInt(const char* section, const char* key, int32_t fallback);
/** Sets a key; without a value (null) deletes it; without a key deletes the section. A file that is not there is made,
 * as it is named. The file changes whole or not at all; only where its folder takes no new file is it rewritten in
 * place, after room for all of it was had, and put back where that fails. 1 = the new file stands, 0 = it does not, and
 * the old one is as it was. A file that may be written and not read counts as empty and loses the rest. */
int32_t WritePrivateProfileString(const char* section, const char* key, const char* value, const char* file);
/** The same in the profile "ZUN.INI". */
int32_t WriteProfileString(const char* section, const char* key, const char* value);

/** A stream on the profile, as named or in the folder that "INIDIR" names, or 0; the caller closes it by INIclose. The
 * path used replaces the name when it is not the name and `size` is not 0: at most `size` bytes of it, so that one that
 * fills them has no terminator. `mode` is a TolvaStreamMode. */
TolvaHandle INIopen(char* name, int32_t size, int32_t mode);
/** 0, or what closing gives. 0 is ignored. */
int32_t INIclose(TolvaHandle stream);
/** Completes a profile's name (kTolvaProfilePathBytes of room) to the path it was found at: in the folder that "INIDIR"
 * names, then as given. An empty name becomes the module's base name with ".ini". Returns 0 when found, 1 when not;
 * a path that does not fit is not found. */
int32_t GetProfileDirectory(char* name, const char* module);

/** @name Lines of a profile
 * In place, each returning its text: zero-terminated, never null. */
/**@{*/
/** Takes line ends, quotes and brackets out (but for `keep`, a mask of TolvaProfileKeep), the comment and the spaces at
 * both ends. */
char* CleanProfileLine(char* text, uint32_t keep);
char* CutProfileComment(char* text); /**< from the first ";" on, inside quotes too */
/** All leading and trailing copies of the character; of double quotes at most one at each end. */
char* TrimProfileChar(char* text, char character);
/**@}*/
/** Decimal, or hexadecimal behind "0x"; what follows the digits is passed over, 0 where there are none (a sign is
 * none). Wraps at 32 bits. */
int32_t ParseProfileNumber(const char* text);

#endif

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
