// SPDX-License-Identifier: Apache-2.0
// Convolution and cross-correlation of float vectors: one kernel, whose taps walk through the other
// vector forwards or backwards.
#include "vector/map.h"
#include "vector/vector.h"

namespace qolsc {

using namespace simd;

namespace {

/// A range of tap numbers; empty when last is not above first.
struct Range {
    int first, last;
};

/// Taps k of 0..numTaps-1 for which start + Step * k lies in lo..hi.
template <int Step>
Range tapsWithin(Qol64s start, Qol64s lo, Qol64s hi, int numTaps) {
    const Qol64s first = Step > 0 ? lo - start : start - hi;
    const Qol64s last = (Step > 0 ? hi - start : start - lo) + 1;
    const auto clip = [numTaps](Qol64s k) {
        return static_cast<int>(k < 0 ? 0 : k > numTaps ? numTaps : k);
    };
    return {clip(first), clip(last)};
}

/// Eight elements from p + j on, those outside 0..len-1 as 0.
f256 loadWithin(const Qol32f* p, Qol64s j, int len) {
    alignas(32) static constexpr Qol32s kWindow[24] = {0,  0,  0,  0,  0, 0, 0, 0, -1, -1, -1, -1,
                                                       -1, -1, -1, -1, 0, 0, 0, 0, 0,  0,  0,  0};
    const Qol64s below = j < 0 ? -j : 0, beyond = j + 8 > len ? j + 8 - len : 0;
    const __m256i fromLow =
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kWindow + 8 - (below > 8 ? 8 : below)));
    const __m256i toHigh = _mm256_loadu_si256(
        reinterpret_cast<const __m256i*>(kWindow + 8 + (beyond > 8 ? 8 : beyond)));
    const f256 mask = _mm256_and_ps(_mm256_castsi256_ps(fromLow), _mm256_castsi256_ps(toHigh));
    return _mm256_maskload_ps(p + j, _mm256_castps_si256(mask));
}

/// Eight sums over k of taps[k] * x[start + lane + Step * k].
template <int Step>
f256 eightSums(const Qol32f* taps, int numTaps, const Qol32f* x, int lenX, Qol64s start) {
    const Range any = tapsWithin<Step>(start, -7, Qol64s{lenX} - 1, numTaps);
    Range whole = tapsWithin<Step>(start, 0, Qol64s{lenX} - 8, numTaps);
    if (whole.last <= whole.first) {
        whole = {any.last, any.last};
    }
    f256 sum = zerof();
    for (int k = any.first; k < whole.first; ++k) {
        sum = addf(sum, mulf(splatf(taps[k]), loadWithin(x, start + Step * k, lenX)));
    }
    for (int k = whole.first; k < whole.last; ++k) {
        sum = addf(sum, mulf(splatf(taps[k]), loadf(x + start + Step * k)));
    }
    for (int k = whole.last; k < any.last; ++k) {
        sum = addf(sum, mulf(splatf(taps[k]), loadWithin(x, start + Step * k, lenX)));
    }
    return sum;
}

/// pDst[n] = sum over k of taps[k] * x[n + start + Step * k].
template <int Step>
void tapSums(const Qol32f* taps, int numTaps, const Qol32f* x, int lenX, Qol32f* pDst, int lenDst,
             int start) {
    constexpr int kWide = 32;
    int n = 0;
    while (n + 8 <= lenDst) {
        const Qol64s s = Qol64s{n} + start, farthest = s + Step * (Qol64s{numTaps} - 1);
        const Qol64s lo = Step > 0 ? s : farthest, hi = Step > 0 ? farthest : s;
        if (n + kWide <= lenDst && lo >= 0 && hi + kWide <= lenX) {
            f256 a = zerof(), b = a, c = a, d = a;
            for (int k = 0; k < numTaps; ++k) {
                const Qol32f* p = x + s + Step * k;
                const f256 t = splatf(taps[k]);
                a = addf(a, mulf(t, loadf(p)));
                b = addf(b, mulf(t, loadf(p + 8)));
                c = addf(c, mulf(t, loadf(p + 16)));
                d = addf(d, mulf(t, loadf(p + 24)));
            }
            put(pDst + n, TwoFloats{a, b});
            put(pDst + n + 16, TwoFloats{c, d});
            n += kWide;
        } else {
            storef(pDst + n, eightSums<Step>(taps, numTaps, x, lenX, s));
            n += 8;
        }
    }
    if (n < lenDst) {
        Qol32f lanes[8];
        storef(lanes, eightSums<Step>(taps, numTaps, x, lenX, Qol64s{n} + start));
        for (int i = 0; n + i < lenDst; ++i) {
            pDst[n + i] = lanes[i];
        }
    }
}

QolStatus sizesChecked(const void* a, const void* b, const void* c, int len1, int len2, int len3) {
    return a == nullptr || b == nullptr || c == nullptr ? qolStsNullPtrErr
           : len1 < 1 || len2 < 1 || len3 < 1           ? qolStsSizeErr
                                                        : qolStsNoErr;
}

} // namespace

QolStatus qolsConvBiased_32f(const Qol32f* pSrc1, int len1, const Qol32f* pSrc2, int len2,
                             Qol32f* pDst, int lenDst, int bias) noexcept {
    const QolStatus status = sizesChecked(pSrc1, pSrc2, pDst, len1, len2, lenDst);
    if (status == qolStsNoErr) {
        tapSums<-1>(pSrc1, len1, pSrc2, len2, pDst, lenDst, bias);
    }
    return status;
}

QolStatus qolsCrossCorr_32f(const Qol32f* pSrc1, int len1, const Qol32f* pSrc2, int len2,
                            Qol32f* pDst, int lenDst, int lowLag, Qol8u*) noexcept {
    const QolStatus status = sizesChecked(pSrc1, pSrc2, pDst, len1, len2, lenDst);
    if (status == qolStsNoErr) {
        tapSums<1>(pSrc1, len1, pSrc2, len2, pDst, lenDst, lowLag);
    }
    return status;
}

} // namespace qolsc
