// SPDX-License-Identifier: Apache-2.0
// Weighting filter, synthesis filter and their combined responses (ITU-T G.728 Annex G, blocks 4,
// 9, 10, 22 and 32).
#include "g728/filters.h"

#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/lanes.h"

namespace qolsc {

namespace g728 {

void ownIIRPlain_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, int len,
                      PoleZeroMemory& memory) {
    // The history grows to the right in a short piece, so that it is moved once a piece.
    constexpr int kPiece = 4 * kVector;
    Qol16s in[kShortOrder + kPiece], out[kShortOrder + kPiece];
    for (int i = 0; i < kShortOrder; ++i) {
        in[kShortOrder - 1 - i] = memory.in[i];
        out[kShortOrder - 1 - i] = memory.out[i];
    }
    while (len > 0) {
        const int n = std::min(len, kPiece);
        for (int i = 0; i < n; ++i) {
            in[kShortOrder + i] = x[i];
            Qol64s s = x[i] * Qol64s{1 << 14};
            for (int k = 0; k < kShortOrder; ++k) {
                s += Qol32s{c[k]} * in[kShortOrder - 1 + i - k];
                s -= Qol32s{c[kShortOrder + k]} * out[kShortOrder - 1 + i - k];
            }
            y[i] = out[kShortOrder + i] = saturate16(s >> 14);
        }
        std::copy_n(in + n, kShortOrder, in);
        std::copy_n(out + n, kShortOrder, out);
        x += n;
        y += n;
        len -= n;
    }
    for (int i = 0; i < kShortOrder; ++i) {
        memory.in[i] = in[kShortOrder - 1 - i];
        memory.out[i] = out[kShortOrder - 1 - i];
    }
}

namespace {

/// All four lanes, exact.
void storeSums(Qol64s* p, const WideSum& s) {
    using namespace simd;
    const i128 rest = sub32(s.low, _mm_slli_epi32(s.high, 5));
    store(p, add64(_mm_slli_epi64(widenLow64(s.high), 5), widenLow64(rest)));
    store(p + 2, add64(_mm_slli_epi64(widenHigh64(s.high), 5), widenHigh64(rest)));
}

/// Fifteen samples, the newest first: five new ones and a memory of ten.
struct Newest {
    simd::i128 low, high;
};
Newest newestOf(simd::i128 fresh, const Qol16s* memory) {
    const simd::i128 kept = simd::load(memory);
    return {_mm_or_si128(fresh, _mm_slli_si128(kept, 10)),
            _mm_srli_si128(simd::load(memory + 2), 2)};
}

/// Samples K and K+1 back from each output, in outputs 4 to 1.
template <int K>
simd::i128 taps(const Newest& h, const Qol16s* c) {
    constexpr int kBytes = 2 * K;
    const simd::i128 first = _mm_alignr_epi8(h.high, h.low, kBytes),
                     second = _mm_alignr_epi8(h.high, h.low, kBytes + 2);
    return simd::maddPairs(_mm_unpacklo_epi16(first, second), splatPair(c + K - 1));
}

/// The last two products of output 0, which has none of the new samples behind it.
simd::i128 lastTaps(const Qol16s* samples, const Qol16s* c) {
    const simd::i128 one = _mm_cvtsi32_si128(-1);
    return simd::maddPairs(_mm_and_si128(splatPair(samples + 8), one), splatPair(c + 8));
}

} // namespace

bool ownIIRLanes_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, PoleZeroMemory& memory) {
    using namespace simd;
    const Qol16s* d = c + kShortOrder;
    const i128 c0 = load(c), c8 = load(c + 8), d4 = load(d + 2);
    const i128 least = splat16(-32768);
    if (_mm_movemask_epi8(
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(c0, least), _mm_cmpeq_epi16(c8, least)),
                         _mm_cmpeq_epi16(d4, least))) != 0) {
        return false;
    }
    const i128 fresh =
        _mm_shuffle_epi8(_mm_insert_epi16(loadLow64(x), x[4], 4),
                         _mm_setr_epi8(8, 9, 6, 7, 4, 5, 2, 3, 0, 1, -1, -1, -1, -1, -1, -1));
    const Newest in = newestOf(fresh, memory.in), out = newestOf(zero(), memory.out);
    WideSum later;
    addPairs(later, taps<1>(in, c));
    addPairs(later, taps<3>(in, c));
    addPairs(later, taps<5>(in, c));
    addPairs(later, taps<7>(in, c));
    addPairs(later, taps<9>(in, c));
    subPairs(later, taps<1>(out, d));
    subPairs(later, taps<3>(out, d));
    subPairs(later, taps<5>(out, d));
    subPairs(later, taps<7>(out, d));
    subPairs(later, taps<9>(out, d));
    WideSum first;
    addPairs(first, maddPairs(c0, load(memory.in)));
    addPairs(first, lastTaps(memory.in, c));
    subPairs(first, maddPairs(load(d), load(memory.out)));
    subPairs(first, lastTaps(memory.out, d));
    Qol64s sums[4], parts[4]; // sums of outputs 4 to 1
    storeSums(sums, later);
    storeSums(parts, first);

    std::memmove(memory.out + kVector, memory.out, kVector * sizeof(Qol16s));
    for (int n = 0; n < kVector; ++n) {
        Qol64s s = x[n] * Qol64s{1 << 14};
        s += n == 0 ? parts[0] + parts[1] + parts[2] + parts[3] : sums[kVector - 1 - n];
        for (int k = 1; k <= n; ++k) {
            s -= Qol32s{d[k - 1]} * memory.out[kVector - 1 - n + k];
        }
        y[n] = memory.out[kVector - 1 - n] = saturate16(s >> 14);
    }
    store(memory.in, in.low);
    const Qol32s oldest = _mm_cvtsi128_si32(in.high);
    std::memcpy(memory.in + 8, &oldest, sizeof oldest);
    return true;
}

void ownIIR16s_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, int len, PoleZeroMemory& memory) {
    for (; len >= kVector && ownIIRLanes_G728(c, x, y, memory); len -= kVector) {
        x += kVector;
        y += kVector;
    }
    if (len > 0) {
        ownIIRPlain_G728(c, x, y, len, memory);
    }
}

void pushVector(SynthesisMemory& memory, const Qol16s* mantissa, Qol16s exponent) {
    std::copy(memory.mantissa + kVector, memory.mantissa + kOrder, memory.mantissa);
    std::copy_n(mantissa, kVector, memory.mantissa + kOrder - kVector);
    std::copy(memory.exponent + 1, memory.exponent + kPastVectors, memory.exponent);
    memory.exponent[kPastVectors - 1] = exponent;
}

namespace {

/// The part of one past vector, b back from 1, in output n: the samples at a lag of 50 at most.
Qol64s pastVector(const Qol16s* a, const Qol16s* vector, int b, int n) {
    Qol64s p = 0;
    for (int j = b == kPastVectors ? n : 0; j < kVector; ++j) {
        p -= Qol32s{a[n + kVector * b - j - 1]} * vector[j];
    }
    return p;
}

} // namespace

void ownZeroInputPlain_G728(const Qol16s* a, const SynthesisMemory& memory, Qol64s* past) {
    const int common = *std::min_element(memory.exponent, memory.exponent + kPastVectors);
    for (int n = 0; n < kVector; ++n) {
        past[n] = 0;
        for (int b = 1; b <= kPastVectors; ++b) {
            const int back = kPastVectors - b;
            const int down = memory.exponent[back] - common;
            // The reference drops the oldest vector altogether from 30 on.
            if (b < kPastVectors || down < 30) {
                past[n] += shiftRight(pastVector(a, memory.mantissa + kVector * back, b, n), down);
            }
        }
    }
}

bool ownZeroInputLanes_G728(const Qol16s* a, const SynthesisMemory& memory, Qol64s* past) {
    using namespace simd;
    // Five products of such mantissas fit in 32 bits.
    constexpr Qol16s kMost = 13106;
    Qol16s least = 0, greatest = 0;
    for (const Qol16s m : memory.mantissa) {
        least = std::min(least, m);
        greatest = std::max(greatest, m);
    }
    if (least < -kMost || greatest > kMost) {
        return false;
    }
    const int common = *std::min_element(memory.exponent, memory.exponent + kPastVectors);
    // Coefficient of lag 1 at element 0; lags above 50 don't count.
    Qol16s lags[kOrder + 16] = {};
    std::copy_n(a, kOrder, lags);
    i128 sums[3] = {zero(), zero(), zero()}; // outputs 0 and 1, 2 and 3, 4
    for (int b = 1; b <= kPastVectors; ++b) {
        const int back = kPastVectors - b, down = memory.exponent[back] - common;
        if (b == kPastVectors && down >= 30) {
            continue;
        }
        const Qol16s* m = memory.mantissa + kVector * back;
        const Qol16s* c = lags + kVector * b - 1; // meets the first sample of the vector
        const i128 c0 = load(c), c1 = load(c - 1), c2 = load(c - 2), c3 = load(c - 3);
        const i128 c4 = load(c - 4);
        const auto pair = [m](int i) {
            return splat32(static_cast<Qol32s>(static_cast<Qol16u>(m[i]) |
                                               (Qol32u{static_cast<Qol16u>(m[i + 1])} << 16)));
        };
        const i128 m01 = pair(0), m23 = pair(2), m4 = splat32(static_cast<Qol16u>(m[4]));
        const i128 count = _mm_cvtsi32_si128(std::min(down, 31));
        const i128 low = add32(add32(maddPairs(_mm_unpacklo_epi16(c0, c1), m01),
                                     maddPairs(_mm_unpacklo_epi16(c2, c3), m23)),
                               maddPairs(_mm_unpacklo_epi16(c4, zero()), m4));
        const i128 high = add32(add32(maddPairs(_mm_unpackhi_epi16(c0, c1), m01),
                                      maddPairs(_mm_unpackhi_epi16(c2, c3), m23)),
                                maddPairs(_mm_unpackhi_epi16(c4, zero()), m4));
        // The response takes them with a minus sign: that comes before the shift.
        const i128 p = _mm_sra_epi32(sub32(zero(), low), count);
        const i128 q = _mm_sra_epi32(sub32(zero(), high), count);
        sums[0] = add64(sums[0], widenLow64(p));
        sums[1] = add64(sums[1], widenHigh64(p));
        sums[2] = add64(sums[2], widenLow64(q));
    }
    Qol64s lanes[6];
    for (int i = 0; i < 3; ++i) {
        store(lanes + 2 * i, sums[i]);
    }
    std::copy_n(lanes, kVector, past);
    return true;
}

void ownSynthesisFilterZeroInput_G728_16s(const Qol16s* a, const SynthesisMemory& memory,
                                          BlockVector& response) {
    Qol64s past[kVector];
    if (!ownZeroInputLanes_G728(a, memory, past)) {
        ownZeroInputPlain_G728(a, memory, past);
    }
    for (int n = 0; n < kVector; ++n) {
        Qol64s t = past[n];
        for (int k = 1; k <= n; ++k) {
            t -= Qol32s{a[k - 1]} * response.mantissa[n - k];
        }
        response.mantissa[n] = saturate16(t >> 14);
    }
    response.exponent = *std::min_element(memory.exponent, memory.exponent + kPastVectors);
    normalise(response, 15);
}

namespace {

/// Zero-state response of the synthesis filter; the excitation is halved until it fits.
void zeroState(const Qol16s* a, BlockVector& v) {
    Qol16s e[kVector];
    std::copy_n(v.mantissa, kVector, e);
    constexpr Qol64s kLimit = 1 << 28;
    int halvings = 0;
    for (int n = 0; n < kVector;) {
        Qol64s u = (e[n] >> halvings) * Qol64s{1 << 14};
        for (int k = 1; k <= n; ++k) {
            u -= Qol32s{a[k - 1]} * v.mantissa[n - k];
        }
        if (u < -kLimit || u >= kLimit) {
            ++halvings;
            n = 0;
            continue;
        }
        v.mantissa[n++] = static_cast<Qol16s>(u >> 14);
    }
    v.exponent = saturate16(v.exponent - halvings);
}

/// Adds the weighted zero-state response z to the weighting filter's outputs of this vector.
void correctWeighted(const Qol16s* c, const BlockVector& z, PoleZeroMemory& memory) {
    BlockVector v{{}, z.exponent};
    for (int n = 0; n < kVector; ++n) {
        Qol64s s = z.mantissa[n] * Qol64s{1 << 14};
        for (int k = 1; k <= n; ++k) {
            s += Qol64s{c[k - 1]} * z.mantissa[n - k] -
                 Qol64s{c[kShortOrder + k - 1]} * v.mantissa[n - k];
        }
        v.mantissa[n] = saturate16(s >> 14);
    }
    Qol16s samples[kVector];
    toQ2(v, samples);
    for (int n = 0; n < kVector; ++n) {
        Qol16s& out = memory.out[kVector - 1 - n];
        out = saturate16(Qol32s{out} + samples[n]);
    }
}

/// Sum of the zero-input response and the zero-state response at the lower of the two exponents,
/// clipped to the decoder's 12-bit range in Q0 and normalised.
BlockVector finishedVector(BlockVector sum, const BlockVector& state) {
    const int d = sum.exponent - state.exponent;
    BlockVector z = state;
    scaleVector(sum.mantissa, std::min(-d, 0), sum.mantissa);
    scaleVector(z.mantissa, std::min(d, 0), z.mantissa);
    sum.exponent = std::min(sum.exponent, state.exponent);
    constexpr int kClip = 4095;
    const int scaled = scaleUp<Qol16s>(kClip, sum.exponent);
    const int low = scaled == 32767 ? -32768 : -scaled;
    for (int n = 0; n < kVector; ++n) {
        sum.mantissa[n] =
            static_cast<Qol16s>(std::clamp(sum.mantissa[n] + z.mantissa[n], low, scaled));
    }
    normalise(sum, 14);
    return sum;
}

} // namespace

} // namespace g728

QolStatus qolsIIR16sGetStateSize_G728_16s(int* pSize) noexcept {
    return giveSize(sizeof(g728::IIRState), pSize);
}

QolStatus qolsIIR16sInit_G728_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    std::memset(pState, 0, sizeof(g728::IIRState));
    return qolStsNoErr;
}

QolStatus qolsIIR16s_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrc, Qol16s* pDst, int len,
                              Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pSrc, pDst) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    g728::withRecord<g728::IIRState>(pState, [&](g728::IIRState& state) {
        g728::ownIIR16s_G728(pCoeffs, pSrc, pDst, len, state.memory);
    });
    return qolStsNoErr;
}

QolStatus qolsSynthesisFilterGetStateSize_G728_16s(int* pSize) noexcept {
    return giveSize(sizeof(g728::SynthesisState), pSize);
}

QolStatus qolsSynthesisFilterInit_G728_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::SynthesisState state{};
    std::fill_n(state.memory.exponent, g728::kPastVectors, g728::kResetExponent);
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsSyntesisFilterZeroInput_G728_16s(const Qol16s* pCoeffs, const Qol16s* pSrcVec,
                                               Qol16s valSrcExp, Qol16s* pDst, Qol16s* pDstExp,
                                               Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pSrcVec, pDst, pDstExp) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::withRecord<g728::SynthesisState>(pState, [&](g728::SynthesisState& state) {
        g728::pushVector(state.memory, pSrcVec, valSrcExp);
        g728::BlockVector response;
        g728::ownSynthesisFilterZeroInput_G728_16s(pCoeffs, state.memory, response);
        std::copy_n(response.mantissa, g728::kVector, pDst);
        *pDstExp = response.exponent;
    });
    return qolStsNoErr;
}

QolStatus qolsCombinedFilterGetStateSize_G728_16s(int* pSize) noexcept {
    return giveSize(sizeof(g728::CombinedState), pSize);
}

QolStatus qolsCombinedFilterInit_G728_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::CombinedState state{};
    std::fill_n(state.memory.exponent, g728::kPastVectors, g728::kResetExponent);
    state.zeroInput.exponent = g728::kResetExponent;
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsCombinedFilterZeroInput_G728_16s(const Qol16s* pCoeffs, const Qol16s* pWgtCoeffs,
                                               Qol16s* pDstSyn, Qol16s* pDstSynExp, Qol16s* pDstWgt,
                                               Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pWgtCoeffs) || anyNull(pDstSyn, pDstSynExp, pDstWgt) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::withRecord<g728::CombinedState>(pState, [&](g728::CombinedState& state) {
        g728::BlockVector& response = state.zeroInput;
        g728::ownSynthesisFilterZeroInput_G728_16s(pCoeffs, state.memory, response);
        Qol16s samples[g728::kVector];
        g728::toQ2(response, samples);
        g728::ownIIR16s_G728(pWgtCoeffs, samples, pDstWgt, g728::kVector, state.weighting);
        std::copy_n(response.mantissa, g728::kVector, pDstSyn);
        *pDstSynExp = response.exponent;
    });
    return qolStsNoErr;
}

QolStatus qolsCombinedFilterZeroState_G728_16s(const Qol16s* pCoeffs, const Qol16s* pWgtCoeffs,
                                               const Qol16s* pSrcExc, Qol16s valExcExp,
                                               Qol16s* pDstSyn, Qol16s* pDstSynExp,
                                               Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pWgtCoeffs) || anyNull(pSrcExc, pDstSyn, pDstSynExp) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g728::withRecord<g728::CombinedState>(pState, [&](g728::CombinedState& state) {
        g728::BlockVector response;
        std::copy_n(pSrcExc, g728::kVector, response.mantissa);
        response.exponent = valExcExp;
        g728::zeroState(pCoeffs, response);
        g728::correctWeighted(pWgtCoeffs, response, state.weighting);
        const g728::BlockVector finished = g728::finishedVector(state.zeroInput, response);
        g728::pushVector(state.memory, finished.mantissa, finished.exponent);
        // The zero-input samples that the weighting filter took in give way to the finished ones.
        Qol16s samples[g728::kVector];
        g728::toQ2(finished, samples);
        std::reverse_copy(samples, samples + g728::kVector, state.weighting.in);
        std::copy_n(finished.mantissa, g728::kVector, pDstSyn);
        *pDstSynExp = finished.exponent;
    });
    return qolStsNoErr;
}

} // namespace qolsc
