// SPDX-License-Identifier: Apache-2.0
// Adaptive-codebook vector of G.729 by 1/3 interpolation of the past excitation (3.7.1, 4.1.3).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/pitch.h"
#include "numeric/basop.h"
#include "tables/g729_pitch.h"
#include "vector/simd.h"

#include <algorithm>
#include <array>

namespace qolsc {

namespace {

using tables::g729::inter_3l;
using tables::g729::inter_3l_32f;

constexpr int kPhases = 3;
constexpr int kSide = 10;       // taps on either side
constexpr int kPaddedTaps = 24; // three vectors
constexpr int kBlock = 8;       // outputs that depend on no output of the same block

/// First sample of the filter's support and its phase for a lag and a fraction.
struct Place {
    int offset; // of the sample that meets the middle tap, from the output
    int phase;
};
constexpr Place placeOf(int lag, int fraction) {
    return fraction > 0 ? Place{-lag - 1, kPhases - fraction} : Place{-lag, -fraction};
}

/// Taps of each phase in the order of the samples, and the largest magnitude of samples for which
/// no partial sum of products, doubled, leaves 32 bits.
struct alignas(16) Phase {
    Qol16s taps[kPaddedTaps];
    Qol16s safe;
};
constexpr std::array<Phase, kPhases> kPhase = [] {
    std::array<Phase, kPhases> table{};
    for (int f = 0; f < kPhases; ++f) {
        Qol32s sum = 0;
        for (int i = 0; i < kSide; ++i) {
            table[f].taps[kSide - 1 - i] = inter_3l[f + kPhases * i];
            table[f].taps[kSide + i] = inter_3l[kPhases - f + kPhases * i];
        }
        for (const Qol16s tap : table[f].taps) {
            sum += tap < 0 ? -tap : tap;
        }
        table[f].safe = static_cast<Qol16s>(std::min(0x3FFFFFFF / sum, 32767));
    }
    return table;
}();

/// One output by the chain of saturating multiply-adds; x meets the middle tap.
Qol16s interpolatePlain(const Qol16s* x, int phase) {
    Qol32s s = 0;
    for (int i = 0; i < kSide; ++i) {
        s = basop::L_mac(s, x[-i], inter_3l[phase + kPhases * i]);
        s = basop::L_mac(s, x[1 + i], inter_3l[kPhases - phase + kPhases * i]);
    }
    return basop::round_fx(s);
}

/// True when all samples of the support of eight outputs from x on are small enough for plain sums.
bool blockIsSafe(const Qol16s* x, Qol16s safe) {
    using namespace simd;
    const Qol16s* p = x - (kSide - 1); // 27 samples
    const i128 a = load(p), b = load(p + 8), c = load(p + 16), d = load(p + 19);
    const i128 top = _mm_max_epi16(_mm_max_epi16(a, b), _mm_max_epi16(c, d));
    const i128 low = _mm_min_epi16(_mm_min_epi16(a, b), _mm_min_epi16(c, d));
    const i128 bad = _mm_or_si128(_mm_cmpgt_epi16(top, splat16(safe)),
                                  _mm_cmplt_epi16(low, splat16(static_cast<Qol16s>(-safe))));
    return _mm_testz_si128(bad, bad) != 0;
}

/// Eight outputs by plain sums. Reads five samples behind the support, which meet zero taps.
void interpolateBlock(const Qol16s* x, const Phase& phase, Qol16s* out) {
    using namespace simd;
    const i128 t0 = load(phase.taps), t1 = load(phase.taps + 8), t2 = load(phase.taps + 16);
    i128 sums[kBlock];
    for (int n = 0; n < kBlock; ++n) {
        const Qol16s* p = x + n - (kSide - 1);
        sums[n] = add32(add32(maddPairs(load(p), t0), maddPairs(load(p + 8), t1)),
                        maddPairs(loadLow64(p + 16), t2));
    }
    // The doubled sum rounded to its upper half: (s + 2^14) >> 15.
    const i128 half = splat32(0x4000);
    i128 quarter[2];
    for (int q = 0; q < 2; ++q) {
        const i128* s = sums + 4 * q;
        const i128 four = _mm_hadd_epi32(_mm_hadd_epi32(s[0], s[1]), _mm_hadd_epi32(s[2], s[3]));
        quarter[q] = _mm_srai_epi32(add32(four, half), 15);
    }
    store(out, packSat16(quarter[0], quarter[1]));
}

bool fractionIsBad(int fraction) { return fraction < -1 || fraction > 1; }

} // namespace

void ownAdaptiveCodebookVector_G729_16s(Qol16s* exc, int lag, int fraction) {
    const Place place = placeOf(lag, fraction);
    const Phase& phase = kPhase[static_cast<std::size_t>(place.phase)];
    // The support of an output ends at least 8 samples before it, so that blocks of 8 are free of
    // their own outputs.
    for (int n = 0; n < kSubframe; n += kBlock) {
        const Qol16s* x = exc + n + place.offset;
        if (blockIsSafe(x, phase.safe)) {
            interpolateBlock(x, phase, exc + n);
        } else {
            for (int i = 0; i < kBlock; ++i) {
                exc[n + i] = interpolatePlain(x + i, place.phase);
            }
        }
    }
}

QolStatus qolsDecodeAdaptiveVector_G729_16s_I(const Qol16s* pDelay, Qol16s* pSrcDstExc) noexcept {
    if (anyNull(pDelay, pSrcDstExc)) {
        return qolStsNullPtrErr;
    }
    if (pDelay[0] < 18 || pDelay[0] > 144 || fractionIsBad(pDelay[1])) {
        return qolStsOutOfRangeErr;
    }
    ownAdaptiveCodebookVector_G729_16s(pSrcDstExc + kPastExcitation, pDelay[0], pDelay[1]);
    return qolStsNoErr;
}

QolStatus qolsDecodeAdaptiveVector_G729_16s(const Qol16s* pDelay, Qol16s* pSrcDstExc,
                                            Qol16s* pDstAdptVector) noexcept {
    if (anyNull(pDelay, pSrcDstExc, pDstAdptVector)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = qolsc::qolsDecodeAdaptiveVector_G729_16s_I(pDelay, pSrcDstExc);
    if (status == qolStsNoErr) {
        std::copy_n(pSrcDstExc + kPastExcitation, kSubframe, pDstAdptVector);
    }
    return status;
}

QolStatus qolsDecodeAdaptiveVector_G729_32f_I(const Qol32s* pDelay, Qol32f* pSrcDstExc) noexcept {
    if (anyNull(pDelay, pSrcDstExc)) {
        return qolStsNullPtrErr;
    }
    if (pDelay[0] < 18 || pDelay[0] > 145 || fractionIsBad(pDelay[1])) {
        return qolStsOutOfRangeErr;
    }
    const Place place = placeOf(pDelay[0], pDelay[1]);
    for (int n = 0; n < kSubframe; ++n) {
        const Qol32f* x = pSrcDstExc + n + place.offset;
        Qol32f s = 0;
        for (int i = 0; i < kSide; ++i) {
            // Lag 145 with fraction 1 reaches one sample further than the history: it counts as 0.
            const bool outside = n + place.offset - i < -kPastExcitation;
            s += outside ? 0.0F : x[-i] * inter_3l_32f[place.phase + kPhases * i];
            s += x[1 + i] * inter_3l_32f[kPhases - place.phase + kPhases * i];
        }
        pSrcDstExc[n] = s;
    }
    return qolStsNoErr;
}

} // namespace qolsc
