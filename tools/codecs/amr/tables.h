// SPDX-License-Identifier: Apache-2.0
// Tables of the AMR codec outside the library's functions (3GPP TS 26.090, 26.091, 26.092, 26.101; values of TS 26.073).
#pragma once

#include "qolsc/types.h"
#include "tables/gsm_dtx.h"
#include "tables/gsm_lsf.h"
#include "tables/gsm_pitch.h"
#include "tables/lp.h"

#include <cstdint>
#include <span>

namespace qolsc::tools::amr {

// Those that the library's functions read too.
using tables::inter_6;
using tables::kLpWindow200_40;
using tables::past_rq_init;
using tables::TableMeanLsf1;

/// Weighting 0.94^k up to 7.95 kbit/s, Q15
extern const Qol16s kGamma1[10];
/// 0.9^k at 10.2 and 12.2 kbit/s, Q15
extern const Qol16s kGamma1High[10];
/// 0.6^k, Q15
extern const Qol16s kGamma2[10];
/// LSP of a reset coder, Q15
extern const Qol16s kLspStart[10];
/// pitch gains of 7.95 and 12.2 kbit/s, Q14
extern const Qol16s kPitchGains[16];
/// code gain factors of 7.95 and 12.2 kbit/s: factor Q11, its base-2 logarithm and decibels, both Q10
extern const Qol16s kCodeGains[32][3];
/// gains of 6.7, 7.4, 10.2 kbit/s: pitch Q14, code factor Q12, its logarithm and decibels Q10
extern const Qol16s kGainsHigh[128][4];
/// the same for 5.15 and 5.9 kbit/s
extern const Qol16s kGainsLow[64][4];
/// gains of two subframes at 4.75 kbit/s: pitch Q14, code factor Q12, twice
extern const Qol16s kGains475[256][4];
/// prediction of the code gain, Q13
extern const Qol16s kPredictor[4];
/// the same at 12.2 kbit/s, Q6
extern const Qol16s kPredictor122[4];
/// strong phase dispersion at 7.95 kbit/s, Q15
extern const Qol16s kDispersionStrong795[40];
/// strong phase dispersion of the lower rates, Q15
extern const Qol16s kDispersionStrong[40];
/// weak one of all these rates
extern const Qol16s kDispersionWeak[40];
/// scale of the variation of comfort-noise LSF, Q15
extern const Qol16s kLsfVariation[10];
/// level of comfort noise by mode, Q11
extern const Qol16s kNoiseLevelAdjust[9];
/// fall of the code gain by error state, Q15
extern const Qol16s kCodeDown[7];
/// fall of the pitch gain
extern const Qol16s kPitchDown[7];
/// input high-pass, numerator, Q12
extern const Qol16s kInputB[3];
/// denominator, signs turned
extern const Qol16s kInputA[3];
/// output high-pass, numerator, Q13
extern const Qol16s kOutputB[3];
/// denominator, signs turned
extern const Qol16s kOutputA[3];
/// square root of 1/4 to 1 in steps of 1/64, Q15
extern const Qol16s kSquareRoot[49];

/// bits of the parameters of a speech frame in order, by mode; [8]: comfort noise
extern const std::span<const std::uint8_t> kParameterBits[9];
/// place in the frame of each bit of the storage file, by mode (TS 26.101 annex B)
extern const std::span<const std::uint8_t> kStorageOrder[8];

} // namespace qolsc::tools::amr
