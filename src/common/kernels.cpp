// SPDX-License-Identifier: Apache-2.0
// Kernels of correlation and convolution on pairs of 16-bit products. Two forms: sums along the
// signal for a group of lags (long sums), and, for short sums and triangles, taps spread over many
// outputs, which needs no sum across lanes.
#include "common/kernels.h"

#include "numeric/rules.h"

#include <algorithm>

namespace qolsc {

using namespace simd;

namespace {

/// Exact sum of maddPairs results. A result lies in -(2^31 - 2^16) to 2^31, so that less 1 it is a
/// signed word; its halves are summed apart, each without overflow over kBlock products.
struct WideSum {
    i128 low = zero(), high = zero();
};
constexpr int kBlock = 8 * 16384;

inline void addWide(WideSum& s, i128 pairs) {
    const i128 p = add32(pairs, splat32(-1));
    s.low = add32(s.low, _mm_and_si128(p, splat32(0xFFFF)));
    s.high = add32(s.high, _mm_srai_epi32(p, 16));
}

inline Qol64s total(const WideSum& s, int lanes) {
    const i128 low =
        add64(_mm_cvtepu32_epi64(s.low), _mm_cvtepu32_epi64(_mm_unpackhi_epi64(s.low, s.low)));
    const i128 high = add64(widenLow64(s.high), widenHigh64(s.high));
    return sum64(high) * 65536 + sum64(low) + lanes;
}

/// At most kBlock elements.
inline Qol64s dotBlock(const Qol16s* a, const Qol16s* b, int len) {
    Qol64s rest = 0;
    int i = 0;
    WideSum s;
    for (; i <= len - 8; i += 8) {
        addWide(s, maddPairs(load(a + i), load(b + i)));
    }
    const Qol64s sum = total(s, i / 2);
    for (; i < len; ++i) {
        rest += Qol32s{a[i]} * b[i];
    }
    return sum + rest;
}

} // namespace

Qol64s dotExact(const Qol16s* a, const Qol16s* b, int len) {
    Qol64s sum = 0;
    for (int i = 0; i < len; i += std::min(kBlock, len - i)) {
        sum += dotBlock(a + i, b + i, std::min(kBlock, len - i));
    }
    return sum;
}

Qol64s energyExact(const Qol16s* a, int len) { return dotExact(a, a, len); }

// ---- sums along the signal, a group of lags ----

namespace {

/// Lanes of the sums of Lags neighbouring lags over n elements, n a multiple of 8.
template <int Lags>
inline void accumulate(i128 (&acc)[Lags], const Qol16s* x, const Qol16s* y, int n) {
    for (int i = 0; i < n; i += 8) {
        const i128 xv = load(x + i);
        for (int j = 0; j < Lags; ++j) {
            acc[j] = add32(acc[j], maddPairs(xv, load(y + i + j)));
        }
    }
}

template <int Lags>
inline void storeSums(const i128 (&acc)[Lags], Qol32s* pDst) {
    int j = 0;
    for (; j + 4 <= Lags; j += 4) {
        store(pDst + j, sums32(acc[j], acc[j + 1], acc[j + 2], acc[j + 3]));
    }
    for (; j < Lags; ++j) {
        pDst[j] = sum32(acc[j]);
    }
}

/// Rectangular sums of a group of lags, len 8 or more.
template <int Lags>
void rectangle(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst) {
    i128 acc[Lags];
    const i128 rest = _mm_and_si128(load(x + len - 8), lastMask(len & 7));
    for (int j = 0; j < Lags; ++j) {
        acc[j] = maddPairs(rest, load(y + len - 8 + j));
    }
    accumulate<Lags>(acc, x, y, len & ~7);
    storeSums<Lags>(acc, pDst);
}

/// Sums of the lags k to k + Lags - 1 over all pairs inside len elements, len - k at least 16.
template <int Lags>
void triangle(const Qol16s* x, const Qol16s* y, int len, int k, Qol32s* pDst) {
    // What all lags have in common runs in eights; the last 16 products, those counted already
    // masked out, see zeros behind the end of y.
    const int terms = len - k, common = (terms - (Lags - 1)) & ~7, rest = terms - common;
    alignas(16) Qol16s end[24];
    store(end, load(y + len - 16));
    store(end + 8, load(y + len - 8));
    store(end + 16, zero());
    const i128 x0 = _mm_and_si128(load(x + terms - 16), lastMask(rest > 8 ? rest - 8 : 0));
    const i128 x1 = _mm_and_si128(load(x + terms - 8), lastMask(rest > 8 ? 8 : rest));
    i128 acc[Lags];
    for (int j = 0; j < Lags; ++j) {
        acc[j] = add32(maddPairs(x0, load(end + j)), maddPairs(x1, load(end + 8 + j)));
    }
    accumulate<Lags>(acc, x, y + k, common);
    storeSums<Lags>(acc, pDst);
}

} // namespace

// ---- taps spread over outputs ----

namespace {

constexpr int kTapBlock = 256, kOutBlock = 256, kGroup = 4;

/// Pairs (v[m], v[m+1]) of a sequence that counts as zero outside 0 <= m < len; count pairs from
/// first on.
void pairUp(const Qol16s* v, int len, int first, int count, Qol32s* pairs) {
    int m = 0;
    for (; m < count && first + m < -1; ++m) {
        pairs[m] = 0;
    }
    if (m < count && first + m == -1) {
        pairs[m++] = static_cast<Qol32s>(static_cast<Qol32u>(len > 0 ? v[0] : 0) << 16);
    }
    for (; m + 8 <= count && first + m + 9 <= len; m += 8) {
        const i128 v0 = load(v + first + m), v1 = load(v + first + m + 1);
        store(pairs + m, _mm_unpacklo_epi16(v0, v1));
        store(pairs + m + 4, _mm_unpackhi_epi16(v0, v1));
    }
    for (; m < count; ++m) {
        const int i = first + m;
        const Qol32u low = i < len ? static_cast<Qol16u>(v[i]) : 0u;
        const Qol32u high = i + 1 < len ? static_cast<Qol16u>(v[i + 1]) : 0u;
        pairs[m] = static_cast<Qol32s>(low | high << 16);
    }
}

/// 4 Groups outputs: pDst[n] += sum over the taps t of taps[t] v[n + Step t], from pairs (v[n], v[n
/// + Step]). Step is 1 for correlation, -1 for convolution.
template <int Groups, int Step>
inline void spread(const Qol16s* taps, int count, const Qol32s* pairs, Qol32s* pDst) {
    i128 acc[Groups];
    for (int g = 0; g < Groups; ++g) {
        acc[g] = load(pDst + 4 * g);
    }
    int t = 0;
    for (; t + 2 <= count; t += 2) {
        const i128 tap = splatPair(taps + t);
        for (int g = 0; g < Groups; ++g) {
            acc[g] = add32(acc[g], maddPairs(tap, load(pairs + 4 * g + Step * t)));
        }
    }
    if (t < count) {
        const i128 tap = splat32(static_cast<Qol16u>(taps[t]));
        for (int g = 0; g < Groups; ++g) {
            acc[g] = add32(acc[g], maddPairs(tap, load(pairs + 4 * g + Step * t)));
        }
    }
    for (int g = 0; g < Groups; ++g) {
        store(pDst + 4 * g, acc[g]);
    }
}

/// Correlation sums over at most kTapBlock taps and kOutBlock lags added to out (whose size is
/// rounded up to 4); y is zero from len on, and the lag k looks at y[i + k].
void spreadCorr(const Qol16s* x, int taps, const Qol16s* y, int len, Qol32s* out, int lags) {
    alignas(16) Qol32s pairs[kTapBlock + kOutBlock + 16];
    pairUp(y, len, 0, taps + ((lags + 3) & ~3), pairs);
    int k = 0;
    for (; k + 12 < lags; k += 16) {
        spread<4, 1>(x, std::min(taps, len - k), pairs + k, out + k);
    }
    for (; k + 4 < lags; k += 8) {
        spread<2, 1>(x, std::min(taps, len - k), pairs + k, out + k);
    }
    if (k < lags) {
        spread<1, 1>(x, std::min(taps, len - k), pairs + k, out + k);
    }
}

/// All correlation sums in blocks; y has yLen elements and is zero behind them.
void corrBySpread(const Qol16s* x, int len, const Qol16s* y, int yLen, Qol32s* pDst, int lags) {
    alignas(16) Qol32s out[kOutBlock];
    for (int k = 0; k < lags; k += kOutBlock) {
        const int count = std::min(kOutBlock, lags - k);
        std::fill_n(out, (count + 3) & ~3, 0);
        for (int i = 0; i < len && i + k < yLen; i += kTapBlock) {
            spreadCorr(x + i, std::min(kTapBlock, len - i), y + i + k, yLen - i - k, out, count);
        }
        std::memcpy(pDst + k, out, sizeof(Qol32s) * static_cast<std::size_t>(count));
    }
}

} // namespace

void corrLags(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    if (len < 8 || (len < 32 && lags >= 16)) {
        corrBySpread(x, len, y, len + lags - 1, pDst, lags);
        return;
    }
    int k = 0;
    for (; k + 8 <= lags; k += 8) {
        rectangle<8>(x, y + k, len, pDst + k);
    }
    if (lags - k >= 4) {
        rectangle<4>(x, y + k, len, pDst + k);
        k += 4;
    }
    switch (lags - k) {
    case 3:
        rectangle<3>(x, y + k, len, pDst + k);
        break;
    case 2:
        rectangle<2>(x, y + k, len, pDst + k);
        break;
    case 1:
        rectangle<1>(x, y + k, len, pDst + k);
        break;
    default:
        break;
    }
}

void corrTriangle(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    if (lags > len) {
        std::fill_n(pDst + len, lags - len, 0);
        lags = len;
    }
    // Long sums of few lags along the signal; the others, and what remains too short, by taps.
    int k = 0;
    if (len >= 4 * lags || len > 2 * kTapBlock) {
        for (; k + 8 <= lags && len - k >= 24; k += 8) {
            triangle<8>(x, y, len, k, pDst + k);
        }
        for (; k + 4 <= lags && len - k >= 24; k += 4) {
            triangle<4>(x, y, len, k, pDst + k);
        }
        for (; k < lags && len - k >= 24; ++k) {
            triangle<1>(x, y, len, k, pDst + k);
        }
    }
    if (k < lags) {
        corrBySpread(x, len - k, y + k, len - k, pDst + k, lags - k);
    }
}

void convTruncated(const Qol16s* a, const Qol16s* b, Qol32s* pDst, int first, int total) {
    const int len = first + total;
    alignas(16) Qol32s out[kOutBlock];
    alignas(16) Qol32s pairs[kTapBlock + kOutBlock + 16];
    for (int n = first; n < len; n += kOutBlock) {
        const int count = std::min(kOutBlock, len - n), padded = (count + 3) & ~3;
        std::fill_n(out, padded, 0);
        for (int k = 0; k < n + count; k += kTapBlock) {
            // pairs[i] = (b[m-1], b[m]) with m = n - k - before + i: the taps are swapped to match
            // below.
            const int taps = std::min(kTapBlock, n + count - k), before = (taps + 1) & ~1;
            pairUp(b, len, n - k - before - 1, before + padded, pairs);
            alignas(16) Qol16s swapped[kTapBlock];
            for (int t = 0; t < taps; t += 2) {
                swapped[t + 1] = a[k + t];
                swapped[t] = t + 1 < taps ? a[k + t + 1] : Qol16s{0};
            }
            // The output m of the block needs the taps k to n + m only.
            int m = 0;
            const auto used = [&](int outputs) {
                return std::min(before, (n + m + outputs - k + 1) & ~1);
            };
            for (; m + 12 < count; m += 16) {
                spread<4, -1>(swapped, used(16), pairs + before + m, out + m);
            }
            for (; m + 4 < count; m += 8) {
                spread<2, -1>(swapped, used(8), pairs + before + m, out + m);
            }
            if (m < count) {
                spread<1, -1>(swapped, used(4), pairs + before + m, out + m);
            }
        }
        std::memcpy(pDst + (n - first), out, sizeof(Qol32s) * static_cast<std::size_t>(count));
    }
}

} // namespace qolsc
