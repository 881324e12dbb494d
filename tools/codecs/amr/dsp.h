// SPDX-License-Identifier: Apache-2.0
// What encoder and decoder of AMR have in common outside the library's functions: high-pass
// filters, LP sets, prediction of the code gain (3GPP TS 26.090 5 and 6).
#pragma once

#include "codecs/amr/tables.h"
#include "numeric/helpers.h"
#include "qolsc/amr.h"

#include <array>

namespace qolsc::tools::amr {

inline constexpr int kModes = 8;
inline constexpr int kOrder = 10;
inline constexpr int kFrame = 160, kSubframe = 40;
inline constexpr int kPastExcitation = 154;
inline constexpr Qol16s kMostSharpening = 13017; // 0.794, Q14
inline constexpr Qol16s kSampleMask = -8;        // samples have 13 bits

enum Mode : int { k475, k515, k59, k67, k74, k795, k102, k122 };
/// Rate codes of the library by mode, and that of discontinuous transmission.
inline constexpr int kRateCode[kModes] = {0, 1, 3, 6, 7, 8, 11, 12};
inline constexpr int kRateDtx = 25;
/// Bits of a speech frame by mode.
inline constexpr int kFrameBits[kModes] = {95, 103, 118, 134, 148, 159, 204, 244};
/// Words of the code of a subframe, by mode.
inline constexpr int kCodeWords[kModes] = {2, 2, 2, 2, 2, 2, 7, 10};

using LpSet = std::array<Qol16s, kOrder + 1>;

/// start plus twice the products, added one after the other with saturation.
Qol32s macSum(Qol32s start, const Qol16s* x, const Qol16s* y, int len);
Qol16s median5(const Qol16s* x);
inline Qol16s mantissa(Qol32s x) { return basop::extract_h(basop::L_shl(x, basop::norm_l(x))); }
Qol32s inverseSqrt(Qol32s x);
/// Square root; *pExponent is the even count of shifts.
Qol32s squareRoot(Qol32s x, int* pExponent);

/// Second-order filter with memory in double precision.
struct HighPass {
    Qol16s x1, x2;
    basop::Dpf y1, y2;
};
Qol32s highPass(HighPass& f, const Qol16s* b, const Qol16s* a, int shift, Qol16s x);

/// LP sets of the four subframes between two LSP sets; middle only at 12.2, else null.
void interpolateLp(const Qol16s* lspOld, const Qol16s* middle, const Qol16s* lsp, Qol16s* sets);

/// adaptive * pitch + code * gain, with factor and shift of the mode.
void excitation(int mode, Qol16s pitch, Qol16s gain, const Qol16s* code, const Qol16s* adaptive,
                Qol16s* out);
inline Qol16s scaled(Qol16s x, Qol16s gain, int shift) {
    return basop::extract_h(basop::L_shl(basop::L_mult(x, gain), shift));
}

/// Moving-average predictor of the code gain, Q10.
struct GainPredictor {
    Qol16s past[4];    // decibels
    Qol16s past122[4]; // base 2
};
void reset(GainPredictor& p);
void update(GainPredictor& p, Qol16s log122, Qol16s log);
struct PredictedGain {
    Qol16s exponent, fraction;
    Qol16s energy, energyExponent; ///< of the code, at 7.95
};
PredictedGain predictGain(const GainPredictor& p, int mode, const Qol16s* code);
/// Gain of a factor of the codebooks (Q12, Q11 at 7.95 and 12.2).
Qol16s codeGain(int mode, const PredictedGain& g, Qol16s factor);
/// Takes the quantised factor of 4.75 into the predictor.
void update475(GainPredictor& p, Qol16s factor);
/// 2^(14 + fraction).
inline Qol16s predictedMantissa(const PredictedGain& g) {
    return basop::extract_l(ownPow2(14, g.fraction));
}

} // namespace qolsc::tools::amr
