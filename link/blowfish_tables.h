#pragma once
// Blowfish's published start values for the P-array and the S-boxes.
#include <cstdint>

extern const uint32_t kBlowfishInitialP[18];
extern const uint32_t kBlowfishInitialS[4][256];
