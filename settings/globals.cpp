// globals.cpp: the exported data of the settings, and which Setup block is in force. Hosts read and write these by
// name.

#include "settings/settings.h"

#include "settings/current.h"
#include "settings/one_call.h"

static_assert(sizeof(Setup) == kSetupBytes);
static_assert(offsetof(Setup, reserve) == kSetupNamedBytes && sizeof(ExportState) <= kSetupReserve);
static_assert(offsetof(Setup, driverName) == 4 * kSettingsNameBytes);
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
char export_szDLLName[kModuleNameBytes] = {};

namespace tolva {

bool callUnderWay = false;

Setup* currentSetup() { return lpRaster != nullptr ? lpRaster : lpSetup; }

}  // namespace tolva
