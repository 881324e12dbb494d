// SPDX-License-Identifier: Apache-2.0
// Band-pass of the RTA decoder's output with automatic gain control: two first-order stages, then
// the level of the input restored by a smoothed gain.
#include "entry/checks.h"
#include "entry/entries.h"
#include "rta/rta.h"

#include <cmath>

namespace qolsc {

namespace {

constexpr Qol32s kMostSamples = 640;

/// y[i] = a x[i] + b x[i-1] in place; *pLast is x[-1] and ends holding the last input.
void firstOrder(Qol32f* x, Qol32s len, Qol32f a, Qol32f b, Qol32f* pLast) {
    const Qol32f last = x[len - 1];
    for (Qol32s i = len - 1; i > 0; --i) {
        x[i] = a * x[i] + b * x[i - 1];
    }
    x[0] = a * x[0] + b * *pLast;
    *pLast = last;
}

} // namespace

Qol64f sumOfMagnitudes(const Qol32f* pSrc, int len) {
    Qol64f sum = 0;
    for (int i = 0; i < len; ++i) {
        sum += std::fabs(pSrc[i]);
    }
    return sum;
}

Qol32f ownGainControl_MSRTA_32f(Qol64f before, Qol64f after) {
    return after > 0 ? static_cast<Qol32f>(before / after) : 0.0f;
}

void ownAGCFilter_RTA_32f_I(Qol32f* pSrcDst, int len, Qol32f step, Qol32f* pAgc) {
    Qol32f agc = *pAgc;
    for (int i = 0; i < len; ++i) {
        agc = 0.99f * agc + step;
        pSrcDst[i] *= agc;
    }
    *pAgc = agc;
}

QolStatus qolsBandPassFilter_RTA_32f_I(Qol32f* pSrcDst, Qol32s len, Qol32f* pMem) noexcept {
    if (anyNull(pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len > kMostSamples) {
        return qolStsSizeErr;
    }
    const Qol64f before = sumOfMagnitudes(pSrcDst, len);
    firstOrder(pSrcDst, len, 0.8f, -0.2f, &pMem[0]);
    firstOrder(pSrcDst, len, 1.3333334f, 0.33333334f, &pMem[1]);
    // 0.99 and 0.011 add up to 1.001 on purpose: a slight lift.
    const Qol32f g = ownGainControl_MSRTA_32f(before, sumOfMagnitudes(pSrcDst, len));
    ownAGCFilter_RTA_32f_I(pSrcDst, len, 0.011f * g, &pMem[2]);
    return qolStsNoErr;
}

} // namespace qolsc
