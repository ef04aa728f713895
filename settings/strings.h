// strings.h: the texts of the string table for those who need them whole. Used by settings/ alone.
#ifndef TOLVA_SETTINGS_STRINGS_H
#define TOLVA_SETTINGS_STRINGS_H

#include "settings/current.h"

namespace tolva {

// The row's text; that of the fallback for an unknown identifier.
const TolvaStringRow& stringRow(uint32_t id);

inline const char* profileKey(TolvaStringId id) { return stringRow(id).text; }

}  // namespace tolva

#endif
