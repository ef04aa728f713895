// dispatch.cpp: from an opcode and the device's state to the handler that runs. What is unknown or not allowed now is
// no error: it runs d_noop. The same table answers the hosts' capability questions.

#include <iterator>

#include <tolva/driver.h>
#include "host/numbers.h"

namespace {

struct DispatchRow {
    int32_t opcode;
    TolvaOpcodeHandler handler;
    int32_t states;  // mask of TolvaDeviceState; bits 32, 64, 128, 256 and 32768 name states the filter never enters
};

// Rows that lead to d_noop make their opcodes known, so that they are accepted without effect. Kept: 0xf01 leads there
// too, although there is an error-status query.
// clang-format off
constexpr DispatchRow kDispatch[] = {
    {0x001, d_opdv, 0x0001},  {0x002, d_cldv, 0x007e},  {0x003, d_begp, 0x0012},  {0x004, d_begpb, 0x0004},
    {0x005, d_endp, 0x0008},  {0x008, d_noop, 0x8008},  {0x009, d_noop, 0x8020},  {0x30a, d_noop, 0x8020},
    {0x0ff, d_noop, 0x0001},  {0x10d, d_noop, 0x0002},  {0x10e, d_noop, 0x0002},  {0x206, ds_dvwn, 0x0084},
    {0x207, ds_bgc, 0x0084},  {0x208, ds_dvvp, 0x0004}, {0x209, ds_vpsm, 0x0084}, {0x2ff, dq_dvwn, 0x007e},
    {0x2fe, d_noop, 0x006c},  {0x2fd, dq_dvvp, 0x007e}, {0x303, ds_axc, 0x8088},  {0x304, ds_tran, 0x8088},
    {0x305, ds_clpr, 0x8088}, {0x306, ds_clip, 0x8088}, {0x401, d_noop, 0x8128},  {0x402, d_noop, 0x8128},
    {0x403, d_noop, 0x8108},  {0x404, d_noop, 0x8108},  {0x405, d_noop, 0x8108},  {0x406, d_noop, 0x8148},
    {0x407, d_noop, 0x8128},  {0x409, d_ca, 0x8008},    {0x40a, d_gdp, 0x8128},   {0x40b, d_noop, 0x8128},
    {0x40c, d_noop, 0x8128},  {0x40d, d_noop, 0x8128},  {0x40e, d_noop, 0x8128},  {0x40f, d_noop, 0x8128},
    {0x410, d_noop, 0x8128},  {0x411, d_noop, 0x8128},  {0x412, d_noop, 0x8128},  {0x413, d_noop, 0x8128},
    {0x502, d_noop, 0x8088},  {0x503, d_noop, 0x8088},  {0x504, d_noop, 0x8088},  {0x506, d_noop, 0x8088},
    {0x507, d_noop, 0x8088},  {0x508, d_noop, 0x8088},  {0x50a, d_noop, 0x80c8},  {0x513, d_noop, 0x80c8},
    {0x50b, d_noop, 0x80c8},  {0x50c, d_noop, 0x80c8},  {0x50d, d_noop, 0x80c8},  {0x50e, d_noop, 0x80c8},
    {0x50f, d_noop, 0x80c8},  {0x510, d_noop, 0x8088},  {0x511, d_noop, 0x8088},  {0x512, d_noop, 0x8088},
    {0x516, d_noop, 0x8088},  {0x517, d_noop, 0x8088},  {0x518, d_noop, 0x8088},  {0x519, d_noop, 0x8088},
    {0x51b, d_noop, 0x8088},  {0x51c, d_noop, 0x8088},  {0x51d, d_noop, 0x8088},  {0x51e, d_noop, 0x8088},
    {0x51f, d_noop, 0x8088},  {0x520, d_noop, 0x8088},  {0x52b, d_noop, 0x8088},  {0x522, ds_ct, 0x8088},
    {0x601, d_noop, 0x8fff},  {0x906, ds_dm, 0x8008},   {0xf01, d_noop, 0x007f},  {0xf02, d_popes, 0x007f},
    {0xf03, d_empes, 0x007f}, {0x6fc, d_noop, 0x0008},
};
// clang-format on

constexpr bool opcodesAreUnique() {
    for (const DispatchRow* a = std::begin(kDispatch); a != std::end(kDispatch); ++a) {
        for (const DispatchRow* b = a + 1; b != std::end(kDispatch); ++b) {
            if (a->opcode == b->opcode) return false;
        }
    }
    return true;
}
static_assert(std::size(kDispatch) == kTolvaDispatchRows && opcodesAreUnique());

constexpr int32_t kSupported = 2;

}  // namespace

int32_t GDPSupport[kTolvaPrimitiveIds] = {};

TolvaOpcodeHandler getfunc(int32_t opcode) {
    if (lpEMData == nullptr) return d_noop;
    for (const DispatchRow& row : kDispatch) {
        if (row.opcode == opcode) return (row.states & lpEMData->state) != 0 ? row.handler : d_noop;
    }
    return d_noop;
}

void* d_noop(void* block) { return block; }

int32_t InquireSupport(int32_t opcode, int32_t argument) {
    if (opcode == kTolvaOpPrimitive) return InqGDPSupport(argument);
    if (opcode == kTolvaOpQueryCapability) return 0;
    return getfunc(tolva::low16(opcode)) != d_noop ? kSupported : 0;
}

int32_t InqGDPSupport(int32_t id) { return id >= 0 || id <= -kTolvaPrimitiveIds ? 0 : GDPSupport[-id]; }
