// Setup blocks, the string table, the screen, and how large a picture will be.
#include <unistd.h>

#include <cmath>
#include <limits>

#include "support.h"

namespace {

// The Setup block's first words, as a host declares them.
struct SetupWords {
    char host[144], names[3][144], driver[16];
    uintptr_t reserved[3];
    int32_t colour, second;
    uintptr_t device;
    uint8_t background[3];
    int32_t line, size, resolution;
    int16_t x, y;
    double width, height;
};

using Extent = std::tuple<double, double, int32_t>;  // width, height, resolution

Extent asked(double width, double height, int32_t resolution) {
    int16_t bits = 0;
    QueryCellFormat(&width, &height, &bits, &resolution, nullptr, nullptr);
    EXPECT_EQ(bits, 8);
    return {width, height, resolution};
}

}  // namespace

TEST(Setup, DefaultsStandWhenThereIsNoProfile) {
    const TolvaHandle h = CreateSetup(0, "/nowhere/at/all.ini", "Section", 0);
    const SetupBlock& setup = *static_cast<SetupBlock*>(GlobalLock(h));
    EXPECT_EQ(lpRaster, &setup);
    EXPECT_STREQ(szFilter, "TOLVA");
    EXPECT_STREQ(setup.driverName, "TOLVA.1");
    EXPECT_EQ(EditSetup(h, 77), 0);
    SetupWords& words = *static_cast<SetupWords*>(GlobalLock(h));
    EXPECT_EQ(words.reserved[1], 77u);
    std::memset(static_cast<void*>(&words), 0x5A, sizeof words);
    SetupWords expected = words;
    EXPECT_EQ(UseDefaultSettings(lpRaster), 0);
    std::memset(expected.names, 0, sizeof expected.names);
    std::memset(expected.reserved, 0, sizeof expected.reserved);
    std::memcpy(expected.driver, "TOLVA.1", 8);
    expected.colour = 103, expected.second = 0, expected.size = 602, expected.resolution = 309;
    expected.x = expected.y = 96, expected.width = 6.67, expected.height = 5.0;
    EXPECT_EQ(std::memcmp(&words, &expected, sizeof words), 0);  // what has no default stays
    std::memset(static_cast<void*>(&words), 0, sizeof words);
    EXPECT_EQ(DestroySetup(h), 0);
    EXPECT_EQ(lpRaster, nullptr);
    EXPECT_EQ(LimitCheck(), 0);
    char text[] = "################";
    EXPECT_EQ(LoadString(0, 0x10007, text, 3), 4);  // kept: cut without a terminator
    EXPECT_STREQ(text, "Fon#############");
    EXPECT_EQ(LoadString(0, 0xFFFF, text, sizeof text), 11);
    EXPECT_EQ(LoadString(0, 12, text, sizeof text), 0);
    EXPECT_STREQ(text, "Not Defined");
    std::string rows;
    for (const TolvaStringRow& row : gStringTable) rows += std::to_string(row.id) + row.text + ",";
    EXPECT_EQ(rows,
              "0~Defaults,1~Mode,2~Header,3~Default Mode,4Driver,6DefaultFileSpec,7Font,11Color Mode,"
              "15User-Defined Patterns,5ColorTableSource,8Color,9FILE,10PROFILE,18Resolution Mode,19X Resolution,"
              "20Y Resolution,21Width,22Height,23File Type,24Size Mode,13GIF Export,34Line Mode,65535Not Defined,");
}

TEST(Setup, LimitsAreRepairedAndTheLastRepairIsTold) {
    const TolvaHandle h = CreateSetup(0, std::string(500, 'x').c_str(), nullptr, 0);
    SetupBlock& setup = *lpRaster;
    setup.xResolution = 31;
    setup.yResolution = 400;
    EXPECT_EQ(LimitCheck(), -62);
    EXPECT_EQ(std::pair(setup.xResolution, setup.yResolution), std::pair(int16_t{96}, int16_t{400}));
    setup.yResolution = 401;
    setup.width = 22.5;
    setup.height = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(LimitCheck(), -63);
    EXPECT_EQ(std::pair(setup.width, setup.height), std::pair(6.67, 5.0));
    setup.width = 0.03125;
    setup.height = 22.0;
    EXPECT_EQ(LimitCheck(), 0);
    std::strcpy(setup.profilePath, "/some/profile.ini");
    EXPECT_EQ(BackupProfile(&setup), 1);
    EXPECT_STREQ(setup.thirdName, "/some/profile.ini");
    EXPECT_EQ(unlink(setup.profilePath), 0);
    DestroySetup(h);
}

TEST(Setup, AProfileIsLookedForInItsFolderFirst) {
    const Temporary ini;
    const std::string found = ini.folder + "/tolva_found.ini";
    save(found, "");
    char name[144] = "tolva_found.ini";
    EXPECT_EQ(GetProfileDirectory(name, nullptr), 1);
    setenv("INIDIR", ini.folder.c_str(), 1);
    EXPECT_EQ(GetProfileDirectory(name, nullptr), 0);
    EXPECT_EQ(name, found);
    name[0] = '\0';
    EXPECT_EQ(GetProfileDirectory(name, "/usr/lib/tolva_found.so"), 0);
    EXPECT_EQ(name, found);
    std::strcpy(name, "/tmp");
    EXPECT_EQ(GetProfileDirectory(name, nullptr), 1);
    const std::string cut = found.substr(0, 4) + "a_found.ini";
    for (const auto& [room, path] : {std::pair{144, found.c_str()}, {4, cut.c_str()}, {0, "tolva_found.ini"}}) {
        std::strcpy(name, "tolva_found.ini");
        EXPECT_EQ(INIclose(INIopen(name, room, 0)), 0);
        EXPECT_STREQ(name, path);  // what was opened, as much of it as there is room for
    }
    for (const size_t length : {142, 143, 144, 145}) {  // a path and its end have 144 bytes
        const std::string file = std::string(length - ini.folder.size() - 1, 'f');
        save(ini.folder + "/" + file, "");
        std::strcpy(name, file.c_str());
        EXPECT_EQ(GetProfileDirectory(name, nullptr), length < 144 ? 0 : 1);
        EXPECT_EQ(name, length < 144 ? ini.folder + "/" + file : file);
    }
    unsetenv("INIDIR");
}

TEST(Display, TheEnvironmentWinsOverTheHostAndTheHostOverTheDefaults) {
    double width = 0, height = 0;
    int16_t x = 0, y = 0;
    const auto expect = [&](double pixelsAcross, double xDpi, double pixelsDown, double yDpi) {
        GetDisplayInfo(&width, &height, &x, &y);
        EXPECT_EQ(std::pair(width, height), std::pair(pixelsAcross / xDpi, pixelsDown / yDpi));
        EXPECT_EQ(std::pair(x, y), std::pair(int16_t(xDpi), int16_t(yDpi)));
    };
    expect(1280, 96, 1078, 96);
    SetDisplayInfo(0, 800, 0, 50);
    expect(1280, 96, 800, 50);
    setenv("DISPLAYINFO", "1024,768x72 144", 1);
    expect(1024, 72, 768, 144);
    setenv("DISPLAYINFO", "1024", 1);
    GetDisplayInfo(&width, &height, nullptr, nullptr);
    EXPECT_TRUE(std::isinf(width) && std::isnan(height));
    unsetenv("DISPLAYINFO");
    SetDisplayInfo(0, 0, 0, 0);
    for (const int known : {0, 1}) {  // of the printer nothing, until it is told
        EXPECT_EQ(GetPrinterInfo(&width, &height, &x, &y), 0);
        EXPECT_EQ(std::tuple(width, height, x, y), std::tuple(known, known * 2, known * 3, known * 4));
        SetPrinterInfo(1, 2, 3, 4);
    }
}

TEST(Geometry, FollowsTheModes) {
    const TolvaHandle h = defaultSetup();
    SetupBlock& setup = *lpRaster;
    EXPECT_EQ(asked(10.0, 5.0, 64), Extent(640, 320, 64));
    EXPECT_EQ(setup.xResolution, 64);
    EXPECT_EQ(setup.width, 10.0);

    UseDefaultSettings(&setup);  // no resolution: the picture's aspect in the box of 6.67 x 5 inches at 96
    EXPECT_EQ(asked(40, 50, 0), Extent(384, 480, 96));
    EXPECT_EQ(asked(481, 480, 0), Extent(482, 480, 96));
    EXPECT_EQ(asked(1000, 10, 0), Extent(640, 7, 96));

    setup.sizeMode = 601;
    setup.resolutionMode = 308;
    setup.xResolution = 128;
    setup.yResolution = 64;
    setup.width = setup.height = 2.0;
    EXPECT_EQ(asked(3.0, 2.0, 300), Extent(192, 128, 128));

    setup.sizeMode = 600;
    setup.resolutionMode = 307;
    setenv("DISPLAYINFO", "1000x500x100x50", 1);
    EXPECT_EQ(asked(1.0, 1.0, 300), Extent(1000, 1000, 100));
    EXPECT_EQ(setup.width, 10.0);
    EXPECT_EQ(setup.yResolution, 100);
    unsetenv("DISPLAYINFO");
    DestroySetup(h);
    EXPECT_EQ(asked(7.0, 8.0, 9), Extent(7, 8, 9));
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
