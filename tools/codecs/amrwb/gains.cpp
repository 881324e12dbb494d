// SPDX-License-Identifier: Apache-2.0
// Gain quantiser of the AMR-WB encoder (3GPP TS 26.190 5.9) and the high-band gain of 23.85 kbit/s
// (5.10).
#include "codecs/amrwb/encoder.h"

#include "codecs/amrwb/tables.h"

#include <algorithm>
#include <iterator>

namespace qolsc::tools::amrwb {

using namespace basop;

namespace {

constexpr int kSearchedRows = 64;

/// Terms of the error: energy of the adaptive part, its product with the target, the same of the
/// code, product of both; brought to one exponent.
struct ErrorTerms {
    Dpf c[5];
};

ErrorTerms errorTerms(int scaling, int gainExponent, const Qol16s* target, const Qol16s* adaptive,
                      const Qol16s* filteredCode) {
    Scaled t[5] = {
        dotProduct(adaptive, adaptive, kSubframe), dotProduct(target, adaptive, kSubframe),
        dotProduct(filteredCode, filteredCode, kSubframe),
        dotProduct(target, filteredCode, kSubframe), dotProduct(adaptive, filteredCode, kSubframe)};
    const int x = gainExponent + 4;
    t[0].exponent += -13;
    t[1].exponent += 1 - 14;
    t[2].exponent += -18 + 2 * scaling + 15 + 2 * x;
    t[3].exponent += -8 + scaling + x;
    t[4].exponent += -8 + scaling + 1 + x;
    int greatest = t[0].exponent;
    for (const Scaled& s : t) {
        greatest = std::max(greatest, s.exponent);
    }
    ErrorTerms terms;
    for (int i = 0; i < 5; ++i) {
        // The one product is cut before its sign turns, the other behind: a unit apart.
        const Qol16s value = i == 1   ? negate(high(t[i]))
                             : i == 3 ? extract_h(L_negate(t[i].mantissa))
                                      : high(t[i]);
        const Dpf d = L_Extract(L_shr(L_deposit_h(value), greatest - t[i].exponent + 2));
        terms.c[i] = {d.hi, static_cast<Qol16s>(d.lo >> 3)};
    }
    return terms;
}

Qol32s errorOf(const ErrorTerms& e, Qol16s pitch, Qol16s code) {
    const Qol16s pitch2 = mult_r(pitch, pitch), both = mult_r(code, pitch);
    const Dpf code2 = L_Extract(L_mult(code, code));
    Qol32s v = L_mult(e.c[2].hi, code2.lo) >> 3;
    v = L_mac(v, e.c[0].lo, pitch2);
    v = L_mac(v, e.c[1].lo, pitch);
    v = L_mac(v, e.c[2].lo, code2.hi);
    v = L_mac(v, e.c[3].lo, code);
    v = L_mac(v, e.c[4].lo, both);
    v >>= 12;
    v = L_mac(v, e.c[0].hi, pitch2);
    v = L_mac(v, e.c[1].hi, pitch);
    v = L_mac(v, e.c[2].hi, code2.hi);
    v = L_mac(v, e.c[3].hi, code);
    return L_mac(v, e.c[4].hi, both);
}

/// Mean energy less that of the code, for the predictor.
Qol32s innovationBase(const Qol16s* code) {
    const Scaled energy = dotProduct(code, code, kSubframe);
    Qol16s exponent, fraction;
    ownLog2(energy.mantissa, &exponent, &fraction);
    const Dpf log2{static_cast<Qol16s>(exponent + energy.exponent - 55), fraction};
    return L_shl(L_mac(Mpy_32_16(log2, -24660), 30, 8192), 10);
}

} // namespace

QuantisedGains quantiseGains(GainPredictor& p, int mode, int scaling, Qol16s pitch, bool clip,
                             const Qol16s* target, const Qol16s* adaptive, const Qol16s* code,
                             const Qol16s* filteredCode) {
    const PredictedGain predicted = predictGain(p, innovationBase(code));
    const ErrorTerms terms =
        errorTerms(scaling, predicted.exponent, target, adaptive, filteredCode);
    const bool low = isLowRate(mode);
    const Qol16s(*book)[2] = low ? gainCodebook6 : gainCodebook7;
    int first = 0;
    int rows = low && clip ? 48 : kSearchedRows;
    if (!low) {
        // Rows are in the order of their pitch gains: a window of 64 around the unquantised one.
        for (int i = 32; i < (clip ? 69 : 96); ++i) {
            first += pitch > book[i][0] ? 1 : 0;
        }
    }
    Qol32s least = MAX_32;
    int row = first;
    for (int i = first; i < first + rows; ++i) {
        const Qol32s error = errorOf(terms, book[i][0], mult_r(book[i][1], predicted.mantissa));
        if (error < least) {
            least = error;
            row = i;
        }
    }
    updatePredictor(p, book[row][1]);
    return {row, book[row][0], codeGain(book[row][1], predicted)};
}

int codeHighBand(HighBandCoder& h, const LpSet& a, const Qol16s* exc, int q, const Qol16s* input,
                 int hang) {
    Qol16s low[kSubframe], noise[kSubframe16k], band[kSubframe16k];
    synthesizeLowBand(h.low, a, exc, q, low);
    highBandNoise(h.high, exc, q, noise);
    const Qol16s estimate = highBandLevel(h.high, low, h.noiseFrames > 0);
    shapeHighBand(h.high, a.data(), kOrder, noise);
    std::copy_n(input, kSubframe16k, band);
    filter31(h.inputBand, fir6k7k, 2, band, kSubframe16k);
    scaleSignal(band, kSubframe16k, -1);

    const Scaled e1 = dotProduct(band, band, kSubframe16k);
    const Scaled ratio = inverseRatio(e1, dotProduct(noise, noise, kSubframe16k));
    const Qol16s gain = extract_h(L_shl(ratio.mantissa, ratio.exponent));
    // In the hangover the true level gives way to the estimate.
    h.adaptation = mult(h.adaptation, saturate16(hang * 4681));
    if (hang > 6) {
        h.adaptation = 32767;
    }
    const Qol16s wanted = add(mult(gain, h.adaptation),
                              mult(sub(32767, h.adaptation), static_cast<Qol16s>(estimate >> 1)));
    int index = 0;
    Qol16s least = MAX_16;
    for (int i = 0; i < 16; ++i) {
        const Qol16s d = sub(wanted, highBandGain[i]);
        const Qol16s error = mult(d, d);
        if (error < least) {
            least = error;
            index = i;
        }
    }
    return index;
}

} // namespace qolsc::tools::amrwb
