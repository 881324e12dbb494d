// SPDX-License-Identifier: Apache-2.0
// Open-loop pitch of G.729 Annex A in floating point (A.3.4, Annex C).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/pitch.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qolsc {

namespace {

constexpr int kFrame = 80;
constexpr int kHalfFrame = kFrame / 2;
constexpr int kHalfSpan = (kMaxLag + kFrame + 1) / 2;

struct Decimated {
    Qol32f even[kHalfSpan]; // the span of history and frame at even places
    Qol32f odd[kHalfSpan];  // and at odd ones, where the even samples of the frame lie
};

void ownRecordEvenOddVectors_32f(const Qol32f* span, Decimated& d) {
    for (int i = 0; i < kHalfSpan - 1; ++i) {
        d.even[i] = span[2 * i];
        d.odd[i] = span[2 * i + 1];
    }
    d.even[kHalfSpan - 1] = span[2 * kHalfSpan - 2];
    d.odd[kHalfSpan - 1] = 0;
}

const Qol32f* delayed(const Decimated& d, int lag) {
    return (lag & 1 ? d.even : d.odd) + (kMaxLag - lag) / 2;
}

/// Sum of products, eight running sums so that it can be vectorised.
Qol32f dot(const Qol32f* a, const Qol32f* b) {
    Qol32f s[8] = {};
    for (int i = 0; i < kHalfFrame; i += 8) {
        for (int j = 0; j < 8; ++j) {
            s[j] += a[i + j] * b[i + j];
        }
    }
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

struct Peak {
    Qol32f correlation;
    int lag;
};

void offer(const Decimated& d, int lag, Peak& peak) {
    const Qol32f c = dot(d.odd + kMaxLag / 2, delayed(d, lag));
    if (c > peak.correlation) {
        peak = {c, lag};
    }
}

Peak lagMax(const Decimated& d, int low, int high, int step) {
    Peak peak{std::numeric_limits<Qol32f>::lowest(), low};
    for (int lag = low; lag <= high; lag += step) {
        offer(d, lag, peak);
    }
    return peak;
}

bool nearMultiple(int multiple, int shorter, int longer, int distance) {
    return std::abs(multiple * shorter - longer) < distance;
}

} // namespace

QolStatus qolsOpenLoopPitchSearch_G729A_32f(const Qol32f* pSrc, Qol32s* pResultLag) noexcept {
    if (anyNull(pSrc, pResultLag)) {
        return qolStsNullPtrErr;
    }
    Decimated d;
    ownRecordEvenOddVectors_32f(pSrc - kMaxLag, d);
    Peak peak[3] = {lagMax(d, kMinLag, 39, 1), lagMax(d, 40, 79, 1), lagMax(d, 80, kMaxLag, 2)};
    const int middle = peak[2].lag;
    offer(d, middle + 1, peak[2]);
    offer(d, middle - 1, peak[2]);
    Qol32f m[3];
    for (int i = 0; i < 3; ++i) {
        const Qol32f* y = delayed(d, peak[i].lag);
        m[i] = peak[i].correlation / std::sqrt(dot(y, y) + 0.01F);
    }
    // The conditions exclude each other for lags of 20 and more.
    m[1] += 0.25F * m[2] *
            static_cast<Qol32f>(nearMultiple(2, peak[1].lag, peak[2].lag, 5) +
                                nearMultiple(3, peak[1].lag, peak[2].lag, 7));
    m[0] += 0.2F * m[1] *
            static_cast<Qol32f>(nearMultiple(2, peak[0].lag, peak[1].lag, 5) +
                                nearMultiple(3, peak[0].lag, peak[1].lag, 7));
    int best = 0;
    for (int i = 1; i < 3; ++i) {
        if (m[best] < m[i]) {
            best = i;
        }
    }
    *pResultLag = peak[best].lag;
    return qolStsNoErr;
}

QolStatus qolsDotProd_G729A_32f(const Qol32f* pSrc1, const Qol32f* pSrc2, int len,
                                Qol32f* pDp) noexcept {
    if (anyNull(pSrc1, pSrc2, pDp)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    Qol32f sum = 0;
    for (int i = 0; i < len; i += 2) {
        sum += pSrc1[i] * pSrc2[i];
    }
    *pDp = sum;
    return qolStsNoErr;
}

} // namespace qolsc
