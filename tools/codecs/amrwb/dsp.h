// SPDX-License-Identifier: Apache-2.0
// What encoder and decoder of AMR-WB have in common outside the library's functions: excitation,
// gains, LP sets (3GPP TS 26.190 5 and 6, TS 26.192).
#pragma once

#include "numeric/helpers.h"
#include "qolsc/amrwb.h"

#include <array>
#include <vector>

namespace qolsc::tools::amrwb {

inline constexpr int kModes = 9;
inline constexpr int kOrder = 16;
inline constexpr int kFrame16k = 320, kFrame = 256, kSubframe = 64, kSubframe16k = 80;
inline constexpr int kPastExcitation = 248;
inline constexpr int kLeastLag = 34, kMostLag = 231;
inline constexpr Qol16s kPreemphasis = 22282; // 0.68, Q15
inline constexpr Qol16s kHomingSample = 8;
inline constexpr Qol16s kSeed = 21845;
inline constexpr Qol16s kOutputMask = -4; // samples have 14 bits

/// Rate codes of the library by mode.
inline constexpr int kRateCode[kModes] = {5, 9, 13, 15, 16, 18, 19, 20, 21};
/// Bits of a speech frame by mode.
inline constexpr int kFrameBits[kModes] = {132, 177, 253, 285, 317, 365, 397, 461, 477};

/// The two lowest rates code the lag with 8 and 5 bits and have no choice of the LTP filter.
constexpr bool isLowRate(int mode) { return mode < 2; }
/// True in subframes whose lag is coded by itself.
constexpr bool isAbsolute(int mode, int subframe) {
    return subframe == 0 || (subframe == 2 && mode != 0);
}

/// Widths of the words of the code in serial order, and the word of pIndices that each is.
struct CodeLayout {
    int words;
    int bits[8];
};
inline constexpr CodeLayout kCodeLayout[kModes] = {
    {1, {12}},
    {4, {5, 5, 5, 5}},
    {4, {9, 9, 9, 9}},
    {4, {13, 13, 9, 9}},
    {4, {13, 13, 13, 13}},
    {8, {2, 2, 2, 2, 14, 14, 14, 14}},
    {8, {10, 10, 2, 2, 10, 10, 14, 14}},
    {8, {11, 11, 11, 11, 11, 11, 11, 11}},
    {8, {11, 11, 11, 11, 11, 11, 11, 11}},
};
inline constexpr int kIsfBits36[5] = {8, 8, 7, 7, 6};
inline constexpr int kIsfBits46[7] = {8, 8, 6, 7, 7, 5, 5};
inline constexpr int kIsfBitsNoise[5] = {6, 6, 6, 5, 5};

using LpSet = std::array<Qol16s, kOrder + 1>;

/// Normalised 32-bit mantissa and its exponent.
struct Scaled {
    Qol32s mantissa;
    int exponent;
};

inline Qol16s high(const Scaled& x) { return basop::extract_h(x.mantissa); }

/// start plus twice the products, added one after the other with saturation.
Qol32s macSum(Qol32s start, const Qol16s* x, const Qol16s* y, int len);
/// The taps of one phase of an interpolator whose phases are interleaved, the last one first.
template <int Phases, int Taps>
std::array<Qol16s, Taps> phaseTaps(const Qol16s (&table)[Phases * Taps], int phase) {
    std::array<Qol16s, Taps> taps;
    for (int k = 0; k < Taps; ++k) {
        taps[k] = table[Phases - 1 - phase + Phases * k];
    }
    return taps;
}
/// 1 plus twice the sum of products, normalised; exponent 30 less the count of shifts.
Scaled dotProduct(const Qol16s* x, const Qol16s* y, int len);
/// 1/sqrt of a normalised value.
Scaled inverseSqrt(Scaled x);
/// Each value times 2^shift, rounded.
void scaleSignal(Qol16s* x, int len, int shift);
Qol16s randomValue(Qol16s& seed);
Qol16s median5(const Qol16s* x);
/// y[n] = sum of x[i] * h[n-i], rounded.
void convolve(const Qol16s* x, const Qol16s* h, Qol16s* y);

/// LP sets of the four subframes between two ISP sets.
void interpolateLp(const Qol16s* ispOld, const Qol16s* ispNew, LpSet sets[4]);
/// a[j] times factor^j.
void weightLp(const Qol16s* a, Qol16s factor, int order, Qol16s* weighted);
/// Synthesis with 16-bit history of `order` values ahead of y.
void synthesis16(const Qol16s* a, int order, const Qol16s* x, Qol16s* y, int len);

/// Past excitation interpolated at lag + fraction / 4: 65 values from e on.
void adaptiveVector(Qol16s* e, int lag, int fraction);
/// Low-pass of the adaptive vector; reads e[-1] and e[64].
void lowPassAdaptive(Qol16s* e);
/// Adds the vector's own periodicity.
void sharpen(Qol16s* x, int lag, int fraction);

/// Range of the lags that a relative lag may take.
struct LagRange {
    int least, most;
};
LagRange lagRangeAround(int lag);

/// Moving-average predictor of the code gain.
struct GainPredictor {
    Qol16s past[4];
};
struct PredictedGain {
    Qol16s mantissa;
    int exponent;
};
/// base: mean energy plus what the coder adds, Q24 doubled.
PredictedGain predictGain(const GainPredictor& p, Qol32s base);
/// Gain of the code, Q16.
Qol32s codeGain(Qol16s factor, const PredictedGain& g);
void updatePredictor(GainPredictor& p, Qol16s factor);
void pushPast(GainPredictor& p, Qol16s value);

/// Voicing of a subframe in Q15 from the scaled adaptive vector, scaleBits the shift it was given.
Qol16s voicing(const Qol16s* adaptive, int scaleBits, Qol16s pitchGain, const Qol16s* code,
               Qol16s codeGain16);
constexpr Qol16s tiltOf(Qol16s voicingFactor) {
    return static_cast<Qol16s>((voicingFactor >> 2) + 8192);
}

/// Stability of the ISFs from frame to frame, Q15.
Qol16s stability(const Qol16s* isf, const Qol16s* isfOld);
/// LP sets of a frame from its quantised ISFs, which become the old ones; returns their stability.
Qol16s takeIsfs(const Qol16s* isf, bool& firstFrame, Qol16s* ispOld, Qol16s* isfOld, LpSet sets[4]);
/// Smooths the code gain of stable unvoiced sounds; threshold is the memory.
Qol32s enhanceNoise(Qol32s gain, Qol16s stab, Qol16s voicingFactor, Qol32s& threshold);

/// adaptive * pitchGain + code * codeGain16.
void excitation(const Qol16s* code, Qol16s codeGain16, const Qol16s* adaptive, Qol16s pitchGain,
                Qol16s* out);
/// The same with the lows of the code taken back, more in voiced sounds (pitch enhancement).
void enhancedExcitation(const Qol16s* code, Qol16s voicingFactor, Qol16s codeGain16,
                        const Qol16s* adaptive, Qol16s pitchGain, Qol16s* out);

/// White noise of a frame at the energy 2^exponent * (1 + fraction ..).
void comfortNoise(Qol32s energy, Qol16s& seed, Qol16s* noise);

/// A record of the library in a block of its own.
struct Record {
    std::vector<Qol8u> bytes;
};
Record makeHighPass(const Qol16s* a, const Qol16s* b, int order);
inline QolsHighPassState_AMRWB* highPassOf(Record& r) {
    return reinterpret_cast<QolsHighPassState_AMRWB*>(r.bytes.data());
}
/// The 50 Hz filter in place.
void highPass50(Record& r, Qol16s* x, int len);

} // namespace qolsc::tools::amrwb
