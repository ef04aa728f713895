/** @file
 * Everything that a host includes. With TOLVA_TYPES_ONLY defined the headers declare types and constants
 * alone, for hosts that look the functions up (fltLoadPointers, dlsym) and have an `escape` or a `split` of their own.
 * Readable as C11 and as C++11. */
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
