// SPDX-License-Identifier: Apache-2.0
// Adaptive gain control behind the post-filter (ITU-T G.729 §4.2.4, §A.4.2.4; float form of Annex
// C).
#include "common/gain_control.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"

namespace qolsc {
namespace {

using namespace basop;
using g729::kSubframe;

Qol32s sumOfMagnitudes(const Qol16s* x) {
    simd::i128 s = simd::zero();
    for (int i = 0; i < kSubframe; i += 8) {
        // |-32768| saturates to 32767, as the standard's operator; then pairs are added.
        const simd::i128 v = simd::load(x + i);
        const simd::i128 magnitude = _mm_max_epi16(v, simd::subSat16(simd::zero(), v));
        s = simd::add32(s, simd::maddPairs(magnitude, simd::splat16(1)));
    }
    return simd::sum32(s);
}

/// Ratio in/out of two sums of magnitudes times 0.0125, Q14.
Qol16s targetGain(Qol32s in, Qol32s out) {
    if (in == 0) {
        return 0;
    }
    const int expIn = norm_l(in), expOut = norm_l(out);
    const Qol16s wordIn = extract_h(in << expIn), wordOut = extract_h(out << expOut);
    const bool less = wordIn < wordOut;
    const Qol16s q =
        less ? div_s(wordIn, wordOut)
             : static_cast<Qol16s>((div_s(static_cast<Qol16s>(wordIn - wordOut), wordOut) >> 1) +
                                   0x4000);
    return mult_r(shr(q, expIn - expOut + (less ? 1 : 0)), 410); // 410 is 1 - 32358 in Q15
}

/// y = x g with g following the target by 0.9875 a sample; the gains first, as they don't depend
/// on the signal.
void ownCalcGain_G729_16s(Qol16s target, Qol16s* x, Qol16s* pGain) {
    alignas(16) Qol16s gains[kSubframe];
    Qol16s g = *pGain;
    for (Qol16s& slot : gains) {
        g = saturate16(((g * 32358 + 0x4000) >> 15) + target);
        slot = g;
    }
    *pGain = g;
    const simd::i128 half = simd::splat32(1 << 13);
    for (int i = 0; i < kSubframe; i += 8) {
        const simd::i128 v = simd::load(x + i), w = simd::load(gains + i);
        const simd::i128 lo = _mm_mullo_epi16(v, w), hi = _mm_mulhi_epi16(v, w);
        simd::store(x + i, simd::packSat16(
                               _mm_srai_epi32(simd::add32(_mm_unpacklo_epi16(lo, hi), half), 14),
                               _mm_srai_epi32(simd::add32(_mm_unpackhi_epi16(lo, hi), half), 14)));
    }
}

} // namespace

Qol32s quarterEnergy40(const Qol16s* x) {
    alignas(16) Qol16s quarter[kSubframe];
    for (int i = 0; i < kSubframe; i += 8) {
        simd::store(quarter + i, _mm_srai_epi16(simd::load(x + i), 2));
    }
    return saturate32(2 * g729::dot40Exact(quarter, quarter));
}

Qol16s ownCalcG0_G729A_16s(Qol32s out, Qol32s in) {
    if (in == 0) {
        return 0;
    }
    const int expOut = norm_l(out) - 1, expIn = norm_l(in);
    const Qol16s wordOut = round_fx(L_shl(out, expOut)), wordIn = round_fx(in << expIn);
    Qol32s ratio = L_shr(Qol32s{div_s(wordOut, wordIn)} << 7, expOut - expIn);
    qolsc::qolsInvSqrt_32s_I(&ratio, 1);
    const Qol16s root = round_fx(L_shl(ratio, 9));
    return mult(root, 3276);
}

void ownCalcGain_G729A_16s(Qol16s target, Qol16s* x, Qol16s* pGain) {
    alignas(16) Qol16u gains[kSubframe];
    Qol32u g = static_cast<Qol16u>(*pGain);
    for (Qol16u& slot : gains) {
        g = ((g * 58982u >> 16) + static_cast<Qol32u>(target)) & 0xFFFF;
        slot = static_cast<Qol16u>(g);
    }
    *pGain = static_cast<Qol16s>(g);
    for (int i = 0; i < kSubframe; i += 8) {
        const simd::i128 v = simd::load(x + i), w = simd::load(gains + i);
        // High halves of signed times unsigned: where the gain has its top bit set, the signed
        // product lacks x.
        const simd::i128 lo = _mm_mullo_epi16(v, w),
                         hi = _mm_add_epi16(_mm_mulhi_epi16(v, w),
                                            _mm_and_si128(v, _mm_srai_epi16(w, 15)));
        simd::store(x + i, simd::packSat16(_mm_srai_epi32(_mm_unpacklo_epi16(lo, hi), 12),
                                           _mm_srai_epi32(_mm_unpackhi_epi16(lo, hi), 12)));
    }
}

QolStatus qolsGainControl_G729_16s_I(const Qol16s* pSrc, Qol16s* pSrcDst, Qol16s* pGain) noexcept {
    if (anyNull(pSrc, pSrcDst, pGain)) {
        return qolStsNullPtrErr;
    }
    const Qol32s in = sumOfMagnitudes(pSrc), out = sumOfMagnitudes(pSrcDst);
    if (in != 0 && out == 0) {
        *pGain = 0;
        return qolStsNoErr;
    }
    ownCalcGain_G729_16s(targetGain(in, out), pSrcDst, pGain);
    return qolStsNoErr;
}

QolStatus qolsGainControl_G729A_16s_I(const Qol16s* pSrc, Qol16s* pSrcDst, Qol16s* pGain) noexcept {
    if (anyNull(pSrc, pSrcDst, pGain)) {
        return qolStsNullPtrErr;
    }
    const Qol32s out = quarterEnergy40(pSrcDst);
    if (out == 0) {
        *pGain = 0;
        return qolStsNoErr;
    }
    ownCalcGain_G729A_16s(ownCalcG0_G729A_16s(out, quarterEnergy40(pSrc)), pSrcDst, pGain);
    return qolStsNoErr;
}

QolStatus qolsGainControl_G729_32f_I(Qol32f valGainFactor, Qol32f valGain, Qol32f* pSrcDst,
                                     Qol32f* pGainMem) noexcept {
    if (anyNull(pSrcDst, pGainMem)) {
        return qolStsNullPtrErr;
    }
    // Four steps of the recursion at once: g[n+k] = a^k g[n] + (1 - a^k) target for k = 1..4.
    const Qol32f a = valGain, target = valGainFactor;
    const Qol32f a2 = a * a, a3 = a2 * a, a4 = a2 * a2;
    const Qol32f step = (1.0f - a) * target;
    const Qol32f p2 = step + a * step, p3 = step + a * p2, p4 = step + a * p3;
    Qol32f g = *pGainMem;
    for (int i = 0; i < kSubframe; i += 4) {
        pSrcDst[i] *= a * g + step;
        pSrcDst[i + 1] *= a2 * g + p2;
        pSrcDst[i + 2] *= a3 * g + p3;
        g = a4 * g + p4;
        pSrcDst[i + 3] *= g;
    }
    *pGainMem = g;
    return qolStsNoErr;
}

} // namespace qolsc
