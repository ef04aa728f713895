// output_file.cpp: the target, its temporary file, and the taking of its place. Called by main, in the order in which
// output_file.h declares. Works with folder descriptors, so that paths may be as long as the system takes them.

#include "cli/output/output_file.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/output/descriptors.h"
#include "cli/output/system_calls.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

constexpr int kMostLinks = 40;
constexpr size_t kLongestLink = 4096;
constexpr mode_t kPermissions = 0777;
constexpr mode_t kFreshMode = 0666;
constexpr mode_t kTemporaryMode = 0600;
constexpr mode_t kGroupRights = 0070;
constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
constexpr gid_t kSameGroup = static_cast<gid_t>(-1);
constexpr int kMostAttempts = 100;
constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL};

// ---- The one cleaning up that a crash of the library leaves to do ----

volatile sig_atomic_t crashFolder = -1;
char ownName[kTemporaryNameBytes];
char* crashName = ownName;

// The handler went away when it ran; the signal, raised again, ends the process as it would have on return from here.
extern "C" void removeOnCrash(int signal) {
    if (crashFolder >= 0) unlinkat(crashFolder, crashName, 0);
    raise(signal);
}

// A process that runs out of memory in the library ends by such a signal. Handlers of others, a sanitizer's say, stay.
void removeTemporaryOnCrash(const OutputFile& output) {
    std::snprintf(crashName, kTemporaryNameBytes, "%s", output.temporaryName.c_str());
    crashFolder = output.folder;
    struct sigaction action = {};
    action.sa_handler = removeOnCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : kCrashSignals) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
    }
}

// ---- Where the path leads ----

ExitStatus failWithErrno(const OutputFile& output, const char* what) {
    if (errno == EINTR && stopRequested()) return kExitStopped;
    return fail(kExitOutputFailed, "%s: %s%s", output.shown, what, std::strerror(errno));
}

// One step: the folder of `path`, taken from the folder before, and the name in it.
bool enterFolder(OutputFile& output, const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folderPath = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    output.name = slash == std::string::npos ? path : path.substr(slash + 1);
    const int entered = systemCalls.open(output.folder, folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
    const int error = errno;
    if (output.folder >= 0) systemCalls.close(output.folder);
    output.folder = entered;
    errno = error;
    return entered >= 0;
}

bool followLinks(OutputFile& output, const char* path) {
    std::string next = path;
    for (int i = 0; i < kMostLinks; ++i) {
        if (!enterFolder(output, next)) return false;
        char link[kLongestLink];
        const ssize_t length = systemCalls.readLink(output.folder, output.name.c_str(), link, sizeof link);
        if (length < 0) return true;
        next.assign(link, static_cast<size_t>(length));
    }
    errno = ELOOP;
    return false;
}

mode_t freshMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return kFreshMode & ~mask;
}

// A pipe or a device is written to under the name that was given: what a link under /proc leads to may have no other.
bool isStreamed(const char* path) {
    struct stat about = {};
    return systemCalls.lookAt(AT_FDCWD, path, &about, 0) == 0 && !S_ISREG(about.st_mode) && !S_ISDIR(about.st_mode);
}

ExitStatus locateFile(OutputFile& output) {
    if (!followLinks(output, output.shown)) return failWithErrno(output, "");
    struct stat about = {};
    struct stat meant = {};
    const bool exists = systemCalls.lookAt(output.folder, output.name.c_str(), &about, AT_SYMLINK_NOFOLLOW) == 0;
    if (!exists && errno != ENOENT) return failWithErrno(output, "");
    // Links under /proc lead to files that have been deleted, too, and then have no name to replace.
    if (!exists && systemCalls.lookAt(AT_FDCWD, output.shown, &meant, 0) == 0) {
        return fail(kExitOutputFailed, "%s: is a file that has been deleted", output.shown);
    }
    if (output.name.empty() || (exists && !S_ISREG(about.st_mode))) {
        return fail(kExitOutputFailed, "%s: is a folder", output.shown);
    }
    if (exists && !output.overwrite) {
        return fail(kExitOutputFailed, "%s: exists already; -f overwrites it", output.shown);
    }
    output.mode = exists ? about.st_mode & kPermissions : freshMode();
    output.owner = exists ? about.st_uid : kSameOwner;
    output.group = exists ? about.st_gid : kSameGroup;
    return kExitDone;
}

// The library may print to standard output: from here on that is standard error, so that nothing mixes into the GIF.
ExitStatus takeStandardOutput(OutputFile& output) {
    output.shown = "standard output";
    output.streamed = true;
    output.standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (output.standardOutput < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return failWithErrno(output, "");
    return kExitDone;
}

// ---- The temporary file ----

// Beside the target, so that the rename stays within one file system.
int createBeside(OutputFile& output) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        output.temporaryName = ".tolva-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
        const int file = systemCalls.open(output.folder, output.temporaryName.c_str(),
                                          O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kTemporaryMode);
        if (file >= 0 || errno != EEXIST) return file;
    }
    return -1;
}

// Signals that crash wait from the making of the file until it is known what they leave to remove.
bool makeTemporary(OutputFile& output) {
    sigset_t crashes, before;
    sigemptyset(&crashes);
    for (const int signal : kCrashSignals) sigaddset(&crashes, signal);
    sigprocmask(SIG_BLOCK, &crashes, &before);
    output.temporary = createBeside(output);
    const int error = errno;
    if (output.temporary >= 0) removeTemporaryOnCrash(output);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return output.temporary >= 0;
}

// ---- Taking its place ----

// Owner and group stay where they may be given on. Rights that another group had are not this one's.
mode_t keepOwner(const OutputFile& output) {
    if (systemCalls.setOwner(output.temporary, output.owner, output.group) == 0) return output.mode;
    return systemCalls.setOwner(output.temporary, kSameOwner, output.group) == 0 ? output.mode
                                                                                 : output.mode & ~kGroupRights;
}

ExitStatus renameOverTarget(OutputFile& output) {
    if (systemCalls.setMode(output.temporary, keepOwner(output)) != 0) return failWithErrno(output, "");
    const char* const from = output.temporaryName.c_str();
    const char* const to = output.name.c_str();
    // Without -f a file that came up in the meantime is not harmed either, where the file system can tell.
    int result = output.overwrite ? -1 : systemCalls.renameToNew(output.folder, from, to);
    if (output.overwrite || (result != 0 && (errno == EINVAL || errno == ENOSYS))) {
        result = systemCalls.rename(output.folder, from, to);
    }
    if (result != 0) return failWithErrno(output, "");
    output.temporaryName.clear();
    crashFolder = -1;
    return kExitDone;
}

ExitStatus sendTo(const OutputFile& output, int target) {
    const HostFile& gif = output.hostFile;
    return writeAll(target, gif.bytes, static_cast<size_t>(gif.size)) ? kExitDone : failWithErrno(output, "");
}

ExitStatus streamToTarget(OutputFile& output) {
    if (output.standardOutput >= 0) return sendTo(output, output.standardOutput);
    const int target = systemCalls.open(AT_FDCWD, output.shown, O_WRONLY | O_CLOEXEC | O_NOCTTY, 0);
    if (target < 0) return failWithErrno(output, "");
    const ExitStatus status = sendTo(output, target);
    if (systemCalls.close(target) != 0 && status == kExitDone) return failWithErrno(output, "");
    return status;
}

bool isGif(OutputFile& output) {
    if (!output.streamed) return summariseGif(output.temporary, output.summary);
    return summariseGif(output.hostFile.bytes, output.hostFile.size, output.summary);
}

// With errno where the file could not be read.
ExitStatus reportBroken(const OutputFile& output) {
    if (errno != 0) return failWithErrno(output, "could not be read back: ");
    if (output.hostFile.spoolError == 0) {
        return fail(kExitOutputFailed, "%s: what was written is no whole GIF; it is not kept", output.shown);
    }
    return fail(kExitOutputFailed, "%s: the rows could not be put in order: no temporary file in /tmp: %s",
                output.shown, std::strerror(output.hostFile.spoolError));
}

}  // namespace

ExitStatus locateOutput(OutputFile& output, const char* path, bool overwrite) {
    output.shown = path;
    output.overwrite = overwrite;
    if (std::strcmp(path, "-") == 0) return takeStandardOutput(output);
    output.streamed = isStreamed(path);
    return output.streamed ? kExitDone : locateFile(output);
}

void keepTemporaryName(char* place) { crashName = place; }

ExitStatus openOutput(OutputFile& output, bool throughHost) {
    output.throughHost = throughHost || output.streamed;
    if (output.streamed) return kExitDone;
    if (!makeTemporary(output)) {
        output.temporaryName.clear();
        return failWithErrno(output, "a temporary file cannot be made: ");
    }
    // The driver's names are short: a file in the current folder has one whatever path leads there.
    if (!throughHost) output.libraryName = output.temporaryName;
    const bool ready =
        throughHost ? putOnDisk(output.hostFile, output.temporary) : systemCalls.enter(output.folder) == 0;
    return ready ? kExitDone : failWithErrno(output, "");
}

ExitStatus placeOutput(OutputFile& output) {
    if (output.hostFile.error != 0) {
        errno = output.hostFile.error;
        return failWithErrno(output, "");
    }
    if (stopRequested()) return kExitStopped;
    errno = 0;
    if (!isGif(output)) return reportBroken(output);
    if (const ExitStatus failed = output.streamed ? streamToTarget(output) : renameOverTarget(output)) return failed;
    note("%s: %u x %u pixels, %lld bytes", output.shown, output.summary.width, output.summary.height,
         static_cast<long long>(output.summary.bytes));
    return kExitDone;
}

OutputFile::~OutputFile() {
    crashFolder = -1;
    if (!temporaryName.empty()) systemCalls.remove(folder, temporaryName.c_str());
    for (const int file : {temporary, folder, standardOutput}) {
        if (file >= 0) systemCalls.close(file);
    }
}

}  // namespace cli
