// SPDX-License-Identifier: Apache-2.0
// Constant tables of AMR voice activity detection, option 2 (3GPP TS 26.094 §4).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

/// Threshold of the voice metric by quantised signal-to-noise ratio; TS 26.094 §4.3.
extern const Qol16s TablePeakSNR[20];

/// Half frames of a burst that start a hangover, likewise; TS 26.094 §4.3.
extern const Qol16s TableBurstcount[20];

/// Length of the hangover in half frames, likewise; TS 26.094 §4.3.
extern const Qol16s TableHangover[20];

/// Voice metric by channel signal-to-noise ratio in steps of 3/8 dB; TS 26.094 §4.3.
extern const Qol16s TableVoiceMetric[90];

/// First and last bin of each channel; TS 26.094 §4.3.
extern const Qol16s Table16Ch[16][2];

/// 1 over the bins of each channel, Q15; TS 26.094 §4.3.
extern const Qol16s TableDFTch[16];

/// Right shift of the energies at a change to a scale state; TS 26.094 §4.3.
extern const Qol16s tableStateChangeShiftR[2];

/// Left shift of the channel energies by scale state; TS 26.094 §4.3.
extern const Qol16s tableEnrgNormShift[2];

/// Least channel energy by scale state; TS 26.094 §4.3.
extern const Qol16s tableMinChanEnrg[2];

/// First noise estimate, least energy that passes, by scale state; TS 26.094 §4.3.
extern const Qol16s tableIneNoise[2];

/// Fractional bits of the channel energies by scale state; TS 26.094 §4.3.
extern const Qol16s tableFbits[2];

/// Total energy that a noise update needs, by scale state; TS 26.094 §4.3.
extern const Qol16s tableNoiseFloorChan[2];

/// Row k: cos(pi k / 64), -sin(pi k / 64), Q15; TS 26.094 §4.3.
extern const Qol16s twd_tbl[64][2];

} // namespace qolsc::tables
