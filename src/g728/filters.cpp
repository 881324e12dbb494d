// SPDX-License-Identifier: Apache-2.0
// Weighting filter, synthesis filter and their combined responses (ITU-T G.728 Annex G, blocks 4,
// 9, 10, 22 and 32).
#include "g728/filters.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"

namespace qolsc {

namespace g728 {

void ownIIR16s_G728(const Qol16s* c, const Qol16s* x, Qol16s* y, int len, PoleZeroMemory& memory) {
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
    for (int n = 0; n < kVector;) {
        Qol64s u = e[n] * Qol64s{1 << 14};
        for (int k = 1; k <= n; ++k) {
            u -= Qol32s{a[k - 1]} * v.mantissa[n - k];
        }
        if (u < -kLimit || u >= kLimit) {
            for (Qol16s& x : e) {
                x = static_cast<Qol16s>(x >> 1);
            }
            v.exponent = saturate16(v.exponent - 1);
            n = 0;
            continue;
        }
        v.mantissa[n++] = static_cast<Qol16s>(u >> 14);
    }
}

/// Adds the weighted zero-state response z to the weighting filter's outputs of this vector.
void correctWeighted(const Qol16s* c, const BlockVector& z, PoleZeroMemory& memory) {
    Qol16s v[kVector];
    for (int n = 0; n < kVector; ++n) {
        Qol64s s = z.mantissa[n] * Qol64s{1 << 14};
        for (int k = 1; k <= n; ++k) {
            s += Qol32s{c[k - 1]} * z.mantissa[n - k] - Qol32s{c[kShortOrder + k - 1]} * v[n - k];
        }
        v[n] = saturate16(s >> 14);
        Qol16s& out = memory.out[kVector - 1 - n];
        out = saturate16(Qol32s{out} + toQ2(v[n], z.exponent));
    }
}

/// Sum of the zero-input response and the zero-state response at the lower of the two exponents,
/// clipped to the decoder's 12-bit range in Q0 and normalised.
BlockVector finishedVector(BlockVector sum, const BlockVector& state) {
    const int d = sum.exponent - state.exponent;
    BlockVector z = state;
    for (int n = 0; n < kVector; ++n) {
        sum.mantissa[n] = scaleUp<Qol16s>(sum.mantissa[n], d > 0 ? -d : 0);
        z.mantissa[n] = scaleUp<Qol16s>(z.mantissa[n], d < 0 ? d : 0);
    }
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
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    *pSize = sizeof(g728::IIRState);
    return qolStsNoErr;
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
    auto state = g728::loadRecord<g728::IIRState>(pState);
    g728::ownIIR16s_G728(pCoeffs, pSrc, pDst, len, state.memory);
    g728::storeRecord(pState, state);
    return qolStsNoErr;
}

QolStatus qolsSynthesisFilterGetStateSize_G728_16s(int* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    *pSize = sizeof(g728::SynthesisState);
    return qolStsNoErr;
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
    auto state = g728::loadRecord<g728::SynthesisState>(pState);
    g728::pushVector(state.memory, pSrcVec, valSrcExp);
    g728::storeRecord(pState, state);
    g728::BlockVector response;
    g728::ownSynthesisFilterZeroInput_G728_16s(pCoeffs, state.memory, response);
    std::copy_n(response.mantissa, g728::kVector, pDst);
    *pDstExp = response.exponent;
    return qolStsNoErr;
}

QolStatus qolsCombinedFilterGetStateSize_G728_16s(int* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    *pSize = sizeof(g728::CombinedState);
    return qolStsNoErr;
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
    auto state = g728::loadRecord<g728::CombinedState>(pState);
    g728::BlockVector& response = state.zeroInput;
    g728::ownSynthesisFilterZeroInput_G728_16s(pCoeffs, state.memory, response);
    Qol16s samples[g728::kVector];
    for (int n = 0; n < g728::kVector; ++n) {
        samples[n] = g728::toQ2(response.mantissa[n], response.exponent);
    }
    g728::ownIIR16s_G728(pWgtCoeffs, samples, pDstWgt, g728::kVector, state.weighting);
    g728::storeRecord(pState, state);
    std::copy_n(response.mantissa, g728::kVector, pDstSyn);
    *pDstSynExp = response.exponent;
    return qolStsNoErr;
}

QolStatus qolsCombinedFilterZeroState_G728_16s(const Qol16s* pCoeffs, const Qol16s* pWgtCoeffs,
                                               const Qol16s* pSrcExc, Qol16s valExcExp,
                                               Qol16s* pDstSyn, Qol16s* pDstSynExp,
                                               Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pWgtCoeffs) || anyNull(pSrcExc, pDstSyn, pDstSynExp) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    auto state = g728::loadRecord<g728::CombinedState>(pState);
    g728::BlockVector response;
    std::copy_n(pSrcExc, g728::kVector, response.mantissa);
    response.exponent = valExcExp;
    g728::zeroState(pCoeffs, response);
    g728::correctWeighted(pWgtCoeffs, response, state.weighting);
    const g728::BlockVector finished = g728::finishedVector(state.zeroInput, response);
    g728::pushVector(state.memory, finished.mantissa, finished.exponent);
    // The zero-input samples that the weighting filter took in give way to the finished ones.
    for (int n = 0; n < g728::kVector; ++n) {
        state.weighting.in[g728::kVector - 1 - n] =
            g728::toQ2(finished.mantissa[n], finished.exponent);
    }
    g728::storeRecord(pState, state);
    std::copy_n(finished.mantissa, g728::kVector, pDstSyn);
    *pDstSynExp = finished.exponent;
    return qolStsNoErr;
}

} // namespace qolsc
