// SPDX-License-Identifier: Apache-2.0
// The record of the G.722 sub-band ADPCM, shared by coder, decoder and the loss tools.
#pragma once

#include "entry/checks.h"
#include "qolsc/g722.h"

/// One record for both directions; everything of 16 bits. The names are those of G.722 clause 5.
struct QolsSBADPCMState_G722 {
    Qol16s al1, al2, ah1, ah2;         ///< pole predictors, Q14
    Qol16s bl[6], bh[6];               ///< zero predictors, Q14
    Qol16s detl, deth;                 ///< quantiser scale factors
    Qol16s nbl, nbh;                   ///< the same as logarithms, Q11
    Qol16s dltDelay[6], dhDelay[6];    ///< quantised differences, newest first
    Qol16s spare[12];                  ///< not used
    Qol16s plt, ph;                    ///< partial reconstructed signals
    Qol16s rlt, rh;                    ///< reconstructed signals
    Qol16s plt1, plt2, ph1, ph2;       ///< partial signals of the last two samples
    Qol16s rlt1, rlt2, rh1, rh2;       ///< reconstructed signals of the last two samples
    Qol16s dlt, dh;                    ///< quantised differences of now
    Qol16s szl, szh, spl, sph, sl, sh; ///< predictions: zeros, poles, whole
};

namespace qolsc {

static_assert(sizeof(QolsSBADPCMState_G722) == 64 * sizeof(Qol16s));

/// Bytes that the size queries report: the record and slack for its alignment.
inline constexpr Qol32s kG722StateBytes = sizeof(QolsSBADPCMState_G722) + 16;

template <typename State>
inline State& g722Record(State* pState) {
    return *alignUp<16>(pState);
}

} // namespace qolsc
