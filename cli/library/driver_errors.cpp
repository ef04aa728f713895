// driver_errors.cpp: called by every way to the file, with what its calls answered.

#include "cli/library/driver_errors.h"

#include <algorithm>
#include <iterator>

#include <tolva/driver.h>
#include "cli/terminal/bar.h"

namespace cli {
namespace {

struct DriverError {
    int32_t code;
    ExitStatus status;
    const char* meaning;
};

// clang-format off
constexpr DriverError kDriverErrors[] = {
    {kTolvaNoWorkBuffer,  kExitExportFailed, "a work buffer could not be had"},
    {kTolvaNoSettings,    kExitExportFailed, "the settings block is missing"},
    {kTolvaNoPicture,     kExitExportFailed, "no picture could be obtained"},
    {kTolvaExportFailed,  kExitExportFailed, "memory could not be had, or the export could not run"},
    {kTolvaStreamFailed,  kExitOutputFailed, "the output could not be opened, written or closed"},
    {kTolvaStoppedByHost, kExitStopped,      "stopped"},
};
// clang-format on
constexpr DriverError kUnknownError = {0, kExitExportFailed, "a code without a meaning here"};

}  // namespace

ExitStatus reportDriver(const char* step, int32_t code) {
    if (code == kTolvaNoError) return kExitDone;
    const auto hasCode = [code](const DriverError& e) { return e.code == code; };
    const DriverError* const found = std::find_if(std::begin(kDriverErrors), std::end(kDriverErrors), hasCode);
    const DriverError& error = found == std::end(kDriverErrors) ? kUnknownError : *found;
    clearBar();
    if (error.status == kExitStopped) return kExitStopped;
    return fail(error.status, "%s: driver error %d: %s", step, code, error.meaning);
}

}  // namespace cli
