// Profile files, also those that cannot be changed; settings that come from them and go into them.
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support.h"

// The process's mask is the host's, whose other threads make files: it may not change, not even for a moment.
mode_t umask(mode_t) noexcept {
    ADD_FAILURE() << "the mask is asked for";
    return 0;
}

TEST(Profile, IsReadAndChangedAsEver) {
    const Temporary file;
    std::vector<std::string> pieces = {"[A]",       "[ a ];x",  "[B]",          "[\"\"c\"\"]", "Key=1",
                                       " key = 2 ", "K=\"q;\"", "K=\"q\"\"r\"", ";c=3",        "",
                                       "[",         "bare",     "=void",        "k]=[v]"};
    pieces.insert(pieces.end(), {"LongName=" + std::string(300, 'v'), std::string(254, 'x') + "=y",
                                 std::string(255, 'z') + "=", std::string("n\0k=1", 5)});
    const char* const sections[] = {"A", "b", "\"\"C\"\"", " a ", "new", "[]"};
    const char* const keys[] = {"KEY", "k", "", "Longname", "bare", "key ", nullptr};
    const char* const values[] = {"7", "", "a longer value", nullptr};
    const std::string ends[] = {"\n", "\r", "\r\n"};
    std::mt19937 random(11);
    const auto any = [&random](const auto& list) { return list[upTo(random, int(std::size(list)) - 1)]; };
    std::string sums;
    for (int round = 0; round < 250; ++round) {
        std::string text, all;
        const std::string usual = any(ends);
        for (int n = upTo(random, 12); n > 0; --n) {
            text += any(pieces);
            text += upTo(random, 9) == 0 ? any(ends) : usual;
        }
        if (upTo(random, 2) == 0) text += any(pieces);
        save(file.path, text);
        for (int step = 0; step < 4; ++step) {
            const char* const section = any(sections);
            const char* const key = any(keys);
            if (upTo(random, 1) == 0) {
                const int size = upTo(random, 1) == 0 ? upTo(random, 9) : 300;
                std::string buffer(size + 1, '#');
                const char* const fallback = step == 0 ? "default" : "";
                all += std::to_string(GetPrivateProfileString(section, key, fallback, buffer.data(), size, file));
                ASSERT_EQ(buffer.back(), '#');
                all += buffer;
            } else {
                ASSERT_EQ(WritePrivateProfileString(section, key, any(values), file), 1);
                all += textOf(file.path);
            }
        }
        sums += digitsOf(sumOf(all));
    }
    expectRounds(
        sums,  // what the plain definition came to as well
        "562076e3d5ce6490b066b21a2c06795806c196c74ba6b893f52402f123b2861f1591979f5b99cf69cdbc0dcb0c5ee74279c6"
        "5d3a3c4441e4eacecf11ac84c88670ded26da63b485b5a2f165e5e7f8b15095d6cf21876377bfad938bb35e4cf9d5c5db67a"
        "c23e00d236e98fcd268b01b5ea22e780220bd3a99b01a908a1aaebc946dad2c9525a51c712d8e293a35074d82f138b86a4ce"
        "412e7ddaec672c428d6f8c38506815c9ebb432a2f8c3bd6e80d98fd2a345b3a806983e14f6b90ca28bd2ce73239d17f3e3b4"
        "c3971d64808ac7f5d5d56cae2ea1d90ce6f6afe32d5bf38b84d8ecddc9e43dd6e67fb353ebc0ee6bb33a3b18b7756f11ba51");
}

TEST(Profile, NumbersWrapAndStopAtWhatIsNone) {
    for (const auto& [text, number] :
         {std::pair{"0x1fz", 31}, {"0X", 0}, {"010", 10}, {"-5", 0}, {"4294967297", 1}, {"0x1ffffffff", -1}}) {
        EXPECT_EQ(ParseProfileNumber(text), number) << text;
    }
    for (const auto& [text, character, trimmed] : {std::tuple{"  a  ", ' ', "a"}, {"\"\"a\"\"", '"', "\"a\""}}) {
        std::string got = text;
        EXPECT_STREQ(TrimProfileChar(got.data(), character), trimmed);
    }
    const Temporary file;
    save(file.path, "[s]\nempty=\ntext=x\nlong=" + std::string(40, '1') + "\n");
    EXPECT_EQ(GetPrivateProfileInt("S", "Empty", 9, file), 9);
    EXPECT_EQ(GetPrivateProfileInt("S", "Text", 9, file), 0);
    EXPECT_EQ(GetPrivateProfileInt("S", "Long", 9, file), ParseProfileNumber(std::string(32, '1').c_str()));
}

TEST(Profile, AFileThatCannotBeChangedStaysWhole) {
    const Temporary closed;
    const std::string &folder = closed.folder, path = folder + "/p.ini";
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", folder.c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", nullptr, path.c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", "stdout"), 0);  // would close it
    std::string old = "[s]\nk=1\n";
    for (int i = 0; i < 25; ++i) old += std::string(99, 'x') + "\n";
    save(path, old);
    chmod(path.c_str(), 0640);
    symlink("p.ini", (folder + "/link.ini").c_str());
    EXPECT_EQ(WritePrivateProfileString("s", "k", "2", (folder + "/link.ini").c_str()), 1);
    old[6] = '2';
    EXPECT_TRUE(same(textOf(path), old));
    const int nameless = memfd_create("p", MFD_CLOEXEC);
    const std::string there = "/proc/self/fd/" + std::to_string(nameless);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", there.c_str()), 1);
    EXPECT_EQ(textOf(there), "\r\n[s]\r\nk=v\r\n");
    close(nameless);
    const std::string fresh = folder + "/fresh.ini";
    const long mask = syscall(SYS_umask, 0137);
    setenv("INIDIR", "no", 1);  // is looked in, too
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", fresh.c_str()), 1);
    unsetenv("INIDIR");
    syscall(SYS_umask, mask);
    for (const std::string& file : {path, fresh}) {
        struct stat about;
        lstat(file.c_str(), &about);
        EXPECT_EQ(about.st_mode, S_IFREG | 0640u) << file;
    }
}

TEST(Profile, SettingsComeFromIt) {
    const Temporary file;
    save(file.path,
         "[TOLVA]\n~Mode=Web\n[Web]\nDriver=ALongDriverName\nWidth=8\nHeight=10\nX Resolution=31\n"
         "Y Resolution=400\nColor Mode=0x6a\n[saved]\nDriver=D\nWidth=.310.125\nHeight=7.12\n[none]\nWidth=3.000\n");
    // Kept: a text as short as "8" keeps the tail of the "6.67" that stands for none. 31 dots per inch are too few.
    for (const auto& [section, driver, mode, width, height, x, y] :
         {std::tuple{static_cast<const char*>(nullptr), "ALongDriverNa", 106, 8.67, 5.0, 96, 400},
          {"saved", "D", 103, 0.31, 7.12, 96, 96},  // what a dialog's width of 10.125 comes back as
          {"none", "", 0, 0.0, 0.0, 0, 0}}) {
        const TolvaHandle h = CreateSetup(0, file, section, 0);
        const SetupBlock& setup = *lpRaster;
        EXPECT_STREQ(setup.driverName, driver);
        EXPECT_EQ(std::tuple(setup.colourMode, setup.width, setup.height, setup.xResolution, setup.yResolution),
                  std::tuple(mode, width, height, x, y))
            << driver;
        EXPECT_EQ(setup.lineMode, mode == 0 ? 0 : 119);
        EXPECT_STREQ(setup.sectionName, section == nullptr ? "Web" : section);
        DestroySetup(h);
    }
}

TEST(Profile, SettingsAreAskedChangedAndSavedByTheEscape) {
    const Temporary file;
    const std::string before = "[TOLVA]\n~Mode=Web\n[Web]\nDriver=D\n", behind = "[none]\nWidth=3.000\n";
    save(file.path, before + "Width=8\nHeight=10\n" + behind);
    const TolvaHandle h = CreateSetup(0, file, nullptr, 0);
    const SetupBlock& setup = *lpRaster;
    // What a dialog asks for.
    constexpr int32_t setColour = 1, setX = 11, setY = 12, setWidth = 13, setHeight = 14, askDots = 16, askSize = 17,
                      chooseDots = 18, chooseSize = 19, askColour = 57, setDevice = 81;
    int32_t colourClass = 102, none = 100, fine = 399, coarse = 32, tooFine = 401, tooCoarse = 31, classOut = 9;
    int32_t noDots[2] = {9, 9}, dots[2] = {};
    double wide = 10.125, high = 7.12345, tooWide = 22.000001, noExtents[2] = {9, 9}, extents[2] = {};
    void* const no = nullptr;
    // clang-format off
    const std::tuple<int32_t, int32_t, void*, void*, int32_t> requests[] = {
        {askDots,    0, no, noDots, 1},    {askSize,    0, no, noExtents, 1}, {setColour, 4, &colourClass, no, 1},
        {setColour,  4, &none, no, -1},    {setColour,  8, &none, no, -1},    {setX,      4, &coarse, no, 1},
        {setX,       4, &tooFine, no, -1}, {setX,       4, no, no, -1},       {setY,      4, &fine, no, 1},
        {setY,       4, &tooCoarse, no, -1}, {setWidth, 8, &wide, no, 1},     {setWidth,  8, &tooWide, no, -1},
        {setHeight,  4, &wide, no, -1},    {setHeight,  8, &high, no, 1},     {chooseDots, 3, no, no, 1},
        {chooseDots, 4, no, no, 1},        {chooseSize, 1, no, no, 1},        {chooseSize, -1, no, no, 1},
        {askDots,    0, no, dots, 1},      {askSize,    0, no, extents, 1},   {askColour, 4, no, &classOut, 1},
        {askColour,  8, no, &none, 1},     {setDevice,  4, extents, no, 1},   {setDevice, 8, dots, no, -1},
        {2,          4, &fine, no, 0},     {82,         0, no, no, 0},        {56,        0, no, dots, -1},
        {setColour,  4, no, no, -1},       {setColour,  4, &tooFine, no, -1}, {56,        0, dots, no, -1},
        {setY,       8, &fine, no, -1},    {setWidth,   8, no, no, -1},       {askColour, 4, no, no, -1},
        {askDots,    0, no, no, -1},       {askSize,    0, no, no, -1}};
    // clang-format on
    for (const auto& [code, size, in, out, answer] : requests) {
        EXPECT_EQ(xEscapeSetup(h, code, size, in, out, 1), answer) << code;
    }
    EXPECT_EQ(std::tuple(noDots[0], noDots[1], noExtents[0], noExtents[1]), std::tuple(0, 0, 0.0, 0.0));
    EXPECT_EQ(std::tuple(dots[0], dots[1], extents[0], extents[1]), std::tuple(32, 399, 10.125, 7.12345));
    EXPECT_EQ(std::tuple(setup.colourMode, setup.sizeMode, setup.resolutionMode), std::tuple(104, 601, 310));
    EXPECT_EQ(std::pair(classOut, none), std::pair(102, 100));
    EXPECT_EQ(setup.outputDevice, reinterpret_cast<uintptr_t>(extents));
    for (const int32_t noMode : {102, 108}) {
        lpRaster->colourMode = noMode;
        EXPECT_EQ(xEscapeSetup(h, askColour, 4, no, &classOut, 1), -1);
    }
    DestroySetup(h);
    EXPECT_EQ(textOf(file.path),
              before + "Width=.310.125\nHeight=7.12\nColor Mode=104\nX Resolution=32\nY Resolution=399\n" + behind);
}
