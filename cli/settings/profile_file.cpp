// profile_file.cpp: looks through a profile before the library loads or rewrites it, and holds it while it is changed.
// Called by profile.cpp and by the setup command.

#include "cli/settings/profile_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tolva/host.h>
#include "cli/terminal/progress.h"

namespace cli {
namespace {

constexpr mode_t kAnyoneWrites = 0222;
constexpr mode_t kFreshMode = 0666;
constexpr mode_t kPermissions = 07777;
constexpr char kSiblingName[] = ".tolva-XXXXXX";
constexpr char kCopyName[] = "/tmp/tolva-XXXXXX";
constexpr char kLineEnd = '\n';
constexpr char kLineEnds[] = "\r\n";

ExitStatus refuseToWrite(const std::string& path, const char* why) {
    return fail(kExitOutputFailed, "%s: %s; it is left as it is", path.c_str(), why);
}

ExitStatus refuseByErrno(const std::string& path) { return refuseToWrite(path, std::strerror(errno)); }

// From where the file stands to its end; false with errno.
bool readRest(int file, std::string& text) {
    char piece[4096];
    ssize_t got = 0;
    while ((got = read(file, piece, sizeof piece)) > 0) text.append(piece, static_cast<size_t>(got));
    return got == 0;
}

// Without the empty ones. Which bytes end them is the library's to change.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t start = 0, end = 0; (start = text.find_first_not_of(kLineEnds, end)) != std::string::npos;) {
        end = std::min(text.find_first_of(kLineEnds, start), text.size());
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

ExitStatus checkText(const char* path, const std::string& text) {
    if (text.find('\0') != std::string::npos) return refuseToWrite(path, "has NUL bytes, so it is no profile");
    for (const std::string& line : linesOf(text)) {
        if (line.size() < kTolvaProfileLineBytes) continue;
        return refuseToWrite(path, "has a line of 256 characters or more, which would be torn apart");
    }
    return kExitDone;
}

// As the library finds the lines that it sets: `key` is the name and the "=".
bool isKey(const std::string& line, const std::string& key) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos) return false;
    const size_t end = std::min(equals, line.find(';'));
    const size_t start = std::min(line.find_first_not_of(' '), end);
    std::string name = line.substr(start, end - start);
    name.erase(name.find_last_not_of(' ') + 1);
    return strcasecmp((name + "=").c_str(), key.c_str()) == 0;
}

// ---- Holding ----

bool makeAbsolute(const char* path, std::string& absolute) {
    char* const found = realpath(path, nullptr);
    if (found == nullptr) return false;
    absolute = found;
    std::free(found);
    return true;
}

// False with errno. A rewrite replaces the file, so who has waited for it looks again. What was made counts as made
// here once it is locked: somebody who came in between may have written it.
bool openLocked(const char* path, HeldProfile& held) {
    for (;; close(held.file)) {
        held.file = open(path, O_RDWR | O_CLOEXEC);
        const bool missing = held.file < 0 && errno == ENOENT;
        if (missing) held.file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, kFreshMode);
        struct stat mine = {};
        struct stat there = {};
        if (held.file < 0 || flock(held.file, LOCK_EX) != 0 || fstat(held.file, &mine) != 0) return false;
        if (stat(path, &there) != 0 && errno != ENOENT) return false;
        held.made = missing && mine.st_size == 0;
        if (mine.st_dev == there.st_dev && mine.st_ino == there.st_ino) return true;
    }
}

ExitStatus openHeld(const char* path, HeldProfile& held) {
    if (!openLocked(path, held)) {
        if (errno == EINTR && stopWished()) return fail(kExitStopped, "stopped");
        if (errno == ENOENT) return fail(kExitOutputFailed, "%s: cannot be made: %s", path, std::strerror(errno));
        return refuseByErrno(path);
    }
    if (!readRest(held.file, held.before) || !makeAbsolute(path, held.path)) return refuseByErrno(path);
    return checkText(path, held.before);
}

// ---- Changing ----

// False with errno, which a write that ends early has not.
bool writeAll(int file, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t some = pwrite(file, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (some < 0) return false;
        done += static_cast<size_t>(some);
    }
    return true;
}

// In one step, where the folder takes another file and its owner may be given on.
bool renameOver(const HeldProfile& held, const std::string& text) {
    std::string sibling = held.path.substr(0, held.path.rfind('/') + 1) + kSiblingName;
    struct stat old = {};
    const int file = mkstemp(sibling.data());
    if (file < 0) return false;
    const bool whole = fstat(held.file, &old) == 0 && writeAll(file, text) &&
                       fchown(file, old.st_uid, old.st_gid) == 0 && fchmod(file, old.st_mode & kPermissions) == 0;
    const bool done = close(file) == 0 && whole && rename(sibling.c_str(), held.path.c_str()) == 0;
    if (!done) unlink(sibling.c_str());
    return done;
}

// The room is taken before the first byte changes, so that a full disk changes none.
bool overwrite(const HeldProfile& held, const std::string& text) {
    const auto size = static_cast<off_t>(text.size());
    errno = posix_fallocate(held.file, 0, size);
    if (errno == 0 && writeAll(held.file, text) && ftruncate(held.file, size) == 0) return true;
    const int error = errno;
    const bool back =
        writeAll(held.file, held.before) && ftruncate(held.file, static_cast<off_t>(held.before.size())) == 0;
    if (!back) warn("%s: could not be put back as it was", held.path.c_str());
    errno = error;
    return false;
}

bool readFile(const std::string& path, std::string& text) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool whole = file >= 0 && readRest(file, text);
    if (file >= 0) close(file);
    return whole;
}

// Whether what stood there stands there still, but for lines that begin as one of `written`, the last of which is the
// key that was to change.
bool isNothingLost(const std::string& before, const std::string& after, std::initializer_list<std::string> written) {
    const auto isWritten = [&](const std::string& line) {
        return std::any_of(written.begin(), written.end(), [&](const std::string& w) { return line.rfind(w, 0) == 0; });
    };
    const std::vector<std::string> now = linesOf(after);
    auto next = now.begin();
    for (const std::string& line : linesOf(before)) {
        const auto found =
            std::find_if(next, now.end(), [&](const std::string& other) { return other == line || !isWritten(other); });
        if (found != now.end() && *found == line) {
            next = found + 1;
        } else if (!isKey(line, *(written.end() - 1))) {
            return false;
        }
    }
    return std::all_of(next, now.end(), isWritten);
}

}  // namespace

bool isPlainOrMissing(const char* path) {
    struct stat about = {};
    return stat(path, &about) != 0 || S_ISREG(about.st_mode) || S_ISDIR(about.st_mode);
}

const char* whyUnread(const char* path) {
    struct stat about = {};
    if (stat(path, &about) == 0 && S_ISDIR(about.st_mode)) return "is a folder";
    return access(path, R_OK) != 0 ? std::strerror(errno) : "cannot be read";
}

bool hasOpenEnd(const char* path) {
    char last = kLineEnd;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const off_t size = lseek(file, 0, SEEK_END);
    if (size > 0 && pread(file, &last, 1, size - 1) != 1) last = kLineEnd;
    close(file);
    return last != kLineEnd;
}

// Behind a last CR the byte makes the line end whole.
ExitStatus endLastLine(const std::string& path) {
    if (!hasOpenEnd(path.c_str())) return kExitDone;
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0) return refuseByErrno(path);
    const bool written = write(file, &kLineEnd, 1) == 1;
    if (close(file) != 0 || !written) return refuseByErrno(path);
    return kExitDone;
}

ExitStatus holdProfile(const char* path, HeldProfile& held) {
    held = HeldProfile{path, "", false, -1};
    struct stat about = {};
    if (stat(path, &about) == 0) {
        if (!S_ISREG(about.st_mode)) {
            return fail(kExitOutputFailed, "%s: %s", path, S_ISDIR(about.st_mode) ? "is a folder" : "is no plain file");
        }
        // Who may write everywhere may still have meant a file to stay as it is.
        if ((about.st_mode & kAnyoneWrites) == 0) return refuseToWrite(path, "is read-only");
    } else if (errno != ENOENT) {
        return refuseByErrno(path);
    }
    const ExitStatus status = openHeld(path, held);
    if (status != kExitDone) releaseProfile(held);
    return status;
}

// In /tmp, where the library makes its temporary files too. An empty one has a line all the same: without any the
// library would end its own with CR LF.
ExitStatus copyProfile(const HeldProfile& held, std::string& copy) {
    const bool openEnd = held.before.empty() || held.before.back() != kLineEnd;
    copy = kCopyName;
    const int file = mkstemp(copy.data());
    if (file < 0) copy.clear();
    const bool written = file >= 0 && writeAll(file, held.before + (openEnd ? "\n" : ""));
    const int error = errno;
    if (file >= 0) close(file);
    errno = error;
    return written ? kExitDone : refuseCopy(held.path);
}

ExitStatus refuseCopy(const std::string& path) {
    return fail(kExitOutputFailed, "%s: could not be changed: no temporary file in /tmp: %s; it is left as it is",
                path.c_str(), std::strerror(errno));
}

ExitStatus replaceProfile(HeldProfile& held, const std::string& copy, std::initializer_list<std::string> written) {
    std::string text;
    if (!readFile(copy, text)) return refuseByErrno(copy);
    if (held.before.empty()) text.erase(0, 1);
    if (!isNothingLost(held.before, text, written)) return refuseToWrite(held.path, "could not be read to be changed");
    if (!renameOver(held, text) && !overwrite(held, text)) return refuseByErrno(held.path);
    held.made = false;
    return kExitDone;
}

void releaseProfile(HeldProfile& held) {
    if (held.file < 0) return;
    if (held.made) unlink(held.path.c_str());
    close(held.file);
    held.file = -1;
}

}  // namespace cli
