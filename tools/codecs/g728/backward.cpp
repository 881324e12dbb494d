// SPDX-License-Identifier: Apache-2.0
// Gain prediction, excitation and backward adaptation of G.728.
#include "codecs/g728/backward.h"

#include "codecs/g728/tables.h"
#include "numeric/blockfloat.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace qolsc::tools::g728 {

using namespace blockfloat;

namespace {

constexpr Qol16s kLeastLogGain = -16384; ///< -32 dB in Q9: the standard's 0 dB
constexpr Qol16s kMostLogGain = 14336;   ///< 28 dB above the offset

struct Level {
    Qol16s gain; ///< Q13
    int shift;   ///< of the product with the gain mantissa
    Qol16s db;   ///< Q11
};

/// Gain index to level; at the lower rates the sign bit stands above one bit of level.
Level levelOf(const Rate& rate, int index) {
    if (rate.gainBits == 3) {
        return {tables::kGainLevels[index], tables::kGainShifts[index],
                tables::kGainLevelsDb[index]};
    }
    constexpr Qol16s kGains[2][2] = {{4308, 12800}, {4626, 15874}};
    // 20 log10 of the levels over 8192, Q11
    constexpr Qol16s kDb[2][2] = {{-11433, 7939}, {-10166, 11768}};
    const int form = rate.shapeBits == 6 ? 0 : 1, level = index & 1;
    const Qol16s gain = kGains[form][level];
    return {index & 2 ? static_cast<Qol16s>(-gain) : gain, level == 0 ? 3 : 2, kDb[form][level]};
}

} // namespace

Backward openBackward(const Rate& rate) {
    Backward b{};
    b.rate = rate;
    b.synthesisWindow = openWindow({tables::kSynthesisWindow, kLongOrder, 20, 35, kVector, 12288});
    b.gainWindow = openWindow({tables::kGainWindow, kShortOrder, kCycle, 20, 0, 12288});
    b.gainPredictor[0] = -16384;
    std::fill_n(b.logGains, 3, kLeastLogGain);
    int size = 0;
    qolsCombinedFilterGetStateSize_G728_16s(&size);
    b.filter.resize(static_cast<std::size_t>(size));
    qolsCombinedFilterInit_G728_16s(b.filter.data());
    std::fill_n(b.exponents, kCycle, Qol16s{16});
    return b;
}

void predictGain(Backward& b) {
    Qol64s sum = 0;
    for (int i = 0; i < kShortOrder; ++i) {
        sum -= Qol32s{b.gainPredictor[i]} * b.logGains[i];
    }
    b.logGain =
        static_cast<Qol16s>(std::clamp<Qol32s>(saturate32(sum) >> 14, kLeastLogGain, kMostLogGain));
    // 10^(v/20) as a power of two: integer part and the series of Exp10 for the fraction.
    const Qol32s v = b.logGain - kLeastLogGain;
    const Qol32s p = 10 * v + roundHigh(Qol64s{2} * 20649 * v);
    const int whole = p >> 15;
    const Qol64s x = p - (whole << 15);
    Qol64s y = 323;
    for (const int c : {1874, 7866, 22702}) {
        y = roundHigh(2 * y * x + Qol64s{c} * 65536);
    }
    b.gain = {roundHigh(y * x + Qol64s{16384} * 65536), 14 - whole};
}

int excitation(const Backward& b, int shape, int gainIndex, Qol16s* vector) {
    const Level level = levelOf(b.rate, gainIndex);
    const Qol64s a = roundHigh(Qol64s{b.gain.gain} * level.gain * (1 << level.shift));
    const Qol16s* y = tables::kShapes[shape];
    const int m = normVector(y, kVector, 16);
    for (int n = 0; n < kVector; ++n) {
        vector[n] = roundHigh(a * scaleUp<Qol16s>(y[n], m));
    }
    return b.gain.exponent + level.shift - 3 + m - 5;
}

namespace {

void pushLogGain(Backward& b, Qol64s value) {
    std::copy_backward(b.logGains, b.logGains + kShortOrder - 1, b.logGains + kShortOrder);
    b.logGains[0] = saturate16(std::max<Qol64s>(value, kLeastLogGain));
}

} // namespace

void updateLogGain(Backward& b, int shape, int gainIndex) {
    const Qol32s db = levelOf(b.rate, gainIndex).db + tables::kShapeEnergiesDb[shape];
    pushLogGain(b, (b.logGain * 128 + db * 32) >> 7);
}

void decayLogGain(Backward& b) {
    constexpr int kDecay = 256; // half a dB a vector
    pushLogGain(b, b.logGain - kDecay);
}

void keepFinished(Backward& b, const Qol16s* mantissa, Qol16s exponent) {
    std::copy_n(mantissa, kVector, b.finished + kVector * b.cycle);
    b.exponents[b.cycle] = exponent;
}

void adapt(Backward& b) {
    switch (b.cycle) {
    case 3:
        b.shortValid = autocorrelate(b.synthesisWindow, b.finished, b.exponents, b.correlation) &&
                       solve(b.correlation, b.predictor);
        break;
    case 0: {
        b.waitingValid = b.shortValid && extend(b.correlation, b.predictor) &&
                         expand(b.predictor, tables::kSynthesisExpansion, b.waiting);
        Qol16s newest[kCycle], correlation[kShortOrder + 1];
        std::reverse_copy(b.logGains, b.logGains + kCycle, newest);
        Predictor p;
        if (autocorrelate(b.gainWindow, newest, nullptr, correlation) && solve(correlation, p)) {
            expand(p, tables::kGainExpansion, b.gainPredictor);
        }
        break;
    }
    case 1:
        if (b.waitingValid) {
            std::copy_n(b.waiting, kLongOrder, b.synthesis);
        }
        break;
    default:
        break;
    }
}

} // namespace qolsc::tools::g728
