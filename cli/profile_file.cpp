// profile_file.cpp: looks through a profile before the library loads or rewrites it. Called by profile.cpp and by the
// setup command; changes nothing but a missing last line end.

#include "cli/profile_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/host.h"

namespace cli {
namespace {

constexpr mode_t kAnyoneWrites = 0222;
constexpr char kLineEnd = '\n';

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

// A line that nothing ends would be dropped. Behind a last CR the byte makes the line end whole.
ExitStatus endLastLine(const char* path) {
    const int file = open(path, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0) return refuseByErrno(path);
    const bool written = write(file, &kLineEnd, 1) == 1;
    if (close(file) != 0 || !written) return refuseByErrno(path);
    return kExitDone;
}

ExitStatus checkText(const char* path) {
    FileText text = {};
    if (!scanFile(path, text)) return refuseByErrno(path);
    if (text.hasNul) return refuseToWrite(path, "has NUL bytes, so it is no profile");
    if (text.longestLine >= kProfileLineBytes) {
        return refuseToWrite(path, "has a line of 256 characters or more, which would be torn apart");
    }
    return text.last == kLineEnd ? kExitDone : endLastLine(path);
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

ExitStatus readyForWriting(const char* path, std::string& absolute) {
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

}  // namespace cli
