// SPDX-License-Identifier: Apache-2.0
// Adaptive post-filter of the G.729 main body (§4.2) and of Annex E.
#include "codecs/g729/postfilter.h"

#include "numeric/basop.h"
#include "qolsc/common.h"
#include "qolsc/g729.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

using namespace basop;

constexpr int kResponse = 20, kResponseE = 32;

/// Tail of all forms: tilt with the last output of the subframe before in front, gain control.
template <typename Tilt>
void finish(PostFilter& post, const Qol16s* speech, Qol16s* out, Tilt tilt) {
    Qol16s shifted[1 + kSubframe];
    std::copy_n(post.output + kMaxOrder - 1, 1 + kSubframe, shifted);
    std::copy_n(post.output + kSubframe, kMaxOrder, post.output);
    tilt(shifted);
    qolsGainControl_G729_16s_I(speech, out, &post.gain);
}

/// First reflection coefficient of an impulse response, Q15.
Qol16s reflectionOf(const Qol16s* h, int len) {
    Qol32s r0 = 0, r1 = 0;
    for (int i = 0; i < len; ++i) {
        r0 = L_mac(r0, h[i], h[i]);
        r1 = i + 1 < len ? L_mac(r1, h[i], h[i + 1]) : r1;
    }
    const int n = norm_l(r0);
    const Qol16s high0 = extract_h(L_shl(r0, n)), high1 = extract_h(L_shl(r1, n));
    if (high0 < abs_s(high1)) {
        return 0;
    }
    const Qol16s k = div_s(abs_s(high1), high0);
    return high1 > 0 ? negate(k) : k;
}

/// Scales the input so that the response's sum of magnitudes is at most 1 (§4.2.2).
void scaleByResponse(const Qol16s* h, int len, Qol16s* x) {
    Qol32s sum = 0;
    for (int i = 0; i < len; ++i) {
        sum += abs_s(h[i]);
    }
    sum >>= 2;
    if (sum > 1024) {
        qolsMulC_NR_16s_ISfs(static_cast<Qol16s>(0x2000000 / sum), x, kSubframe, 15);
    }
}

} // namespace

bool postFilter(PostFilter& post, const Qol16s* lpc, int lag, bool active, const Qol16s* speech,
                Qol16s* out) {
    Qol16s filtered[kSubframe], voice = 0;
    qolsLongTermPostFilter_G729B_16s(static_cast<Qol16s>(lag), speech, lpc, post.residual, filtered,
                                     &voice, active ? 1 : 0);
    std::copy_n(post.residual + kSubframe, kPastExcitation, post.residual);
    Qol16s response[kResponse];
    qolsShortTermPostFilter_G729_16s(lpc, filtered, post.output + kMaxOrder, response);
    finish(post, speech, out, [&](Qol16s* shifted) {
        qolsTiltCompensation_G729_16s(response, shifted + 1);
        std::copy_n(shifted + 1, kSubframe, out);
    });
    return voice != 0;
}

bool postFilterE(PostFilter& post, const Qol16s* lpc, int order, int lag, const Qol16s* speech,
                 Qol16s* out) {
    Qol16s numerator[kResponseE] = {}, denominator[kMaxOrder + 1];
    qolsMulPowerC_NR_16s_Sfs(lpc, post.numerator, numerator, order + 1, 15);
    qolsMulPowerC_NR_16s_Sfs(lpc, post.denominator, denominator, order + 1, 15);

    Qol16s* residual = post.residual + kPastExcitation;
    qolsResidualFilter_G729E_16s(numerator, order, speech, residual, kSubframe);
    Qol16s filtered[kSubframe], delay = 0;
    qolsLongTermPostFilter_G729_16s(post.harmonic, lag, residual, filtered, &delay);
    std::copy_n(post.residual + kSubframe, kPastExcitation, post.residual);

    constexpr Qol16s kNoPast[kMaxOrder] = {};
    Qol16s response[kResponseE];
    qolsSynthesisFilter_G729E_16s(denominator, order, numerator, response, kResponseE, kNoPast);
    scaleByResponse(response, kResponseE, filtered);
    Qol16s* output = post.output + kMaxOrder;
    qolsSynthesisFilter_G729E_16s(denominator, order, filtered, output, kSubframe, output - order);
    finish(post, speech, out, [&](const Qol16s* shifted) {
        qolsTiltCompensation_G729E_16s(reflectionOf(response, kResponseE), shifted, out);
    });
    return delay != 0;
}

void adaptFactors(PostFilter& post, bool highRate, bool backwardDominant) {
    constexpr int kSteps[3] = {1147, 1065, 410}, kMost[3] = {22938, 21300, 8192};
    constexpr Qol16s kFixed[3] = {22938, 18022, 16384};
    Qol16s* const factors[3] = {&post.denominator, &post.numerator, &post.harmonic};
    for (int i = 0; i < 3; ++i) {
        const int step = backwardDominant ? -kSteps[i] : kSteps[i];
        *factors[i] =
            static_cast<Qol16s>(highRate ? std::clamp(*factors[i] + step, 0, kMost[i]) : kFixed[i]);
    }
}

} // namespace qolsc::tools::g729
