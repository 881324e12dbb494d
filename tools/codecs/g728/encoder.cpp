// SPDX-License-Identifier: Apache-2.0
// Encoder of G.728 (Annex G, figure 2).
#include "codecs/g728/backward.h"
#include "codecs/g728/tables.h"
#include "numeric/blockfloat.h"

#include <algorithm>

namespace qolsc::tools::g728 {

using namespace blockfloat;

namespace {

constexpr int kShapes = 128;

struct Encoder {
    Backward backward;
    Window weightWindow;
    std::vector<Qol8u> weighting; ///< record of the weighting filter
    Qol16s input[kCycle * kVector];
    Qol16s weights[2 * kShortOrder]; ///< numerator, denominator
    Qol16s response[8];              ///< impulse response, Q13
    Qol16s energies[kShapes];
};

/// Impulse response of synthesis and weighting filter, and what follows from it. Blocks 12 and 14.
void updateResponse(Encoder& e) {
    const Qol16s* a = e.backward.synthesis;
    const Qol16s *zero = e.weights, *pole = e.weights + kShortOrder;
    Qol16s plain[kVector] = {8192};
    e.response[0] = 8192;
    for (int n = 1; n < kVector; ++n) {
        Qol64s u = 0;
        for (int k = 1; k <= n; ++k) {
            u -= Qol32s{a[k - 1]} * plain[n - k];
        }
        plain[n] = saturate16(u >> 14);
        for (int k = 1; k <= n; ++k) {
            u += Qol32s{zero[k - 1]} * plain[n - k] - Qol32s{pole[k - 1]} * e.response[n - k];
        }
        e.response[n] = saturate16(u >> 14);
    }
    qolsImpulseResponseEnergy_G728_16s(e.response, e.energies);
}

/// The target over the predicted gain, correlated with the impulse response, Q7. Blocks 16 and 13.
void correlate(const Encoder& e, const Qol16s* weighted, const Qol16s* zeroInput,
               Qol16s* correlation) {
    const Linear& gain = e.backward.gain;
    const Quotient inverse = divide(16384, 14, gain.gain, gain.exponent);
    Qol16s target[kVector];
    for (int n = 0; n < kVector; ++n) {
        const Qol16s difference = saturate16(weighted[n] - zeroInput[n]);
        target[n] = static_cast<Qol16s>((Qol32s{inverse.mantissa} * difference) >> 15);
    }
    const int up = normVector(target, kVector, 16);
    const int exponent = 2 + inverse.exponent - 15 + up;
    for (Qol16s& t : target) {
        t = static_cast<Qol16s>(t << up);
    }
    for (int j = 0; j < kVector; ++j) {
        Qol64s sum = 0;
        for (int i = j; i < kVector; ++i) {
            sum += Qol32s{e.response[i - j]} * target[i];
        }
        correlation[j] = scaleUp<Qol16s>(saturate32(sum), 7 - 13 - exponent);
    }
}

void adaptWeighting(Encoder& e) {
    // The last 20 samples: the input is kept by place in the cycle, which here ends with place 1.
    Qol16s samples[kCycle * kVector], correlation[kShortOrder + 1];
    std::rotate_copy(e.input, e.input + 2 * kVector, std::end(e.input), samples);
    Predictor p;
    Qol16s weights[2 * kShortOrder];
    if (autocorrelate(e.weightWindow, samples, nullptr, correlation) && solve(correlation, p) &&
        expand(p, tables::kWeightZeroExpansion, weights) &&
        expand(p, tables::kWeightPoleExpansion, weights + kShortOrder)) {
        std::copy_n(weights, 2 * kShortOrder, e.weights);
    }
}

} // namespace

void* openEncoder(const Rate& rate) {
    auto* e = new Encoder{};
    e->backward = openBackward(rate);
    e->weightWindow = openWindow({tables::kWeightWindow, kShortOrder, 20, 30, 0, 8192});
    int size = 0;
    qolsIIR16sGetStateSize_G728_16s(&size);
    e->weighting.resize(static_cast<std::size_t>(size));
    qolsIIR16sInit_G728_16s(e->weighting.data());
    updateResponse(*e);
    return e;
}

void closeEncoder(void* encoder) { delete static_cast<Encoder*>(encoder); }

int encodeVector(void* encoder, const std::int16_t* pcm) {
    auto& e = *static_cast<Encoder*>(encoder);
    Backward& b = e.backward;
    predictGain(b);
    Qol16s synthetic[kVector], exponent, zeroInput[kVector], weighted[kVector];
    qolsCombinedFilterZeroInput_G728_16s(b.synthesis, e.weights, synthetic, &exponent, zeroInput,
                                         b.filter.data());
    Qol16s* input = e.input + kVector * b.cycle;
    for (int n = 0; n < kVector; ++n) {
        input[n] = static_cast<Qol16s>(pcm[n] >> 1);
    }
    qolsIIR16s_G728_16s(e.weights, input, weighted, kVector, e.weighting.data());
    Qol16s correlation[kVector], code;
    correlate(e, weighted, zeroInput, correlation);
    Qol32s shape, gainIndex;
    qolsCodebookSearch_G728_16s(correlation, e.energies, &shape, &gainIndex, &code, b.rate.search);

    Qol16s vector[kVector];
    const int vectorExponent = excitation(b, shape, gainIndex, vector);
    qolsCombinedFilterZeroState_G728_16s(b.synthesis, e.weights, vector,
                                         static_cast<Qol16s>(vectorExponent), synthetic, &exponent,
                                         b.filter.data());
    updateLogGain(b, shape, gainIndex);
    keepFinished(b, synthetic, exponent);
    adapt(b);
    if (b.cycle == 1) {
        adaptWeighting(e);
        updateResponse(e);
    }
    nextVector(b);
    return code;
}

} // namespace qolsc::tools::g728
