// profile.h: what the files of the profile code share. Used by host/profile*.cpp alone.
#ifndef TOLVA_HOST_PROFILE_H
#define TOLVA_HOST_PROFILE_H

#include "host/handle.h"

namespace tolva {

inline constexpr char kDefaultProfile[] = "ZUN.INI";
inline constexpr char kHeaderStart = '[';

// A copy of a zero-terminated text in a block of its own, freed with zunPtrGlobalFree.
char* copyText(const char* text);
// A copy of a section's name as headers are compared with it.
char* copySectionName(const char* section);
// A path in a block of its own: `folder` + "/" (unless it ends in one) + `name`.
char* joinPath(const char* folder, const char* name);

// False for what is there and no regular file, and for the names of the standard streams.
bool mayBeProfile(const char* path);
// A stream on the profile, as named or in the folder of the environment, and the path it was opened at (null without a
// stream; freed with zunPtrGlobalFree).
Handle openProfile(const char* name, int32_t mode, char** path);
// Whether there is one where that looks, and its permissions let it be read.
bool mayReadProfile(const char* name);

// One piece of a profile: a line, or kTolvaProfileLineBytes of a longer one.
struct ProfileLine {
    char text[kTolvaProfileLineBytes + 1];  // terminated, also behind a whole piece
    int32_t length;                         // -1 at the end of the file
};

// False at the end. A last line without a line end counts as the end.
bool readLine(Handle stream, ProfileLine& line);
inline bool isHeader(const ProfileLine& line) { return line.text[0] == kHeaderStart; }
// `name` as copySectionName gives it.
bool isHeaderOf(const ProfileLine& line, const char* name);

}  // namespace tolva

#endif
