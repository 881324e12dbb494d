// SPDX-License-Identifier: Apache-2.0
// Concealment of lost G.722 frames in the band domain, after the low-complexity method of ITU-T
// G.722 Appendix IV: the lower band goes on as pitch repetition through its short-term predictor,
// the higher band as plain repetition; both fade by the class of the signal in front of the loss.
#pragma once

#include "qolsc/g722.h"

#include <cstdint>

namespace qolsc::tools {

/// Everything the concealer knows of the past. Cleared (value-initialised) at start.
struct G722Concealer {
    static constexpr int kOrder = 8;    ///< of the short-term predictor
    static constexpr int kMaxLag = 143; ///< samples at 8 kHz
    static constexpr int kLow = 296;    ///< low-band samples kept: 288 and what filters reach back
    static constexpr int kHigh = 160;   ///< high-band samples kept
    static constexpr int kOverlap = 80; ///< samples over which the first good frame is faded in

    Qol16s low[kLow];
    Qol16s high[kHigh];
    bool active;                ///< in a loss
    int lag;                    ///< pitch period
    int highLag;                ///< period of the high band's repetition
    int signalClass;            ///< as qolsClassifyFrame_G722_16s_I has it
    double level;               ///< gain by the strength of the period
    double lpc[kOrder + 1];     ///< short-term predictor, lpc[0] = 1
    double excitation[kMaxLag]; ///< the last period of the residual
    double past[kOrder];        ///< synthesised samples before fading, newest first
    int phase;                  ///< samples made since the loss began
    Qol16s next[kOverlap];      ///< the concealment's continuation behind its last frame
    QolsFilterHighbandMem_G722 highMemory;
};

/// Remembers decoded band pairs. Behind a loss their beginning is mixed with the concealment's end.
void concealGood(G722Concealer& c, Qol16s* pPairs, int pairs);

/// Writes band pairs in the place of a lost frame. pState is the decoder's record, which waits.
void concealLost(G722Concealer& c, const QolsSBADPCMState_G722* pState, Qol16s* pPairs, int pairs);

/// Sets the decoder's record for the first good frame behind a loss; does nothing otherwise.
void concealResume(const G722Concealer& c, QolsSBADPCMState_G722* pState);

} // namespace qolsc::tools
