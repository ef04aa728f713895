// profile_change.cpp: from a held profile to the copy that the library changes, and back. Called by the setup command.

#include "cli/settings/profile_change.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/output/descriptors.h"
#include "cli/output/system_calls.h"

namespace cli {
namespace {

constexpr mode_t kPermissions = 07777;
constexpr char kSiblingName[] = ".tolva-XXXXXX";
constexpr char kCopyName[] = "/tmp/tolva-XXXXXX";
constexpr char kLineEnd = '\n';

bool readFile(const std::string& path, std::string& text) {
    const int file = systemCalls.open(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    const bool whole = file >= 0 && readRest(file, text);
    if (file >= 0) systemCalls.close(file);
    return whole;
}

// ---- What may have changed ----

// As the library finds the lines that it sets.
bool isKey(const std::string& line, const std::string& key) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos) return false;
    const size_t end = std::min(equals, line.find(';'));
    const size_t start = std::min(line.find_first_not_of(' '), end);
    std::string name = line.substr(start, end - start);
    name.erase(name.find_last_not_of(' ') + 1);
    return strcasecmp(name.c_str(), key.c_str()) == 0;
}

bool beginsAsOneOf(const std::string& line, const std::vector<std::string>& beginnings) {
    for (const std::string& beginning : beginnings) {
        if (line.compare(0, beginning.size(), beginning) == 0) return true;
    }
    return false;
}

bool isNothingLost(const std::string& before, const std::string& after, const std::string& changed,
                   std::vector<std::string> added) {
    added.push_back(changed + '=');
    const std::vector<std::string> now = linesOf(after);
    size_t next = 0;  // of the new lines: those before it are accounted for
    for (const std::string& line : linesOf(before)) {
        size_t found = next;
        while (found < now.size() && now[found] != line && beginsAsOneOf(now[found], added)) ++found;
        if (found < now.size() && now[found] == line) {
            next = found + 1;
        } else if (!isKey(line, changed)) {
            return false;
        }
    }
    while (next < now.size() && beginsAsOneOf(now[next], added)) ++next;
    return next == now.size();
}

// ---- Taking its place ----

// In one step, where the folder takes another file and its owner may be given on.
bool renameOver(const HeldProfile& held, const std::string& text) {
    std::string sibling = held.path.substr(0, held.path.rfind('/') + 1) + kSiblingName;
    struct stat old = {};
    const int file = systemCalls.makeTemporary(sibling.data());
    if (file < 0) return false;
    const bool whole = systemCalls.lookInto(held.file, &old) == 0 && writeAll(file, text.data(), text.size()) &&
                       systemCalls.setOwner(file, old.st_uid, old.st_gid) == 0 &&
                       systemCalls.setMode(file, old.st_mode & kPermissions) == 0;
    const bool done =
        systemCalls.close(file) == 0 && whole && systemCalls.rename(AT_FDCWD, sibling.c_str(), held.path.c_str()) == 0;
    if (!done) systemCalls.remove(AT_FDCWD, sibling.c_str());
    return done;
}

bool fill(int file, const std::string& text) {
    return systemCalls.seek(file, 0, SEEK_SET) == 0 && writeAll(file, text.data(), text.size()) &&
           systemCalls.resize(file, static_cast<off_t>(text.size())) == 0;
}

// The room is taken before the first byte changes, so that a full disk changes none.
bool overwrite(const HeldProfile& held, const std::string& text) {
    errno = systemCalls.takeRoom(held.file, 0, static_cast<off_t>(text.size()));
    if (errno == 0 && fill(held.file, text)) return true;
    const int error = errno;
    if (!fill(held.file, held.before)) warn("%s: could not be put back as it was", held.shown.c_str());
    errno = error;
    return false;
}

}  // namespace

ProfileCopy::~ProfileCopy() {
    if (!path.empty()) systemCalls.remove(AT_FDCWD, path.c_str());
}

// In /tmp, where the library makes its temporary files too. An empty one has a line all the same: without any the
// library would end its own with CR LF.
ExitStatus copyProfile(const HeldProfile& held, ProfileCopy& copy) {
    const bool openEnd = held.before.empty() || held.before.back() != kLineEnd;
    const std::string text = held.before + (openEnd ? "\n" : "");
    copy.path = kCopyName;
    const int file = systemCalls.makeTemporary(copy.path.data());
    if (file < 0) copy.path.clear();
    const bool written = file >= 0 && writeAll(file, text.data(), text.size());
    const int error = errno;
    if (file >= 0) systemCalls.close(file);
    errno = error;
    return written ? kExitDone : refuseCopy(held);
}

// Behind a last CR the byte makes the line end whole.
bool endLastLine(const std::string& path) {
    if (!hasOpenEnd(path.c_str())) return true;
    const int file = systemCalls.open(AT_FDCWD, path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC, 0);
    if (file < 0) return false;
    const bool written = writeAll(file, &kLineEnd, 1);
    return systemCalls.close(file) == 0 && written;
}

ExitStatus refuseCopy(const HeldProfile& held) {
    const std::string why = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return refuseChange(held, "its copy could not be changed in /tmp" + why);
}

ExitStatus replaceProfile(HeldProfile& held, const std::string& copy, const std::string& changed,
                          const std::vector<std::string>& added) {
    std::string text;
    if (!readFile(copy, text)) return refuseCopy(held);
    if (held.before.empty()) text.erase(0, 1);
    if (!isNothingLost(held.before, text, changed, added)) {
        return refuseChange(held, "could not be read to be changed");
    }
    if (!renameOver(held, text) && !overwrite(held, text)) return refuseChange(held, std::strerror(errno));
    held.made = false;
    return kExitDone;
}

}  // namespace cli
