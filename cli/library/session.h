// session.h: one picture through the library, on the way that the user chose.
#ifndef TOLVA_CLI_LIBRARY_SESSION_H
#define TOLVA_CLI_LIBRARY_SESSION_H

#include <optional>

#include "cli/library/library.h"
#include "cli/library/way.h"
#include "cli/picture/read.h"
#include "cli/terminal/messages.h"

namespace cli {

struct HostFile;

struct ExportOrder {
    Way way;
    TolvaHandle setup;  // size and resolution in it count, unless the picture has its size already
    const Picture* picture;
    bool sizeReached;
    bool interlace;
    TolvaConversionMode tone;  // that the library has to apply
    std::optional<Colour> transparent;
    std::optional<Colour> background;
    const char* fileName;  // shorter than the driver's 144 bytes
    HostFile* hostFile;    // takes the GIF where it is not null: the file name is then no more than a name
};

// kExitDone says that no call reported a failure; the caller checks whether a whole GIF stands in the file.
ExitStatus runSession(const Library& library, const ExportOrder& order);

}  // namespace cli

#endif
