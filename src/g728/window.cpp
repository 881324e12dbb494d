// SPDX-License-Identifier: Apache-2.0
// Hybrid window of the backward analyses: recursive tail and non-recursive part (ITU-T G.728 Annex
// A and G, blocks 36, 43 and 49).
#include "g728/window.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g728/g728.h"
#include "vector/simd.h"

namespace qolsc {

namespace g728 {

namespace {

/// Reset value of the recursive part's exponent, and the limit that the weighting analysis puts on
/// it.
constexpr Qol16s kRecursiveExponent = 31, kWeightingLimit = 41;

constexpr int kFastSpan = 112, kFastLags = 52;

/// sum[k] = the sum of w[i] w[i-k] over count samples from first on, for a multiple of four lags.
/// Sums stay below 2^37, so that doubles hold them exactly. w has kFastLags elements before it.
void correlate(const Qol64f* w, int first, int count, int lags, Qol64s* sum) {
    for (int k = 0; k < lags; k += 16) {
        simd::d256 s[4] = {_mm256_setzero_pd(), _mm256_setzero_pd(), _mm256_setzero_pd(),
                           _mm256_setzero_pd()};
        const Qol64f* past = w + first - k - 3;
        for (int i = 0; i < count; ++i, ++past) {
            const simd::d256 x = simd::splatd(w[first + i]);
            for (int j = 0; j < 4; ++j) {
                s[j] = simd::addd(s[j], simd::muld(x, simd::loadd(past - 4 * j)));
            }
        }
        for (int j = 0; j < 4 && k + 4 * j < lags; ++j) {
            Qol64f lanes[4]; // the highest lag first
            simd::stored(lanes, s[j]);
            for (int l = 0; l < 4; ++l) {
                sum[k + 4 * j + l] = static_cast<Qol64s>(lanes[3 - l]);
            }
        }
    }
}

/// Left shift of the products of sample i.
int shiftAt(const HybridSpan& s, int i) {
    return s.block > 0 ? s.shift + 1 - s.exponents[std::min(i / s.block, s.blocks - 1)] : s.shift;
}

/// Sample i of the span under the window, brought to the common exponent, 16 bits rounded. A shift
/// to the left is one of few bits.
Qol16s windowed(const HybridSpan& s, int i, int up) {
    const Qol32s p = Qol32s{s.samples[i]} * s.window[s.length - 1 - i];
    return roundHigh(up >= 0 ? p * (Qol64s{1} << std::min(up, 31)) : p >> std::min(-up, 31));
}

/// Recursive update and result from the two sums of products, by the exponent of the products.
/// Writes the order + 1 normalised coefficients.
template <typename Tail, typename Rest>
void combine(QolsWinHybridState_G728& state, int exponent, Tail tail, Rest rest, Qol16s* pDst) {
    Qol16s* const r = state.pBuffer;
    const int order = state.order;
    int e = r[order + 1];
    int old = 1, fresh = 1;
    (e > exponent ? old : fresh) += e > exponent ? e - exponent : exponent - e;
    e = std::min(e, exponent);
    const Qol64s factor = 65536 - (1 << (state.attShift & 15));
    int n = 0;
    for (int k = 0; k <= order; ++k) {
        const Qol64s z = shiftRight(r[k] * factor, old) + shiftRight(tail(k), fresh);
        n = k == 0 ? normBits(z, 32) : n;
        r[k] = roundHigh(scaleUp<Qol32s>(z, n));
    }
    e += n - 1;

    old = fresh = 1;
    (e > exponent ? old : fresh) += e > exponent ? e - exponent : exponent - e;
    for (int k = 0; k <= order; ++k) {
        Qol64s z = shiftRight(Qol64s{r[k]} * 65536, old) + shiftRight(rest(k), fresh);
        if (k == 0) {
            z += z >> 8; // white-noise correction by 257/256
            n = normBits(z, 32);
        }
        pDst[k] = roundHigh(scaleUp<Qol32s>(z, n));
    }
    // The reference limits the exponent in the weighting analysis alone, the one with attenuation
    // 1/2: it matters in the decay after loud signal into digital silence.
    r[order + 1] =
        state.attShift == 15 ? saturate16(std::min<int>(e, kWeightingLimit)) : saturate16(e);
}

} // namespace

void ownHybridPlain_G728(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst) {
    const auto sumAt = [&span](int k, int first, int end) {
        Qol64s sum = 0;
        for (int i = first; i < end; ++i) {
            sum += Qol32s{windowed(span, i, shiftAt(span, i))} *
                   windowed(span, i - k, shiftAt(span, i - k));
        }
        return sum;
    };
    const int order = state.order, fresh = order + state.frameLen;
    combine(
        state, 2 * span.shift, [&](int k) { return sumAt(k, order, fresh); },
        [&](int k) { return sumAt(k, fresh, span.length); }, pDst);
}

bool ownHybridFast_G728(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst) {
    const int order = state.order, lags = (order + 4) & ~3;
    if (span.length > kFastSpan || lags > kFastLags) {
        return false;
    }
    Qol64f w[kFastLags + 16 + kFastSpan];
    Qol64f* const first = w + kFastLags + 16;
    std::fill(w, first, 0.0);
    int up = span.shift, left = 0;
    for (int i = 0; i < span.length; ++i) {
        if (span.block > 0 && --left < 0) {
            up = shiftAt(span, i);
            left = span.block - 1;
        }
        first[i] = windowed(span, i, up);
    }
    Qol64s tail[kFastLags], rest[kFastLags];
    correlate(first, order, state.frameLen, lags, tail);
    correlate(first, order + state.frameLen, span.length - order - state.frameLen, lags, rest);
    combine(
        state, 2 * span.shift, [&](int k) { return tail[k]; }, [&](int k) { return rest[k]; },
        pDst);
    return true;
}

namespace {

QolsWinHybridState_G728& recordOf(Qol8u* pState) {
    return *reinterpret_cast<QolsWinHybridState_G728*>(alignUp<16>(pState));
}

/// Takes the new samples in, the oldest drop out.
HybridSpan advance(QolsWinHybridState_G728& state, const Qol16s* pSrc) {
    const int length = state.order + state.frameLen + state.nonRecLen;
    Qol16s* const history = state.pBuffer + state.order + 2;
    const auto kept = static_cast<std::size_t>(length - state.frameLen);
    std::memmove(history, history + state.frameLen, kept * sizeof(Qol16s));
    std::memcpy(history + kept, pSrc, static_cast<std::size_t>(state.frameLen) * sizeof(Qol16s));
    return {history, state.pWindow, length, 0, nullptr, 0, 0};
}

void analyse(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst) {
    if (!ownHybridFast_G728(state, span, pDst)) {
        ownHybridPlain_G728(state, span, pDst);
    }
}

} // namespace

} // namespace g728

QolStatus qolsWinHybridGetStateSize_G728_16s(int valOrder, int valFrameLen, int valNonRecLen,
                                             int valBlock, int* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    if (valOrder < 1 || valFrameLen < 1 || valNonRecLen < 1) {
        return qolStsBadArgErr;
    }
    const Qol64s words = Qol64s{valFrameLen} + valNonRecLen + 2 * Qol64s{valOrder};
    const Qol64s blocks =
        valBlock > 0 ? (Qol64s{valOrder} + valFrameLen + valNonRecLen) / valBlock : 0;
    *pSize = wrap32(2 * words + 36 + 16 + 2 * blocks);
    return qolStsNoErr;
}

QolStatus qolsWinHybridInit_G728_16s(const Qol16s* pWindow, int valOrder, int valFrameLen,
                                     int valNonRecLen, int valBlock, Qol16s valAttenuation,
                                     Qol8u* pState) noexcept {
    if (anyNull(pWindow, pState)) {
        return qolStsNullPtrErr;
    }
    g728::QolsWinHybridState_G728& state = g728::recordOf(pState);
    const int length = valOrder + valFrameLen + valNonRecLen;
    const bool blocks = valBlock > 0;
    state.pWindow = pWindow;
    state.order = wrap16(valOrder);
    state.frameLen = wrap16(valFrameLen);
    state.nonRecLen = wrap16(valNonRecLen);
    state.frameBlocks = blocks ? wrap16(valFrameLen / valBlock) : Qol16s{0};
    state.nonRecBlocks = blocks ? wrap16((valOrder + valNonRecLen) / valBlock) : Qol16s{0};
    state.totalBlocks = blocks ? wrap16(length / valBlock) : Qol16s{0};
    if (valAttenuation == 12288) {
        state.attShift = 14;
    } else if (valAttenuation == 8192) {
        state.attShift = 15;
    }
    state.pBuffer = reinterpret_cast<Qol16s*>(alignUp<16>(pState) + sizeof state);
    std::fill_n(state.pBuffer, valOrder + 2 + length, Qol16s{0});
    state.pBuffer[valOrder + 1] = g728::kRecursiveExponent;
    std::fill_n(state.pBuffer + valOrder + 2 + length, state.totalBlocks, g728::kResetExponent);
    return qolStsNoErr;
}

QolStatus qolsWinHybrid_G728_16s(int, const Qol16s* pSrc, Qol16s* pDst, Qol8u* pState) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    g728::QolsWinHybridState_G728& state = g728::recordOf(pState);
    g728::HybridSpan span = g728::advance(state, pSrc);
    span.shift = g728::normVector(span.samples, span.length, 15);
    g728::analyse(state, span, pDst);
    return qolStsNoErr;
}

QolStatus qolsWinHybridBlock_G728_16s(int valIter, const Qol16s* pSrc, Qol16s* pDst1, Qol16s* pDst2,
                                      Qol8u* pState) noexcept {
    if (anyNull(pSrc, pDst1, pDst2, pState)) {
        return qolStsNullPtrErr;
    }
    g728::QolsWinHybridState_G728& state = g728::recordOf(pState);
    const int fresh = state.frameBlocks, total = state.totalBlocks;
    if (fresh < 1) {
        return qolsc::qolsWinHybrid_G728_16s(valIter, pSrc, pDst2, pState);
    }
    g728::HybridSpan span = g728::advance(state, pSrc);
    Qol16s* const exponents = state.pBuffer + state.order + 2 + span.length;
    std::memmove(exponents, exponents + fresh,
                 static_cast<std::size_t>(total - fresh) * sizeof(Qol16s));
    std::memcpy(exponents + total - fresh, pDst1, static_cast<std::size_t>(fresh) * sizeof(Qol16s));
    span.exponents = exponents;
    span.blocks = total;
    span.block = state.frameLen / fresh;
    span.shift = *std::min_element(exponents, exponents + total);
    g728::analyse(state, span, pDst2);
    return qolStsNoErr;
}

} // namespace qolsc
