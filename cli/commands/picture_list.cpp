// picture_list.cpp: reads the names of many pictures and refuses them all where one cannot be meant. Called by
// exportMany before anything is written. A million names take their own bytes twice, and 24 bytes more each.

#include "cli/commands/picture_list.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "cli/output/descriptors.h"
#include "cli/picture/read.h"
#include "cli/terminal/stop.h"

namespace cli {
namespace {

// ---- Reading ----

ExitStatus readNames(const char* path, std::string& text) {
    const int file = isStandard(path) ? STDIN_FILENO : open(path, O_RDONLY | O_CLOEXEC);
    const bool whole = file >= 0 && readRest(file, text);
    const int error = errno;
    if (file > STDIN_FILENO) close(file);
    if (whole) return kExitDone;
    if (stopRequested()) return kExitStopped;
    return fail(kExitInputRefused, "%s: %s", inputName(path), std::strerror(error));
}

// Every name is ended in its place. Empty ones are none: lists have such lines.
void splitNames(PictureList& list, char end) {
    std::string& text = list.text;
    const size_t most = static_cast<size_t>(std::count(text.begin(), text.end(), end)) + 1;
    list.paths.reserve(list.paths.size() + most);
    for (size_t at = 0; at < text.size();) {
        const size_t length = std::min(text.find(end, at), text.size()) - at;
        if (length > 0) list.paths.push_back(text.data() + at);
        at += length;
        if (at < text.size()) text[at++] = '\0';
    }
}

ExitStatus addNamed(const Options& options, PictureList& list) {
    if (const ExitStatus failed = readNames(options.namesFile, list.text)) return failed;
    const bool hasZeros = list.text.find('\0') != std::string::npos;
    if (hasZeros && !options.namesEndInZero) {
        return fail(kExitInputRefused, "%s: has zero bytes; with --null they end the names",
                    inputName(options.namesFile));
    }
    const size_t before = list.paths.size();
    splitNames(list, options.namesEndInZero ? '\0' : '\n');
    if (list.paths.size() > before) return kExitDone;
    return fail(kExitInputRefused, "%s: names no picture", inputName(options.namesFile));
}

// ---- The names of the GIFs ----

std::string_view stemOf(const char* picture) {
    std::string_view name = picture;
    while (name.size() > 1 && name.back() == '/') name.remove_suffix(1);
    name.remove_prefix(name.rfind('/') + 1);
    const size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
}

struct Named {
    size_t hash;  // of the GIF's name: most comparisons end here
    const char* path;
};

bool comesBefore(const Named& a, const Named& b) {
    if (a.hash != b.hash) return a.hash < b.hash;
    return stemOf(a.path) < stemOf(b.path);
}

ExitStatus refuseSameNames(const Options& options, const PictureList& list) {
    std::vector<Named> named;
    named.reserve(list.paths.size());
    for (const char* const path : list.paths) named.push_back({std::hash<std::string_view>()(stemOf(path)), path});
    std::sort(named.begin(), named.end(), comesBefore);
    for (size_t i = 1; i < named.size(); ++i) {
        const char* const one = named[i - 1].path;
        const char* const other = named[i].path;
        if (comesBefore(named[i - 1], named[i])) continue;
        if (std::strcmp(one, other) == 0) {
            return fail(kExitWrongUsage, "%s: is named twice; nothing is written", one);
        }
        return fail(kExitWrongUsage, "%s and %s would both become %s; nothing is written", one, other,
                    gifPath(options.folder, one).c_str());
    }
    return kExitDone;
}

}  // namespace

ExitStatus listPictures(const Options& options, PictureList& list) {
    list.paths.assign(options.pictures, options.pictures + options.pictureCount);
    if (options.namesFile != nullptr) {
        if (const ExitStatus failed = addNamed(options, list)) return failed;
    }
    if (std::any_of(list.paths.begin(), list.paths.end(), isStandard)) {
        return fail(kExitWrongUsage, "-: standard input has no name that a GIF could get (./- is a file)");
    }
    return refuseSameNames(options, list);
}

std::string gifPath(const char* folder, const char* picture) {
    std::string path = folder;
    if (!path.ends_with('/')) path += '/';
    path += stemOf(picture);
    return path + ".gif";
}

}  // namespace cli
