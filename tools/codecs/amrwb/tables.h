// SPDX-License-Identifier: Apache-2.0
// Tables of the AMR-WB codec outside the library's functions (3GPP TS 26.190, 26.191, 26.192, 26.201).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tools::amrwb {

/// input and output high-pass at 12.8 kHz, denominator (signs turned), Q13
extern const Qol16s HP50_A[3];
/// the same, numerator, Q12
extern const Qol16s HP50_B[3];
/// high-pass of the high-band level, denominator (signs turned), Q13
extern const Qol16s HP400_A[3];
/// the same, numerator, Q10: the output is divided by 16
extern const Qol16s HP400_B[3];
/// high-pass of the weighted speech, denominator (signs turned), Q13
extern const Qol16s HPWSP_A[4];
/// the same, numerator, Q12
extern const Qol16s HPWSP_B[4];
/// analysis window, Q15
extern const Qol16s lpWindow[384];
/// lag window of lags 1..16, upper words
extern const Qol16s lagWindowHigh[16];
/// the same, lower words (15 bits)
extern const Qol16s lagWindowLow[16];
/// ISPs at the start, Q15
extern const Qol16s ispInit[16];
/// ISFs at the start
extern const Qol16s isfInit[16];
/// high-band gain of 23.85 kbit/s, Q14
extern const Qol16s highBandGain[16];
/// gains of 6 bits: pitch gain Q14, factor of the code gain Q11
extern const Qol16s gainCodebook6[64][2];
/// gains of 7 bits
extern const Qol16s gainCodebook7[128][2];
/// weighting of the open-loop lags, Q15; two runs that overlap
extern const Qol16s corrWeight[199];
/// interpolation by 1/4 of the normalised correlation, Q14
extern const Qol16s inter4_1[32];
/// interpolation by 1/4 of the past excitation, Q14
extern const Qol16s inter4_2[128];
/// interpolation from 12.8 to 16 kHz, Q14
extern const Qol16s firUp[120];
/// decimation from 16 to 12.8 kHz, Q15
extern const Qol16s firDown[120];
/// band-pass 6 to 7 kHz of the high band, Q15
extern const Qol16s fir6k7k[31];
/// low-pass 7 kHz of the high band at 23.85 kbit/s, Q15
extern const Qol16s fir7k[31];
/// decimation by 2 of the weighted speech, Q15
extern const Qol16s firDecimate2[5];
/// phase dispersion at low pitch gain, Q15
extern const Qol16s dispersionLow[64];
/// phase dispersion at middle pitch gain, Q15
extern const Qol16s dispersionMid[64];
/// decay of the pitch gain by error state, unusable frames, Q15
extern const Qol16s pitchDownUnusable[7];
/// decay of the code gain, unusable frames, Q15
extern const Qol16s codeDownUnusable[7];
/// decay of the pitch gain, bad but usable frames, Q15
extern const Qol16s pitchDownUsable[7];
/// decay of the code gain, bad but usable frames, Q15
extern const Qol16s codeDownUsable[7];
/// moving-average predictor of the code gain, Q13
extern const Qol16s gainPredictor[4];
/// bits of the homing frame compared in the homed state, by mode
extern const Qol16s homingFirstBits[9];
/// decoder homing frame of mode 0: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame0[9];
/// decoder homing frame of mode 1: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame1[12];
/// decoder homing frame of mode 2: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame2[17];
/// decoder homing frame of mode 3: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame3[19];
/// decoder homing frame of mode 4: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame4[22];
/// decoder homing frame of mode 5: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame5[25];
/// decoder homing frame of mode 6: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame6[27];
/// decoder homing frame of mode 7: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame7[31];
/// decoder homing frame of mode 8: its bits in groups of 15, the first in bit 14
extern const Qol16s homingFrame8[32];
/// storage order of the serial bits (RFC 4867), frame type 0
extern const Qol16s sort660[132];
/// storage order of the serial bits (RFC 4867), frame type 1
extern const Qol16s sort885[177];
/// storage order of the serial bits (RFC 4867), frame type 2
extern const Qol16s sort1265[253];
/// storage order of the serial bits (RFC 4867), frame type 3
extern const Qol16s sort1425[285];
/// storage order of the serial bits (RFC 4867), frame type 4
extern const Qol16s sort1585[317];
/// storage order of the serial bits (RFC 4867), frame type 5
extern const Qol16s sort1825[365];
/// storage order of the serial bits (RFC 4867), frame type 6
extern const Qol16s sort1985[397];
/// storage order of the serial bits (RFC 4867), frame type 7
extern const Qol16s sort2305[461];
/// storage order of the serial bits (RFC 4867), frame type 8
extern const Qol16s sort2385[477];
/// storage order of the serial bits (RFC 4867), frame type 9
extern const Qol16s sortSID[35];

} // namespace qolsc::tools::amrwb
