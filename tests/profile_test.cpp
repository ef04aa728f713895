// Profile files, against a definition in strings; files that cannot be changed; settings from profiles and the escape.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

#include "support.h"

namespace {

using Lines = std::vector<std::string>;

Lines linesOf(const std::string& file) {
    Lines lines(1);
    for (size_t i = 0; i < file.size(); ++i) {
        if (lines.back().size() == 256) lines.emplace_back();
        if (file[i] != '\r' && file[i] != '\n') {
            lines.back() += file[i];
        } else if (file[i] == '\n' || i + 1 < file.size()) {
            i += file.compare(i, 2, "\r\n") == 0;
            lines.emplace_back();
        }
    }
    if (lines.back().size() < 256) lines.pop_back();
    return lines;
}

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

std::string cleaned(const std::string& line, bool all) {
    std::string text;
    for (size_t i = 0; i < line.size() && line[i] != '\0' && line[i] != ';'; ++i) {
        const bool pair = line.compare(i, 2, "\"\"") == 0;
        if (!all || pair || !std::strchr("\"[]", line[i])) text += line[i];
        if (all && pair) ++i;
    }
    return trimmed(text);
}

bool same(const std::string& a, const std::string& b) { return stricmp(a.c_str(), b.c_str()) == 0; }
bool isHead(const std::string& line) { return line[0] == '['; }
bool isHead(const std::string& line, const std::string& name) {
    return isHead(line) && same(cleaned(line, true), name);
}

struct Profile {
    std::string file;
    int count = 0;
    std::string buffer;
};

// Behind a header; answers where the search for headers goes on, the end when it is over.
size_t scan(Profile& p, const Lines& lines, size_t at, const char* key, size_t& position) {
    const size_t size = p.buffer.size();
    for (; at < lines.size() && !isHead(lines[at]); ++at) {
        const std::string line = cleaned(lines[at], false);
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = line.substr(0, equals);
        const int length = static_cast<int>(equals);
        if (key == nullptr) {
            if (position + length + 1 < size) {
                p.buffer.replace(position, length + 2, name + std::string(2, '\0'));
                position += length + 1;
                p.count += length;
            } else if (position < size) {
                p.buffer = (p.buffer.substr(0, position) + name).substr(0, std::max<size_t>(size, 2) - 2);
                p.buffer.resize(size);
                position = size;
                p.count = static_cast<int>(size) - 1;
                return at + 1;
            } else {
                p.count = std::max(p.count, 1) + 1 + length;
            }
        } else if (same(name, key)) {
            std::string value = line.substr(equals + 1);
            if (!value.empty() && value.front() == '"') value.erase(0, 1);
            if (!value.empty() && value.back() == '"') value.pop_back();
            value.resize(std::min(value.size(), size));
            p.buffer.replace(0, value.size(), value);
            p.count = static_cast<int>(value.size());
            return lines.size();
        }
    }
    return at + 1;
}

void look(Profile& p, const char* section, const char* key, const std::string& fallback, int size) {
    p.buffer = fallback.substr(0, size);
    p.buffer.resize(size);
    p.count = static_cast<int>(fallback.size());
    const Lines lines = linesOf(p.file);
    const std::string name = cleaned(section, true);
    for (size_t at = 0, position = 0; at < lines.size() && !name.empty();) {
        at = isHead(lines[at], name) ? scan(p, lines, at + 1, key, position) : at + 1;
    }
}

void change(Profile& p, const char* section, const char* key, const char* value) {
    const std::string name = cleaned(section, true);
    const std::string pair = key != nullptr && value != nullptr ? std::string(key) + "=" + value : "";
    Lines out;
    bool found = false;
    bool changed = false;
    const Lines lines = linesOf(p.file);
    for (size_t i = 0; i < lines.size(); ++i) {
        out.push_back(lines[i]);
        if (!isHead(lines[i], name)) continue;
        found = true;
        const size_t header = out.size();
        bool set = false;
        for (++i; i < lines.size() && !isHead(lines[i]); ++i) {
            const std::string line = lines[i].c_str();
            const size_t equals = line.find('=');
            const bool match = key != nullptr && equals != std::string::npos && trimmed(line)[0] != ';' &&
                               same(cleaned(line.substr(0, equals), false), key);
            if (!match && key != nullptr) out.push_back(lines[i]);
            if (match && value != nullptr) out.push_back(pair);
            changed = changed || match;
            set = set || match;
        }
        if (!pair.empty() && !set) out.push_back(pair);
        if (pair.empty() && out.size() == header) out.pop_back();
        changed = changed || key == nullptr || value != nullptr;
        if (i < lines.size()) out.push_back(lines[i]);
    }
    if (!found && !pair.empty()) out.insert(out.end(), {"", "[" + name + "]", pair});
    if (!changed && (found || pair.empty())) return;
    const size_t first = p.file.find_first_of("\r\n");
    std::string end = first == std::string::npos ? "\r\n" : p.file.substr(first, 1);
    if (p.file.compare(std::min(first, p.file.size()), 2, "\r\n") == 0) end = "\r\n";
    p.file.clear();
    for (const std::string& line : out) p.file += line + end;
}

}  // namespace

// The process's mask is the host's, whose other threads make files: it may not change, not even for a moment.
mode_t umask(mode_t) noexcept {
    ADD_FAILURE() << "the mask is asked for";
    return 0;
}

TEST(Profile, KeepsToItsDefinition) {
    const int leftBefore = temporaryFiles();
    const Temporary file;
    Lines pieces = {"[A]",          "[ a ];x", "[B]", "[\"\"c\"\"]", "Key=1", " key = 2 ", "K=\"q;\"",
                    "K=\"q\"\"r\"", ";c=3",    "",    "[",           "bare",  "=void",     "k]=[v]"};
    pieces.insert(pieces.end(), {"LongName=" + std::string(300, 'v'), std::string(254, 'x') + "=y",
                                 std::string(255, 'z') + "=", std::string("n\0k=1", 5)});
    const char* const sections[] = {"A", "b", "\"\"C\"\"", " a ", "new", "[]"};
    const char* const keys[] = {"KEY", "k", "", "Longname", "bare", "key ", nullptr};
    const char* const values[] = {"7", "", "a longer value", nullptr};
    const char* const ends[] = {"\n", "\r", "\r\n"};
    std::mt19937 random(11);
    const auto any = [&random](const auto& list) { return list[upTo(random, int(std::size(list)) - 1)]; };
    for (int i = 0; i < 1000; ++i) {
        Profile p;
        const char* const usual = any(ends);
        for (int n = upTo(random, 12); n > 0; --n) p.file += any(pieces) + (upTo(random, 9) == 0 ? any(ends) : usual);
        if (upTo(random, 2) == 0) p.file += any(pieces);
        save(file.path, p.file);
        for (int step = 0; step < 4; ++step) {
            const char* const section = any(sections);
            const char* const key = any(keys);
            const std::string before = p.file + "\n--\n" + section + " " + (key ? key : "all");
            if (upTo(random, 1) == 0) {
                const int size = upTo(random, 1) == 0 ? upTo(random, 9) : 300;
                const char* const fallback = step == 0 ? "default" : "";
                std::string buffer(size + 1, '#');
                look(p, section, key, fallback, size);
                ASSERT_EQ(GetPrivateProfileString(section, key, fallback, buffer.data(), size, file), p.count)
                    << before;
                ASSERT_EQ(buffer, p.buffer + "#") << before;
            } else {
                const char* const value = any(values);
                change(p, section, key, value);
                ASSERT_EQ(WritePrivateProfileString(section, key, value, file), 1);
                ASSERT_EQ(textOf(file.path), p.file) << before << " " << (value ? value : "-");
            }
        }
    }
    EXPECT_EQ(temporaryFiles(), leftBefore);
}

TEST(Profile, NumbersWrapAndStopAtWhatIsNone) {
    for (const auto& [text, number] :
         {std::pair{"0x1fz", 31}, {"0X", 0}, {"010", 10}, {"-5", 0}, {"4294967297", 1}, {"0x1ffffffff", -1}}) {
        EXPECT_EQ(ParseProfileNumber(text), number) << text;
    }
    const Temporary file;
    save(file.path, "[s]\nempty=\ntext=x\nlong=" + std::string(40, '1') + "\n");
    EXPECT_EQ(GetPrivateProfileInt("S", "Empty", 9, file), 9);
    EXPECT_EQ(GetPrivateProfileInt("S", "Text", 9, file), 0);
    EXPECT_EQ(GetPrivateProfileInt("S", "Long", 9, file), ParseProfileNumber(std::string(32, '1').c_str()));
}

TEST(Profile, AFileThatCannotBeChangedStaysWhole) {
    const int leftBefore = temporaryFiles();
    const Temporary closed;
    const std::string &folder = closed.folder, path = folder + "/p.ini";
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", folder.c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", (folder + "/no/p.ini").c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", nullptr, path.c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", "stdout"), 0);  // would close it
    std::string old = "[s]\nk=1\n";
    for (int i = 0; i < 25; ++i) old += std::string(99, 'x') + "\n";
    save(path, old);
    chmod(path.c_str(), 0640);
    symlink("p.ini", (folder + "/link.ini").c_str());
    // No file may grow: neither the temporary one nor the sibling.
    signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (rlim_t most = 0; most < 3000; most += 100) {
        const rlimit small = {most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        const int32_t done = WritePrivateProfileString("s", "k", "22", path.c_str());
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(done, most >= old.size() + 1);
        if (done == 1) break;
        ASSERT_TRUE(textOf(path) == old) << most;
    }
    EXPECT_EQ(WritePrivateProfileString("s", "k", "2", (folder + "/link.ini").c_str()), 1);
    EXPECT_TRUE(textOf(path) == old.replace(6, 1, "2"));
    const std::string fresh = folder + "/fresh.ini";
    const long mask = syscall(SYS_umask, 0137);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", fresh.c_str()), 1);
    syscall(SYS_umask, mask);
    for (const std::string& file : {path, fresh}) {
        struct stat about;
        lstat(file.c_str(), &about);
        EXPECT_EQ(about.st_mode, S_IFREG | 0640u) << file;
    }
    EXPECT_EQ(runProgram({.words = {"ls", folder}}).out, "fresh.ini\nlink.ini\np.ini\n");
    EXPECT_EQ(temporaryFiles(), leftBefore);
}

TEST(Profile, SettingsComeFromItAndTheEscapeSavesThem) {
    const Temporary file;
    save(file.path,
         "[TOLVA]\n~Mode=Web\n[Web]\nDriver=ALongDriverName\nWidth=8\nHeight=10\nX Resolution=31\n"
         "Y Resolution=400\nColor Mode=0x6a\n[none]\nWidth=3.000\n");
    TolvaHandle h = CreateSetup(0, file, nullptr, 0);
    SetupBlock* setup = lpRaster;
    EXPECT_STREQ(setup->sectionName, "Web");
    EXPECT_STREQ(setup->driverName, "ALongDriverNa");
    EXPECT_EQ(std::pair(setup->width, setup->height), std::pair(8.67, 5.0));
    EXPECT_EQ(setup->xResolution, 96);
    EXPECT_EQ(setup->yResolution, 400);
    EXPECT_EQ(setup->colourMode, 106);
    EXPECT_EQ(setup->lineMode, 119);

    int32_t colourClass = 102, none = 100, fine = 399, coarse = 32, tooFine = 401, tooCoarse = 31, classOut = 9;
    int32_t noDots[2] = {9, 9}, dots[2] = {};
    double wide = 10.125, high = 7.12345, tooWide = 22.000001, noExtents[2] = {9, 9}, extents[2] = {};
    const std::tuple<int32_t, int32_t, void*, void*, int32_t> requests[] = {
        {16, 0, nullptr, noDots, 1},      {17, 0, nullptr, noExtents, 1}, {1, 4, &colourClass, nullptr, 1},
        {1, 4, &none, nullptr, -1},       {1, 8, &none, nullptr, -1},     {11, 4, &coarse, nullptr, 1},
        {11, 4, &tooFine, nullptr, -1},   {11, 4, nullptr, nullptr, -1},  {12, 4, &fine, nullptr, 1},
        {12, 4, &tooCoarse, nullptr, -1}, {13, 8, &wide, nullptr, 1},     {13, 8, &tooWide, nullptr, -1},
        {14, 4, &wide, nullptr, -1},      {14, 8, &high, nullptr, 1},     {18, 3, nullptr, nullptr, 1},
        {18, 4, nullptr, nullptr, 1},     {19, 1, nullptr, nullptr, 1},   {19, -1, nullptr, nullptr, 1},
        {16, 0, nullptr, dots, 1},        {17, 0, nullptr, extents, 1},   {57, 4, nullptr, &classOut, 1},
        {57, 8, nullptr, &none, 1},       {81, 4, extents, nullptr, 1},   {81, 8, dots, nullptr, -1},
        {2, 4, &fine, nullptr, 0},        {82, 0, nullptr, nullptr, 0}};
    for (const auto& [code, size, in, out, answer] : requests) {
        EXPECT_EQ(xEscapeSetup(h, code, size, in, out, 1), answer) << code;
    }
    EXPECT_EQ(std::tuple(noDots[0], noDots[1], noExtents[0], noExtents[1]), std::tuple(0, 0, 0.0, 0.0));
    EXPECT_EQ(std::tuple(dots[0], dots[1], extents[0], extents[1]), std::tuple(32, 399, 10.125, 7.12345));
    EXPECT_EQ(std::tuple(setup->colourMode, setup->sizeMode, setup->resolutionMode), std::tuple(104, 601, 310));
    EXPECT_EQ(std::pair(classOut, none), std::pair(102, 100));
    EXPECT_EQ(setup->outputDevice, reinterpret_cast<uintptr_t>(extents));
    DestroySetup(h);
    EXPECT_EQ(textOf(file.path),
              "[TOLVA]\n~Mode=Web\n[Web]\nDriver=ALongDriverName\nWidth=.310.125\nHeight=7.12\nX Resolution=32\n"
              "Y Resolution=399\nColor Mode=104\n[none]\nWidth=3.000\n");

    h = CreateSetup(0, file, nullptr, 0);  // what comes back; the width is what ".310.125" begins with
    EXPECT_EQ(std::tuple(lpRaster->colourMode, lpRaster->width, lpRaster->height), std::tuple(104, 0.31, 7.12));
    DestroySetup(h);
    h = CreateSetup(0, file, "none", 0);
    EXPECT_EQ(lpRaster->colourMode, 0);
    EXPECT_EQ(lpRaster->width, 0.0);
    DestroySetup(h);
}

TEST(Geometry, HostsAreToldTheSizeRoundedUp) {
    const TolvaHandle h = defaultSetup();
    int32_t in[] = {0, 0, 96, 960, 480, 0, 0};
    int32_t out[3] = {};
    EXPECT_EQ(xEscapeSetup(h, 56, 0, in, out, 0), 1);
    EXPECT_EQ(lpRaster->width, 10.0);
    EXPECT_EQ(std::pair(out[0], out[1]), std::pair(960, 480));
    EXPECT_EQ(out[2], 8);
    UseDefaultSettings(lpRaster);
    const int32_t screen[] = {100, 0, 0, 3, 1, 1001, 500};
    lpRaster->sizeMode = 600;
    lpRaster->resolutionMode = 307;
    GetRasterInfo(h, screen, out);
    EXPECT_EQ(lpRaster->xResolution, 100);
    EXPECT_EQ(std::pair(out[0], out[1]), std::pair(1001, 334));
    lpRaster->sizeMode = 602;
    in[4] = 31;
    GetRasterInfo(h, in, out);
    EXPECT_EQ(std::pair(out[0], out[1]), std::pair(1000, 33));
    double width = 11.0, height = 44.0;
    EXPECT_EQ(ScaleImageSize(&width, &height), 0);
    EXPECT_EQ(std::pair(width, height), std::pair(5.5, 22.0));
    DestroySetup(h);
    GetRasterInfo(0, in, out);
    EXPECT_EQ(out[0], 0);
}
