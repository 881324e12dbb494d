// SPDX-License-Identifier: Apache-2.0
// Thresholds and the reciprocal with a floor, which two threads may share.
#include "qolcore.h"
#include "vector/map.h"
#include "vector/vector.h"

#include <omp.h>

namespace qolsc {

using namespace simd;

namespace {

constexpr int kThreadedFrom = 2048; // elements
constexpr int kMostThreads = 2;

f256 below(f256 x, f256 level) { return _mm256_cmp_ps(x, level, _CMP_LT_OQ); }
f256 above(f256 x, f256 level) { return _mm256_cmp_ps(x, level, _CMP_GT_OQ); }
d256 below(d256 x, d256 level) { return _mm256_cmp_pd(x, level, _CMP_LT_OQ); }
d256 above(d256 x, d256 level) { return _mm256_cmp_pd(x, level, _CMP_GT_OQ); }
f256 replace(f256 x, f256 mask, f256 value) { return selectf(mask, x, value); }
d256 replace(d256 x, d256 mask, d256 value) { return selectd(mask, x, value); }

f256 lanes(const Qol32f* p) { return loadf(p); }
d256 lanes(const Qol64f* p) { return loadd(p); }
f256 splat(Qol32f v) { return splatf(v); }
d256 splat(Qol64f v) { return splatd(v); }
template <typename T>
constexpr int kLanes = 32 / sizeof(T);

/// Elements for which test(x, level) holds become value.
template <typename T, typename Test>
QolStatus replaceWhere(const T* pSrc, T* pDst, int len, T level, T value, Test test) {
    const auto l = splat(level), v = splat(value);
    return mapChecked<kLanes<T>>(
        [=](const T* p) {
            const auto x = lanes(p);
            return replace(x, test(x, l), v);
        },
        pDst, len, pSrc);
}

/// Elements below one level and those above the other become values of their own.
template <typename T>
QolStatus replaceOutside(const T* pSrc, T* pDst, int len, T levelLT, T valueLT, T levelGT,
                         T valueGT) {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    if (levelLT > levelGT) {
        return qolStsThresholdErr;
    }
    const auto ll = splat(levelLT), lv = splat(valueLT), gl = splat(levelGT), gv = splat(valueGT);
    mapBlocks<kLanes<T>>(
        [=](const T* p) {
            const auto x = lanes(p);
            return replace(replace(x, below(x, ll), lv), above(x, gl), gv);
        },
        pDst, len, pSrc);
    return qolStsNoErr;
}

/// Magnitudes below level become level with the sign of x.
f256 floorMagnitude(f256 x, f256 level) {
    const f256 sign = _mm256_and_ps(x, splatf(-0.0f));
    const f256 magnitude = _mm256_xor_ps(x, sign);
    return replace(x, below(magnitude, level), _mm256_or_ps(level, sign));
}
d256 floorMagnitude(d256 x, d256 level) {
    const d256 sign = _mm256_and_pd(x, splatd(-0.0));
    const d256 magnitude = _mm256_xor_pd(x, sign);
    return replace(x, below(magnitude, level), _mm256_or_pd(level, sign));
}

/// Reciprocals of the elements raised to level; true when a zero was met (at level 0 only).
bool ownqolsInvThresh_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f level) {
    const d256 floorLevel = splatd(level == 0 ? 0.0 : level); // a level of -0 must not set signs
    d256 zeros = splatd(0);
    const auto reciprocal = [&zeros, floorLevel](const Qol64f* p) {
        const d256 x = floorMagnitude(loadd(p), floorLevel);
        zeros = _mm256_or_pd(zeros, _mm256_cmp_pd(x, splatd(0), _CMP_EQ_OQ));
        return _mm256_div_pd(splatd(1), x);
    };
    mapBlocks<4>(reciprocal, pDst, len, pSrc);
    return _mm256_movemask_pd(zeros) != 0;
}

/// The same by a team of at most two threads on disjoint slices; returns how many met a zero.
int ownqolsInvThresh_64f_omp(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f level) {
    const int available = ownGetNumThreads();
    if (available <= 1 || len < available) {
        return ownqolsInvThresh_64f(pSrc, pDst, len, level) ? 1 : 0;
    }
    const int wanted = available < kMostThreads ? available : kMostThreads;
    int teamSize = 1, chunk = 0, rest = 0, zeroCount = 0;
#pragma omp parallel num_threads(wanted)
    {
#pragma omp master
        {
            teamSize = omp_get_num_threads();
            chunk = len / teamSize;
            rest = len % teamSize;
        }
#pragma omp barrier
        const int thread = omp_get_thread_num();
        const int count = chunk + (thread == teamSize - 1 ? rest : 0);
        if (ownqolsInvThresh_64f(pSrc + thread * chunk, pDst + thread * chunk, count, level)) {
#pragma omp atomic
            ++zeroCount;
        }
    }
    return zeroCount;
}

} // namespace

QolStatus qolsThreshold_LTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f level,
                                  Qol32f value) noexcept {
    return replaceWhere(pSrc, pDst, len, level, value, [](f256 x, f256 l) { return below(x, l); });
}
QolStatus qolsThreshold_GTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f level,
                                  Qol32f value) noexcept {
    return replaceWhere(pSrc, pDst, len, level, value, [](f256 x, f256 l) { return above(x, l); });
}
QolStatus qolsThreshold_GTVal_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f level,
                                  Qol64f value) noexcept {
    return replaceWhere(pSrc, pDst, len, level, value, [](d256 x, d256 l) { return above(x, l); });
}

QolStatus qolsThreshold_LTValGTVal_32f(const Qol32f* pSrc, Qol32f* pDst, int len, Qol32f levelLT,
                                       Qol32f valueLT, Qol32f levelGT, Qol32f valueGT) noexcept {
    return replaceOutside(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT);
}
QolStatus qolsThreshold_LTValGTVal_64f(const Qol64f* pSrc, Qol64f* pDst, int len, Qol64f levelLT,
                                       Qol64f valueLT, Qol64f levelGT, Qol64f valueGT) noexcept {
    return replaceOutside(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT);
}

QolStatus qolsThreshold_LTAbs_32f(const Qol32f* pSrc, Qol32f* pDst, int len,
                                  Qol32f level) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    if (level < 0) {
        return qolStsThreshNegLevelErr;
    }
    const f256 l = splatf(level);
    mapBlocks<8>([l](const Qol32f* p) { return floorMagnitude(loadf(p), l); }, pDst, len, pSrc);
    return qolStsNoErr;
}

QolStatus qolsThreshold_LTInv_64f(const Qol64f* pSrc, Qol64f* pDst, int len,
                                  Qol64f level) noexcept {
    if (const QolStatus status = vectorArgs(len, pSrc, pDst)) {
        return status;
    }
    if (level < 0) {
        return qolStsThreshNegLevelErr;
    }
    if (len < kThreadedFrom) {
        return ownqolsInvThresh_64f(pSrc, pDst, len, level) ? qolStsSingularity : qolStsNoErr;
    }
    return ownqolsInvThresh_64f_omp(pSrc, pDst, len, level) ? qolStsDivByZero : qolStsNoErr;
}

} // namespace qolsc
