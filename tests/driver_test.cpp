// The protocol: entries, states, errors, replies, status.
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "support.h"

TEST(Entries, AnswerVersionsAndAddressesAtAnyTime) {
    uint32_t versions[2] = {};
    EXPECT_EQ(RASTER_dd_entry(-2, &versions[0], nullptr), 0);
    EXPECT_EQ(RASTER_dd_entry32(0, -2, &versions[1]), 4);
    for (const uint32_t version : versions) EXPECT_EQ(version, 0x02000005u);
    void* entry = nullptr;
    RASTER_dd_entry(-3, &entry, nullptr);
    EXPECT_EQ(entry, reinterpret_cast<void*>(RASTER_dd_entry32));
    dd_entry(-3, &entry, nullptr);
    EXPECT_EQ(entry, reinterpret_cast<void*>(dd_entry32));
    TolvaNameTableRecord record = {};
    fltLoadPointers(&record);
    EXPECT_EQ(record.count.rows, 9);
    struct Row {
        const char* name;
        uint16_t ordinal;
        void* target;
    };
    const auto at = [](auto* f) { return reinterpret_cast<void*>(f); };
    const Row rows[] = {{"CreateSetup", 1001, at(CreateSetup)},
                        {"DestroySetup", 1002, at(DestroySetup)},
                        {"EditSetup", 1003, at(EditSetup)},
                        {"EscapeSetup", 1004, at(xEscapeSetup)},
                        {"ZUNGetFilterVersion", 1005, at(ZUNGetFilterVersion)},
                        {"dd_entry", 1006, at(dd_entry)},
                        {"RASTER_dd_entry", 1008, at(RASTER_dd_entry)},
                        {"ExportCellData", 1009, at(ExportCellData)},
                        {"szDLLName", 1010, export_szDLLName}};
    const Row* row = reinterpret_cast<const Row*>(record.table);
    for (const Row& expected : rows) {
        EXPECT_STREQ(row->name, expected.name);
        EXPECT_EQ(row->ordinal, expected.ordinal);
        EXPECT_EQ(row++->target, expected.target);
    }
    for (const int func : {1, 2, -1, 99}) EXPECT_EQ(RASTER_dd_entry32(0, func, nullptr), 0);
    Bytes block = opcodeBlock(opOpen);
    EXPECT_EQ(call(block), 0);
    EXPECT_EQ(getfunc(opOpen), d_noop);
    push_er(300);
    for (const TolvaOpcodeHandler handler : {d_opdv, d_cldv, d_begp, d_begpb, d_endp, d_ca, d_gdp, d_popes, d_empes,
                                             dq_es, ds_dvwn, ds_bgc, ds_dvvp, ds_vpsm, ds_ct, dq_dvwn, dq_dvvp}) {
        EXPECT_EQ(handler(block.data()), block.data());
    }
}

TEST(Init, FillsTheHostsBlockAndCapabilities) {
    Host host;
    Asked asked;
    host.status = asked.record;
    asked.answer = 5;
    asked.detail = 0;
    std::fill_n(host.capabilities, 60, 1234);
    host.setup = defaultSetup();
    host.settings()->colourMode = 107;
    ASSERT_EQ(startHost(host, ""), 0);
    EXPECT_EQ(host.init[10], reinterpret_cast<intptr_t>(lpEMData->replyBuffer));
    EXPECT_EQ(lpEMData->state, inInit);
    const int32_t* const c = host.capabilities;
    const int x = 1234;  // the host's own values stay
    EXPECT_EQ(std::vector<int32_t>(c, c + 60),
              (std::vector<int32_t>{100, -1, -1, -1, -1, 0,  x,  x,  x,  -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0,
                                    0,   0,  0,  -1, -1, -1, -1, -1, -1, -1, x,  0,  -1, -1, 0,  0,  -1, -1, 1,  1,
                                    0,   -1, x,  x,  0,  -1, x,  4,  x,  x,  x,  x,  x,  x,  x,  0,  0,  -1, 0,  -1}));
    EXPECT_EQ(asked.calls, (std::vector<std::vector<intptr_t>>{{0, -2, 100, 0, 0, 0}}));
    EXPECT_EQ(lpSetup, host.settings());
    const TolvaHandle first = hEMData;  // kept: a second init leaves the first block to whoever has its handle
    GlobalFree(lpEMData->replyHandle);
    ASSERT_EQ(startHost(host, ""), 0);
    EXPECT_NE(hEMData, first);
    GlobalFree(first);
    endHost(host);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Init, RefusesWhatItCannotHold) {
    Host host;
    for (int n : {500, 144}) EXPECT_EQ(startHost(host, std::string(n, 'n').c_str()), 300);
    EXPECT_EQ(lpEMData, nullptr);
    auto* const block = reinterpret_cast<TolvaRasterInitBlock*>(host.init.data());
    host.init[13] = host.init[3] = 0;
    EXPECT_EQ(RASTER_initdvr(block), 300);
    host.init[13] = host.setup;
    host.init[14] = host.init[15] = 0;
    EXPECT_EQ(RASTER_initdvr(block), 0);
    RASTER_termdvr();
    hCommon = 1;
    EXPECT_EQ(startHost(host, ""), 300);
    hCommon = 0;
    endHost(host);
}

TEST(Dispatch, RunsEachOpcodeInItsStatesAndNoOther) {
    struct Row {
        TolvaOpcodeHandler handler;
        int32_t opcode, states;
    };
    constexpr int32_t afterOpen = inOpen | inBegun | inBody | inEnded, anyState = inInit | afterOpen;
    // clang-format off
    const Row rows[] = {  // all others do nothing
        {d_opdv,  opOpen,        inInit},           {d_cldv,  opClose,         afterOpen},
        {d_begp,  opBegin,       inOpen | inEnded}, {d_begpb, opBody,          inBegun},
        {ds_dvwn, opWindow,      inBegun},          {ds_bgc,  opBackground,    inBegun},
        {ds_dvvp, opViewport,    inBegun},          {ds_vpsm, opScaling,       inBegun},
        {dq_dvwn, opQueryWindow, afterOpen},        {dq_dvvp, opQueryViewport, afterOpen},
        {ds_axc,  opAxc,         inBody},           {ds_tran, opTran,          inBody},
        {ds_clpr, opClpr,        inBody},           {ds_clip, opClip,          inBody},
        {d_ca,    opCells,       inBody},           {d_gdp,   opPrimitive,     inBody},
        {ds_ct,   opColours,     inBody},           {ds_dm,   opDm,            inBody},
        {d_endp,  opEnd,         inBody},
        {d_popes, opPopErrors,   anyState},         {d_empes, opClearErrors,   anyState}};
    // clang-format on
    Device device;
    for (const int32_t state : {inInit, inOpen, inBegun, inBody, inEnded}) {
        lpEMData->state = state;
        for (int32_t opcode = -3; opcode < 0x1000; ++opcode) {
            const Row* const row =
                std::find_if(std::begin(rows), std::end(rows), [&](const Row& r) { return r.opcode == opcode; });
            const bool runs = row != std::end(rows) && (row->states & state) != 0;
            ASSERT_EQ(getfunc(opcode), runs ? row->handler : d_noop) << opcode << " in " << state;
            ASSERT_EQ(InquireSupport(opcode, 0), runs && opcode != opPrimitive ? 2 : 0) << opcode << " in " << state;
        }
    }
    std::set<TolvaOpcodeHandler> handlers;
    for (const Row& row : rows) ASSERT_TRUE(handlers.insert(row.handler).second) << row.opcode;
    GDPSupport[1] = 6;
    EXPECT_EQ(InquireSupport(opPrimitive, -1), 6);
    GDPSupport[1] = 0;
    for (const int32_t id : {0, 5, -8, INT32_MIN, INT32_MAX}) EXPECT_EQ(InqGDPSupport(id), 0);
    lpEMData->state = inInit;
}

TEST(Errors, WithoutACapacityOnlyTheLatestIsKept) {
    Host host;
    ASSERT_EQ(startHost(host, "", 6), 0);
    for (const int32_t code : {303, 303, 300}) push_er(code);
    EXPECT_EQ(lpEMData->result, 300);
    EXPECT_EQ(lpEMData->lostErrors, 3);
    EXPECT_EQ(lpEMData->errorCount, 0);
    EXPECT_EQ(lpEMData->firstError.code, 300);
    dq_es(nullptr);  // the reply buffer holds 6 bytes
    EXPECT_EQ(lpEMData->replyPosition, 6u);
    mov2buf("more", 4);
    EXPECT_EQ(lpEMData->replyPosition, 6u);
    lpEMData->replyPosition = UINT32_MAX - 1;
    mov2buf("more", 4);
    EXPECT_EQ(lpEMData->replyPosition, UINT32_MAX - 1);
    endHost(host);
}

TEST(Errors, WithAHostsCapacityTheyStackUpAndPopNewestFirst) {
    Device device;
    lpEMData->errorCapacity = 2;
    lpEMData->currentOpcode = 7;
    for (const int32_t code : {300, 303, 21, 21}) push_er(code);
    EXPECT_EQ(lpEMData->errorCount, 2);
    EXPECT_EQ(lpEMData->lostErrors, 1);
    EXPECT_EQ(lpEMData->firstError.code, 300);
    Bytes block = opcodeBlock(opPopErrors);
    put(block, 16, int32_t{5});
    EXPECT_EQ(call(block), 0);
    struct {
        int32_t count;
        TolvaErrorRecord errors[2];
    } reply;
    std::memcpy(&reply, lpEMData->replyBuffer, sizeof reply);
    EXPECT_EQ(reply.count, 2);
    EXPECT_EQ(reply.errors[0].code, 21);
    EXPECT_EQ(reply.errors[1].code, 300);
    EXPECT_EQ(lpEMData->replyPosition, 20u);
    lpEMData->errorCapacity = 1000;
    for (int32_t code = 1; code < 40; ++code) push_er(code);
    EXPECT_EQ(lpEMData->errorCount, 10);
    lpEMData->errorCount = 100000;
    push_er(1);
    EXPECT_EQ(call(block), 0);
    EXPECT_EQ(callOpcode(opClearErrors), 0);
    EXPECT_EQ(lpEMData->errorCount, 0);
}

TEST(Settings, ComeBackAsTheyWereSet) {
    Device device;
    callOpcode(opOpen);
    callOpcode(opBegin);
    Bytes block = opcodeBlock(opWindow);
    for (int i = 0; i < 6; ++i) put(block, 16 + 8 * i, 1.5 + i);
    call(block);
    put(block, 0, int32_t{opViewport});
    call(block);
    callOpcode(opQueryWindow);
    callOpcode(opQueryViewport);
    double reply[12];
    std::memcpy(reply, lpEMData->replyBuffer, sizeof reply);
    EXPECT_EQ(std::vector<double>(reply, reply + 12),
              (std::vector<double>{1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 1.5, 5.5, 0, 2.5, 4.5, 0}));
    block = opcodeBlock(opScaling);
    const double rows[][3] = {{1, 0.254, 100}, {3, 0.1, 100}, {1, 0.0, 0},           {1, 0.1, 254},
                              {-1, 9.0, 254},  {2, 0.254, 0}, {1, 1e-300, INT32_MAX}};
    for (const auto& [mode, unit, dpi] : rows) {
        put<int16_t>(block, 16, mode);
        put(block, 24, unit);
        call(block);
        EXPECT_EQ(lpEMData->resolution, dpi);
    }
    callOpcode(opBody);
    lpEMData->conversionMode = 1;
    block = colourTableBlock(Bytes(30, 10), 250);
    RASTER_dd_entry32(0, 2, block.data());
    EXPECT_EQ(lpEMData->colourTable[255][2], 245);
    EXPECT_EQ(lpEMData->colourTable[249][2], 0);
    EXPECT_EQ(block[20 + 29], 245);  // kept: the host's block is converted too
    block = colourTableBlock(Bytes(768, 10), 256);
    EXPECT_EQ(call(block), 0);
    block.resize(20 + 65535 * 3, 10);
    for (const uint32_t length : {0u, 1u, 4u, 8u, 196609u, 196610u, 0x80000000u, UINT32_MAX}) {
        const int converted = length == 8 || length == 196609 ? (length - 2) / 3 * 3 : 0;
        std::fill(block.begin() + 20, block.end(), 10);
        put(block, 4, length);
        put(block, 16, 0);
        lpEMData->colourTable[0][0] = 7;
        RASTER_dd_entry32(0, 2, block.data());
        EXPECT_EQ(std::count(block.begin() + 20, block.end(), 245), converted) << length;
        EXPECT_EQ(lpEMData->colourTable[0][0], converted > 0 ? 245 : 7);
    }
}

TEST(Calls, FromACallbackAreRefusedWhereTheyWouldPullAwayTheGround) {
    Asked asked;
    Device device;
    std::vector<TolvaHandle> made;
    Bytes blocks[] = {opcodeBlock(opClose), Bytes(128)};
    int refused = 0, within = 0;
    asked.within = [&] {
        const TolvaEMData before = *lpEMData;
        ++within;
        for (const auto entry : {RASTER_dd_entry32, dd_entry32}) {
            for (const int func : {0, 2, -1}) refused += entry(0, func, blocks[func == 0].data()) == 300;
            uint32_t version = 0;
            EXPECT_EQ(entry(0, -2, &version), 4);
        }
        refused += RASTER_initdvr(reinterpret_cast<TolvaRasterInitBlock*>(device.host.init.data())) == 300;
        refused += RASTER_termdvr() == 300;
        refused += initdvr(blocks[1].data()) == 300;
        refused += termdvr(0) == 300;
        refused += ExportCellData("", nullptr, nullptr, nullptr) == 300;
        refused += OutputPicture(0, nullptr, nullptr) == 300;
        made.push_back(defaultSetup());  // it can be made, and then stays
        refused += DestroySetup(device.host.setup) + DestroySetup(made.back());
        EXPECT_EQ(std::memcmp(&before, lpEMData, sizeof before), 0);
        lpRaster = device.host.settings();
    };
    device.host.status = asked.record;
    EXPECT_EQ(sendPicture(noise(9, 9, 256, 1)), 0);
    EXPECT_EQ(within, 2);
    callOpcode(opOpen);
    EXPECT_EQ(RASTER_termdvr(), 0);  // asks while it closes
    EXPECT_EQ(startHost(device.host, device.file), 0);
    EXPECT_EQ(within, 4);
    OutputPicture(0, &asked, [](intptr_t operation, intptr_t context, intptr_t, intptr_t) -> intptr_t {
        if (operation == 0) reinterpret_cast<Asked*>(context)->within();
        return 0;
    });
    const StreamIOProc opened = [](intptr_t instance, intptr_t operation, intptr_t, intptr_t) -> intptr_t {
        if (operation == 1) reinterpret_cast<Asked*>(instance)->within();
        return operation == 1 ? instance : 0;
    };
    device.host.settings()->outputDevice = reinterpret_cast<uintptr_t>(opened);
    asked.record[12] = reinterpret_cast<intptr_t>(&asked);
    const uintptr_t arguments[] = {0, 0, device.host.setup, 0, 0, 0, reinterpret_cast<uintptr_t>(asked.address())};
    TolvaPictureDescriptor none = {};
    EXPECT_EQ(ExportCellData("", &none, &none, arguments), 0);
    device.host.settings()->outputDevice = 0;
    EXPECT_EQ(within, 6);
    EXPECT_EQ(refused, 14 * within);
    EXPECT_EQ(sendPicture(noise(9, 9, 256, 1)), 0);
    EXPECT_FALSE(device.written().empty());
    asked.within = {};
    for (const TolvaHandle h : made) EXPECT_EQ(DestroySetup(h), 0);
}

TEST(Status, AStopIsAskedForItsDetailAndDeletesTheFile) {
    Device device;
    Asked asked;
    device.host.status = asked.record;
    callOpcode(opOpen);
    EXPECT_EQ(access(device.file, F_OK), 0);
    asked.answer = 5;
    asked.detail = 0;
    EXPECT_EQ(RASTER_escape(), 0);  // the detail's answer is 0: go on
    EXPECT_EQ(asked.calls.back(), (std::vector<intptr_t>{2, 61, 0, 0, 0, 0}));
    asked.detail = 1;
    EXPECT_EQ(callOpcode(opClose), 901);
    EXPECT_NE(access(device.file, F_OK), 0);
    asked.answer = 0;
    EXPECT_EQ(callOpcode(opOpen), 0);
    asked.answer = asked.detail = static_cast<intptr_t>(UINTPTR_MAX << (4 * sizeof(void*)));
    EXPECT_EQ(RASTER_escape(), 901);  // also where the low half is 0
    asked.answer = 0;
    EXPECT_EQ(callOpcode(opClose), 0);
    EXPECT_EQ(access(device.file, F_OK), 0);
    EXPECT_EQ(escape(), 0);
}

TEST(Device, ClosesTheStreamThatAHostPutsInThePlaceOfItsOwn) {
    Host host;  // no name: to a memory stream
    ASSERT_EQ(startHost(host, nullptr), 0);
    EXPECT_EQ(callOpcode(opOpen), 0);
    // One that the host puts in its place is closed, and its block left alone; the one taken out is the host's.
    TolvaHandle devices = 0;
    MemoryFile mine;
    Asked asked;
    asked.within = [&] { devices = std::exchange(lpEMData->outputStream, mine.stream); };
    host.status = asked.record;
    zunWrite(mine.stream, "GIF", 3);
    callOpcode(opClose);
    asked.within = {};
    EXPECT_EQ(std::memcmp(mine.block, "GIF\xFF", 4), 0);
    GlobalFree(GlobalHandle(mine.block));
    lpEMData->outputStream = devices;
    lpEMData->state = inOpen;
    endHost(host);
}

TEST(Device, IsClosedByTermAndSparesWhatIsNoFile) {
    Device device;
    openBody(3, 3);
    zunWrite(lpEMData->outputStream, "GIF", 3);
    endHost(device.host);
    const std::string &target = device.file.path, pipe = target + ".pipe", link = target + ".link",
                      nowhere = target + ".no";
    EXPECT_EQ(textOf(target), "GIF");
    struct stat about;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600) | symlink("file", link.c_str()) | symlink("none", nowhere.c_str()), 0);
    for (const auto& [path, stays] : {std::pair{pipe, true}, {nowhere, true}, {link, false}, {target, false}}) {
        MemoryFile stream;
        EXPECT_EQ(zunCloseandDelete(stream.stream, path.c_str()), 0);
        GlobalFree(GlobalHandle(stream.block));
        EXPECT_EQ(lstat(path.c_str(), &about) == 0, stays) << path;
        EXPECT_TRUE(path == target || access(target.c_str(), F_OK) == 0);
    }
    EXPECT_EQ(zunOpen(pipe.c_str(), nullptr, 512), 1u);  // asked for by name, anything goes
}
