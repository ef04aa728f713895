// handle.h: the host services' own header, with the short name that the library has for its commonest type.
#ifndef TOLVA_HOST_HANDLE_H
#define TOLVA_HOST_HANDLE_H

#include <tolva/host.h>

namespace tolva {
using Handle = TolvaHandle;
}

#endif
