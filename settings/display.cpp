// display.cpp: size and resolution of the screen and the printer, as the host set them or the user's environment says.

#include <cctype>
#include <cstdlib>

#include "host/numbers.h"
#include "settings/current.h"

namespace {

struct Device {
    double width;  // pixels
    double height;
    int16_t xDpi;
    int16_t yDpi;
};

constexpr char kDisplayVariable[] = "DISPLAYINFO";
constexpr double kDefaultDisplayWidth = 1280.0;
constexpr double kDefaultDisplayHeight = 1078.0;

Device display;
Device printer;

int32_t takeNumber(const char** text) {
    const int32_t value = tolva::saturated(std::strtol(*text, nullptr, 10));
    moveptr(text);
    return value;
}

}  // namespace

void SetDisplayInfo(double width, double height, int16_t xDpi, int16_t yDpi) { display = {width, height, xDpi, yDpi}; }

void SetPrinterInfo(double width, double height, int16_t xDpi, int16_t yDpi) { printer = {width, height, xDpi, yDpi}; }

int32_t GetDisplayInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi) {
    double pixelsAcross = kDefaultDisplayWidth;
    double pixelsDown = kDefaultDisplayHeight;
    int32_t x = kTolvaDefaultResolution;
    int32_t y = kTolvaDefaultResolution;
    const char* text = std::getenv(kDisplayVariable);
    if (text != nullptr && text[0] != '\0') {
        pixelsAcross = takeNumber(&text);
        pixelsDown = takeNumber(&text);
        x = takeNumber(&text);
        y = takeNumber(&text);
    } else {
        if (display.width != 0.0) pixelsAcross = display.width;
        if (display.height != 0.0) pixelsDown = display.height;
        if (display.xDpi != 0) x = display.xDpi;
        if (display.yDpi != 0) y = display.yDpi;
    }
    // A resolution of 0 gives what floating division gives.
    if (width != nullptr) *width = pixelsAcross / static_cast<double>(x);
    if (height != nullptr) *height = pixelsDown / static_cast<double>(y);
    if (xDpi != nullptr) *xDpi = tolva::low16(x);
    if (yDpi != nullptr) *yDpi = tolva::low16(y);
    return 0;
}

int32_t GetPrinterInfo(double* width, double* height, int16_t* xDpi, int16_t* yDpi) {
    if (width != nullptr) *width = printer.width;
    if (height != nullptr) *height = printer.height;
    if (xDpi != nullptr) *xDpi = printer.xDpi;
    if (yDpi != nullptr) *yDpi = printer.yDpi;
    return 0;
}

int32_t GetDisplayColorInfo(uintptr_t) { return 0; }

void moveptr(const char** text) {
    const char* p = *text;
    while (std::isdigit(static_cast<unsigned char>(*p)) != 0) ++p;
    if (*p != '\0') ++p;
    *text = p;
}
