// current.h: which Setup block a picture takes its settings from. Used by settings/ and output/.
#ifndef TOLVA_SETTINGS_CURRENT_H
#define TOLVA_SETTINGS_CURRENT_H

#include <tolva/settings.h>
#include "host/handle.h"

namespace tolva {

using Setup = TolvaSetup;

// The last block made; where there is none, the one that init locked; null without either.
Setup* currentSetup();

}  // namespace tolva

#endif
