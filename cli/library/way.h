// way.h: the library's ways from a picture to a GIF.
#ifndef TOLVA_CLI_LIBRARY_WAY_H
#define TOLVA_CLI_LIBRARY_WAY_H

namespace cli {

enum class Way {
    kCells,    // one cell array, which the device writes at once
    kBracket,  // cell arrays between the opening and the closing primitive, collected by the device
    kExport    // ExportCellData, without a device
};

// The library rounds heights up on its other two ways.
constexpr bool makesHeightsEven(Way way) { return way != Way::kCells; }

}  // namespace cli

#endif
