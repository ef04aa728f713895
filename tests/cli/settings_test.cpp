// settings_test.cpp: settings that stay: what is set is loaded, wherever it comes from, and no profile is harmed.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "cli/output/system_calls.h"
#include "support.h"

namespace files = std::filesystem;

class StayingSettings : public Program {
  protected:
    static constexpr char kBig[] =
        "Color Mode=104\nSize Mode=601\nWidth=1.500\nHeight=0.700\nResolution Mode=308\nX Resolution=200\n"
        "Y Resolution=200\n";

    StayingSettings() { write("a.pgm", greyMap(30, 21)); }
    static std::string profileOf(const std::string& keys) { return "[TOLVA]\n~Mode=Mine\n[Mine]\nDriver=D\n" + keys; }
    std::string gifBy(const std::string& words) {
        const RunResult result = run("-q -f -o a.gif a.pgm " + words);
        EXPECT_EQ(result.status, 0) << words;
        EXPECT_EQ(result.said, "") << words;
        return read("a.gif");
    }
    void expectSet(const std::string& words) { EXPECT_EQ(run("-q setup set " + words).said, "") << words; }
    void expectShown(const std::string& line, const std::string& words = "") {
        const RunResult shown = run("setup show " + words);
        EXPECT_EQ(shown.status, 0) << words;
        EXPECT_NE((shown.out + "\n").find("\n" + line), std::string::npos) << line << "\n" << shown.out;
    }
};

TEST_F(StayingSettings, GiveTheSamePicturesFromProfileAndOptions) {
    const std::string box = "Size Mode=601\nResolution Mode=308\n";
    const std::tuple<std::string, const char*, const char*> pairs[] = {
        {"", "", ""},
        {"Color Mode=105\n", "--tone invert-greys", "--colours 16"},
        {kBig, "--tone invert --size 1.5x0.7 --resolution 200", "--interlace"},
        {box + "Width=0.500\nHeight=0.250\nX Resolution=128\nY Resolution=128\n", "--fit 64x32", "--raw --dither 2"},
        {box + "Width=2.000\nHeight=2.000\n", "--size 2x2", ""}};
    for (const auto& [keys, options, both] : pairs) {
        const std::string wanted = gifBy(std::string("--no-profile ") + options + " " + both);
        write("p.ini", profileOf(keys));
        EXPECT_TRUE(same(gifBy(std::string("--profile p.ini ") + both), wanted)) << options;
        write("libtolva.ini", profileOf(keys));
        EXPECT_TRUE(same(gifBy(both), wanted)) << options;
        EXPECT_EQ(gifBy(std::string("--no-profile ") + both) == wanted, keys.empty()) << options;
    }
}

TEST_F(StayingSettings, GiveWayToOptions) {
    write("libtolva.ini", profileOf(kBig));
    for (const auto& [options, alone] : {std::pair("--tone grey --fit 40x40", ""),
                                         {"--tone normal --size 1x1", "--resolution 200"},
                                         {"--resolution 100", "--tone invert --size 1.5x0.7"},
                                         {"--fit 9x9", "--tone invert"}}) {
        EXPECT_TRUE(same(gifBy(options), gifBy(std::string("--no-profile ") + options + " " + alone))) << options;
    }
}

TEST_F(StayingSettings, AreLoadedAsTheyWereSet) {
    expectSet("size-mode saved");
    EXPECT_EQ(read("libtolva.ini").find("[TOLVA]"), 1u);  // a blank line in front of each section
    for (const std::string number : {"8", "10", "0.03125", "21.999999", "0.1", "22", "6.12345678901234", "9.5"}) {
        expectSet("width " + number);
        expectShown("width            " + number + "\n");
    }
    for (const char* const line :
         {"height           8\n", "colour-mode      invert-grey\n", "size-mode        screen\n",
          "resolution-mode  saved\n", "x-resolution     32\n", "y-resolution     400\n"}) {
        expectSet(line);
        expectShown(line);
    }
}

TEST_F(StayingSettings, AreWrittenWithoutLossWhateverEndsTheLines) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        write("p.ini", "; mine" + end + "[X]" + end + "X Resolution=77" + end + "Width=3.000");
        for (const char* const pair : {"height 4", "height 5", "y-resolution 78"}) {
            EXPECT_EQ(run(std::string("-q --profile p.ini --section X setup set ") + pair).status, 0) << pair;
        }
        EXPECT_EQ(read("p.ini").rfind("; mine" + end, 0), 0u);
        write("q.ini", "[T]" + end + "Driver=D" + end + "[TOLVA]" + end + "~Mode=T");
        expectSet("width 3 --profile q.ini");
        expectShown("section          T\n", "--profile q.ini ");
        EXPECT_EQ(run("setup unset width --profile q.ini").out, "q.ini: [T] Width is not set\n");
        expectShown("width            6.67 (not in use)\n", "--profile q.ini ");
        expectShown("section          X\ndriver           TOLVA.1\n", "--profile p.ini ");
        expectShown("width            3 (not in use)\nheight           5 ", "--profile p.ini ");
        expectShown("x-resolution     77 (not in use)\ny-resolution     78 ", "--profile p.ini ");
    }
}

TEST_F(StayingSettings, ThatCannotBeLoadedEndWith3IfNamedAndAreToldIfNot) {
    const std::string plain = gifBy("--no-profile");
    write("none.ini", "");
    for (const char* const text :
         {"[Mine]\nDriver=D\n", "[TOLVA]\n~Mode=Mine\n[Mine]\nColor Mode=104\n", "\x01[\xFF"}) {
        write("libtolva.ini", text);
        EXPECT_TRUE(same(gifBy(""), plain));
        EXPECT_NE(run("-f -o a.gif a.pgm").said.find("defaults"), std::string::npos);
        for (const char* const words : {"--profile libtolva.ini", "--section Other", "--profile none.ini",
                                        "--profile missing.ini", "--profile .", "--profile /dev/null"}) {
            EXPECT_EQ(run(std::string("-o b.gif a.pgm ") + words).status, 3) << words;
        }
    }
    EXPECT_FALSE(exists("b.gif"));
    write("libtolva.ini", "[TOLVA]\n~Mode=Mine\n[Mine]\nWidth=3.000\n");
    EXPECT_NE(run("setup show --section Mine").said.find("no Driver in [Mine]"), std::string::npos);
    EXPECT_NE(run("setup show --section Other").said.find("no section [Other]"), std::string::npos);
}

TEST_F(StayingSettings, ThatCannotBeWrittenLeaveTheFileAsItIs) {
    for (const auto& [bytes, before, mode] : {std::tuple(std::string("[X]\n\0\n", 6), "", 0644),
                                              {profileOf(";" + std::string(1000000, 'a')), "", 0644},
                                              {profileOf(""), "prlimit --fsize=0", 0644},
                                              {"[TOLVA]\n~Mode = Mine\n[Mine]\nDriver=D\n", "", 0644},
                                              {profileOf(""), "", 0444}}) {
        write("p.ini", bytes);
        chmod(path("p.ini").c_str(), static_cast<mode_t>(mode));
        const RunResult result = run("-q setup set width 3 --profile p.ini", {.before = before});
        EXPECT_EQ(result.status, 4) << before;
        EXPECT_EQ(result.said.find("/tmp: File too large") != std::string::npos, before[0] != '\0') << result.said;
        EXPECT_TRUE(same(read("p.ini"), bytes)) << before;
        EXPECT_EQ(names(), (std::vector<std::string>{"a.pgm", "p.ini"})) << before;
    }
    for (const char* const place : {"missing/p.ini", "."}) {
        EXPECT_EQ(run(std::string("setup set width 3 --profile ") + place).status, 4);
    }
}

TEST_F(StayingSettings, AreWaitedForAndGivenUp) {
    write("p.ini", profileOf(""));
    const int held = open(path("p.ini").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_SH), 0);
    const Words set = "setup set width 3 --profile p.ini";
    const auto sleepless = [] { cli::systemCalls.sleep = [](useconds_t) { return 0; }; };
    for (const auto& [result, status] :
         {std::pair(run(set, {.before = "timeout --preserve-status -s INT 0.5"}), 5), {runHere(set, sleepless), 4}}) {
        EXPECT_EQ(result.status, status) << result.said;
        EXPECT_NE(result.said.find("waits for somebody else"), std::string::npos) << result.said;
    }
    close(held);
}

TEST_F(StayingSettings, SetAtOnceAllStandAlsoInAFolderThatCannotBeListed) {
    chmod(folder.c_str(), 0333);
    std::vector<std::future<RunResult>> runs;
    for (const std::string words : {"width 3", "height 4", "x-resolution 50", "y-resolution 60"}) {
        const Launch launch = {.before = unprivileged()};
        runs.push_back(
            std::async(std::launch::async, [=, this] { return run("-q --profile p.ini setup set " + words, launch); }));
    }
    for (auto& each : runs) EXPECT_EQ(each.get().status, 0);
    for (const char* const line : {"Width=3.000\n", "Height=4.000\n", "X Resolution=50\n", "Y Resolution=60\n"}) {
        EXPECT_NE(read("p.ini").find(line), std::string::npos) << read("p.ini");
    }
    chmod(folder.c_str(), 0700);
}

TEST_F(StayingSettings, StandAlsoWhereStandardOutputFails) {
    for (const Lead& out : {Lead{kPiped, "/dev/full"}, Lead{kClosed}}) {
        for (const char* const words : {"--help", "--version", "info a.pgm", "setup show", "setup path"}) {
            EXPECT_EQ(run(words, {.out = out}).status, 4) << words;
        }
        const RunResult set = run("setup set width 3", {.out = out});
        EXPECT_EQ(set.status, 0);
        EXPECT_NE(set.said, "");
    }
}

TEST_F(StayingSettings, StandInInidirFirst) {
    const Launch withInidir = {.before = "env INIDIR=ini"};
    files::create_directory(path("ini"));
    expectSet("width 2");
    EXPECT_EQ(run("setup path", withInidir).out.rfind("libtolva.ini\nis read", 0), 0u);
    files::rename(path("libtolva.ini"), path("ini/libtolva.ini"));
    EXPECT_NE(run("setup show", withInidir).out.find("ini/libtolva.ini\nsection          GIF Export\n"),
              std::string::npos);
}

TEST_F(StayingSettings, InfoTellsWhatIsExportedAndWhatHostsAreTold) {
    write("q\"\\.pgm", greyMap(300, 200));
    write("p.ini", profileOf("Resolution Mode=308\nX Resolution=200\nY Resolution=100\n"));
    EXPECT_EQ(
        run({"info", "q\"\\.pgm", "--json", "--profile", "p.ini"}).out,
        R"({"picture":"q\"\\.pgm","pictureWidth":300,"pictureHeight":200,"colours":256,"profile":"p.ini",)"
        R"("section":"Mine","width":468,"height":156,"bitsPerPixel":8,"roundedUpWidth":469,"roundedUpHeight":157})"
        "\n");
    EXPECT_NE(run({"info", "q\"\\.pgm", "--profile", "p.ini"})
                  .out.find("468 x 156 pixels of 8 bits\nhosts are told, with fractions rounded up: 469 x 157"),
              std::string::npos);
    const std::string said = run({"-v", "q\"\\.pgm", "--profile", "p.ini", "-o", "a.gif"}).said;
    EXPECT_TRUE(said.find("a.gif: 468 x 156") < said.size() && said.find("p.ini, [Mine]") < said.size()) << said;
    write("many.ppm", "P6\n90 30\n255\n" + greys(270, 30));
    EXPECT_NE(run("info --json many.ppm").out.find("\"colours\":null,"), std::string::npos);
    for (const auto& [words, told] :
         {std::pair("many.ppm", "reduced to 256 colours and dithered"),
          {"many.ppm --colours 9 --dither none --fit 9x9", "scaled, and reduced to 9 colours "},
          {"many.ppm --raw", "90 x 30 pixels\n"},
          {"a.pgm --profile p.ini --resolution 100", "on the way there: scaled"},
          {"a.pgm", "the palette stays"}}) {
        EXPECT_NE(run(std::string("info ") + words).out.find(told), std::string::npos) << words;
    }
    EXPECT_NE(run("info --json a.pgm").out.find("\"profile\":null,\"section\":null,\"width\":30,"), std::string::npos);
}
