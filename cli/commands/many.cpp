// many.cpp: picture after picture, in a process each, so that a crash or a lack of memory costs one picture. Called by
// main. The library and the settings are loaded once; each child has them as they were before it.

#include "cli/commands/commands.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/commands/export.h"
#include "cli/commands/json_line.h"
#include "cli/commands/picture_list.h"
#include "cli/terminal/bar.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

struct Batch {
    const Options& options;
    PictureList list;
    Library library;
    Settings settings;
    ExportRecord* record;  // of the picture at hand; its process writes to it, and what it knew when it crashed stays
    bool printsObjects;
    size_t written;
    size_t skipped;
    size_t failed;
    ExitStatus worst;
};

// ---- One picture ----

[[noreturn]] void exportInChild(const Batch& batch, const char* picture, const std::string& gif) {
    dup2(STDERR_FILENO, STDOUT_FILENO);  // the library may print, and objects stand there
    startBar(false);
    setSubject(picture);
    keepTemporaryName(batch.record->temporaryName);
    Options options = batch.options;
    options.picture = picture;
    options.output = gif.c_str();
    _exit(exportOne(options, batch.library, batch.settings, *batch.record));
}

// It could not remove its temporary file itself.
void removeTemporary(const Batch& batch) {
    ExportRecord& record = *batch.record;
    record.temporaryName[sizeof record.temporaryName - 1] = '\0';
    if (record.temporaryName[0] == '\0' || std::strchr(record.temporaryName, '/') != nullptr) return;
    unlink((std::string(batch.options.folder) + '/' + record.temporaryName).c_str());
}

ExitStatus judge(const Batch& batch, const char* picture, int ended) {
    batch.record->error[sizeof batch.record->error - 1] = '\0';
    if (WIFSIGNALED(ended)) {
        removeTemporary(batch);
        return fail(kExitExportFailed, "%s: its process ended by signal %d (%s)", picture, WTERMSIG(ended),
                    strsignal(WTERMSIG(ended)));
    }
    const auto status = static_cast<ExitStatus>(WEXITSTATUS(ended));
    if (status == kExitStopped && !stopRequested()) return fail(kExitExportFailed, "%s: was stopped", picture);
    if (status <= kExitStopped && (status == kExitDone || status == kExitStopped || batch.record->error[0] != '\0')) {
        return status;
    }
    return fail(kExitExportFailed, "%s: its process ended with %d", picture, static_cast<int>(status));
}

ExitStatus exportApart(const Batch& batch, const char* picture, const std::string& gif) {
    const pid_t child = fork();
    if (child < 0) return fail(kExitExportFailed, "%s: there is no process for it: %s", picture, std::strerror(errno));
    if (child == 0) exportInChild(batch, picture, gif);
    return judge(batch, picture, waitForChild(child));
}

// A file gets this name when it is whole; the machine may have gone down before its bytes were on the disk.
bool standsAlready(const std::string& gif, GifSummary& summary) {
    struct stat about = {};
    if (stat(gif.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return false;
    const int file = open(gif.c_str(), O_RDONLY | O_CLOEXEC);
    const bool stands = file >= 0 && summariseGif(file, summary);
    if (file >= 0) close(file);
    return stands;
}

// ---- What is told ----

struct Outcome {
    const char* word;
    ExitStatus status;
    int64_t milliseconds;
};

// Numbers that are not known are left out, and so are all where no GIF came of it but those of the picture.
void printObject(Batch& batch, const char* picture, const std::string& gif, const Outcome& outcome) {
    if (!batch.printsObjects) return;
    const ExportRecord& record = *batch.record;
    Json object = pictureObject(picture);
    object["gif"] = gif;
    object["result"] = outcome.word;
    object["status"] = static_cast<int>(outcome.status);
    if (record.width != 0) {
        object["pictureWidth"] = record.width;
        object["pictureHeight"] = record.height;
        if (record.colours != 0) object["colours"] = countedColours(record.colours);
    }
    if (outcome.status == kExitDone) {
        object["width"] = record.gif.width;
        object["height"] = record.gif.height;
        if (record.gifColours != 0) object["gifColours"] = record.gifColours;
        object["bytes"] = record.gif.bytes;
    }
    object["milliseconds"] = outcome.milliseconds;
    object["error"] = outcome.status == kExitDone ? Json() : Json(record.error);
    const ExitStatus failed = printLine(object);
    batch.printsObjects = failed == kExitDone;  // it is said once, and the GIFs are made all the same
    batch.worst = std::max(batch.worst, failed);
}

void showProgress(const Batch& batch) {
    const std::string failed = batch.failed == 0 ? "" : ", " + std::to_string(batch.failed) + " failed";
    showCount(batch.written + batch.skipped + batch.failed, batch.list.paths.size(), failed.c_str());
}

void sayWhatCame(const Batch& batch) {
    const size_t whole = batch.list.paths.size();
    std::string text;
    const auto add = [&text](size_t count, const char* what) {
        if (count != 0) text += ", " + std::to_string(count) + what;
    };
    add(batch.skipped, " already there");
    add(batch.failed, " failed");
    add(whole - batch.written - batch.skipped - batch.failed, " left to do");
    warn("%zu of %zu pictures written%s", batch.written, whole, text.c_str());
}

// ---- All of them ----

void exportNext(Batch& batch, const char* listed) {
    const std::string name = listed;  // children do not have the list
    const char* const picture = name.c_str();
    const std::string gif = gifPath(batch.options.folder, picture);
    const Clock::time_point start = Clock::now();
    *batch.record = ExportRecord{};
    const bool skips = batch.options.skipExisting && standsAlready(gif, batch.record->gif);
    const ExitStatus status = skips ? kExitDone : exportApart(batch, picture, gif);
    if (status == kExitStopped) return;
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    const char* const word = skips ? "skipped" : status == kExitDone ? "written" : "failed";
    ++(skips ? batch.skipped : status == kExitDone ? batch.written : batch.failed);
    batch.worst = std::max(batch.worst, status);
    printObject(batch, picture, gif, {word, status, time.count()});
}

ExitStatus checkFolder(const char* folder) {
    struct stat about = {};
    if (stat(folder, &about) != 0) return fail(kExitOutputFailed, "%s: %s", folder, std::strerror(errno));
    if (!S_ISDIR(about.st_mode)) return fail(kExitOutputFailed, "%s: is no folder", folder);
    if (access(folder, W_OK | X_OK) != 0) return fail(kExitOutputFailed, "%s: %s", folder, std::strerror(errno));
    return kExitDone;
}

ExitStatus shareRecord(Batch& batch) {
    void* const memory = mmap(nullptr, sizeof *batch.record, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return fail(kExitExportFailed, "no memory: %s", std::strerror(errno));
    batch.record = static_cast<ExportRecord*>(memory);
    keepFailures(batch.record->error, sizeof batch.record->error);
    return kExitDone;
}

// Where a million are named, entering its pages anew would cost each child more than a small picture does.
void keepFromChildren(const PictureList& list) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto keep = [page](const void* bytes, size_t count) {
        const auto start = (reinterpret_cast<uintptr_t>(bytes) + page - 1) / page * page;
        const auto end = (reinterpret_cast<uintptr_t>(bytes) + count) / page * page;
        if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_DONTFORK);
    };
    keep(list.text.data(), list.text.size());
    keep(list.paths.data(), list.paths.size() * sizeof(char*));
}

}  // namespace

ExitStatus exportMany(const Options& options, const char* programWord) {
    Batch batch = {.options = options,
                   .list = {},
                   .library = {},
                   .settings = {},
                   .record = nullptr,
                   .printsObjects = options.json,
                   .written = 0,
                   .skipped = 0,
                   .failed = 0,
                   .worst = kExitDone};
    if (const ExitStatus failed = checkFolder(options.folder)) return failed;
    if (const ExitStatus failed = listPictures(options, batch.list)) return failed;
    if (const ExitStatus failed = startExports(options, programWord, batch.library, batch.settings)) return failed;
    if (const ExitStatus failed = shareRecord(batch)) return failed;
    keepFromChildren(batch.list);
    std::signal(SIGCHLD, SIG_DFL);  // ignored, as a process may find it, children could not be waited for
    for (const char* const picture : batch.list.paths) {
        showProgress(batch);
        if (stopRequested()) break;
        exportNext(batch, picture);
    }
    clearBar();
    sayWhatCame(batch);
    return stopRequested() ? kExitStopped : batch.worst;
}

}  // namespace cli
