// The protocol: entries, states, errors, replies, status.
#include <unistd.h>

#include <algorithm>
#include <set>

#include "support.h"

TEST(Entries, AnswerVersionsAndAddressesAtAnyTime) {
    uint32_t versions[2] = {};
    EXPECT_EQ(RASTER_dd_entry(kFuncVersion, &versions[0], nullptr), 0);
    EXPECT_EQ(RASTER_dd_entry32(0, kFuncVersion, &versions[1]), 4);
    for (const uint32_t version : versions) EXPECT_EQ(version, 0x02000005u);
    void* entry = nullptr;
    RASTER_dd_entry(kFuncEntry32, &entry, nullptr);
    EXPECT_EQ(entry, reinterpret_cast<void*>(RASTER_dd_entry32));
    dd_entry(kFuncEntry32, &entry, nullptr);
    EXPECT_EQ(entry, reinterpret_cast<void*>(dd_entry32));
    NameTableRecord record = {};
    fltLoadPointers(&record);
    EXPECT_EQ(record.count.rows, 9);
    EXPECT_STREQ(record.table[3].name, "EscapeSetup");
    EXPECT_EQ(record.table[6].ordinal, 1008);
    EXPECT_EQ(record.table[8].target, export_szDLLName);
    for (const int func : {1, 2, -1, 99}) EXPECT_EQ(RASTER_dd_entry32(0, func, nullptr), 0);
    Bytes block = opcodeBlock(kOpOpenDevice);
    EXPECT_EQ(call(block), 0);
    EXPECT_EQ(getfunc(kOpOpenDevice), d_noop);
    push_er(300);
    for (const OpcodeHandler handler : {d_opdv, d_cldv, d_begp, d_begpb, d_endp, d_ca, d_gdp, d_popes, d_empes, dq_es,
                                        ds_dvwn, ds_bgc, ds_dvvp, ds_vpsm, ds_ct, dq_dvwn, dq_dvvp}) {
        EXPECT_EQ(handler(block.data()), block.data());
    }
}

TEST(Init, FillsTheHostsBlockAndCapabilities) {
    Host host;
    Asked asked;
    host.status = asked.record;
    asked.answer = 5;
    asked.detail = 0;
    std::fill_n(host.capabilities, kCapabilitySlots, 1234);
    host.setup = defaultSetup();
    host.settings()->colourMode = kColourInvertGrey;
    ASSERT_EQ(startHost(host, ""), 0);
    EXPECT_EQ(host.init.replyBuffer, lpEMData->replyBuffer);
    EXPECT_EQ(lpEMData->state, kInitialised);
    const int32_t* const c = host.capabilities;
    EXPECT_EQ(std::vector<int32_t>(c, c + 7), (std::vector<int32_t>{100, -1, -1, -1, -1, 0, 1234}));
    EXPECT_EQ(c[kCapabilityConversion], 4);
    EXPECT_EQ(c[38], 1);
    EXPECT_EQ(std::count(c, c + kCapabilitySlots, 1234), 14);
    EXPECT_EQ(asked.calls, (std::vector<std::vector<intptr_t>>{{0, -2, 100, 0, 0, 0}}));
    EXPECT_EQ(lpSetup, host.settings());
    const Handle first = hEMData;  // kept: a second init leaves the first block to whoever has its handle
    GlobalFree(lpEMData->replyHandle);
    ASSERT_EQ(startHost(host, ""), 0);
    EXPECT_NE(hEMData, first);
    GlobalFree(first);
    endHost(host);
    EXPECT_EQ(lpEMData, nullptr);
}

TEST(Init, RefusesWhatItCannotHold) {
    Host host;
    for (int n : {500, 144}) EXPECT_EQ(startHost(host, std::string(n, 'n').c_str()), kExportFailed);
    EXPECT_EQ(lpEMData, nullptr);
    host.init.setup = 0;
    host.init.fileName = nullptr;
    EXPECT_EQ(RASTER_initdvr(&host.init), kExportFailed);
    EXPECT_EQ(RASTER_initdvr(nullptr), kExportFailed);
    host.init.setup = host.setup;
    host.init.capabilities = nullptr;
    host.init.status = nullptr;
    EXPECT_EQ(RASTER_initdvr(&host.init), 0);
    RASTER_termdvr();
    hCommon = 1;
    EXPECT_EQ(startHost(host, ""), kExportFailed);
    hCommon = 0;
    endHost(host);
}

TEST(Dispatch, RunsEachOpcodeInItsStatesAndNoOther) {
    struct Row {
        OpcodeHandler handler;
        int32_t opcode, states;
    };
    const Row rows[] = {{d_opdv, 1, 1},      {d_cldv, 2, 30},      {d_begp, 3, 18},      {d_begpb, 4, 4},
                        {d_endp, 5, 8},      {ds_dvwn, 0x206, 4},  {ds_bgc, 0x207, 4},   {ds_dvvp, 0x208, 4},
                        {ds_vpsm, 0x209, 4}, {dq_dvwn, 0x2ff, 30}, {dq_dvvp, 0x2fd, 30}, {ds_axc, 0x303, 8},
                        {ds_tran, 0x304, 8}, {ds_clpr, 0x305, 8},  {ds_clip, 0x306, 8},  {d_ca, 0x409, 8},
                        {d_gdp, 0x40a, 8},   {ds_ct, 0x522, 8},    {ds_dm, 0x906, 8},    {d_popes, 0xf02, 31},
                        {d_empes, 0xf03, 31}};
    Device device;
    for (const int32_t state : {kInitialised, kDeviceOpen, kPictureBegun, kPictureBody, kPictureEnded}) {
        lpEMData->state = state;
        for (int32_t opcode = -3; opcode < 0x1000; ++opcode) {
            const Row* const row =
                std::find_if(std::begin(rows), std::end(rows), [&](const Row& r) { return r.opcode == opcode; });
            const bool runs = row != std::end(rows) && (row->states & state) != 0;
            ASSERT_EQ(getfunc(opcode), runs ? row->handler : d_noop) << opcode << " in " << state;
            ASSERT_EQ(InquireSupport(opcode, 0), runs && opcode != kOpPrimitive ? 2 : 0) << opcode;
        }
    }
    std::set<OpcodeHandler> handlers;
    for (const Row& row : rows) ASSERT_TRUE(handlers.insert(row.handler).second) << row.opcode;
    GDPSupport[1] = 6;
    EXPECT_EQ(InquireSupport(kOpPrimitive, -1), 6);
    GDPSupport[1] = 0;
    for (const int32_t id : {0, 5, -8, INT32_MIN, INT32_MAX}) EXPECT_EQ(InqGDPSupport(id), 0);
    lpEMData->state = kInitialised;
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
    Bytes block = opcodeBlock(kOpPopErrors);
    put(block, kPopRequested, int32_t{5});
    EXPECT_EQ(call(block), 0);
    struct {
        int32_t count;
        ErrorRecord errors[2];
    } reply;
    std::memcpy(&reply, lpEMData->replyBuffer, sizeof reply);
    EXPECT_EQ(reply.count, 2);
    EXPECT_EQ(reply.errors[0].code, 21);
    EXPECT_EQ(reply.errors[1].code, 300);
    EXPECT_EQ(lpEMData->replyPosition, 20u);
    lpEMData->errorCapacity = 1000;
    for (int32_t code = 1; code < 40; ++code) push_er(code);
    EXPECT_EQ(lpEMData->errorCount, kErrorEntries);
    lpEMData->errorCount = 100000;
    push_er(1);
    EXPECT_EQ(call(block), 0);
    EXPECT_EQ(callOpcode(kOpClearErrors), 0);
    EXPECT_EQ(lpEMData->errorCount, 0);
}

TEST(Settings, ComeBackAsTheyWereSet) {
    Device device;
    callOpcode(kOpOpenDevice);
    callOpcode(kOpBeginPicture);
    Bytes block = opcodeBlock(kOpSetWindow);
    for (int i = 0; i < 6; ++i) put(block, kBlockData + 8 * i, 1.5 + i);
    call(block);
    put(block, kBlockOpcode, int32_t{kOpSetViewport});
    call(block);
    callOpcode(kOpQueryWindow);
    callOpcode(kOpQueryViewport);
    double reply[12];
    std::memcpy(reply, lpEMData->replyBuffer, sizeof reply);
    EXPECT_EQ(std::vector<double>(reply, reply + 12),
              (std::vector<double>{1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 1.5, 5.5, 0, 2.5, 4.5, 0}));
    block = opcodeBlock(kOpSetScaling);
    const double rows[][3] = {{1, 0.254, 100}, {3, 0.1, 100}, {1, 0.0, 0},           {1, 0.1, 254},
                              {-1, 9.0, 254},  {2, 0.254, 0}, {1, 1e-300, INT32_MAX}};
    for (const auto& [mode, unit, dpi] : rows) {
        put<int16_t>(block, kScalingMode, mode);
        put(block, kScalingUnit, unit);
        call(block);
        EXPECT_EQ(lpEMData->resolution, dpi);
    }
    callOpcode(kOpBeginBody);
    call(windowBlock(99, 99));  // too late
    EXPECT_EQ(lpEMData->window[3], 4.5);

    lpEMData->conversionMode = kConvertInvert;
    block = colourTableBlock(Bytes(30, 10), 250);
    RASTER_dd_entry32(0, kFuncCall, block.data());
    EXPECT_EQ(lpEMData->colourTable[255][2], 245);
    EXPECT_EQ(lpEMData->colourTable[249][2], 0);
    EXPECT_EQ(block[kTableColours + 29], 245);  // kept: the host's block is converted too
    block = colourTableBlock(Bytes(768, 10), 256);
    EXPECT_EQ(call(block), 0);
    for (const uint32_t length : {0u, 1u, 4u, UINT32_MAX}) {
        put(block, kTableLength, length);
        call(block);
    }
}

TEST(Status, AStopIsAskedForItsDetailAndDeletesTheFile) {
    Device device;
    Asked asked;
    device.host.status = asked.record;
    callOpcode(kOpOpenDevice);
    EXPECT_EQ(access(device.file, F_OK), 0);
    asked.answer = 5;
    asked.detail = 0;
    EXPECT_EQ(RASTER_escape(), 0);  // the detail's answer is 0: go on
    EXPECT_EQ(asked.calls.back(), (std::vector<intptr_t>{2, 61, 0, 0, 0, 0}));
    asked.detail = 1;
    EXPECT_EQ(callOpcode(kOpCloseDevice), kStoppedByHost);
    EXPECT_NE(access(device.file, F_OK), 0);
    asked.answer = 0;
    EXPECT_EQ(callOpcode(kOpOpenDevice), 0);
    asked.answer = asked.detail = static_cast<intptr_t>(UINTPTR_MAX << (4 * sizeof(void*)));
    EXPECT_EQ(RASTER_escape(), kStoppedByHost);  // also where the low half is 0
    asked.answer = 0;
    EXPECT_EQ(callOpcode(kOpCloseDevice), 0);
    EXPECT_EQ(access(device.file, F_OK), 0);
    EXPECT_EQ(escape(), 0);
}

TEST(Device, TellsOfStreamsThatCannotBeOpenedOrWritten) {
    for (const auto& [path, openResult, sendResult] :
         {std::tuple{"/nowhere/at/all.gif", 303, 303}, {"/dev/full", 0, 303}}) {
        Host host;
        ASSERT_EQ(startHost(host, path), 0);
        EXPECT_EQ(callOpcode(kOpOpenDevice), openResult);
        callOpcode(kOpCloseDevice);
        EXPECT_EQ(sendPicture(noise(50, 50, 256, 1)), sendResult);
        endHost(host);
    }
    Host host;  // no name: to a memory stream, closed by term
    ASSERT_EQ(startHost(host, nullptr), 0);
    EXPECT_EQ(callOpcode(kOpOpenDevice), 0);
    EXPECT_NE(lpEMData->outputStream, 0u);
    endHost(host);
}
