// SPDX-License-Identifier: Apache-2.0
// Hybrid window of the backward analyses: recursive tail and non-recursive part (ITU-T G.728 Annex
// A and G, blocks 36, 43 and 49).
#include "g728/window.h"

#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"

namespace qolsc {

namespace g728 {

namespace {

/// Reset value of the recursive part's exponent, and the limit that the weighting analysis puts on
/// it.
constexpr Qol16s kRecursiveExponent = 31, kWeightingLimit = 41;

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

/// Right shifts that bring two values to the lower of their exponents, with a bit of headroom.
struct Shifts {
    int old, fresh;
};
Shifts shiftsOf(int oldExponent, int freshExponent) {
    return {1 + std::max(oldExponent - freshExponent, 0),
            1 + std::max(freshExponent - oldExponent, 0)};
}

/// What a call does to all lags alike: their shifts, the normalisation of lag 0 in the recursive
/// part and in the result, and those two values.
struct Scales {
    Shifts update, result;
    int updateUp, resultUp;
    Qol16s recursive, first;
};

Qol64s attenuation(const QolsWinHybridState_G728& state) {
    return 65536 - (1 << (state.attShift & 15));
}

/// From lag 0 of the new tail and of the non-recursive part and the exponent of both; the state
/// takes its new exponent.
Scales scalesOf(QolsWinHybridState_G728& state, int exponent, Qol64s tail, Qol64s rest) {
    Qol16s* const r = state.pBuffer;
    Scales s;
    int e = r[state.order + 1];
    s.update = shiftsOf(e, exponent);
    const Qol64s z =
        shiftRight(r[0] * attenuation(state), s.update.old) + shiftRight(tail, s.update.fresh);
    s.updateUp = normBits(z, 32);
    s.recursive = roundHigh(scaleUp<Qol32s>(z, s.updateUp));
    e = std::min(e, exponent) + s.updateUp - 1;
    s.result = shiftsOf(e, exponent);
    Qol64s y =
        shiftRight(s.recursive * Qol64s{65536}, s.result.old) + shiftRight(rest, s.result.fresh);
    y += y >> 8; // white-noise correction by 257/256
    s.resultUp = normBits(y, 32);
    s.first = roundHigh(scaleUp<Qol32s>(y, s.resultUp));
    // The reference limits the exponent in the weighting analysis alone, the one with attenuation
    // 1/2: it matters in the decay after loud signal into digital silence.
    r[state.order + 1] =
        state.attShift == 15 ? saturate16(std::min<int>(e, kWeightingLimit)) : saturate16(e);
    return s;
}

/// Recursive update and result from the sums of each lag over the new samples and over the
/// non-recursive part.
template <class Tail, class Rest>
void combine(QolsWinHybridState_G728& state, int exponent, Tail&& tail, Rest&& rest, Qol16s* pDst) {
    const Scales s = scalesOf(state, exponent, tail(0), rest(0));
    const Qol64s keep = attenuation(state);
    Qol16s* const r = state.pBuffer;
    r[0] = s.recursive;
    pDst[0] = s.first;
    for (int k = 1; k <= state.order; ++k) {
        const Qol64s z =
            shiftRight(r[k] * keep, s.update.old) + shiftRight(tail(k), s.update.fresh);
        r[k] = roundHigh(scaleUp<Qol32s>(z, s.updateUp));
        const Qol64s y =
            shiftRight(r[k] * Qol64s{65536}, s.result.old) + shiftRight(rest(k), s.result.fresh);
        pDst[k] = roundHigh(scaleUp<Qol32s>(y, s.resultUp));
    }
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

namespace {

constexpr int kFastSpan = 112, kFastLags = 52;
/// Mantissas of blocks that leave windowed samples within 2^13; samples without blocks always do.
constexpr int kMostMantissa = 8192;
/// So many products of windowed samples fit in 32 bits.
constexpr int kPiece = 30;

/// The span under the window, the newest sample first, and each sample with the next older one.
struct Windowed {
    alignas(16) Qol16s samples[kFastSpan + kFastLags + 16];
    alignas(16) Qol32s pairs[kFastSpan + kFastLags + 8];
};

/// Shifts of eight samples: to the left before the window, to the right behind it.
struct LaneShifts {
    simd::i128 left, right;
};
LaneShifts laneShifts(int left, int right) {
    return {_mm_cvtsi32_si128(left), _mm_cvtsi32_si128(std::min(right, 31))};
}

/// Eight samples from place `at` on, the newest being at 0.
simd::i128 windowEight(const HybridSpan& s, int at, const LaneShifts& shifts) {
    using namespace simd;
    const i128 x = _mm_sll_epi16(reverse16(load(s.samples + s.length - 8 - at)), shifts.left);
    const i128 w = load(s.window + at);
    const i128 low = _mm_mullo_epi16(x, w), high = _mm_mulhi_epi16(x, w);
    const auto rounded = [&shifts](i128 p) {
        return _mm_srai_epi32(add32(_mm_sra_epi32(p, shifts.right), splat32(0x8000)), 16);
    };
    return packSat16(rounded(_mm_unpacklo_epi16(low, high)),
                     rounded(_mm_unpackhi_epi16(low, high)));
}

/// Places from `at` to before `end`, and up to seven more, which are to be written later. The last
/// eight of the span keep what stands before `at`.
inline void windowPlaces(const HybridSpan& s, int at, int end, const LaneShifts& shifts,
                         Qol16s* out) {
    using namespace simd;
    const int last = s.length - 8;
    for (; at < end && at <= last; at += 8) {
        store(out + at, windowEight(s, at, shifts));
    }
    if (at < end) {
        store(out + last, _mm_blendv_epi8(load(out + last), windowEight(s, last, shifts),
                                          lastMask(s.length - at)));
    }
}

void windowSpan(const HybridSpan& s, int places, Windowed& w) {
    using namespace simd;
    if (s.block > 0) {
        for (int at = 0, block = s.blocks - 1; block >= 0; --block) {
            const int down = s.exponents[block] - s.shift, end = s.length - block * s.block;
            windowPlaces(s, at, end, laneShifts(1, down), w.samples);
            at = end;
        }
    } else {
        windowPlaces(s, 0, s.length, laneShifts(std::max(s.shift, 0), std::max(-s.shift, 0)),
                     w.samples);
    }
    for (int i = s.length; i < places + 9; i += 8) {
        store(w.samples + i, zero());
    }
    for (int i = 0; i < places; i += 8) {
        const i128 x = load(w.samples + i), older = load(w.samples + i + 1);
        store(w.pairs + i, _mm_unpacklo_epi16(x, older));
        store(w.pairs + i + 4, _mm_unpackhi_epi16(x, older));
    }
}

/// sum[k] = the sum of x[i] x[i + lag + k] over count places from first on, for four lags a vector.
template <int Vectors>
void correlateLags(const Qol32s* pairs, int first, int count, int lag, Qol64s* sum) {
    using namespace simd;
    const int end = first + count;
    for (int start = first; start < end; start += kPiece) {
        const int stop = std::min(start + kPiece, end);
        i128 s[Vectors];
        for (i128& lags : s) {
            lags = zero();
        }
        for (int i = start; i < stop; i += 2) {
            // The place behind an odd end doesn't count.
            const i128 x = splat32(i + 1 < stop ? pairs[i] : pairs[i] & 0xFFFF);
            for (int v = 0; v < Vectors; ++v) {
                s[v] = add32(s[v], maddPairs(load(pairs + i + lag + 4 * v), x));
            }
        }
        for (int v = 0; v < Vectors; ++v) {
            const i128 low = _mm_cvtepi32_epi64(s[v]),
                       high = _mm_cvtepi32_epi64(_mm_srli_si128(s[v], 8));
            Qol64s* const at = sum + 4 * v;
            store(at, start > first ? _mm_add_epi64(load(at), low) : low);
            store(at + 2, start > first ? _mm_add_epi64(load(at + 2), high) : high);
        }
    }
}

template <int Vectors>
void correlate(const Qol32s* pairs, int first, int count, Qol64s* sum) {
    // No more sums at once than registers hold.
    constexpr int kMost = 7;
    correlateLags<std::min(Vectors, kMost)>(pairs, first, count, 0, sum);
    if constexpr (Vectors > kMost) {
        static_assert(Vectors <= 2 * kMost);
        correlateLags<Vectors - kMost>(pairs, first, count, 4 * kMost, sum + 4 * kMost);
    }
}

template <int Vectors>
void hybrid(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst) {
    const int newest = span.length - state.order - state.frameLen;
    Windowed w;
    windowSpan(span, newest + state.frameLen + 4 * Vectors, w);
    Qol64s tail[4 * Vectors], rest[4 * Vectors];
    correlate<Vectors>(w.pairs, newest, state.frameLen, tail);
    correlate<Vectors>(w.pairs, 0, newest, rest);
    combine(
        state, 2 * span.shift, [&](int k) { return tail[k]; }, [&](int k) { return rest[k]; },
        pDst);
}

} // namespace

bool ownHybridFast_G728(QolsWinHybridState_G728& state, const HybridSpan& span, Qol16s* pDst) {
    if (span.length < 8 || span.length > kFastSpan || state.order >= kFastLags) {
        return false;
    }
    if (span.block > 0) {
        int least = 0, greatest = 0;
        for (int i = 0; i < span.length; ++i) {
            least = std::min<int>(least, span.samples[i]);
            greatest = std::max<int>(greatest, span.samples[i]);
        }
        if (std::max(greatest, -least) > kMostMantissa) {
            return false;
        }
    }
    constexpr int kShortLags = 12;
    if (state.order < kShortLags) {
        hybrid<kShortLags / 4>(state, span, pDst);
    } else {
        hybrid<kFastLags / 4>(state, span, pDst);
    }
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
    QolsWinHybridState_G728& state = g728::recordOf(pState);
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
    QolsWinHybridState_G728& state = g728::recordOf(pState);
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
    QolsWinHybridState_G728& state = g728::recordOf(pState);
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
