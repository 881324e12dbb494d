// SPDX-License-Identifier: Apache-2.0
// Decoder of G.728 with post-filter (Annex G, figure 3).
#include "codecs/g728/backward.h"
#include "codecs/g728/tables.h"
#include "numeric/blockfloat.h"

#include <algorithm>

namespace qolsc::tools::g728 {

using namespace blockfloat;

namespace {

constexpr int kHistory = 240, kFineSamples = 100;
constexpr int kFirstPitch = 50;
constexpr Qol16s kUnity = 16384;

struct Decoder {
    Backward backward;
    bool postFilter;
    std::vector<Qol8u> adapter, filter;
    Qol16s residual[kHistory];          ///< Q1, newest last
    Qol16s decoded[kHistory + kVector]; ///< Q0, the current vector last
    Qol16s shortTerm[2 * kShortOrder];  ///< numerator, denominator, Q14
    Qol16s inverse[kShortOrder];        ///< Q13
    Qol16s tilt;
    int pitch;
    LongTerm longTerm;
};

/// Filters of the post-filter from the order-10 solution of this cycle. Blocks 85 and 81.
void adaptShortTerm(Decoder& d) {
    const Predictor& p = d.backward.predictor;
    Qol16s filters[2 * kShortOrder];
    if (expand(p, tables::kPostZeroExpansion, filters) &&
        expand(p, tables::kPostPoleExpansion, filters + kShortOrder)) {
        std::copy_n(filters, 2 * kShortOrder, d.shortTerm);
    }
    for (int i = 0; i < kShortOrder; ++i) {
        d.inverse[i] = roundHigh(Qol64s{p.coefficients[i]} * (1 << (29 - p.scale)));
    }
    constexpr int kTilt = 4915; // 0.15 in Q15
    d.tilt = roundHigh(Qol64s{p.reflection} * kTilt);
}

void postFilter(Decoder& d, const Qol16s* mantissa, int exponent, std::int16_t* pcm) {
    Qol16s speech[kVector], residual[kVector], out[kVector];
    std::copy(d.decoded + kVector, std::end(d.decoded), d.decoded);
    Qol16s* current = d.decoded + kHistory;
    for (int n = 0; n < kVector; ++n) {
        speech[n] = roundHigh(scaleUp<Qol32s>(mantissa[n], 18 - exponent));
        current[n] = static_cast<Qol16s>(speech[n] >> 2);
    }
    qolsLPCInverseFilter_G728_16s(d.inverse, speech, residual, d.adapter.data());
    std::copy(d.residual + kVector, std::end(d.residual), d.residual);
    std::copy_n(residual, kVector, d.residual + kHistory - kVector);
    if (d.backward.cycle == 2) {
        qolsPitchPeriodExtraction_G728_16s(d.residual, &d.pitch, d.adapter.data());
        d.longTerm = longTermPostFilter(d.decoded, d.pitch);
    }
    qolsPostFilter_G728_16s(speech, current, d.shortTerm, out, d.pitch, d.longTerm.gain,
                            d.longTerm.tapGain, d.tilt, d.filter.data());
    for (int n = 0; n < kVector; ++n) {
        pcm[n] = saturate16(2 * out[n]);
    }
}

/// Shape of a code word's place in the scan.
int shapeOf(const Rate& rate, int place) {
    return rate.shapeBits == 7   ? place
           : rate.shapeBits == 6 ? place + 64
                                 : 96 + 2 * (place & ~3) + place % 4;
}

} // namespace

LongTerm longTermPostFilter(const std::int16_t* memory, int pitch) {
    const Qol16s* x = memory + kHistory - kFineSamples;
    Qol64s energy = 0, correlation = 0;
    for (int i = 0; i < kFineSamples; ++i) {
        energy += Qol32s{x[i - pitch]} * x[i - pitch];
        correlation += Qol32s{x[i]} * x[i - pitch];
    }
    Qol32s tap = 0;
    if (energy > 0 && correlation > 0) {
        tap = kUnity;
        if (correlation < energy) {
            const int a = normBits(correlation, 32), b = normBits(energy, 32);
            const Quotient q = divide(roundHigh(scaleUp<Qol32s>(correlation, a)), a,
                                      roundHigh(scaleUp<Qol32s>(energy, b)), b);
            tap = static_cast<Qol32s>(shiftRight(q.mantissa, q.exponent - 14));
        }
    }
    // Periodicity below 0.6 leaves the filter off; 0.15 of the rest is what is added.
    constexpr int kThreshold = 9830, kWeight = 9830;
    const Qol32s p = tap < kThreshold ? 0 : kWeight * tap;
    const Quotient gain = divide(kUnity, 14, static_cast<Qol16s>((p >> 16) + kUnity), 14);
    return {static_cast<Qol16s>(gain.mantissa >> (gain.exponent - 14)),
            static_cast<Qol16s>((gain.mantissa * (p >> 14)) >> gain.exponent),
            static_cast<Qol16s>(tap)};
}

void* openDecoder(const Rate& rate, bool postFilter) {
    auto* d = new Decoder{};
    d->backward = openBackward(rate);
    d->postFilter = postFilter;
    int size = 0;
    qolsPostFilterAdapterGetStateSize_G728(&size);
    d->adapter.resize(static_cast<std::size_t>(size));
    qolsPostFilterAdapterStateInit_G728(d->adapter.data());
    qolsPostFilterGetStateSize_G728_16s(&size);
    d->filter.resize(static_cast<std::size_t>(size));
    qolsPostFilterInit_G728_16s(d->filter.data());
    d->pitch = kFirstPitch;
    d->longTerm = {kUnity, 0, 0};
    return d;
}

void closeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }

void decodeVector(void* decoder, int code, std::int16_t* pcm) {
    auto& d = *static_cast<Decoder*>(decoder);
    Backward& b = d.backward;
    predictGain(b);
    // The decoder needs no weighting; the combined filter with none is the synthesis filter.
    constexpr Qol16s kNoWeighting[2 * kShortOrder] = {};
    Qol16s synthetic[kVector], exponent, unused[kVector], vector[kVector] = {};
    qolsCombinedFilterZeroInput_G728_16s(b.synthesis, kNoWeighting, synthetic, &exponent, unused,
                                         b.filter.data());
    int vectorExponent = exponent;
    if (code < 0) {
        // Lost: the synthesis filter rings on without excitation.
        decayLogGain(b);
    } else {
        const int gainIndex = code & ((1 << b.rate.gainBits) - 1);
        const int shape =
            shapeOf(b.rate, (code >> b.rate.gainBits) & ((1 << b.rate.shapeBits) - 1));
        vectorExponent = excitation(b, shape, gainIndex, vector);
        updateLogGain(b, shape, gainIndex);
    }
    qolsCombinedFilterZeroState_G728_16s(b.synthesis, kNoWeighting, vector,
                                         static_cast<Qol16s>(vectorExponent), synthetic, &exponent,
                                         b.filter.data());
    keepFinished(b, synthetic, exponent);
    if (d.postFilter) {
        postFilter(d, synthetic, exponent, pcm);
    } else {
        for (int n = 0; n < kVector; ++n) {
            pcm[n] = roundHigh(scaleUp<Qol32s>(synthetic[n], 19 - exponent));
        }
    }
    adapt(b);
    if (b.cycle == 3 && b.shortValid) {
        adaptShortTerm(d);
    }
    nextVector(b);
}

} // namespace qolsc::tools::g728
