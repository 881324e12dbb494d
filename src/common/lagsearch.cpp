// SPDX-License-Identifier: Apache-2.0
// Search for the lag with the largest correlation (open-loop pitch: ITU-T G.729 §3.4, TS 26.090
// §5.3).
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>
#include <limits>

namespace qolsc {

namespace {

/// Running maximum; the first of equals stays.
template <typename T>
struct Best {
    T value;
    Qol32s lag;
};

template <typename T>
inline void offer(Best<T>& best, T value, int lag) {
    if (value > best.value) {
        best = {value, lag};
    }
}

// ---- 16-bit sums in batches: most batches hold nothing better, which their maximum tells at once
// ----

constexpr int kBatch = 64;

Qol32s largest(const Qol32s* sums, int count) {
    using namespace simd;
    int i = 0;
    i128 v = splat32(sums[0]);
    for (; i + 4 <= count; i += 4) {
        v = _mm_max_epi32(v, load(sums + i));
    }
    v = _mm_max_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_max_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    Qol32s m = _mm_cvtsi128_si32(v);
    for (; i < count; ++i) {
        m = std::max(m, sums[i]);
    }
    return m;
}

/// Offers the sums of x[i] y[i + lag] for the lags lo to hi in rising order.
void searchRising(Best<Qol32s>& best, const Qol16s* x, const Qol16s* y, int len, int lo, int hi) {
    Qol32s sums[kBatch];
    for (Qol64s first = lo; first <= hi; first += kBatch) {
        const int count = static_cast<int>(std::min<Qol64s>(kBatch, hi - first + 1));
        corrLags(x, y + first, len, sums, count);
        if (const Qol32s m = largest(sums, count); m > best.value) {
            best = {m, static_cast<Qol32s>(first + (std::find(sums, sums + count, m) - sums))};
        }
    }
}

/// The same in falling order.
void searchFalling(Best<Qol32s>& best, const Qol16s* x, const Qol16s* y, int len, int lo, int hi) {
    Qol32s sums[kBatch];
    for (Qol64s last = hi; last >= lo; last -= kBatch) {
        const int count = static_cast<int>(std::min<Qol64s>(kBatch, last - lo + 1));
        corrLags(x, y + (last - count + 1), len, sums, count);
        if (const Qol32s m = largest(sums, count); m > best.value) {
            int k = count - 1;
            while (sums[k] != m) {
                --k;
            }
            best = {m, static_cast<Qol32s>(last - count + 1 + k)};
        }
    }
}

// ---- float sums: four lags at once, eight lanes each; the last len % 8 products by masked loads
// ----

inline __m256i firstMask(int n) {
    alignas(32) static constexpr Qol32s kMask[16] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                     0,  0,  0,  0,  0,  0,  0,  0};
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kMask + 8 - n));
}

/// pDst[j] = sum of x[i] y[i - j] for j below Lags.
template <int Lags>
inline void sumsBackward(const Qol32f* x, const Qol32f* y, int len, Qol32f* pDst) {
    using namespace simd;
    f256 acc[Lags];
    for (int j = 0; j < Lags; ++j) {
        acc[j] = zerof();
    }
    int i = 0;
    for (; i <= len - 8; i += 8) {
        const f256 xv = loadf(x + i);
        for (int j = 0; j < Lags; ++j) {
            acc[j] = addf(acc[j], mulf(xv, loadf(y + i - j)));
        }
    }
    if (i < len) {
        const __m256i mask = firstMask(len - i);
        const f256 xv = _mm256_maskload_ps(x + i, mask);
        for (int j = 0; j < Lags; ++j) {
            acc[j] = addf(acc[j], mulf(xv, _mm256_maskload_ps(y + i - j, mask)));
        }
    }
    for (int j = 0; j < Lags; ++j) {
        pDst[j] = sumf(acc[j]);
    }
}

/// Double-precision sums of exact products: pDst[j] = sum of x[i] y[i - j].
template <int Lags>
inline void sumsBackward(const Qol32f* x, const Qol32f* y, int len, Qol64f* pDst) {
    using namespace simd;
    d256 acc[Lags];
    for (int j = 0; j < Lags; ++j) {
        acc[j] = splatd(0);
    }
    int i = 0;
    for (; i <= len - 4; i += 4) {
        const d256 xv = _mm256_cvtps_pd(_mm_loadu_ps(x + i));
        for (int j = 0; j < Lags; ++j) {
            acc[j] = addd(acc[j], muld(xv, _mm256_cvtps_pd(_mm_loadu_ps(y + i - j))));
        }
    }
    for (int j = 0; j < Lags; ++j) {
        Qol64f s = sumd(acc[j]);
        for (int r = i; r < len; ++r) {
            s += Qol64f{x[r]} * y[r - j];
        }
        pDst[j] = s;
    }
}

/// use(sum, j) for j of 0 to count - 1 in rising order, the sum of x[i] y[i - j] over i below len.
template <typename T, typename Use>
inline void forBackward(const Qol32f* x, const Qol32f* y, int len, Qol64s count, Use use) {
    constexpr int kLags = 4;
    T sums[kLags];
    Qol64s j = 0;
    for (; j + kLags <= count; j += kLags) {
        sumsBackward<kLags>(x, y - j, len, sums);
        for (int k = 0; k < kLags; ++k) {
            use(sums[k], static_cast<int>(j) + k);
        }
    }
    for (; j < count; ++j) {
        sumsBackward<1>(x, y - j, len, sums);
        use(sums[0], static_cast<int>(j));
    }
}

} // namespace

QolStatus qolsAutoCorrLagMax_Fwd_16s(const Qol16s* pSrc, Qol32s len, Qol32s lowerLag,
                                     Qol32s upperLag, Qol32s* pMax, Qol32s* pMaxLag) noexcept {
    if (anyNull(pSrc, pMax, pMaxLag)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Best<Qol32s> best{std::numeric_limits<Qol32s>::min(), lowerLag};
    searchRising(best, pSrc, pSrc, len, lowerLag, upperLag);
    *pMax = best.value;
    *pMaxLag = best.lag;
    return qolStsNoErr;
}

QolStatus qolsAutoCorrLagMax_Inv_16s(const Qol16s* pSrc, Qol32s len, Qol32s lowerLag,
                                     Qol32s upperLag, Qol32s* pMax, Qol32s* pMaxLag) noexcept {
    if (anyNull(pSrc, pMax, pMaxLag)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Best<Qol32s> best{std::numeric_limits<Qol32s>::min(), -lowerLag};
    searchFalling(best, pSrc, pSrc, len, -upperLag, -lowerLag);
    *pMax = best.value;
    *pMaxLag = -best.lag;
    return qolStsNoErr;
}

QolStatus qolsAutoCorrLagMax_32f(const Qol32f* pSrc, Qol32s len, Qol32s lowerLag, Qol32s upperLag,
                                 Qol32f* pMax, Qol32s* pMaxLag) noexcept {
    if (anyNull(pSrc, pMax, pMaxLag)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    Best<Qol32f> best{std::numeric_limits<Qol32f>::lowest(), lowerLag};
    forBackward<Qol32f>(pSrc, pSrc - lowerLag, len, Qol64s{upperLag} - lowerLag + 1,
                        [&](Qol32f c, int j) { offer(best, c, lowerLag + j); });
    *pMax = best.value;
    *pMaxLag = best.lag;
    return qolStsNoErr;
}

QolStatus qolsCrossCorrLagMax_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len, Qol32s lag,
                                  Qol32s* pMax, Qol32s* pMaxLag) noexcept {
    if (anyNull(pSrc1, pSrc2, pMax, pMaxLag)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (lag < 0) {
        return qolStsRangeErr;
    }
    Best<Qol32s> best{0, lag};
    searchFalling(best, pSrc1, pSrc2, len, 0, lag);
    *pMax = best.value;
    *pMaxLag = best.lag;
    return qolStsNoErr;
}

QolStatus qolsCrossCorrLagMax_32f64f(const Qol32f* pSrc1, const Qol32f* pSrc2, Qol32s len,
                                     Qol32s lag, Qol64f* pMax, Qol32s* pMaxLag) noexcept {
    if (anyNull(pSrc1, pSrc2, pMax, pMaxLag)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (lag < 0) {
        return qolStsRangeErr;
    }
    Best<Qol64f> best{0, lag};
    forBackward<Qol64f>(pSrc1, pSrc2 + lag, len, Qol64s{lag} + 1,
                        [&](Qol64f c, int j) { offer(best, c, lag - j); });
    *pMax = best.value;
    *pMaxLag = best.lag;
    return qolStsNoErr;
}

} // namespace qolsc
