// SPDX-License-Identifier: Apache-2.0
// What the plain and the vector form of the G.722.1 DCT share: levels, rotation tables by block
// size, and the ten-point core by basic operators.
#pragma once

#include "numeric/basop.h"
#include "tables/g7221.h"
#include "waveform/g7221dct.h"

#include <bit>

namespace qolsc {

inline constexpr int kDctCore = 10;

/// Butterfly levels down to blocks of ten: 5 or 6.
constexpr int dctLevels(int len) { return len == kDctShort ? 5 : 6; }

inline constexpr const Qol16s* kDctRotateFwd[] = {tables::a_cos_msin_10,  tables::a_cos_msin_20,
                                                  tables::a_cos_msin_40,  tables::a_cos_msin_80,
                                                  tables::a_cos_msin_160, tables::a_cos_msin_320};
inline constexpr const Qol16s* kDctRotateInv[] = {tables::s_cos_msin_10,  tables::s_cos_msin_20,
                                                  tables::s_cos_msin_40,  tables::s_cos_msin_80,
                                                  tables::s_cos_msin_160, tables::s_cos_msin_320};

/// Pairs (cosine, minus sine) for blocks of span = 20, 40 .. 640.
inline const Qol16s* dctRotations(const Qol16s* const (&set)[6], int span) {
    return set[std::bit_width(static_cast<unsigned>(span / (2 * kDctCore))) - 1];
}

/// Ten-point core with the saturation of every step.
inline void dctCorePlain(const Qol16s* pIn, Qol16s* pOut, const Qol16s* pCore) {
    for (int k = 0; k < kDctCore; ++k) {
        Qol32s acc = 0;
        for (int i = 0; i < kDctCore; ++i) {
            acc = basop::L_mac(acc, pIn[i], pCore[kDctCore * i + k]);
        }
        pOut[k] = basop::round_fx(acc);
    }
}

} // namespace qolsc
