// profile_file.cpp: looks through a profile before the library loads or rewrites it, and holds it while it is changed.
// Called by profile.cpp and by the setup command.

#include "cli/settings/profile_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tolva/host.h>
#include "cli/output/descriptors.h"
#include "cli/output/system_calls.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr mode_t kAnyoneWrites = 0222;
constexpr mode_t kFreshMode = 0666;
constexpr char kLineEnd = '\n';
constexpr char kLineEnds[] = "\r\n";
constexpr int kMostLinks = 40;
constexpr int kMostTries = 100;
constexpr useconds_t kBetweenTries = 100000;  // microseconds: in all 10 seconds

int lookAt(const char* path, struct stat& about) { return systemCalls.lookAt(AT_FDCWD, path, &about, 0); }

ExitStatus checkText(const HeldProfile& held) {
    if (held.before.find('\0') != std::string::npos) return refuseChange(held, "has NUL bytes, so it is no profile");
    for (const std::string& line : linesOf(held.before)) {
        if (line.size() < kTolvaProfileLineBytes) continue;
        return refuseChange(held, "has a line of 256 characters or more, which would be torn apart");
    }
    return kExitDone;
}

bool makeAbsolute(std::string& path) {
    char* const found = realpath(path.c_str(), nullptr);
    if (found == nullptr) return false;
    path = found;
    std::free(found);
    return true;
}

// Links are followed here, also those that lead to nothing: what is made is then certainly made by this process.
bool makeEmpty(HeldProfile& held) {
    std::filesystem::path path = held.shown;
    std::error_code failure;
    for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(path, failure); ++i) {
        path = path.parent_path() / std::filesystem::read_symlink(path, failure);
    }
    held.file = systemCalls.open(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFreshMode);
    if (held.file < 0) return false;
    held.made = true;
    held.path = path;
    return makeAbsolute(held.path);
}

bool openOrMake(HeldProfile& held) {
    held.made = false;
    held.path = held.shown;
    held.file = systemCalls.open(AT_FDCWD, held.shown.c_str(), O_RDWR | O_CLOEXEC, 0);
    return held.file >= 0 || (errno == ENOENT && makeEmpty(held));
}

// False with errno: EWOULDBLOCK where somebody else keeps it to the end.
bool lock(const HeldProfile& held, int& tries) {
    while (systemCalls.lock(held.file, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || tries == kMostTries) return false;
        if (tries++ == 0) warn("%s: waits for somebody else to have changed it", held.shown.c_str());
        systemCalls.sleep(kBetweenTries);
        if (stopRequested()) {
            errno = EINTR;
            return false;
        }
    }
    return true;
}

bool isWhatStandsThere(const HeldProfile& held, bool& empty) {
    struct stat mine = {};
    struct stat there = {};
    if (systemCalls.lookInto(held.file, &mine) != 0 || lookAt(held.path.c_str(), there) != 0) return false;
    empty = mine.st_size == 0;
    errno = ENOENT;
    return mine.st_dev == there.st_dev && mine.st_ino == there.st_ino;
}

// False with errno. A rewrite replaces the file, so who has waited for it looks again.
bool openLocked(HeldProfile& held) {
    for (int tries = 0;; systemCalls.close(held.file)) {
        if (!openOrMake(held)) {
            if (errno != EEXIST || tries++ == kMostTries) return false;
            continue;  // somebody else has made it just now
        }
        bool empty = false;
        if (!lock(held, tries)) return false;
        const bool same = isWhatStandsThere(held, empty);
        if (!same && errno != ENOENT) return false;
        held.made = held.made && empty;  // somebody who came in between may have written it
        if (same) return true;
    }
}

ExitStatus openHeld(HeldProfile& held) {
    if (openLocked(held) && makeAbsolute(held.path) && readRest(held.file, held.before)) return checkText(held);
    if (errno == EINTR && stopRequested()) return kExitStopped;
    return refuseChange(held, errno == EWOULDBLOCK ? "is being changed by somebody else" : std::strerror(errno));
}

}  // namespace

bool isPlainOrMissing(const char* path) {
    struct stat about = {};
    return lookAt(path, about) != 0 || S_ISREG(about.st_mode) || S_ISDIR(about.st_mode);
}

const char* whyUnread(const char* path) {
    struct stat about = {};
    if (lookAt(path, about) == 0 && S_ISDIR(about.st_mode)) return "is a folder";
    return access(path, R_OK) != 0 ? std::strerror(errno) : "cannot be read";
}

bool hasOpenEnd(const char* path) {
    char last = kLineEnd;
    const int file = systemCalls.open(AT_FDCWD, path, O_RDONLY | O_CLOEXEC, 0);
    if (file < 0) return false;
    const off_t size = systemCalls.seek(file, 0, SEEK_END);
    if (size > 0 && systemCalls.readAt(file, &last, 1, size - 1) != 1) last = kLineEnd;
    systemCalls.close(file);
    return last != kLineEnd;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t start = 0, end = 0; (start = text.find_first_not_of(kLineEnds, end)) != std::string::npos;) {
        end = std::min(text.find_first_of(kLineEnds, start), text.size());
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

ExitStatus holdProfile(const std::string& path, HeldProfile& held) {
    held.shown = path;
    struct stat about = {};
    if (lookAt(path.c_str(), about) == 0) {
        if (!S_ISREG(about.st_mode)) {
            return fail(kExitOutputFailed, "%s: %s", path.c_str(),
                        S_ISDIR(about.st_mode) ? "is a folder" : "is no plain file");
        }
        // Who may write everywhere may still have meant a file to stay as it is.
        if ((about.st_mode & kAnyoneWrites) == 0) return refuseChange(held, "is read-only");
    } else if (errno != ENOENT) {
        return refuseChange(held, std::strerror(errno));
    }
    return openHeld(held);
}

ExitStatus refuseChange(const HeldProfile& held, const std::string& why) {
    const bool stays = !held.made && access(held.shown.c_str(), F_OK) == 0;
    return fail(kExitOutputFailed, "%s: %s%s%s", held.shown.c_str(), stays ? "" : "cannot be made: ", why.c_str(),
                stays ? "; it is left as it is" : "");
}

HeldProfile::~HeldProfile() {
    if (file < 0) return;
    bool empty = false;
    if (made && isWhatStandsThere(*this, empty) && empty) systemCalls.remove(AT_FDCWD, path.c_str());
    systemCalls.close(file);
}

}  // namespace cli
