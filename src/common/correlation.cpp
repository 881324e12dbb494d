// SPDX-License-Identifier: Apache-2.0
// Auto- and cross-correlation of 16-bit data, plain, scaled and normalised (ITU-T G.729 §3.2.1,
// §3.8; TS 26.090 §5.2.1).
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"

#include <algorithm>

namespace qolsc {

namespace {

/// Sums are handled this many at a time where they go on to another width.
constexpr int kBatch = 256;

/// Largest energy that can still be doubled in 32 bits.
constexpr Qol64s kMaxEnergy = 0x3FFFFFFF;

/// Upper 16 bits, rounded, saturated at the top.
constexpr Qol16s roundHigh(Qol32s x) { return basop::round_fx(x); }

} // namespace

void _qolsAutoCorr_G729_16s32s_Sfs(const Qol16s* pSrc, int len, Qol32s* pDst, int lenDst,
                                   int exponent) {
    if (len < 2) {
        std::fill_n(pDst, lenDst, 0);
        return;
    }
    // The lags from 1 on are the triangle of the source with itself one place further on.
    corrTriangle(pSrc, pSrc + 1, len - 1, pDst, lenDst);
    for (int k = 0; k < lenDst; ++k) {
        pDst[k] = static_cast<Qol32s>(static_cast<Qol32u>(pDst[k]) << exponent);
    }
}

void _qolsCrossCorr_Inv_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len, Qol32s* pDst,
                               int lenDst) {
    corrLags(pSrc1, pSrc2 - (lenDst - 1), len, pDst, lenDst);
    std::reverse(pDst, pDst + lenDst);
}

void _qolsCrossCorr_Norm_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, int len, Qol16s* pDst,
                             int mode) {
    // Two passes over the lags when they don't fit: the norm first.
    constexpr int kKept = 512;
    Qol32s sums[kKept];
    const auto batch = [&](int k, int count) {
        // A run of lags of the triangle is the triangle of what lies behind its first lag.
        corrTriangle(pSrc1, pSrc2 + k, len - k, sums, count);
    };
    Qol32s highest = 0, lowest = 0;
    for (int k = 0; k < len; k += kKept) {
        const int count = std::min(kKept, len - k);
        batch(k, count);
        for (int j = 0; j < count; ++j) {
            highest = std::max(highest, sums[j]);
            lowest = std::min(lowest, sums[j]);
        }
    }
    // With n the norm no sum reaches 2^(31-n), so that the shift leaves at most 15 - mode bits.
    const Qol32s largest = std::max(highest, basop::L_abs(lowest));
    const int shift = 16 + mode - std::min(norm(largest), 15 + mode);
    for (int k = 0; k < len; k += kKept) {
        const int count = std::min(kKept, len - k);
        if (len > kKept) {
            batch(k, count);
        }
        for (int j = 0; j < count; ++j) {
            pDst[k + j] = static_cast<Qol16s>(sums[j] >> shift);
        }
    }
}

QolStatus qolsAutoCorr_16s32s(const Qol16s* pSrc, Qol32s len, Qol32s* pDst,
                              Qol32s lenDst) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    corrTriangle(pSrc, pSrc, len, pDst, lenDst);
    return qolStsNoErr;
}

QolStatus qolsAutoCorr_NormE_16s32s(const Qol16s* pSrc, Qol32s len, Qol32s* pDst, Qol32s lenDst,
                                    Qol32s* pNorm) noexcept {
    if (anyNull(pSrc, pDst, pNorm)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    const Qol64s energy = energyExact(pSrc, len);
    if (energy > kMaxEnergy) {
        return qolStsOverflow;
    }
    // The 1 keeps the energy from being 0. No lag exceeds the energy, so that the common shift fits
    // them all.
    const Qol32s r = static_cast<Qol32s>(2 * energy + 1);
    const int n = norm(r);
    _qolsAutoCorr_G729_16s32s_Sfs(pSrc, len, pDst + 1, lenDst - 1, n + 1);
    pDst[0] = r << n;
    *pNorm = n;
    return qolStsNoErr;
}

QolStatus qolsAutoCorr_NormE_NR_16s(const Qol16s* pSrc, Qol32s len, Qol16s* pDst, Qol32s lenDst,
                                    Qol32s* pNorm) noexcept {
    if (anyNull(pSrc, pDst, pNorm)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    const Qol64s energy = energyExact(pSrc, len);
    const Qol32s r = energy > kMaxEnergy ? basop::MAX_32 : static_cast<Qol32s>(2 * energy);
    const int n = norm(r);
    Qol32s sums[kBatch];
    for (int k = 1; k < lenDst; k += kBatch) {
        const int count = std::min(kBatch, lenDst - k);
        if (k < len) {
            corrTriangle(pSrc, pSrc + k, len - k, sums, count);
        } else {
            std::fill_n(sums, count, 0);
        }
        for (int j = 0; j < count; ++j) {
            pDst[k + j] = roundHigh(basop::L_shl(basop::L_shl(sums[j], 1), n));
        }
    }
    pDst[0] = roundHigh(r << n);
    *pNorm = n;
    return qolStsNoErr;
}

QolStatus qolsCrossCorr_16s32s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                   Qol32s* pDst, Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    corrTriangle(pSrc1, pSrc2, len, pDst, len);
    const int s = std::clamp(scaleFactor, -31, 31);
    if (s > 0) {
        for (int k = 0; k < len; ++k) {
            pDst[k] >>= s;
        }
    } else if (s < 0) {
        for (int k = 0; k < len; ++k) {
            pDst[k] = static_cast<Qol32s>(static_cast<Qol32u>(pDst[k]) << -s);
        }
    }
    return qolStsNoErr;
}

QolStatus qolsCrossCorr_NR_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len, Qol16s* pDst,
                               Qol32s lenDst) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    Qol32s sums[kBatch];
    for (int k = 0; k < lenDst; k += kBatch) {
        const int count = std::min(kBatch, lenDst - k);
        corrLags(pSrc1, pSrc2 + k, len, sums, count);
        for (int j = 0; j < count; ++j) {
            pDst[k + j] = wrap16(wrapAdd32(sums[j], 0x4000) >> 15);
        }
    }
    return qolStsNoErr;
}

QolStatus qolsCrossCorr_NR_16s_Sfs(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                   Qol16s* pDst, Qol32s lenDst, Qol32s scaleFactor) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    if (scaleFactor < 0) {
        return qolStsScaleRangeErr;
    }
    Qol32s sums[kBatch];
    for (int k = 0; k < lenDst; k += kBatch) {
        const int count = std::min(kBatch, lenDst - k);
        corrLags(pSrc1, pSrc2 + k, len, sums, count);
        for (int j = 0; j < count; ++j) {
            pDst[k + j] = scaleNear<Qol16s>(sums[j], scaleFactor);
        }
    }
    return qolStsNoErr;
}

QolStatus qolsCrossCorr_NR_16s32s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                  Qol32s* pDst, Qol32s lenDst) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || lenDst < 1) {
        return qolStsSizeErr;
    }
    corrLags(pSrc1, pSrc2, len, pDst, lenDst);
    return qolStsNoErr;
}

QolStatus qolsCrossCorr_NormM_16s(const Qol16s* pSrc1, const Qol16s* pSrc2, Qol32s len,
                                  Qol16s* pDst) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    _qolsCrossCorr_Norm_16s(pSrc1, pSrc2, len, pDst, 2);
    return qolStsNoErr;
}

} // namespace qolsc
