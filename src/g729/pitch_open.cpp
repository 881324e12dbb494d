// SPDX-License-Identifier: Apache-2.0
// Open-loop pitch of G.729: on all samples (3.4), and on the even ones with multiples favoured
// (A.3.4).
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/pitch.h"
#include "numeric/helpers.h"

#include <algorithm>

namespace qolsc {

namespace {

constexpr int kFrame = 80;
constexpr int kSpan = kMaxLag + kFrame; // history and frame
constexpr int kEven = (kSpan + 1) / 2;  // samples at even places of the span
constexpr int kHalfFrame = kFrame / 2;
constexpr int kScaleShift = 3;

/// Largest correlation of a range of lags and its lag.
struct Peak {
    Qol32s correlation;
    int lag;
};

/// Correlations over the square root of the energies, low 16 bits of the double-precision product.
/// Both come doubled.
template <int N>
void normalise(const Peak (&peak)[N], Qol32s (&energy)[N], Qol16s (&value)[N]) {
    qolsc::qolsInvSqrt_32s_I(energy, N);
    for (int i = 0; i < N; ++i) {
        value[i] = wrap16(mul32Wrap(peak[i].correlation, energy[i]));
    }
}

void shiftRight(const Qol16s* pSrc, Qol16s* pDst) {
    std::transform(pSrc, pSrc + kSpan, pDst,
                   [](Qol16s x) { return static_cast<Qol16s>(x >> kScaleShift); });
}
void shiftLeft(const Qol16s* pSrc, Qol16s* pDst) {
    std::transform(pSrc, pSrc + kSpan, pDst,
                   [](Qol16s x) { return saturate16(Qol32s{x} * (1 << kScaleShift)); });
}

// ---- main body ----

Peak peakOf(const Qol16s* frame, int lowerLag, int upperLag) {
    Qol32s correlation = 0, lag = 0;
    qolsc::qolsAutoCorrLagMax_Inv_16s(frame, kFrame, lowerLag, upperLag, &correlation, &lag);
    return {basop::L_shl(correlation, 1), lag};
}

// ---- Annex A ----

/// The span cut into its even and odd places. The frame begins at an odd place, so that its even
/// samples are in odd[].
struct Decimated {
    alignas(16) Qol16s even[kEven];
    alignas(16) Qol16s odd[kEven];
};

constexpr int kFrameInOdd = kMaxLag / 2;
constexpr Qol64s kSmallEnergy = 0xFFFFFFFF;

void decimate(const Qol16s* span, Decimated& d) {
    using namespace simd;
    constexpr int kVectors = kSpan / 16;
    for (int i = 0; i < kVectors; ++i) {
        const i128 a = load(span + 16 * i), b = load(span + 16 * i + 8);
        const auto lowWord = [](i128 v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); };
        store(d.even + 8 * i, packSat16(lowWord(a), lowWord(b)));
        store(d.odd + 8 * i, packSat16(_mm_srai_epi32(a, 16), _mm_srai_epi32(b, 16)));
    }
    for (int i = 8 * kVectors; i < kEven - 1; ++i) {
        d.even[i] = span[2 * i];
        d.odd[i] = span[2 * i + 1];
    }
    d.even[kEven - 1] = span[kSpan - 1];
    d.odd[kEven - 1] = 0;
}

void scale(Decimated& d, bool left) {
    for (Qol16s* x : {d.even, d.odd}) {
        for (int i = 0; i < kEven; ++i) {
            x[i] = left ? static_cast<Qol16s>(std::clamp(x[i] * (1 << kScaleShift), -32768, 32767))
                        : static_cast<Qol16s>(x[i] >> kScaleShift);
        }
    }
}

/// The samples that meet the even ones of the frame at a lag.
const Qol16s* delayed(const Decimated& d, int lag) {
    return (lag & 1 ? d.even : d.odd) + (kMaxLag - lag) / 2;
}

Qol32s doubled(Qol64s sum) { return saturate32(2 * sum); }

/// Doubled correlation at a lag; exact, in case a 32-bit sum could wrap.
Qol32s correlationExact(const Decimated& d, int lag) {
    return doubled(dotExact(d.odd + kFrameInOdd, delayed(d, lag), kHalfFrame));
}

void offer(Peak& peak, Qol32s correlation, int lag) {
    if (correlation > peak.correlation) {
        peak = {correlation, lag};
    }
}

/// First of the largest doubled correlations, lags rising.
Peak ownAutoCorrLagMax_G729A_16s(const Decimated& d, int low, int high, int step) {
    Peak peak{basop::MIN_32, low};
    for (int lag = low; lag <= high; lag += step) {
        offer(peak, correlationExact(d, lag), lag);
    }
    return peak;
}

/// The same for signals of at most 2^32 - 1 in energy: no sum of products leaves 32 bits then,
/// since 2 |<x,y>| <= <x,x> + <y,y>. Lags of one parity are neighbours in a decimated vector.
Peak lagMaxSmall(const Decimated& d, int low, int high, int step) {
    constexpr int kMostLags = 32;
    Qol32s value[2 * kMostLags]; // from the highest lag down, in steps
    for (int parity = 0; parity < 3 - step; ++parity) {
        const int last = high - parity - (step == 2 ? (high - low) & 1 : 0);
        const int count = (last - low) / 2 + 1;
        Qol32s sums[kMostLags];
        corrLags(d.odd + kFrameInOdd, delayed(d, last), kHalfFrame, sums, count);
        for (int k = 0; k < count; ++k) {
            // Half of what saturates to 32 bits.
            value[(3 - step) * k + parity] = std::clamp(sums[k], -0x40000000, 0x40000000);
        }
    }
    const int count = (high - low) / step + 1;
    int best = count - 1;
    for (int k = count - 2; k >= 0; --k) {
        best = value[k] > value[best] ? k : best;
    }
    return {doubled(value[best]), low + step * (count - 1 - best)};
}

/// Doubled energy at a lag plus 1, but for a saturated one.
Qol32s energyAt(const Decimated& d, int lag) {
    const Qol32s e = doubled(energyExact(delayed(d, lag), kHalfFrame));
    return e == basop::MAX_32 ? e : e + 1;
}

bool nearMultiple(int shorter, int longer) {
    return std::abs(2 * shorter - longer) < 5 || std::abs(3 * shorter - longer) < 7;
}

} // namespace

QolStatus qolsOpenLoopPitchSearch_G729_16s(const Qol16s* pSrc, Qol16s* pResultLag) noexcept {
    if (anyNull(pSrc, pResultLag)) {
        return qolStsNullPtrErr;
    }
    constexpr Qol16s kPrefer_Q15 = 27853; // 0.85
    Qol16s scaled[kSpan];
    const Qol16s* frame = pSrc;
    const Qol64s total = energyExact(pSrc - kMaxLag, kSpan);
    if (total > 0x3FFFFFFF) {
        shiftRight(pSrc - kMaxLag, scaled);
        frame = scaled + kMaxLag;
    } else if (total < 0x80000) {
        shiftLeft(pSrc - kMaxLag, scaled);
        frame = scaled + kMaxLag;
    }
    // From the longest lags to the shortest; each shorter section wins from 0.85 of the best on.
    const Peak peak[3] = {peakOf(frame, 80, kMaxLag), peakOf(frame, 40, 79),
                          peakOf(frame, kMinLag, 39)};
    Qol32s energy[3];
    Qol16s value[3];
    for (int i = 0; i < 3; ++i) {
        energy[i] = doubled(saturate32(energyExact(frame - peak[i].lag, kFrame)));
    }
    normalise(peak, energy, value);
    int best = 0;
    for (int i = 1; i < 3; ++i) {
        if (((value[best] * kPrefer_Q15) >> 15) < value[i]) {
            best = i;
        }
    }
    *pResultLag = static_cast<Qol16s>(peak[best].lag);
    return qolStsNoErr;
}

QolStatus qolsOpenLoopPitchSearch_G729A_16s(const Qol16s* pSrc, Qol16s* pResultLag) noexcept {
    if (anyNull(pSrc, pResultLag)) {
        return qolStsNullPtrErr;
    }
    Decimated d;
    decimate(pSrc - kMaxLag, d);
    const Qol64s energyEven = 2 * energyExact(d.even, kEven);
    if (energyEven > basop::MAX_32) {
        scale(d, false);
    } else if (energyEven < 0x100000) {
        scale(d, true);
    }
    // The scaling looks at the even places alone; the odd ones may be loud.
    const Qol64s energy = energyExact(d.even, kEven) + energyExact(d.odd, kEven);
    const auto lagMax = energy <= kSmallEnergy ? lagMaxSmall : ownAutoCorrLagMax_G729A_16s;
    Peak peak[3] = {lagMax(d, kMinLag, 39, 1), lagMax(d, 40, 79, 1), lagMax(d, 80, kMaxLag, 2)};
    const int middle = peak[2].lag;
    offer(peak[2], correlationExact(d, middle + 1), middle + 1);
    offer(peak[2], correlationExact(d, middle - 1), middle - 1);

    Qol32s energies[3];
    Qol16s m[3];
    for (int i = 0; i < 3; ++i) {
        energies[i] = energyAt(d, peak[i].lag);
    }
    normalise(peak, energies, m);
    if (nearMultiple(peak[1].lag, peak[2].lag)) {
        m[1] = basop::add(m[1], static_cast<Qol16s>(m[2] >> 2));
    }
    if (nearMultiple(peak[0].lag, peak[1].lag)) {
        m[0] = basop::add(m[0], basop::mult(m[1], 6554)); // 0.2, Q15
    }
    int best = 0;
    for (int i = 1; i < 3; ++i) {
        if (m[best] < m[i]) {
            best = i;
        }
    }
    *pResultLag = static_cast<Qol16s>(peak[best].lag);
    return qolStsNoErr;
}

QolStatus qolsDotProd_G729A_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len,
                                   Qol32s* pDp) noexcept {
    if (anyNull(pSrc1, pSrc2, pDp)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    Qol64s sum = 0;
    for (int i = 0; i < len; i += 2) {
        sum += Qol32s{pSrc1[i]} * pSrc2[i];
    }
    *pDp = doubled(sum);
    return *pDp == 2 * sum ? qolStsNoErr : qolStsOverflow;
}

} // namespace qolsc
