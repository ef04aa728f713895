// profile_write.cpp: setting and deleting keys and sections. The new text is written to a temporary file first; the
// profile then changes whole or not at all, so that nothing is lost on a full disk or in a closed folder.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tolva/stream.h>
#include "host/handle.h"
#include "host/profile.h"
#include "host/system_calls.h"

using namespace tolva;

namespace {

constexpr char kSiblingPattern[] = ".tolva-XXXXXX";
constexpr size_t kRandomLetters = 6;
constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz012345";  // a byte's remainder chooses one
constexpr int kMostNames = 100;
constexpr mode_t kPermissions = 07777;
constexpr mode_t kFreshMode = 0666;
constexpr int32_t kPieceBytes = 4096;

struct Rewrite {
    Handle old;    // 0: there is no old file
    Handle fresh;  // the temporary file
    const char* section;
    const char* key;    // null: the section goes
    const char* value;  // null: the key goes
    bool found;         // the section was met
    bool changed;       // the new text differs
};

bool failed(Handle stream) { return stream != 0 && static_cast<StreamRecord*>(GlobalLock(stream))->error != 0; }

// ---- The new text ----

void writeText(const Rewrite& r, const char* text) { zunWrite(r.fresh, text, static_cast<int32_t>(std::strlen(text))); }

void endLine(const Rewrite& r) { zunWriteLine(r.fresh, "", 0); }

void copyLine(const Rewrite& r, const ProfileLine& line) { zunWriteLine(r.fresh, line.text, line.length); }

void writeKey(const Rewrite& r) {
    writeText(r, r.key);
    writeText(r, "=");
    writeText(r, r.value);
    endLine(r);
}

// Blank lines and comments are no keys, not even the empty one.
bool isKey(const Rewrite& r, const ProfileLine& line) {
    ProfileLine cut = line;
    char* const equals = std::strchr(cut.text, '=');
    if (equals == nullptr || cut.text[std::strspn(cut.text, " ")] == ';') return false;
    *equals = '\0';
    return stricmp(TrimProfileChar(CutProfileComment(cut.text), ' '), r.key) == 0;
}

// The three requests, from the section's header on. `line` comes back with the header that ended the section, or with
// the end of the file.

void copyWithKey(Rewrite& r, ProfileLine& line) {
    copyLine(r, line);
    bool set = false;
    while (readLine(r.old, line) && !isHeader(line)) {
        if (isKey(r, line)) {
            writeKey(r);
            set = true;
        } else {
            copyLine(r, line);
        }
    }
    if (!set) writeKey(r);
    r.changed = true;
}

// The header waits for the first line that stays: a section left empty goes with its last key.
void copyWithoutKey(Rewrite& r, ProfileLine& line) {
    const ProfileLine header = line;
    bool headerWritten = false;
    while (readLine(r.old, line) && !isHeader(line)) {
        if (isKey(r, line)) {
            r.changed = true;
            continue;
        }
        if (!headerWritten) copyLine(r, header);
        headerWritten = true;
        copyLine(r, line);
    }
}

void skipSection(Rewrite& r, ProfileLine& line) {
    while (readLine(r.old, line) && !isHeader(line)) continue;
    r.changed = true;
}

void rewriteSection(Rewrite& r, ProfileLine& line) {
    r.found = true;
    if (r.key == nullptr) return skipSection(r, line);
    return r.value == nullptr ? copyWithoutKey(r, line) : copyWithKey(r, line);
}

void rewriteLines(Rewrite& r) {
    for (ProfileLine line; readLine(r.old, line);) {
        if (isHeaderOf(line, r.section)) rewriteSection(r, line);
        if (line.length < 0) break;
        // Kept: the header that ended the section is copied unseen, a repeat of the section included; the reader passes
        // over that one too, so hosts read what they have changed.
        copyLine(r, line);
    }
    if (r.found || r.key == nullptr || r.value == nullptr) return;
    endLine(r);
    writeText(r, "[");
    writeText(r, r.section);
    writeText(r, "]");
    endLine(r);
    writeKey(r);
    r.changed = true;
}

// The new file has the old one's line end. Kept: an old file without any gets CR LF as a new one does, because other
// programs that share the profile look for it.
void takeLineEnd(const Rewrite& r) {
    if (r.old != 0) zunSetLineFormat(r.fresh, static_cast<uint16_t>(zunGetLineFormat(r.old)));
}

// True when the temporary file holds the whole new text. Closes both streams.
bool rewriteWhole(Rewrite& r) {
    if (r.fresh != 0) {
        takeLineEnd(r);
        rewriteLines(r);
    }
    const bool whole = !failed(r.old) && !failed(r.fresh);
    INIclose(r.old);
    return r.fresh != 0 && zunClose(r.fresh) == 0 && whole;
}

// ---- The change of files ----

// The pattern becomes the name of a new file with the usual permissions. mkstemp would give it the owner's alone, and
// what the process's mask leaves of the usual ones can be learnt only by changing that mask under the host's threads.
int makeFresh(char* pattern) {
    char* const letters = pattern + std::strlen(pattern) - kRandomLetters;
    for (int name = 0; name < kMostNames; ++name) {
        uint8_t random[kRandomLetters];
        if (getentropy(random, sizeof random) != 0) return -1;
        for (size_t i = 0; i < kRandomLetters; ++i) letters[i] = kLetters[random[i] % (sizeof kLetters - 1)];
        const int file = systemCalls.openFile(pattern, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFreshMode);
        if (file != -1 || errno != EEXIST) return file;
    }
    return -1;
}

// Beside the file, under a short name of its own, so that the rename stays within one file system.
char* siblingOf(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    const size_t folder = slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - path);
    char* const sibling = static_cast<char*>(zunPtrGlobalAlloc(static_cast<uint32_t>(folder + sizeof kSiblingPattern)));
    std::memcpy(sibling, path, folder);
    std::memcpy(sibling + folder, kSiblingPattern, sizeof kSiblingPattern);
    return sibling;
}

bool overwrite(int target, int source, off_t size) {
    char piece[kPieceBytes];
    for (off_t at = 0; at < size;) {
        const ssize_t got = systemCalls.readAt(source, piece, sizeof piece, at);
        if (got <= 0 || systemCalls.writeAt(target, piece, static_cast<size_t>(got), at) != got) return false;
        at += got;
    }
    return systemCalls.resize(target, size) == 0;
}

bool copyWhole(const char* from, int target) {
    const int source = systemCalls.openFile(from, O_RDONLY | O_CLOEXEC, 0);
    struct stat about;
    const bool whole =
        source != -1 && systemCalls.lookInto(source, &about) == 0 && overwrite(target, source, about.st_size);
    if (source != -1) systemCalls.closeFile(source);
    return whole;
}

// Takes the place of the file in one step, with its owner and permissions; a fresh file gets the usual ones. Where the
// owner cannot be given on, the file is not taken from him.
bool renameSiblingOver(const char* text, const char* path, const struct stat* old) {
    char* const sibling = siblingOf(path);
    const int file = old == nullptr ? makeFresh(sibling) : systemCalls.makeTemporary(sibling);
    bool done = file != -1;
    if (done) {
        done =
            copyWhole(text, file) && (old == nullptr || (systemCalls.setOwner(file, old->st_uid, old->st_gid) == 0 &&
                                                         systemCalls.setMode(file, old->st_mode & kPermissions) == 0));
        done = systemCalls.closeFile(file) == 0 && done && systemCalls.rename(sibling, path) == 0;
        if (!done) systemCalls.remove(sibling);
    }
    zunPtrGlobalFree(sibling);
    return done;
}

// A file without a name, which goes when it is closed.
int makeNameless() {
    char name[kTolvaProfilePathBytes];
    if (ZUNGetTempFileName(0, "", 0, name) == 0) return -1;
    const int file = systemCalls.openFile(name, O_RDWR | O_CLOEXEC, 0);
    systemCalls.remove(name);
    return file;
}

// The room for the whole text, holes of the old file's included.
bool takeRoom(int file, const char* text) {
    struct stat about;
    if (systemCalls.lookAt(text, &about) != 0) return false;
    return about.st_size == 0 || systemCalls.takeRoom(file, 0, about.st_size) == 0;
}

// The room is taken before the first byte changes, so that a full disk changes none; what fails later is undone, from
// a copy in `kept` (-1: there is nothing to keep).
bool overwriteOrUndo(const char* text, int target, int kept, off_t held) {
    if (kept != -1 && !overwrite(kept, target, held)) return false;
    const bool hasRoom = takeRoom(target, text);
    if (hasRoom && copyWhole(text, target) && systemCalls.sync(target) == 0) return true;
    systemCalls.resize(target, held);
    if (hasRoom && kept != -1) overwrite(target, kept, held);
    return false;
}

// For a folder that takes no sibling, and for an owner who keeps his file. One that may not be read counts as empty, so
// nothing of it is kept.
bool rewriteInPlace(const char* text, const char* path, off_t held) {
    int target = systemCalls.openFile(path, O_RDWR | O_CLOEXEC, 0);
    const bool keeps = target != -1 || errno != EACCES;
    if (!keeps) target = systemCalls.openFile(path, O_WRONLY | O_CLOEXEC, 0);
    const int kept = keeps && target != -1 ? makeNameless() : -1;
    const bool done = target != -1 && (kept != -1 || !keeps) && overwriteOrUndo(text, target, kept, held);
    for (const int file : {target, kept}) {
        if (file != -1) systemCalls.closeFile(file);
    }
    return done;
}

bool isLink(const char* path) {
    struct stat about;
    return lstat(path, &about) == 0 && S_ISLNK(about.st_mode);
}

// What a link leads to and is not there yet, so that it can be found, and replaced as any other file is.
bool makeEmpty(const char* path, struct stat* about) {
    const int file = systemCalls.openFile(path, O_WRONLY | O_CREAT | O_CLOEXEC, kFreshMode);
    if (file == -1) return false;
    systemCalls.closeFile(file);
    return systemCalls.lookAt(path, about) == 0;
}

bool replaceFile(const char* text, const char* path, const struct stat* old) {
    return renameSiblingOver(text, path, old) || (old != nullptr && rewriteInPlace(text, path, old->st_size));
}

// Links are followed: the file changes, not the link. A file that may not be written stays. One that has no path, as
// under /proc/self/fd, is written where it is.
bool replaceProfile(const char* text, const char* path) {
    struct stat about = {};
    const bool exists = systemCalls.lookAt(path, &about) == 0;
    if (!exists && errno != ENOENT) return false;
    if (!mayBeProfile(path) || (exists && access(path, W_OK) != 0)) return false;
    const bool throughLink = !exists && isLink(path);
    const bool made = throughLink && makeEmpty(path, &about);
    const struct stat* const old = exists || made ? &about : nullptr;
    char* const resolved = realpath(path, nullptr);
    const bool done = throughLink && !made  ? false
                      : resolved != nullptr ? replaceFile(text, resolved, old)
                      : old != nullptr      ? rewriteInPlace(text, path, old->st_size)
                                            : replaceFile(text, path, nullptr);
    if (throughLink && !done && resolved != nullptr && about.st_size == 0) systemCalls.remove(resolved);
    std::free(resolved);
    return done;
}

}  // namespace

int32_t WritePrivateProfileString(const char* section, const char* key, const char* value, const char* file) {
    char text[kTolvaProfilePathBytes];
    if (section == nullptr || file == nullptr || file[0] == '\0') return 0;
    if (ZUNGetTempFileName(0, "", 0, text) == 0) return 0;
    char* path = nullptr;
    char* const name = copySectionName(section);
    Rewrite r = {.old = openProfile(file, kTolvaReadFile, &path),
                 .fresh = zunOpen(text, nullptr, kTolvaCreateAndWrite),
                 .section = name,
                 .key = key,
                 .value = value,
                 .found = false,
                 .changed = false};
    const bool existed = r.old != 0;
    // One that may be read and was not just now keeps what it has.
    const bool whole = rewriteWhole(r) && (existed || !mayReadProfile(file));
    // What is not there to be deleted leaves the file as it is.
    const bool done = whole && (r.changed ? replaceProfile(text, existed ? path : file) : existed);
    systemCalls.remove(text);
    zunPtrGlobalFree(name);
    zunPtrGlobalFree(path);
    return done ? 1 : 0;
}

int32_t WriteProfileString(const char* section, const char* key, const char* value) {
    return WritePrivateProfileString(section, key, value, kDefaultProfile);
}
