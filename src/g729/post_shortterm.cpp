// SPDX-License-Identifier: Apache-2.0
// Short-term post-filter and tilt compensation (ITU-T G.729 §4.2.2, §4.2.3, §A.4.2.3), pre-emphasis
// of Annex A.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_post.h"

namespace qolsc {
namespace {

using namespace basop;
using g729::kCoeffs;
using g729::kOrder;
using g729::kSubframe;

constexpr int kResponse = 20;  // samples of the impulse response, main body
constexpr int kResponseA = 22; // Annex A

constexpr Qol16s kNoHistory[kOrder] = {};

/// First len samples of the response of numerator/denominator, both of order 10.
void impulseResponse(const Qol16s* numerator, const Qol16s* denominator, Qol16s* h, int len) {
    Qol16s pulse[kResponseA] = {};
    std::memcpy(pulse, numerator, kCoeffs * sizeof(*pulse));
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(denominator, pulse, h, len, 12, kNoHistory);
}

/// First reflection coefficient of the response, Q15, with the sign of the filter's tilt; 0 where
/// the rounded words contradict each other.
Qol16s reflection(const Qol16s* h) {
    Qol64s r0 = 0, r1 = 0;
    for (int i = 0; i < kResponse; ++i) {
        r0 += h[i] * h[i];
    }
    for (int i = 0; i + 1 < kResponse; ++i) {
        r1 += h[i] * h[i + 1];
    }
    const Qol32s energy = saturate32(2 * r0 + 1);
    const int n = norm_l(energy);
    const Qol16s high0 = extract_h(energy << n), high1 = extract_h(L_shl(saturate32(2 * r1), n)),
                 magnitude = abs_s(high1);
    if (high0 < magnitude || high0 == 0) {
        return 0;
    }
    const Qol16s k = div_s(magnitude, high0);
    return high1 > 0 ? static_cast<Qol16s>(-k) : k;
}

/// x[0] is the sample before the first: y[n] = (x[n] + mu x[n-1]) / (1 - |mu|).
void tiltFilter(Qol16s k, const Qol16s* x, Qol16s* y) {
    const bool falling = k > 0;
    const Qol16s mu = mult_r(k, falling ? Qol16s{6554} : Qol16s{29491}); // 0.2 or 0.9
    const int rest = 32768 - (mu < 0 ? -mu : mu), divisor = rest > 32767 ? 32767 : rest;
    const int shift = falling ? 14 : 11; // Q format of the gain
    const int gain = (1 << (15 + shift)) / divisor;
    const simd::i128 vMu = _mm_set1_epi32((mu >> 1) & 0xFFFF),
                     // The rounding term comes in as the product of 1 with the gain's half.
        vGain = _mm_set1_epi32((gain & 0xFFFF) | (1 << (shift - 1)) * 65536),
                     half = simd::splat32(1 << 13), one = simd::splat16(1),
                     count = _mm_cvtsi32_si128(shift);
    for (int n = 0; n < kSubframe; n += 8) {
        const simd::i128 before = simd::load(x + n), now = simd::load(x + n + 1);
        const auto tilt = [&](simd::i128 pairs) {
            return _mm_srai_epi32(simd::add32(simd::maddPairs(pairs, vMu), half), 14);
        };
        const simd::i128 zero = simd::zero();
        const simd::i128 sum =
            simd::addSat16(now, simd::packSat16(tilt(_mm_unpacklo_epi16(before, zero)),
                                                tilt(_mm_unpackhi_epi16(before, zero))));
        const auto scale = [&](simd::i128 pairs) {
            return _mm_sra_epi32(simd::maddPairs(pairs, vGain), count);
        };
        simd::store(y + n, simd::packSat16(scale(_mm_unpacklo_epi16(sum, one)),
                                           scale(_mm_unpackhi_epi16(sum, one))));
    }
}

/// From the end to the start, so that dst may be src. The product may reach 32768.
void preemphasize(Qol16s val, const Qol16s* src, Qol16s* dst, int len, Qol16s* mem) {
    const Qol16s last = src[len - 1];
    for (int i = len - 1; i > 0; --i) {
        dst[i] = saturate16(src[i] - (src[i - 1] * val >> 15));
    }
    dst[0] = saturate16(src[0] - (*mem * val >> 15));
    *mem = last;
}

} // namespace

QolStatus qolsShortTermPostFilter_G729_16s(const Qol16s* pSrcLPC, const Qol16s* pSrcFltResidual,
                                           Qol16s* pSrcDstSpch,
                                           Qol16s* pDstImpulseResponse) noexcept {
    if (anyNull(pSrcLPC, pSrcFltResidual, pSrcDstSpch, pDstImpulseResponse)) {
        return qolStsNullPtrErr;
    }
    Qol16s numerator[kCoeffs], denominator[kCoeffs];
    g729::weightLpc(pSrcLPC, tables::g729::facGamma2_pst, numerator);
    g729::weightLpc(pSrcLPC, tables::g729::facGamma1_pst, denominator);
    impulseResponse(numerator, denominator, pDstImpulseResponse, kResponse);

    Qol32s sum = 0;
    for (int i = 0; i < kResponse; ++i) {
        sum += abs_s(pDstImpulseResponse[i]);
    }
    sum >>= 2;
    // A gain above 1 in the sum of magnitudes is taken back.
    Qol16s scaled[kSubframe];
    const Qol16s* input = pSrcFltResidual;
    if (sum > 1024) {
        const int gain = 0x2000000 / sum;
        for (int i = 0; i < kSubframe; ++i) {
            scaled[i] = static_cast<Qol16s>((pSrcFltResidual[i] * gain + 0x4000) >> 15);
        }
        input = scaled;
    }
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(denominator, input, pSrcDstSpch, kSubframe, 12,
                                          pSrcDstSpch - kOrder);
    return qolStsNoErr;
}

QolStatus qolsTiltCompensation_G729_16s(const Qol16s* pSrcImpulseResponse,
                                        Qol16s* pSrcDst) noexcept {
    if (anyNull(pSrcImpulseResponse, pSrcDst)) {
        return qolStsNullPtrErr;
    }
    Qol16s result[kSubframe];
    tiltFilter(reflection(pSrcImpulseResponse), pSrcDst - 1, result);
    std::memcpy(pSrcDst, result, sizeof(result));
    return qolStsNoErr;
}

QolStatus qolsTiltCompensation_G729E_16s(Qol16s val, const Qol16s* pSrc, Qol16s* pDst) noexcept {
    if (anyNull(pSrc, pDst)) {
        return qolStsNullPtrErr;
    }
    tiltFilter(val, pSrc, pDst);
    return qolStsNoErr;
}

QolStatus qolsTiltCompensation_G729A_16s(const Qol16s* pSrcLPC,
                                         Qol16s* pSrcDstFltResidual) noexcept {
    if (anyNull(pSrcLPC, pSrcDstFltResidual)) {
        return qolStsNullPtrErr;
    }
    Qol16s h[kResponseA];
    impulseResponse(pSrcLPC, pSrcLPC + kCoeffs, h, kResponseA);
    Qol64s sum0 = 0, sum1 = 0;
    for (int i = 0; i < kResponseA; ++i) {
        sum0 += h[i] * h[i];
    }
    for (int i = 0; i + 1 < kResponseA; ++i) {
        sum1 += h[i] * h[i + 1];
    }
    const Qol32s r0 = saturate32(sum0), r1 = saturate32(sum1);
    if (r1 < 1) {
        pSrcDstFltResidual[-1] = pSrcDstFltResidual[kSubframe - 1];
        return qolStsNoErr;
    }
    const int high0 = r0 >> 15, high1 = (r1 >> 15) * 26214 >> 15; // 0.8 of r1
    const int gain = high0 < 1 ? 32767 : (high1 << 15) / high0;
    return qolsc::qolsPreemphasize_G729A_16s_I(static_cast<Qol16s>(gain), pSrcDstFltResidual,
                                               kSubframe, pSrcDstFltResidual - 1);
}

QolStatus qolsPreemphasize_G729A_16s_I(Qol16s val, Qol16s* pSrcDst, int len,
                                       Qol16s* pMem) noexcept {
    return qolsc::qolsPreemphasize_G729A_16s(val, pSrcDst, pSrcDst, len, pMem);
}

QolStatus qolsPreemphasize_G729A_16s(Qol16s val, const Qol16s* pSrc, Qol16s* pDst, int len,
                                     Qol16s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    preemphasize(val, pSrc, pDst, len, pMem);
    return qolStsNoErr;
}

} // namespace qolsc
