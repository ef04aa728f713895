// profile_file.cpp: looks through a profile before the library loads or rewrites it, and holds it while it is changed.
// Called by profile.cpp and by the setup command.

#include "cli/profile_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/host.h"

namespace cli {
namespace {

constexpr mode_t kAnyoneWrites = 0222;
constexpr char kLineEnd = '\n';
constexpr int kMostAttempts = 200;
constexpr useconds_t kAttemptMicroseconds = 50'000;

struct FileText {
    bool hasNul;
    size_t longestLine;
    char last;  // kLineEnd where there is none
};

bool scanFile(const char* path, FileText& text) {
    text = FileText{false, 0, kLineEnd};
    std::FILE* const file = std::fopen(path, "rbe");
    if (file == nullptr) return false;
    size_t line = 0;
    for (int c = std::getc(file); c != EOF; c = std::getc(file)) {
        text.last = static_cast<char>(c);
        if (c == 0) text.hasNul = true;
        line = c == '\n' || c == '\r' ? 0 : line + 1;
        text.longestLine = std::max(text.longestLine, line);
    }
    const bool whole = std::ferror(file) == 0;
    std::fclose(file);
    return whole;
}

ExitStatus refuseToWrite(const char* path, const char* why) {
    return fail(kExitOutputFailed, "%s: %s; it is left as it is", path, why);
}

ExitStatus refuseByErrno(const char* path) { return refuseToWrite(path, std::strerror(errno)); }

ExitStatus checkText(const char* path) {
    FileText text = {};
    if (!scanFile(path, text)) return refuseByErrno(path);
    if (text.hasNul) return refuseToWrite(path, "has NUL bytes, so it is no profile");
    if (text.longestLine >= kProfileLineBytes) {
        return refuseToWrite(path, "has a line of 256 characters or more, which would be torn apart");
    }
    return kExitDone;
}

bool makeAbsolute(const std::string& path, std::string& absolute) {
    char* const found = realpath(path.c_str(), nullptr);
    if (found == nullptr) return false;
    absolute = found;
    std::free(found);
    return true;
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
    FileText text = {};
    return scanFile(path, text) && text.last != kLineEnd;
}

ExitStatus checkWritable(const char* path, std::string& absolute) {
    struct stat about = {};
    if (stat(path, &about) != 0) {
        if (errno != ENOENT) return refuseByErrno(path);
        const std::string name = path;
        const size_t slash = name.rfind('/');
        std::string folder;
        if (!makeAbsolute(slash == std::string::npos ? "." : name.substr(0, slash + 1), folder)) {
            return fail(kExitOutputFailed, "%s: cannot be made: %s", path, std::strerror(errno));
        }
        absolute = folder + "/" + name.substr(slash == std::string::npos ? 0 : slash + 1);
        return kExitDone;
    }
    if (!S_ISREG(about.st_mode)) {
        return fail(kExitOutputFailed, "%s: %s", path, S_ISDIR(about.st_mode) ? "is a folder" : "is no plain file");
    }
    // Who may write everywhere may still have meant a file to stay as it is.
    if ((about.st_mode & kAnyoneWrites) == 0) return refuseToWrite(path, "is read-only");
    if (access(path, W_OK) != 0 || !makeAbsolute(path, absolute)) return refuseByErrno(path);
    return checkText(path);
}

// Behind a last CR the byte makes the line end whole.
ExitStatus endLastLine(const std::string& path) {
    if (!hasOpenEnd(path.c_str())) return kExitDone;
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0) return refuseByErrno(path.c_str());
    const bool written = write(file, &kLineEnd, 1) == 1;
    if (close(file) != 0 || !written) return refuseByErrno(path.c_str());
    return kExitDone;
}

// The folder is locked, not the file, which a rewrite replaces.
ExitStatus holdProfile(const std::string& absolute, HeldProfile& held) {
    held = HeldProfile{absolute, "", access(absolute.c_str(), F_OK) == 0, -1};
    held.folder = open(absolute.substr(0, absolute.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int attempt = 0; held.folder >= 0 && flock(held.folder, LOCK_EX | LOCK_NB) != 0; ++attempt) {
        if (attempt == kMostAttempts) return refuseToWrite(absolute.c_str(), "is being changed by somebody else");
        usleep(kAttemptMicroseconds);
    }
    std::FILE* const file = std::fopen(absolute.c_str(), "rbe");
    held.existed = file != nullptr;
    if (file == nullptr) return errno == ENOENT ? kExitDone : refuseByErrno(absolute.c_str());
    for (int c = std::getc(file); c != EOF; c = std::getc(file)) held.before += static_cast<char>(c);
    const bool whole = std::ferror(file) == 0;
    std::fclose(file);
    return whole ? kExitDone : refuseByErrno(absolute.c_str());
}

// In place: what is put back is no longer than what stands there, so no room can be missing.
void releaseProfile(HeldProfile& held, bool done) {
    if (!done && !held.existed && !held.path.empty()) unlink(held.path.c_str());
    if (!done && held.existed) {
        const int file = open(held.path.c_str(), O_WRONLY | O_CLOEXEC);
        const ssize_t size = static_cast<ssize_t>(held.before.size());
        const bool whole =
            file >= 0 && pwrite(file, held.before.data(), held.before.size(), 0) == size && ftruncate(file, size) == 0;
        if (!whole) warn("%s: could not be put back as it was: %s", held.path.c_str(), std::strerror(errno));
        if (file >= 0) close(file);
    }
    if (held.folder >= 0) close(held.folder);
    held.folder = -1;
}

}  // namespace cli
