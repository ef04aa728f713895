// help.cpp: what --help prints.

#include <cstdio>

#include "cli/options/options.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "Usage: tolva [OPTION]... PICTURE -o FILE\n"
    "       tolva [OPTION]... info PICTURE\n"
    "       tolva [OPTION]... setup show | set KEY VALUE | path\n"
    "Writes PICTURE as a GIF. PICTURE is a PNM, PNG or JPEG file, told by its content; - is standard\n"
    "input. Of several pictures in it the first is taken. More than 256 colours are reduced to 256.\n"
    "\n"
    "  -o, --output FILE       the GIF; - is standard output, unless that is a terminal\n"
    "  -f, --force             overwrite FILE, but never PICTURE itself\n"
    "      --interlace         write the rows in four passes, coarse to fine\n"
    "      --transparent COLOUR\n"
    "                          the colour nearest to this, after --tone, becomes this and\n"
    "                          transparent\n"
    "      --background COLOUR the GIF's background colour, and what half-transparent\n"
    "                          colours are laid over (white)\n"
    "      --tone TONE         normal, invert, invert-greys, grey or invert-grey\n"
    "      --dither 2|16       black and white, or 16 colours, by error diffusion\n"
    "      --fit WxH           fit into a box of pixels; the aspect is kept\n"
    "      --size WxH          fit into a box of inches, 0.03125 to 22\n"
    "      --resolution DPI    dots per inch for --size, 32 to 400 (the profile's, or 96)\n"
    "      --road ROAD         how the picture goes to the library: cells (one call writes it),\n"
    "                          bracket (collected piece by piece) or export (without a device);\n"
    "                          the last two round odd heights up\n"
    "      --max-pixels N      refuse larger pictures and larger GIFs, and a JPEG whose scans add up\n"
    "                          to more than 20 times as much (200000000)\n"
    "      --profile FILE      settings to start from, under the options above (libtolva.ini in\n"
    "                          the folder that INIDIR names, or in the current one)\n"
    "      --section NAME      its section (the one that ~Mode in [TOLVA] names)\n"
    "      --no-profile        start from the defaults\n"
    "      --library PATH      the library to load; otherwise the one beside this program,\n"
    "                          in ../lib, or where the system finds it\n"
    "  -q, --quiet             print errors only\n"
    "  -v, --verbose           tell what is done\n"
    "  -h, --help              print this\n"
    "  -V, --version           print the versions of program and library\n"
    "\n"
    "COLOUR is RRGGBB or RGB in hexadecimal digits, with or without a # in front, black or white.\n"
    "\n"
    "info PICTURE tells how many pixels the GIF will have; with --json as one object. A picture of\n"
    "that name, or named setup, is exported as ./info.\n"
    "\n"
    "setup show prints the settings in force, setup path where they stand, setup set changes one:\n"
    "  colour-mode             a TONE as above\n"
    "  size-mode               picture, saved (width and height count) or screen\n"
    "  width, height           inches, 0.03125 to 22\n"
    "  resolution-mode         picture, saved (the two below count) or screen\n"
    "  x-resolution, y-resolution\n"
    "                          dots per inch, 32 to 400\n"
    "\n"
    "Exit status: 0 done, 1 export failed, 2 wrong usage, 3 picture or profile refused, 4 GIF or\n"
    "profile not written, 5 stopped by the user.\n";

}  // namespace

ExitStatus printHelp() {
    std::fputs(kHelp, stdout);
    return flushOutput();
}

}  // namespace cli
