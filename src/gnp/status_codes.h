// How the MD data reply codes the instrument's operating mode and status condition.
#pragma once

#include <cstdint>

/// Operating status code by operating mode 0 to 5; every other mode has the last one.
constexpr int kOperatingStatusCodes[] = {0x04, 0x08, 0x10, 0x20, 0x40, 0x80};

/// Status-condition bits that set bit 0 to 7 of the error status byte. Bits 15, 23 and 31 set none.
constexpr std::uint32_t kErrorStatusMasks[] = {
    0x01011800,  // bits 11, 12, 16, 24
    0x0202004A,  // bits 1, 3, 6, 17, 25
    0x04040690,  // bits 4, 7, 9, 10, 18, 26
    0x08080000,  // bits 19, 27
    0x00004105,  // bits 0, 2, 8, 14
    0x10100000,  // bits 20, 28
    0x00000020,  // bit 5
    0x60602000,  // bits 13, 21, 22, 29, 30
};
