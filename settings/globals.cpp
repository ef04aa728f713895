// globals.cpp: the exported data of the settings, and which Setup block is in force. Hosts read and write these by
// name.

#include "settings/current.h"

#include "settings/one_call.h"

using namespace tolva;

static_assert(sizeof(Setup) == kTolvaSetupBytes);
static_assert(offsetof(Setup, reserve) == kTolvaSetupNamedBytes && sizeof(TolvaExportState) <= kTolvaSetupReserve);
static_assert(offsetof(Setup, driverName) == 4 * kTolvaSettingsNameBytes);
static_assert(sizeof(void*) != 8 || offsetof(Setup, width) == 656);
static_assert(sizeof(void*) != 4 || offsetof(Setup, yResolution) == 634);

namespace {
char moduleName[] = "tolva";
}

Handle hSetup = 0;
Setup* lpSetup = nullptr;
Handle hRaster = 0;
Setup* lpRaster = nullptr;
char* szFilter = moduleName;
char export_szDLLName[kTolvaModuleNameBytes] = {};

namespace tolva {

bool callUnderWay = false;

Setup* currentSetup() { return lpRaster != nullptr ? lpRaster : lpSetup; }

}  // namespace tolva
