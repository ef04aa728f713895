// What no host should pass: null pointers and handles, sizes and modes that mean nothing. Each has its answer.
#include "support.h"

static void expectAll(intptr_t wanted, auto... answers) {
    EXPECT_EQ((NativeWords{(intptr_t)answers...}), NativeWords(sizeof...(answers), wanted));
}

TEST(Arguments, ThatAreNullOrMeanNothingAreAnswered) {
    constexpr auto no = nullptr;
    uint8_t byte = 77;
    uint16_t count = 5;
    int16_t bits = 0;
    TolvaHandle table = 0;
    StreamDescriptor none = {};
    char name[144] = "";
    TolvaPictureDescriptor cells = {};
    uintptr_t words[16] = {};
    mov2buf("x", 1);
    fltLoadPointers(no);
    GetRasterInfo(0, no, no);
    QueryCellFormat(no, no, &bits, no, no, no);
    rlDitherGetCT(0, 1, 1, 8, 16, 0, &table, &count);
    rlRGB4toCMYK(0, 1, 1);
    _rlDitherOneLine(&byte, no, no, 1, 1);
    _rlDitherOneLine(&byte, no, &byte, 0, 1);
    _rlDitherOneLine(&byte, no, &byte, 1, 0);
    expectAll(-1, zunClose(0), zunCloseandDelete(0, "x"), zunSetLineFormat(0, 1), zunGetDataFormat(0, no, no),
              zunSetDataFormat(0, 1, 1), FillZunIOBuf(0), FlushZunIO(0), unxSeek(no, 0, 0), docSeek(0, 0, 0),
              zunSeek(0, 0, 0), zunOpen(no, no, 0x4000), EditSetup(0, 7), xEscapeSetup(0, 1, 4, &byte, &byte, 0),
              direct_indexed(&byte, 1, 1, &count, 3, &byte, 0));
    expectAll(0, zunRead(0, &byte, 1), zunWrite(0, &byte, 1), zunWriteLine(0, "x", 1), docRead(0, &byte, 1),
              zunReadShort(0, words, 1), zunReadLong(0, words, 1), zunReadFloat(0, words, 1),
              zunReadDouble(0, words, 1), zunWriteShort(0, words, 1), zunWriteLong(0, words, 1),
              zunWriteFloat(0, words, 1), zunWriteDouble(0, words, 1), zunOpen(no, no, -1), zunOpen("", no, 0),
              zunOpen("", &none, 0), zunOpen("", &none, -1), zunOpen(no, no, 0x200), ZUNGetTempFileName(0, "", 0, no),
              zunPtrGlobalAlloc(0), zunPtrGlobalFree(no), zunPtrGlobalHandle(no), zunPtrGlobalReAlloc(no, 0, 66),
              INIopen(no, 0, 0), GetPrivateProfileString(no, "k", "d", no, 0, "f"),
              GetPrivateProfileString("", "k", "d", no, 0, "f"), GetPrivateProfileString("s", "k", no, no, 0, "f"),
              GetPrivateProfileString("s", "k", "d", no, 0, no), WritePrivateProfileString(no, "k", "v", "f"),
              WritePrivateProfileString("s", "k", "v", no), WritePrivateProfileString("s", "k", "v", ""));
    expectAll(0, UseDefaultSettings(no), ScaleImageSize(no, no), RasterAdjustAspect(no, 1, 1),
              GetDisplayInfo(no, no, no, no), GetPrinterInfo(no, no, no, no), LoadProfile(0), LoadProfileList(0, 0, 0),
              GetDisplayColorInfo(0), LockGlobal(1), UnlockGlobal(1), GlobalLock(0), GlobalHandle(no), GlobalSize(0),
              GlobalFree(0), AltFontsAvailable(), FreeGlobal());
    expectAll(0, rlUnlockMemory(0), rlPointertoHandle(no), rlGetPixel(&byte, 1, 0, 0, 0),
              rlGetPixel(&byte, 1, 0, 0, 33), rlSetPixel(&byte, 1, 0, 0, 0, 1, no, no, 0),
              rlFlipBitmap(0, 8, 1, 1, 1, 1), TermColorLib(0), rlDitherBitmap(0, 1, 1, 8, 16, 0, &table),
              rlDitherBitmap(0, 1, 1, 8, -1, 0, &table), Shrink(no, &byte, 8, 1, 1, 1, 1),
              Stretch(&byte, no, 8, 1, 1, 1, 1), Shrink(&byte, &byte, 8, 1, 0, 1, 1));
    expectAll(0, dd_entry(-2, no, no), RASTER_dd_entry(-3, no, no), dd_entry32(0, 2, no), dd_entry32(0, 5, words),
              RASTER_dd_entry32(0, 5, words), DrawPlatformMetafile(0, 0, 0, 0), DrawPlatformMetafile(2, 1, 0, 0),
              DrawPlatformMetafile(3, 1, 0, 0), DrawExportCellData(0, 0, 0, 0), DrawExportCellData(1, 0, 0, 0),
              DrawExportCellData(3, 0, 0, 0), DrawExportCellData(9, 0, 0, 0));
    expectAll(1, DestroySetup(0), SaveProfile(), BackupProfile(no), GetProfileDirectory(no, "x"),
              GetProfileDirectory(name, no), DrawPlatformMetafile(2, 0, 0, 0));
    expectAll(4, dd_entry32(0, -2, no), RASTER_dd_entry32(0, -2, no), rlBytesPerLine(1, 1));
    expectAll(22, dd_entry32(0, 0, no), initdvr(words));
    expectAll(27, OutputPicture(0, no, no), InitPlatformMetafileFilter(27, 0, 0, no, no, no, no));
    expectAll(300, RASTER_initdvr(no), RASTER_dd_entry32(0, 0, words), termdvr(0));
    expectAll(303, ExportCellData("x", no, &cells, words), ExportCellData("x", &cells, no, words), EndCellBitmap(0, 0),
              ExportCellData("x", &cells, &cells, no), ExportCellData("x", &cells, &cells, words));
    expectAll(reinterpret_cast<intptr_t>(name), ds_axc(name), ds_tran(name), ds_clpr(name), ds_clip(name), ds_dm(name),
              ds_fl(name));
    expectAll(11, LoadString(0, 0xFFFF, no, 9), LoadString(0, 0xFFFF, name, 0));
    EXPECT_EQ(std::tuple(byte, bits, count, table, name[0]), std::tuple(77, 8, 5, 0u, '\0'));
}
