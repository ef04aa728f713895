/** @file
 * Everything that a host includes. With TOLVA_TYPES_ONLY defined the headers declare types and constants
 * alone, for hosts that look the functions up (fltLoadPointers, dlsym) and have an `escape` or a `split` of their own.
 * Readable as C11 and as C++11. */
/** @mainpage
 * The public headers, for whoever writes a host. docs/protocol.md says when to call what.
 *
 * - driver.h: entries, opcodes and their blocks, error codes, the status record
 * - settings.h: the Setup block and its calls, how large a picture will be
 * - output.h: pictures in bands or handed over whole, the GIF writer, the LZW encoder
 * - quantize.h: from true colour to a palette, before the cells are sent
 * - raster.h: bitmaps, colours, depths, scaling
 * - stream.h: buffered streams over files, memory and a host's own I/O
 * - host.h: memory handles, byte strings, numbers, profile files
 *
 * What holds unless a call says otherwise:
 *
 * - **Ownership.** What goes in stays the caller's, and is not looked at once the call has returned. A handle that
 * comes back new is the caller's to free by GlobalFree.
 * - **Pointers and handles** are real, and not null; a handle of 0 means "none" and is allowed. Nothing is checked that
 *   the library cannot know.
 * - **Words.** Handles, pointers and host words are native words; plain numbers have the width that is declared. Blocks
 *   and records of hosts may stand at any address.
 * - **Memory** that cannot be had ends the process with a line on standard output; sizes that no block can have are an
 *   error. Quantizers answer instead.
 * - **Threads.** One at a time, for all but quantizers. */
#ifndef TOLVA_TOLVA_H
#define TOLVA_TOLVA_H

#include <tolva/driver.h>
#include <tolva/host.h>
#include <tolva/output.h>
#include <tolva/quantize.h>
#include <tolva/raster.h>
#include <tolva/settings.h>
#include <tolva/stream.h>

#endif
