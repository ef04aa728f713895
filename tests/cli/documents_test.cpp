// documents_test.cpp: what the documents tell users to type works as it stands there.

#include <filesystem>
#include <regex>

#include "pictures.h"

namespace {

std::vector<std::string> commandsIn(const std::string& page) {
    // Up to three spaces, behind which stands what the command is for. Optional parts are taken.
    static const std::regex line(R"(\n    ((?:\w[^|\n]*\| )*tolva .*?)(?=   |\n))"), brackets(R"([\[\]])");
    std::vector<std::string> commands;
    for (std::sregex_iterator i(page.begin(), page.end(), line), none; i != none; ++i)
        commands.push_back(std::regex_replace((*i)[1].str(), brackets, ""));
    return commands;
}

class Documents : public Pictures {
  protected:
    void drawNamedIn(const std::string& command) {
        static const std::regex name(R"([\w-]+\.(jpg|png|pgm|ppm|ini))");
        const std::string pixels = greys(40 * 3, 30);
        for (std::sregex_iterator i(command.begin(), command.end(), name), none; i != none; ++i) {
            const std::string file = i->str(), kind = (*i)[1];
            PictureOrder picture = {.width = 40, .height = 30, .kind = 2, .samples = {pixels.begin(), pixels.end()}};
            if (exists(file)) continue;
            if (kind == "jpg") makeJpeg(path(file), picture);
            if (kind == "png") makePng(path(file), picture);
            if (kind == "pgm") write(file, greyMap(40, 30));
            if (kind == "ppm") write(file, "P6\n40 30\n255\n" + pixels);
            if (kind == "ini") write(file, "[TOLVA]\n~Mode=Web\n[Web]\nDriver=TOLVA.1\n");
        }
    }
    // A line stands for itself: it finds no GIF of another. 77 where the tool that it begins with is not there.
    RunResult shell(const std::string& line) {
        const std::string tool = line.substr(0, line.find(' ')),
                          ready = "rm -f *.gif gifs/*; command -v " + tool + " || exit 77";
        const Words path = {"env", "PATH=" + folder + ":/usr/bin:/bin"};
        return runProgram({.before = path, .words = {"sh", "-c", ready + "; " + line}, .folder = folder});
    }
};

}  // namespace

TEST_F(Documents, CommandsRun) {
    size_t ran = 0;
    std::filesystem::create_symlink(TOLVA_PROGRAM, path("tolva"));
    for (const char* const name : {"gifs", "pictures"}) std::filesystem::create_directory(path(name));
    write("pictures/a.pgm", greyMap(9, 7));
    std::vector<std::filesystem::path> pages = {TOLVA_SOURCE "/README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(TOLVA_SOURCE "/docs")) {
        if (entry.path().extension() == ".md") pages.push_back(entry.path());
    }
    for (const auto& page : pages) {
        for (const std::string& command : commandsIn(textOf(page))) {
            drawNamedIn(command);
            const RunResult result = shell(command);
            EXPECT_TRUE(result.status == 0 || result.status == 77) << page << ": " << command << "\n" << result.said;
            ran += result.status == 0;
        }
    }
    EXPECT_GT(ran, 10U);
}

TEST_F(Documents, ImageMagickWritesThroughTheProgramAndAlphaSurvives) {
    std::filesystem::create_symlink(TOLVA_PROGRAM, path("tolva"));
    PictureOrder halfClear = {.width = 4, .height = 2, .kind = 4};
    for (const uint8_t alpha : {255, 255, 0, 0, 255, 255, 0, 0}) {
        halfClear.samples.insert(halfClear.samples.end(), {9, alpha});
    }
    makePng(path("in.png"), halfClear);
    static const std::regex lines(R"(\n\n    (mkdir -p ~(?:.*\n)+?)(?=\n))"), indent("\n    ");
    const std::string page = textOf(TOLVA_SOURCE "/docs/hosts.md");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(page, found, lines));
    const RunResult result =
        shell("convert -version && export HOME=$PWD\n" + std::regex_replace(found[1].str(), indent, "\n"));
    if (result.status == 77) GTEST_SKIP() << "ImageMagick's convert is not installed";
    const SeenGif seen = seenIn(path("out.gif"));
    ASSERT_EQ(std::pair(seen.width, seen.height), std::pair(2, 1)) << result.said;
    EXPECT_NE(seen.pixelAt(0, 0), seen.transparent);
    EXPECT_EQ(seen.pixelAt(1, 0), seen.transparent);
}
