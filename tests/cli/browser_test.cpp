// browser_test.cpp: what a web browser makes of GIFs: each pixel of a canvas that they are drawn to.

#include "pictures.h"

constexpr char kPage[] = R"(<body><script>onload = () => { for (const image of document.images) {
    const canvas = new OffscreenCanvas(image.naturalWidth, image.naturalHeight), context = canvas.getContext("2d");
    context.drawImage(image, 0, 0);
    const bytes = context.getImageData(0, 0, canvas.width, canvas.height).data;
    document.body.appendChild(document.createElement("p")).textContent =
        canvas.width + Array.from(bytes, byte => "%" + byte.toString(16).padStart(2, "0")).join(""); } }</script>)";

TEST_F(Pictures, AreInABrowserWhatTheyWere) {
    if (runProgram({.words = "chromium --version"}).status != 0) GTEST_SKIP() << "chromium is not installed";
    const auto escaped = [](const std::string& bytes) {
        std::string text;
        for (const char c : bytes) text += {'%', "0123456789abcdef"[c >> 4 & 15], "0123456789abcdef"[c & 15]};
        return text;
    };
    std::string page = kPage;
    std::vector<std::string> wanted;
    for (const char* const order :  // extents, and options
         {"1 2 --colours 2", "33 17 --colours 2 --interlace", "300 201", "97 301 --interlace",
          "2 5 --colours 3 --interlace", "41 40 --colours 64 --road bracket --interlace", "7 8 --road export",
          "120 81 --colours 16 --dither diffusion", "64 49 --colours 255 --dither diffusion --interlace",
          "90 60 --raw --interlace", "50 70 --fit 33x33"}) {
        int width, height, words = 0;
        ASSERT_EQ(std::sscanf(order, "%d%d%n", &width, &height, &words), 2);
        write("a.ppm", "P6 " + std::string(order, words) + " 255\n" + greys(3 * width, height));
        // The first pixel's colour, which --raw changes.
        for (const std::string clear : {"", " --transparent 00070E"}) {
            const SeenGif seen = convert("a.ppm " + std::string(order + words) + clear);
            std::string pixels;
            for (const uint8_t index : seen.pixels) {
                const auto [red, green, blue] = seen.palette[index];
                for (const uint8_t part : {red, green, blue, uint8_t{255}}) {
                    pixels += static_cast<char>(index == seen.transparent ? 0 : part);
                }
            }
            wanted.push_back(std::to_string(seen.width) + escaped(pixels));
            page += "<img src='data:image/gif," + escaped(read("a.gif")) + "'>";
        }
    }
    write("page.html", page);
    const Words browser =
        "timeout 90 chromium --headless --no-sandbox --force-color-profile=srgb --disable-gpu --disable-quic "
        "--disable-sync --disable-background-networking --disable-component-update --no-first-run --user-data-dir=user "
        "--dump-dom page.html";
    const RunResult shown = runProgram({.before = {"env", "HOME=" + folder}, .words = browser, .folder = folder});
    size_t at = 0;
    for (const std::string& one : wanted) {
        at = shown.out.find("<p>", at) + 3;
        ASSERT_GT(at, 2u) << shown.status << ": " << shown.said;
        EXPECT_TRUE(same(shown.out.substr(at, shown.out.find("</p>", at) - at), one));
    }
}
