// SPDX-License-Identifier: Apache-2.0
// Long-term post-filters of ITU-T G.729 Annex A (§A.4.2.1: one tap at an integer lag) and Annex B.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_post.h"

namespace qolsc {
namespace {

using namespace basop;
using g729::kResidualHistory;
using g729::kSubframe;

constexpr int kMaxLag = 143;

/// y = g0 x[n] + g1 x[n - lag], each product truncated by itself.
void harmonicFilter(Qol16s g0, Qol16s g1, int lag, const Qol16s* x, Qol16s* y) {
    for (int n = 0; n < kSubframe; ++n) {
        y[n] = saturate16((g0 * x[n] >> 15) + (g1 * x[n - lag] >> 15));
    }
}

/// Up to this magnitude no doubled sum of 40 products leaves 32 bits.
constexpr Qol16s kSafePeak = 5180;

/// Doubled inner product of 40 samples, saturated.
template <bool Safe>
Qol32s correlation(const Qol16s* a, const Qol16s* b) {
    return Safe ? 2 * g729::dot40(a, b) : saturate32(2 * g729::dot40Exact(a, b));
}

/// Best lag of centre - 3..centre + 3, or of the last seven below the longest; the lowest wins
/// ties.
template <bool Safe>
int searchLag(const Qol16s* x, int centre, Qol32s* pMax) {
    const int lower = centre + 3 > kMaxLag ? kMaxLag - 6 : centre - 3;
    int best = lower;
    *pMax = correlation<Safe>(x, x - lower);
    for (int lag = lower + 1; lag <= lower + 6; ++lag) {
        const Qol32s c = correlation<Safe>(x, x - lag);
        if (c > *pMax) {
            *pMax = c;
            best = lag;
        }
    }
    return best;
}

/// Best lag with the correlation there (0 when negative) and the energies of both sides.
struct Match {
    int lag;
    Qol32s c, e, e0;
};

template <bool Safe>
Match matchAround(const Qol16s* x, int centre) {
    Match m{};
    m.lag = searchLag<Safe>(x, centre, &m.c);
    m.c = m.c < 0 ? 0 : m.c;
    m.e = L_add(correlation<Safe>(x - m.lag, x - m.lag), 1);
    m.e0 = L_add(correlation<Safe>(x, x), 1);
    return m;
}

void harmonicPostFilter(int centre, const Qol16s* residual, Qol16s* dst) {
    alignas(16) Qol16s scaled[kMaxLag + 1 + kSubframe];
    simd::i128 peak = simd::zero();
    for (int i = 0; i < kMaxLag + 1 + kSubframe; i += 8) {
        const simd::i128 v = _mm_srai_epi16(simd::load(residual - (kMaxLag + 1) + i), 2);
        simd::store(scaled + i, v);
        peak = _mm_max_epi16(peak, _mm_abs_epi16(v));
    }
    const Qol16s* x = scaled + kMaxLag + 1;
    const bool loud = _mm_movemask_epi8(_mm_cmpgt_epi16(peak, simd::splat16(kSafePeak))) != 0;
    const auto [lag, c, e, e0] =
        loud ? matchAround<false>(x, centre) : matchAround<true>(x, centre);

    const Qol32s eMax = e > e0 ? e : e0;
    const int n = norm_l(c > eMax ? c : eMax);
    const Qol16s cmax = round_fx(c << n), en = round_fx(e << n), en0 = round_fx(e0 << n);
    // Below 3 dB of prediction gain nothing is filtered: c^2 < e0 e / 2.
    if (L_mult(cmax, cmax) < L_shr(L_mult(en, en0), 1)) {
        std::memcpy(dst, residual, kSubframe * sizeof(*dst));
        return;
    }
    Qol16s g0 = 21845, g1 = 10923; // 2/3 and 1/3 for a gain of 1 and more
    if (cmax <= en) {
        // g1 = c/2 / (c/2 + e) in halves; 1 - g1 for the direct path.
        const int u = cmax >> 2, v = (en >> 1) + u;
        g1 = v > 0 ? static_cast<Qol16s>((u << 15) / v) : Qol16s{0};
        g0 = static_cast<Qol16s>(32767 - g1);
    }
    harmonicFilter(g0, g1, lag, residual, dst);
}

} // namespace

QolStatus qolsLongTermPostFilter_G729A_16s(Qol16s valDelay, const Qol16s* pSrcSpch,
                                           const Qol16s* pSrcLPC, Qol16s* pSrcDstResidual,
                                           Qol16s* pDst) noexcept {
    if (anyNull(pSrcSpch, pSrcLPC, pSrcDstResidual, pDst)) {
        return qolStsNullPtrErr;
    }
    if (valDelay < 18 || valDelay > 145) {
        return qolStsSizeErr;
    }
    Qol16s* residual = pSrcDstResidual + kResidualHistory;
    qolsc::qolsResidualFilter_G729_16s(pSrcSpch, pSrcLPC, residual);
    harmonicPostFilter(valDelay, residual, pDst);
    return qolStsNoErr;
}

QolStatus qolsLongTermPostFilter_G729B_16s(Qol16s valDelay, const Qol16s* pSrcSpch,
                                           const Qol16s* pSrcLPC, Qol16s* pSrcDstResidual,
                                           Qol16s* pDst, Qol16s* pResultVoice,
                                           Qol16s frameType) noexcept {
    if (anyNull(pSrcSpch, pSrcLPC, pSrcDstResidual, pDst, pResultVoice)) {
        return qolStsNullPtrErr;
    }
    if (static_cast<Qol16u>(valDelay) > kMaxLag || static_cast<Qol16u>(frameType) > 2) {
        return qolStsSizeErr;
    }
    Qol16s weighted[g729::kCoeffs];
    g729::weightLpc(pSrcLPC, tables::g729::facGamma2_pst, weighted);
    Qol16s* residual = pSrcDstResidual + kResidualHistory;
    qolsc::qolsResidualFilter_G729_16s(pSrcSpch, weighted, residual);
    if (frameType != 1) {
        std::memcpy(pDst, residual, kSubframe * sizeof(*pDst));
        *pResultVoice = 0;
        return qolStsNoErr;
    }
    Qol16s delay;
    const QolStatus status =
        qolsc::qolsLongTermPostFilter_G729_16s(16384, valDelay, residual, pDst, &delay);
    if (status == qolStsNoErr) {
        *pResultVoice = delay != 0;
    }
    return status;
}

} // namespace qolsc
