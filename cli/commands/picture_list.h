// picture_list.h: many pictures, and where their GIFs go.
#ifndef TOLVA_CLI_COMMANDS_PICTURE_LIST_H
#define TOLVA_CLI_COMMANDS_PICTURE_LIST_H

#include <string>
#include <vector>

#include "cli/options/options.h"
#include "cli/terminal/messages.h"

namespace cli {

struct PictureList {
    std::string text;  // of the file that names them, in which `paths` point
    std::vector<const char*> paths;

    PictureList() = default;
    PictureList(const PictureList&) = delete;
    PictureList& operator=(const PictureList&) = delete;
};

// All of the command line and then all of the list, which is read whole. Refuses what has no name, and two that would
// get the same one.
ExitStatus listPictures(const Options& options, PictureList& list);
// In the folder, under the picture's name with .gif for its ending.
std::string gifPath(const char* folder, const char* picture);

}  // namespace cli

#endif
