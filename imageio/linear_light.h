// linear_light.h: sRGB samples as amounts of light and back, for sums and means. All tables come of additions,
// multiplications and divisions alone: libm's powers may differ in their last bit from machine to machine.
#ifndef TOLVA_IMAGEIO_LINEAR_LIGHT_H
#define TOLVA_IMAGEIO_LINEAR_LIGHT_H

#include <cstdint>

namespace imageio {

inline constexpr uint32_t kLightLevels = 65536;
inline constexpr uint32_t kDeepPerByte = 257;  // 255 of 8 bits are 65535 of 16

struct LinearLight {
    uint16_t light[kLightLevels];  // of a sample of 16 bits
    uint8_t sample[kLightLevels];  // of 8 bits, of an amount of light
};

// Made when first asked for.
const LinearLight& linearLight();

// A sample of 16 bits as one of 8.
inline uint8_t cutToByte(uint32_t sample) { return static_cast<uint8_t>((sample * UINT8_MAX + 0x807F) >> 16); }

}  // namespace imageio

#endif
