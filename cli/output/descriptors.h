// descriptors.h: all that a descriptor has, or is to have.
#ifndef TOLVA_CLI_OUTPUT_DESCRIPTORS_H
#define TOLVA_CLI_OUTPUT_DESCRIPTORS_H

#include <cstddef>
#include <string>

namespace cli {

// From where it stands to its end. False with errno, here and below.
bool readRest(int file, std::string& text);
// Goes on after a signal, unless that is the request to stop.
bool writeAll(int file, const void* bytes, size_t count);

}  // namespace cli

#endif
