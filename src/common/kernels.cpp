// SPDX-License-Identifier: Apache-2.0
// Kernels of correlation and convolution on pairs of 16-bit products. Two forms: sums along the
// signal for a group of lags (long sums), and, for short sums and triangles, taps spread over many
// outputs, which needs no sum across lanes.
#include "common/kernels.h"

#include <algorithm>
#include <type_traits>

namespace qolsc {

using namespace simd;

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
    if (j < Lags) {
        const i128 rest =
            sums32(acc[j], acc[std::min(j + 1, Lags - 1)], acc[std::min(j + 2, Lags - 1)], zero());
        alignas(16) Qol32s sums[4];
        store(sums, rest);
        std::copy_n(sums, Lags - j, pDst + j);
    }
}

/// A count of lags known while compiling.
template <int Lags>
using Group = std::integral_constant<int, Lags>;

/// Calls work(group, first lag) for groups that make up all lags: eights, a four, the rest.
template <typename Work>
inline void inGroups(int lags, Work work) {
    int k = 0;
    for (; k + 8 <= lags; k += 8) {
        work(Group<8>{}, k);
    }
    if (lags - k >= 4) {
        work(Group<4>{}, k);
        k += 4;
    }
    switch (lags - k) {
    case 3:
        work(Group<3>{}, k);
        break;
    case 2:
        work(Group<2>{}, k);
        break;
    case 1:
        work(Group<1>{}, k);
        break;
    default:
        break;
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

/// Rectangular sums of few taps for 8 Groups lags at once.
template <int Groups>
inline void fewTaps(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst) {
    i128 low[Groups], high[Groups];
    for (int g = 0; g < Groups; ++g) {
        low[g] = high[g] = zero();
    }
    const auto add = [&](i128 taps, const Qol16s* y0, const Qol16s* y1) {
        for (int g = 0; g < Groups; ++g) {
            const i128 v0 = load(y0 + 8 * g), v1 = load(y1 + 8 * g);
            low[g] = add32(low[g], maddPairs(taps, _mm_unpacklo_epi16(v0, v1)));
            high[g] = add32(high[g], maddPairs(taps, _mm_unpackhi_epi16(v0, v1)));
        }
    };
    int i = 0;
    for (; i + 2 <= len; i += 2) {
        add(splatPair(x + i), y + i, y + i + 1);
    }
    if (i < len) {
        add(splat32(static_cast<Qol16u>(x[i])), y + i, y + i);
    }
    for (int g = 0; g < Groups; ++g) {
        store(pDst + 8 * g, low[g]);
        store(pDst + 8 * g + 4, high[g]);
    }
}

/// The same for 8 lags or more; the last eight may overlap those before.
void fewTapsAll(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    int k = 0;
    for (; k + 16 <= lags; k += 16) {
        fewTaps<2>(x, y + k, len, pDst + k);
    }
    for (; k + 8 <= lags; k += 8) {
        fewTaps<1>(x, y + k, len, pDst + k);
    }
    if (k < lags) {
        fewTaps<1>(x, y + lags - 8, len, pDst + lags - 8);
    }
}

constexpr int kTapBlock = 256, kOutBlock = 256;
constexpr int kSlack = 16; // written behind the pairs asked for

/// Step of the second element of a pair against the first, and of the outputs against the taps.
enum Step : int { forward = 1, backward = -1 };

/// The elements from number `from` to the end as the low ones of a vector, zeros behind: at most
/// eight.
inline i128 lastElements(const Qol16s* v, int from, int len) {
    alignas(16) static constexpr Qol8s kShift[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                     11, 12, 13, 14, 15, -1, -1, -1, -1, -1, -1,
                                                     -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    if (from >= len) {
        return zero();
    }
    if (len >= 8) {
        return _mm_shuffle_epi8(load(v + len - 8), load(kShift + 2 * (8 - (len - from))));
    }
    alignas(16) Qol16s copy[8] = {};
    std::copy(v + from, v + len, copy);
    return load(copy);
}

/// Eight pairs from m on: (v[m], v[m+1]) forward, (v[m+1], v[m]) backward.
template <Step step>
inline void storePairs(Qol32s* pairs, i128 v0, i128 v1) {
    store(pairs, step == forward ? _mm_unpacklo_epi16(v0, v1) : _mm_unpacklo_epi16(v1, v0));
    store(pairs + 4, step == forward ? _mm_unpackhi_epi16(v0, v1) : _mm_unpackhi_epi16(v1, v0));
}

/// Pairs of neighbours of a sequence that counts as zero outside 0 <= m < len; count pairs from
/// first on.
template <Step step>
void pairUp(const Qol16s* v, int len, int first, int count, Qol32s* pairs) {
    const int zeros = std::min(count, -first);
    for (int m = 0; m < zeros; m += 4) {
        store(pairs + m, zero());
    }
    int m = std::max(zeros, 0);
    if (zeros > 0) {
        const auto edge = static_cast<Qol32u>(static_cast<Qol16u>(v[0]));
        pairs[zeros - 1] = static_cast<Qol32s>(step == forward ? edge << 16 : edge);
    }
    for (; m < count && first + m + 9 <= len; m += 8) {
        storePairs<step>(pairs + m, load(v + first + m), load(v + first + m + 1));
    }
    if (m < count) {
        const i128 rest = lastElements(v, first + m, len);
        storePairs<step>(pairs + m, rest, _mm_srli_si128(rest, 2));
        m += 8;
    }
    for (; m < count; m += 4) {
        store(pairs + m, zero());
    }
}

/// 4 Groups outputs: pDst[n] = (more ? pDst[n] : 0) + sum over the taps t of taps[t] v[n + step t],
/// from the pairs v[n], v[n + step].
template <int Groups, Step step>
inline void spread(const Qol16s* taps, int count, const Qol32s* pairs, Qol32s* pDst, bool more) {
    i128 acc[Groups];
    for (int g = 0; g < Groups; ++g) {
        acc[g] = more ? load(pDst + 4 * g) : zero();
    }
    int t = 0;
    for (; t + 2 <= count; t += 2) {
        const i128 tap = splatPair(taps + t);
        for (int g = 0; g < Groups; ++g) {
            acc[g] = add32(acc[g], maddPairs(tap, load(pairs + 4 * g + step * t)));
        }
    }
    if (t < count) {
        const i128 tap = splat32(static_cast<Qol16u>(taps[t]));
        for (int g = 0; g < Groups; ++g) {
            acc[g] = add32(acc[g], maddPairs(tap, load(pairs + 4 * g + step * t)));
        }
    }
    for (int g = 0; g < Groups; ++g) {
        store(pDst + 4 * g, acc[g]);
    }
}

/// Outputs in groups, count of them rounded up to 4; taps(n, outputs) tells how many taps the
/// outputs from n on see.
template <Step step, typename Taps>
inline void spreadAll(const Qol16s* x, Taps taps, const Qol32s* pairs, Qol32s* out, int count,
                      bool more) {
    int n = 0;
    for (; n + 12 < count; n += 16) {
        spread<4, step>(x, taps(n, 16), pairs + n, out + n, more);
    }
    for (; n + 4 < count; n += 8) {
        spread<2, step>(x, taps(n, 8), pairs + n, out + n, more);
    }
    if (n < count) {
        spread<1, step>(x, taps(n, 4), pairs + n, out + n, more);
    }
}

/// Triangular sums in blocks of lags and taps.
void triangleBySpread(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    alignas(16) Qol32s out[kOutBlock];
    alignas(16) Qol32s pairs[kTapBlock + kOutBlock + kSlack];
    for (int k = 0; k < lags; k += kOutBlock) {
        const int count = std::min(kOutBlock, lags - k);
        for (int i = 0; i + k < len; i += kTapBlock) {
            const int taps = std::min(kTapBlock, len - k - i);
            pairUp<forward>(y, len, i + k, taps + ((count + 3) & ~3), pairs);
            // The lag k + n meets the taps below len - k - n only.
            const auto seen = [=](int n, int) { return std::min(taps, len - k - i - n); };
            spreadAll<forward>(x + i, seen, pairs, out, count, i > 0);
        }
        std::memcpy(pDst + k, out, sizeof(Qol32s) * static_cast<std::size_t>(count));
    }
}

} // namespace

void corrLags(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    if (len < 24 && lags >= 8) {
        fewTapsAll(x, y, len, pDst, lags);
        return;
    }
    if (len < 8) {
        for (int k = 0; k < lags; ++k) {
            pDst[k] = dotWrap(x, y + k, len);
        }
        return;
    }
    inGroups(lags, [=]<int Lags>(Group<Lags>, int k) { rectangle<Lags>(x, y + k, len, pDst + k); });
}

void corrTriangle(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst, int lags) {
    if (lags > len) {
        std::fill_n(pDst + len, lags - len, 0);
        lags = len;
    }
    // Long sums of few lags along the signal; the others, and what remains too short, by taps.
    int k = 0;
    if (len >= 4 * lags || len > 2 * kTapBlock) {
        k = std::min(lags, std::max(0, len - 23));
        inGroups(k,
                 [=]<int Lags>(Group<Lags>, int at) { triangle<Lags>(x, y, len, at, pDst + at); });
    }
    if (k < lags) {
        triangleBySpread(x, y + k, len - k, pDst + k, lags - k);
    }
}

void convTruncated(const Qol16s* a, const Qol16s* b, Qol32s* pDst, int first, int count) {
    alignas(16) Qol32s out[kOutBlock];
    alignas(16) Qol32s pairs[kTapBlock + kOutBlock + kSlack];
    const int len = first + count;
    for (int n = first; n < len; n += kOutBlock) {
        const int outputs = std::min(kOutBlock, len - n);
        for (int k = 0; k < n + outputs; k += kTapBlock) {
            // The output n with the tap k sees b[n - k], as the second of its pair the element
            // before; the pairs begin where the last tap wants them.
            const int taps = std::min(kTapBlock, n + outputs - k);
            pairUp<backward>(b, len, n - k - taps - 1, taps + ((outputs + 3) & ~3), pairs);
            // Outputs before n + m + many need no taps from there on.
            const auto seen = [=](int m, int many) { return std::min(taps, n + m + many - k); };
            spreadAll<backward>(a + k, seen, pairs + taps, out, outputs, k > 0);
        }
        std::memcpy(pDst + (n - first), out, sizeof(Qol32s) * static_cast<std::size_t>(outputs));
    }
}

} // namespace qolsc
