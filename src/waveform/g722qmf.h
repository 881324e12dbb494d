// SPDX-License-Identifier: Apache-2.0
// Kernels of the G.722 QMF: the plain definition, and blocks of four pairs by pmaddwd.
#pragma once

#include "entry/checks.h"
#include "numeric/rules.h"
#include "qolsc/types.h"
#include "tables/g722.h"
#include "vector/simd.h"

#include <cstring>

namespace qolsc::g722 {

inline constexpr int kQmfTaps = 24;

/// Sums over the even and the odd taps. No overflow: the magnitudes of either half's coefficients
/// sum to 12964.
struct QmfSums {
    Qol32s even, odd;
};
inline QmfSums qmfSums(const Qol16s* pMem) {
    QmfSums s{0, 0};
    for (int i = 0; i < kQmfTaps; i += 2) {
        s.even += tables::qmf_coeffs_G722[i] * pMem[i];
        s.odd += tables::qmf_coeffs_G722[i + 1] * pMem[i + 1];
    }
    return s;
}
inline void qmfMove(Qol16s* pMem) { std::memmove(pMem + 2, pMem, (kQmfTaps - 2) * sizeof(Qol16s)); }
inline Qol16s limit15(Qol32s x) {
    return static_cast<Qol16s>(x < -16384 ? -16384 : x > 16383 ? 16383 : x);
}

/// Plain definition; pMem holds the newest sample first.
inline void qmfEncodePlain(const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    for (int i = 0; i < len; i += 2) {
        pMem[1] = pSrc[i];
        pMem[0] = pSrc[i + 1];
        const QmfSums s = qmfSums(pMem);
        pDst[i] = limit15((s.even + s.odd) >> 15);
        pDst[i + 1] = limit15((s.even - s.odd) >> 15);
        qmfMove(pMem);
    }
}
inline void qmfDecodePlain(const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    for (int i = 0; i < len; i += 2) {
        const int rl = pSrc[i], rh = pSrc[i + 1];
        pMem[1] = wrap16(rl + rh);
        pMem[0] = wrap16(rl - rh);
        const QmfSums s = qmfSums(pMem);
        pDst[i] = saturate16(s.even >> 12);
        pDst[i + 1] = saturate16(s.odd >> 12);
        qmfMove(pMem);
    }
}

// ---- four pairs at a time ----

/// A pair of tap coefficients in every 32-bit lane, for pmaddwd against consecutive sample pairs in
/// time order. Signs pick what is summed.
struct QmfTaps {
    alignas(16) Qol16s pair[kQmfTaps / 2][8];
};
constexpr QmfTaps qmfTaps(int signOdd, int signEven) {
    QmfTaps t{};
    for (int k = 0; k < kQmfTaps / 2; ++k) {
        for (int lane = 0; lane < 8; ++lane) {
            // Time order: the window's sample j meets tap 23 - j, and taps are symmetric.
            const int j = 2 * k + (lane & 1);
            t.pair[k][lane] =
                static_cast<Qol16s>(tables::qmf_coeffs_G722[j] * (lane & 1 ? signEven : signOdd));
        }
    }
    return t;
}

/// Sums of four windows, two samples apart, by one set of taps.
inline simd::i128 qmfDot4(const Qol16s* pWindow, const QmfTaps& taps) {
    simd::i128 a = simd::zero(), b = simd::zero();
    for (int k = 0; k < kQmfTaps / 2; k += 2) {
        a = simd::add32(a, simd::maddPairs(simd::load(pWindow + 2 * k), simd::load(taps.pair[k])));
        b = simd::add32(
            b, simd::maddPairs(simd::load(pWindow + 2 * k + 2), simd::load(taps.pair[k + 1])));
    }
    return simd::add32(a, b);
}

inline constexpr int kQmfHistory = kQmfTaps - 2; ///< samples that a new pair's window reaches back
inline constexpr int kQmfBlock = 512;            ///< elements of a block on the stack

/// Time-ordered history and back. pMem[2..23] are the samples in front of the next pair.
inline void qmfHistory(const Qol16s* pMem, Qol16s* pWindow) {
    for (int j = 0; j < kQmfHistory; ++j) {
        pWindow[j] = pMem[kQmfTaps - 1 - j];
    }
}
inline void qmfRemember(const Qol16s* pWindow, Qol16s* pMem) {
    for (int j = 0; j < kQmfHistory; ++j) {
        pMem[kQmfTaps - 1 - j] = pWindow[j];
    }
    pMem[0] = pMem[2];
    pMem[1] = pMem[3];
}

/// Low and high (or even and odd) sums of four pairs, shifted, as eight 16-bit values in turn.
template <int Shift>
inline simd::i128 qmfPairs4(const Qol16s* pWindow, const QmfTaps& first, const QmfTaps& second) {
    const simd::i128 a = _mm_srai_epi32(qmfDot4(pWindow, first), Shift);
    const simd::i128 b = _mm_srai_epi32(qmfDot4(pWindow, second), Shift);
    return simd::packSat16(_mm_unpacklo_epi32(a, b), _mm_unpackhi_epi32(a, b));
}

inline constexpr QmfTaps kTapsLow = qmfTaps(1, 1), kTapsHigh = qmfTaps(-1, 1);
inline constexpr QmfTaps kTapsOdd = qmfTaps(1, 0), kTapsEven = qmfTaps(0, 1);

inline void qmfEncode(const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    // Three pairs of room for the last group of four.
    Qol16s window[kQmfHistory + kQmfBlock + 8] = {};
    qmfHistory(pMem, window);
    const simd::i128 lo = simd::splat16(-16384), hi = simd::splat16(16383);
    for (int done = 0; done < len; done += kQmfBlock) {
        const int n = len - done < kQmfBlock ? len - done : kQmfBlock;
        std::memcpy(window + kQmfHistory, pSrc + done,
                    static_cast<std::size_t>(n) * sizeof(Qol16s));
        int i = 0;
        for (; i + 8 <= n; i += 8) {
            const simd::i128 v = qmfPairs4<15>(window + i, kTapsLow, kTapsHigh);
            simd::store(pDst + done + i, _mm_max_epi16(_mm_min_epi16(v, hi), lo));
        }
        if (i < n) {
            const simd::i128 v = qmfPairs4<15>(window + i, kTapsLow, kTapsHigh);
            Qol16s rest[8];
            simd::store(rest, _mm_max_epi16(_mm_min_epi16(v, hi), lo));
            std::memcpy(pDst + done + i, rest, static_cast<std::size_t>(n - i) * sizeof(Qol16s));
        }
        std::memmove(window, window + n, kQmfHistory * sizeof(Qol16s));
    }
    qmfRemember(window, pMem);
}

inline void qmfDecode(const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    Qol16s window[kQmfHistory + kQmfBlock + 8] = {};
    qmfHistory(pMem, window);
    for (int done = 0; done < len; done += kQmfBlock) {
        const int n = len - done < kQmfBlock ? len - done : kQmfBlock;
        for (int i = 0; i < n; i += 2) {
            const int rl = pSrc[done + i], rh = pSrc[done + i + 1];
            window[kQmfHistory + i] = wrap16(rl + rh);
            window[kQmfHistory + i + 1] = wrap16(rl - rh);
        }
        int i = 0;
        for (; i + 8 <= n; i += 8) {
            simd::store(pDst + done + i, qmfPairs4<12>(window + i, kTapsEven, kTapsOdd));
        }
        if (i < n) {
            Qol16s rest[8];
            simd::store(rest, qmfPairs4<12>(window + i, kTapsEven, kTapsOdd));
            std::memcpy(pDst + done + i, rest, static_cast<std::size_t>(n - i) * sizeof(Qol16s));
        }
        std::memmove(window, window + n, kQmfHistory * sizeof(Qol16s));
    }
    qmfRemember(window, pMem);
}

} // namespace qolsc::g722
