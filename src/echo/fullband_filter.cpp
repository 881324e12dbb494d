// SPDX-License-Identifier: Apache-2.0
// Transversal filters of the full-band canceller: the fixed one, and the adaptive one with the
// update by normalised least mean squares folded into the next sample's pass.
#include "echo/fullband_filter.h"

#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "vector/simd.h"
#include "vector/vector.h"

#include <algorithm>

namespace qolsc {

namespace echo {

using namespace simd;

namespace {

/// Product of a sample and a Q15 coefficient, rounded.
Qol32s term_Q0(Qol16s x, Qol16s c_Q15) { return (Qol32s{x} * c_Q15 + 16384) >> 15; }

/// The sum of eight such terms. The one term beyond 16 bits, 2^15, shows as -2^15, which is its
/// negative: so the negatives of all are taken, and turned again by the factors that sum them.
i128 terms8(const Qol16s* x, i128 c) {
    return maddPairs(sub16(zero(), mulRound15(load(x), c)), splat16(-1));
}

} // namespace

void firPlain_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                  const Qol32f* pCoeffs, Qol32s numTaps) {
    for (Qol32s n = 0; n < len; ++n) {
        Qol32f sum = 0;
        for (Qol32s k = 0; k < numTaps; ++k) {
            sum += pSrc[n - k] * pCoeffs[k];
        }
        pDst[n] = pSrcRef[n] - sum;
    }
}

namespace {

template <int Vectors>
void firTile(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, const Qol32f* pCoeffs,
             Qol32s numTaps) {
    f256 sum[Vectors];
    for (int v = 0; v < Vectors; ++v) {
        sum[v] = zerof();
    }
    for (Qol32s k = 0; k < numTaps; ++k) {
        const f256 c = splatf(pCoeffs[k]);
        for (int v = 0; v < Vectors; ++v) {
            sum[v] = addf(sum[v], mulf(loadf(pSrc + 8 * v - k), c));
        }
    }
    for (int v = 0; v < Vectors; ++v) {
        storef(pDst + 8 * v, subf(loadf(pSrcRef + 8 * v), sum[v]));
    }
}

} // namespace

void firLanes_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                  const Qol32f* pCoeffs, Qol32s numTaps) {
    Qol32s n = 0;
    for (; n + 40 <= len; n += 40) {
        firTile<5>(pSrc + n, pSrcRef + n, pDst + n, pCoeffs, numTaps);
    }
    for (; n + 8 <= len; n += 8) {
        firTile<1>(pSrc + n, pSrcRef + n, pDst + n, pCoeffs, numTaps);
    }
    firPlain_32f(pSrc + n, pSrcRef + n, pDst + n, len - n, pCoeffs, numTaps);
}

void firPlain_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                  const Qol16s* pCoeffs, Qol32s numTaps) {
    for (Qol32s n = 0; n < len; ++n) {
        Qol32s sum = 0;
        for (Qol32s k = 0; k < numTaps; ++k) {
            sum = basop::L_add(sum, term_Q0(pSrc[n - k], pCoeffs[k]));
        }
        pDst[n] = saturate16(Qol64s{pSrcRef[n]} - sum);
    }
}

namespace {

/// So many outputs from one pass over the coefficients.
template <int Outputs>
void firTile(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, const Qol16s* pCoeffs,
             Qol32s numTaps) {
    const Qol32s whole = numTaps & ~7;
    i128 acc[Outputs];
    for (i128& a : acc) {
        a = zero();
    }
    for (Qol32s k = 0; k < whole; k += 8) {
        const i128 c = reverse16(load(pCoeffs + k));
        for (int n = 0; n < Outputs; ++n) {
            acc[n] = add32(acc[n], terms8(pSrc + n - k - 7, c));
        }
    }
    for (int n = 0; n < Outputs; ++n) {
        Qol32s sum = sum32(acc[n]);
        for (Qol32s k = whole; k < numTaps; ++k) {
            sum += term_Q0(pSrc[n - k], pCoeffs[k]);
        }
        pDst[n] = saturate16(Qol64s{pSrcRef[n]} - sum);
    }
}

} // namespace

void firLanes_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                  const Qol16s* pCoeffs, Qol32s numTaps) {
    Qol32s n = 0;
    for (; n + 4 <= len; n += 4) {
        firTile<4>(pSrc + n, pSrcRef + n, pDst + n, pCoeffs, numTaps);
    }
    for (; n < len; ++n) {
        firTile<1>(pSrc + n, pSrcRef + n, pDst + n, pCoeffs, numTaps);
    }
}

Qol32f nlmsPlain_32f(const Qol32f* pSrc, Qol32f g, Qol32f* pCoeffs, Qol32s numTaps) {
    Qol32f sum = 0;
    for (Qol32s k = 0; k < numTaps; ++k) {
        pCoeffs[k] += g * pSrc[-k - 1];
        sum += pCoeffs[k] * pSrc[-k];
    }
    return sum;
}

Qol32f nlmsReversed_32f(const Qol32f* pSrc, Qol32f g, Qol32f* pReversed, Qol32s numTaps) {
    const Qol32f* const x = pSrc - numTaps; // x[m] meets coefficient numTaps - 1 - m in the update
    const f256 gs = splatf(g);
    f256 acc[4] = {zerof(), zerof(), zerof(), zerof()};
    const auto step = [&](Qol32s m, f256& sum) {
        const f256 c = addf(loadf(pReversed + m), mulf(gs, loadf(x + m)));
        storef(pReversed + m, c);
        sum = addf(sum, mulf(c, loadf(x + m + 1)));
    };
    Qol32s m = 0;
    for (; m + 32 <= numTaps; m += 32) {
        for (int v = 0; v < 4; ++v) {
            step(m + 8 * v, acc[v]);
        }
    }
    for (; m + 8 <= numTaps; m += 8) {
        step(m, acc[0]);
    }
    Qol32f sum = sumf(addf(addf(acc[0], acc[1]), addf(acc[2], acc[3])));
    for (; m < numTaps; ++m) {
        pReversed[m] += g * x[m];
        sum += pReversed[m] * x[m + 1];
    }
    return sum;
}

Qol32s nlmsPlain_16s(const Qol16s* pSrc, Qol32s g, Qol16s* pCoeffs, Qol32s numTaps) {
    Qol32s sum = 0;
    for (Qol32s k = 0; k < numTaps; ++k) {
        pCoeffs[k] = saturate16(pCoeffs[k] + ((Qol64s{pSrc[-k - 1]} * g + 4096) >> 13));
        sum = basop::L_add(sum, term_Q0(pSrc[-k], pCoeffs[k]));
    }
    return sum;
}

namespace {

/// next(x, c) moves eight coefficients.
template <typename Next>
Qol32s adaptivePass(const Qol16s* pSrc, Qol16s g, Qol16s* pReversed, Qol32s numTaps, Next next) {
    const Qol16s* const x = pSrc - numTaps;
    i128 acc = zero();
    Qol32s m = 0;
    for (; m + 8 <= numTaps; m += 8) {
        const i128 c = next(load(x + m), load(pReversed + m));
        store(pReversed + m, c);
        acc = add32(acc, terms8(x + m + 1, c));
    }
    Qol32s sum = sum32(acc);
    for (; m < numTaps; ++m) {
        pReversed[m] = saturate16(pReversed[m] + ((Qol32s{x[m]} * g + 4096) >> 13));
        sum += term_Q0(x[m + 1], pReversed[m]);
    }
    return sum;
}

} // namespace

Qol32s nlmsReversed_16s(const Qol16s* pSrc, Qol16s g, Qol16s* pReversed, Qol32s numTaps) {
    if (g > -8192 && g < 8192) { // (x g + 2^12) >> 13 is (x 4g + 2^14) >> 15 and has 16 bits
        const i128 g4 = splat16(static_cast<Qol16s>(4 * g));
        return adaptivePass(pSrc, g, pReversed, numTaps,
                            [=](i128 x, i128 c) { return addSat16(c, mulRound15(x, g4)); });
    }
    const i128 gs = splat16(g), half = splat32(4096);
    return adaptivePass(pSrc, g, pReversed, numTaps, [=](i128 x, i128 c) {
        const i128 lo = _mm_mullo_epi16(x, gs), hi = _mm_mulhi_epi16(x, gs);
        const i128 a = _mm_srai_epi32(add32(_mm_unpacklo_epi16(lo, hi), half), 13);
        const i128 b = _mm_srai_epi32(add32(_mm_unpackhi_epi16(lo, hi), half), 13);
        return packSat16(add32(widenLow(c), a), add32(widenHigh(c), b));
    });
}

} // namespace echo

namespace {

using namespace echo;

QolStatus checkFilter(Qol32s len, Qol32s numTaps) {
    return len < 1 || numTaps < 1 ? qolStsBadArgErr : qolStsNoErr;
}

} // namespace

QolStatus qolsFIR_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, Qol32f* pDst, Qol32s len,
                         const Qol32f* pCoeffs, Qol32s numTaps) noexcept {
    if (anyNull(pSrc, pSrcRef, pDst, pCoeffs)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkFilter(len, numTaps);
    if (status == qolStsNoErr) {
        firLanes_32f(pSrc, pSrcRef, pDst, len, pCoeffs, numTaps);
    }
    return status;
}

QolStatus qolsFIR_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, Qol16s* pDst, Qol32s len,
                         const Qol16s* pCoeffs, Qol32s numTaps) noexcept {
    if (anyNull(pSrc, pSrcRef, pDst, pCoeffs)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkFilter(len, numTaps);
    if (status == qolStsNoErr) {
        (numTaps <= kMostTapsUnsaturated ? firLanes_16s : firPlain_16s)(pSrc, pSrcRef, pDst, len,
                                                                        pCoeffs, numTaps);
    }
    return status;
}

QolStatus qolsNLMS_EC_32f(const Qol32f* pSrc, const Qol32f* pSrcRef, const Qol32f* pStepSize,
                          Qol32f* pDst, Qol32s len, Qol32f* pCoeffs, Qol32s numTaps,
                          Qol32f* pErr) noexcept {
    if (anyNull(pSrc, pSrcRef, pStepSize, pDst) || anyNull(pCoeffs, pErr)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkFilter(len, numTaps);
    if (status != qolStsNoErr) {
        return status;
    }
    // In falling order the coefficients meet rising samples, so that vectors need no reversal.
    std::reverse(pCoeffs, pCoeffs + numTaps);
    Qol32f g = *pErr;
    for (Qol32s n = 0; n < len; ++n) {
        pDst[n] = pSrcRef[n] - nlmsReversed_32f(pSrc + n, g, pCoeffs, numTaps);
        g = pDst[n] * pStepSize[n];
    }
    *pErr = g;
    std::reverse(pCoeffs, pCoeffs + numTaps);
    return qolStsNoErr;
}

QolStatus qolsNLMS_EC_16s(const Qol16s* pSrc, const Qol16s* pSrcRef, const Qol32s* pStepSize,
                          Qol16s* pDst, Qol32s len, Qol16s* pCoeffs, Qol32s numTaps,
                          Qol16s* pErr) noexcept {
    if (anyNull(pSrc, pSrcRef) || anyNull(pStepSize) || anyNull(pDst, pCoeffs, pErr)) {
        return qolStsNullPtrErr;
    }
    const QolStatus status = checkFilter(len, numTaps);
    if (status != qolStsNoErr) {
        return status;
    }
    const bool lanes = numTaps <= kMostTapsUnsaturated;
    bool reversed = false;
    Qol32s g = *pErr;
    for (Qol32s n = 0; n < len; ++n) {
        const bool fast = lanes && g == wrap16(g);
        if (fast != reversed) {
            std::reverse(pCoeffs, pCoeffs + numTaps);
            reversed = fast;
        }
        const Qol32s sum = fast ? nlmsReversed_16s(pSrc + n, wrap16(g), pCoeffs, numTaps)
                                : nlmsPlain_16s(pSrc + n, g, pCoeffs, numTaps);
        pDst[n] = saturate16(Qol64s{pSrcRef[n]} - sum);
        g = wrapAdd32(wrapMul32(pDst[n], pStepSize[n]), 1024) >> 11;
    }
    if (reversed) {
        std::reverse(pCoeffs, pCoeffs + numTaps);
    }
    *pErr = saturate16(g);
    return qolStsNoErr;
}

} // namespace qolsc
