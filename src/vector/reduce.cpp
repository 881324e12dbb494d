// SPDX-License-Identifier: Apache-2.0
// Sums, dot products, extremes.
#include "numeric/rules.h"
#include "vector/map.h"
#include "vector/vector.h"

namespace qolsc {

using namespace simd;

namespace {

// ---- sums: four accumulators, since an addition takes several cycles ----

/// term(p...) gives one register of N lanes from N elements of each source; the rest goes through
/// tail.
template <int N, typename V, typename Add, typename Term, typename... S>
V sumBlocks(V start, Add add, Term term, int len, const S*... pSrc) {
    V a = start, b = start, c = start, d = start;
    int i = 0;
    for (; i + 4 * N <= len; i += 4 * N) {
        a = add(a, term((pSrc + i)...));
        b = add(b, term((pSrc + i + N)...));
        c = add(c, term((pSrc + i + 2 * N)...));
        d = add(d, term((pSrc + i + 3 * N)...));
    }
    for (; i + N <= len; i += N) {
        a = add(a, term((pSrc + i)...));
    }
    return add(add(a, b), add(c, d));
}

/// Sum of a 64-bit lane pair per 32-bit unsigned lane.
i128 addUnsigned32(i128 sum, i128 v) {
    return add64(sum, add64(_mm_unpacklo_epi32(v, zero()), _mm_unpackhi_epi32(v, zero())));
}

Qol64s sumSquares(const Qol16s* p, int len) {
    // A pair of squares is at most 2^31, which is exact as an unsigned word.
    i128 sum = zero();
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        const i128 v = load(p + i);
        sum = addUnsigned32(sum, maddPairs(v, v));
    }
    Qol64s total = sum64(sum);
    for (; i < len; ++i) {
        total += Qol32s{p[i]} * p[i];
    }
    return total;
}

// ---- extremes ----

/// A later element replaces the winner only if it is strictly greater (less), so NaNs lose unless
/// they come first.
template <bool Greatest, typename T>
bool better(T x, T winner) {
    return Greatest ? x > winner : x < winner;
}

template <bool Greatest>
f256 extremeOf(f256 x, f256 winner) { // the second operand stays where the first is a NaN
    return Greatest ? _mm256_max_ps(x, winner) : _mm256_min_ps(x, winner);
}
template <bool Greatest, typename T>
i128 extremeOf(i128 x, i128 winner, const T*) {
    if constexpr (sizeof(T) == 2) {
        return Greatest ? _mm_max_epi16(x, winner) : _mm_min_epi16(x, winner);
    } else {
        return Greatest ? _mm_max_epi32(x, winner) : _mm_min_epi32(x, winner);
    }
}

template <bool Greatest>
Qol32f extreme(const Qol32f* p, int len) {
    Qol32f winner = p[0];
    int i = 0;
    if (len >= 16) {
        f256 a = splatf(winner), b = a;
        for (; i + 16 <= len; i += 16) {
            a = extremeOf<Greatest>(loadf(p + i), a);
            b = extremeOf<Greatest>(loadf(p + i + 8), b);
        }
        Qol32f lanes[8];
        storef(lanes, extremeOf<Greatest>(a, b));
        for (const Qol32f x : lanes) {
            winner = better<Greatest>(x, winner) ? x : winner;
        }
    }
    for (; i < len; ++i) {
        winner = better<Greatest>(p[i], winner) ? p[i] : winner;
    }
    return winner;
}
template <bool Greatest, typename T>
T extreme(const T* p, int len) {
    constexpr int kLanes = 16 / static_cast<int>(sizeof(T));
    T winner = p[0];
    int i = 0;
    if (len >= 2 * kLanes) {
        i128 a = load(p), b = a;
        for (; i + 2 * kLanes <= len; i += 2 * kLanes) {
            a = extremeOf<Greatest>(load(p + i), a, p);
            b = extremeOf<Greatest>(load(p + i + kLanes), b, p);
        }
        T lanes[kLanes];
        store(lanes, extremeOf<Greatest>(a, b, p));
        for (const T x : lanes) {
            winner = better<Greatest>(x, winner) ? x : winner;
        }
    }
    for (; i < len; ++i) {
        winner = better<Greatest>(p[i], winner) ? p[i] : winner;
    }
    return winner;
}

/// Mask with one bit and more for each lane that equals x; lanes of 32 bytes' worth of elements.
int equalMask(const Qol32f* p, Qol32f x) {
    return _mm256_movemask_ps(_mm256_cmp_ps(loadf(p), splatf(x), _CMP_EQ_OQ));
}
int equalMask(const Qol32s* p, Qol32s x) {
    const i128 lo = _mm_cmpeq_epi32(load(p), splat32(x)),
               hi = _mm_cmpeq_epi32(load(p + 4), splat32(x));
    return _mm_movemask_ps(_mm_castsi128_ps(lo)) | _mm_movemask_ps(_mm_castsi128_ps(hi)) << 4;
}
int equalMask(const Qol16s* p, Qol16s x) {
    return _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(load(p), splat16(x)), zero()));
}

/// First index of x; 0 when no element equals it (x is a NaN, which wins from index 0 only).
template <typename T>
int firstIndex(const T* p, int len, T x) {
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        if (const int mask = equalMask(p + i, x)) {
            return i + __builtin_ctz(static_cast<unsigned>(mask));
        }
    }
    for (; i < len; ++i) {
        if (p[i] == x) {
            return i;
        }
    }
    return 0;
}

template <bool Greatest, typename T>
QolStatus findExtreme(const T* pSrc, int len, T* pVal) {
    const QolStatus status = vectorArgs(len, pSrc, pVal);
    if (status == qolStsNoErr) {
        *pVal = extreme<Greatest>(pSrc, len);
    }
    return status;
}
template <bool Greatest, typename T>
QolStatus findExtreme(const T* pSrc, int len, T* pVal, int* pIndex) {
    const QolStatus status = vectorArgs(len, pSrc, pVal);
    if (status == qolStsNoErr) {
        const T winner = extreme<Greatest>(pSrc, len);
        *pVal = winner;
        if (pIndex != nullptr) {
            *pIndex = firstIndex(pSrc, len, winner);
        }
    }
    return status;
}

} // namespace

QolStatus qolsSum_32f(const Qol32f* pSrc, int len, Qol32f* pSum, int hint) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSum)) {
        return status;
    }
    if (hint == 1) {
        Qol32f sum = sumf(sumBlocks<8>(zerof(), addf, loadf, len, pSrc));
        for (int i = len & ~7; i < len; ++i) {
            sum += pSrc[i];
        }
        *pSum = sum;
        return qolStsNoErr;
    }
    Qol64f sum = sumd(sumBlocks<4>(splatd(0), addd, widened, len, pSrc));
    for (int i = len & ~3; i < len; ++i) {
        sum += static_cast<Qol64f>(pSrc[i]);
    }
    *pSum = static_cast<Qol32f>(sum);
    return qolStsNoErr;
}

QolStatus qolsSum_64f(const Qol64f* pSrc, int len, Qol64f* pSum) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSum)) {
        return status;
    }
    Qol64f sum = sumd(sumBlocks<4>(splatd(0), addd, loadd, len, pSrc));
    for (int i = len & ~3; i < len; ++i) {
        sum += pSrc[i];
    }
    *pSum = sum;
    return qolStsNoErr;
}

QolStatus qolsSum_16s32s_Sfs(const Qol16s* pSrc, int len, Qol32s* pSum, int scaleFactor) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSum)) {
        return status;
    }
    const auto pairs = [](const Qol16s* p) { return maddPairs(load(p), splat16(1)); };
    Qol32s sum = sum32(sumBlocks<8>(zero(), add32, pairs, len, pSrc));
    for (int i = len & ~7; i < len; ++i) {
        sum = wrapAdd32(sum, pSrc[i]);
    }
    *pSum = scaleEven<Qol32s>(sum, scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsSum_16s_Sfs(const Qol16s* pSrc, int len, Qol16s* pSum, int scaleFactor) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSum)) {
        return status;
    }
    Qol32s sum;
    qolsSum_16s32s_Sfs(pSrc, len, &sum, scaleFactor);
    *pSum = saturate16(sum);
    return qolStsNoErr;
}

QolStatus qolsSum_32s_Sfs(const Qol32s* pSrc, int len, Qol32s* pSum, int scaleFactor) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pSum)) {
        return status;
    }
    const auto widenedPairs = [](const Qol32s* p) {
        const i128 v = load(p);
        return add64(widenLow64(v), widenHigh64(v));
    };
    Qol64s sum = sum64(sumBlocks<4>(zero(), add64, widenedPairs, len, pSrc));
    for (int i = len & ~3; i < len; ++i) {
        sum += pSrc[i];
    }
    *pSum = scaleEven<Qol32s>(sum, scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsDotProd_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len, Qol32f* pDp) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDp)) {
        return status;
    }
    const auto product = [](const Qol32f* a, const Qol32f* b) { return mulf(loadf(a), loadf(b)); };
    Qol32f sum = sumf(sumBlocks<8>(zerof(), addf, product, len, pSrc1, pSrc2));
    for (int i = len & ~7; i < len; ++i) {
        sum += pSrc1[i] * pSrc2[i];
    }
    *pDp = sum;
    return qolStsNoErr;
}

QolStatus qolsDotProd_32f64f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len,
                             Qol64f* pDp) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDp)) {
        return status;
    }
    const auto product = [](const Qol32f* a, const Qol32f* b) {
        return muld(widened(a), widened(b));
    };
    Qol64f sum = sumd(sumBlocks<4>(splatd(0), addd, product, len, pSrc1, pSrc2));
    for (int i = len & ~3; i < len; ++i) {
        sum += static_cast<Qol64f>(pSrc1[i]) * static_cast<Qol64f>(pSrc2[i]);
    }
    *pDp = sum;
    return qolStsNoErr;
}

QolStatus qolsDotProd_16s64s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len,
                             Qol64s* pDp) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc1, pSrc2, pDp)) {
        return status;
    }
    // A pair of products lies in -2*32768*32767 .. 2^31. Raised by the magnitude of its least value
    // it fits an unsigned word, also where the signed sum wraps.
    constexpr Qol32s kRaise = 2 * 32768 * 32767;
    i128 sum = zero();
    int i = 0;
    for (; i + 8 <= len; i += 8) {
        sum =
            addUnsigned32(sum, add32(maddPairs(load(pSrc1 + i), load(pSrc2 + i)), splat32(kRaise)));
    }
    Qol64s total = sum64(sum) - Qol64s{i / 2} * kRaise;
    for (; i < len; ++i) {
        total += Qol32s{pSrc1[i]} * pSrc2[i];
    }
    *pDp = total;
    return qolStsNoErr;
}

QolStatus qolsNorm_L2Sqr_16s64s_Sfs(const Qol16s* pSrc, int len, Qol64s* pNorm,
                                    int scaleFactor) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pNorm)) {
        return status;
    }
    const Qol64s sum = sumSquares(pSrc, len);
    *pNorm = scaleFactor >= 0
                 ? scaleTruncate<Qol64s>(sum, scaleFactor)
                 : shiftLeftSaturate<Qol64s>(sum, scaleFactor < -63 ? 63 : -scaleFactor);
    return qolStsNoErr;
}

QolStatus qolsMax_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept {
    return findExtreme<true>(pSrc, len, pVal);
}
QolStatus qolsMax_32f(const Qol32f* pSrc, int len, Qol32f* pVal) noexcept {
    return findExtreme<true>(pSrc, len, pVal);
}
QolStatus qolsMin_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept {
    return findExtreme<false>(pSrc, len, pVal);
}
QolStatus qolsMin_32f(const Qol32f* pSrc, int len, Qol32f* pVal) noexcept {
    return findExtreme<false>(pSrc, len, pVal);
}

QolStatus qolsMaxAbs_16s(const Qol16s* pSrc, int len, Qol16s* pVal) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pVal)) {
        return status;
    }
    // The magnitude of the least value is saturated by both the subtraction and the negation.
    const auto widest = [](const Qol16s* p, int n) {
        i128 m = zero();
        int i = 0;
        for (; i + 8 <= n; i += 8) {
            const i128 v = load(p + i);
            m = _mm_max_epi16(m, _mm_max_epi16(v, subSat16(zero(), v)));
        }
        Qol16s lanes[8];
        store(lanes, m);
        Qol32s most = extreme<true>(lanes, 8);
        for (; i < n; ++i) {
            const Qol32s a = p[i] < 0 ? -p[i] : p[i];
            most = a > most ? a : most;
        }
        return most;
    };
    *pVal = saturate16(widest(pSrc, len));
    return qolStsNoErr;
}

QolStatus qolsMaxAbs_32s(const Qol32s* pSrc, int len, Qol32s* pVal) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pVal)) {
        return status;
    }
    Qol32u most = 0; // magnitudes as unsigned words hold that of the least value
    i128 m = zero();
    int i = 0;
    for (; i + 4 <= len; i += 4) {
        m = _mm_max_epu32(m, _mm_abs_epi32(load(pSrc + i)));
    }
    Qol32u lanes[4];
    store(lanes, m);
    for (const Qol32u x : lanes) {
        most = x > most ? x : most;
    }
    for (; i < len; ++i) {
        const Qol32u a =
            pSrc[i] < 0 ? 0u - static_cast<Qol32u>(pSrc[i]) : static_cast<Qol32u>(pSrc[i]);
        most = a > most ? a : most;
    }
    *pVal = saturate32(most);
    return qolStsNoErr;
}

QolStatus qolsMaxIndx_32s(const Qol32s* pSrc, int len, Qol32s* pVal, int* pIndex) noexcept {
    return findExtreme<true>(pSrc, len, pVal, pIndex);
}
QolStatus qolsMaxIndx_32f(const Qol32f* pSrc, int len, Qol32f* pVal, int* pIndex) noexcept {
    return findExtreme<true>(pSrc, len, pVal, pIndex);
}
QolStatus qolsMinIndx_16s(const Qol16s* pSrc, int len, Qol16s* pVal, int* pIndex) noexcept {
    return findExtreme<false>(pSrc, len, pVal, pIndex);
}
QolStatus qolsMinIndx_32f(const Qol32f* pSrc, int len, Qol32f* pVal, int* pIndex) noexcept {
    return findExtreme<false>(pSrc, len, pVal, pIndex);
}

} // namespace qolsc
