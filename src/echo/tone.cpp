// SPDX-License-Identifier: Apache-2.0
// Detector of the 2100 Hz tone with phase reversals every 450 ms that disables echo cancellers
// (ITU-T G.164, G.165, G.168 §7): a reversal shows as a short collapse of a resonator's output.
#include "echo/controller.h"
#include "echo/echo.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/echo.h"

namespace qolsc::echo {

/// Reversals are counted between stretches of tone of the right length; all in samples.
struct ReversalCount {
    Qol32s run;            // since the tone began or the last reversal
    Qol32s minRun, maxRun; // both exclusive
    Qol32s gap;            // of the present dip
    Qol32s maxGap;
    Qol32s reversals;
};

} // namespace qolsc::echo

struct QolsToneDetectState_EC_32f {
    const Qol32f* pCoeffs;
    Qol32f outPower, inPower; // smoothed
    Qol32f x1, x2, y1, y2;
    Qol32f lambda;
    qolsc::echo::ReversalCount count;
};

struct QolsToneDetectState_EC_16s {
    const Qol16s* pCoeffs; // Q12
    Qol32s outPower, inPower;
    Qol16s x1, x2, y1, y2;
    qolsc::echo::ReversalCount count;
    Qol16s lambda; // Q14
};

namespace qolsc {

namespace {

using namespace echo;
using State32f = QolsToneDetectState_EC_32f;
using State16s = QolsToneDetectState_EC_16s;

static_assert(sizeof(State32f) == 64 && sizeof(State16s) == 56);
constexpr Qol32s kSlack = 16; // records begin at a multiple of 16 inside the caller's memory

QolStatus checkRate(const void* p, Qol32s sampleFreq) {
    return anyNull(p) ? qolStsNullPtrErr : !isSampleFreq(sampleFreq) ? qolStsRangeErr : qolStsNoErr;
}

void tone(ReversalCount& c) {
    ++c.run;
    c.gap = 0;
}
/// A sample of a dip; true when it is the second reversal or a further one.
bool dip(ReversalCount& c, bool deep) {
    bool found = false;
    if (deep && c.run > c.minRun && c.run < c.maxRun) {
        found = ++c.reversals >= 2;
        c.run = 0;
    }
    if (++c.gap > c.maxGap) {
        c.run = c.gap = c.reversals = 0;
    }
    return found;
}

} // namespace

QolStatus qolsToneDetectGetStateSize_EC_32f(Qol32s sampleFreq, Qol32s* pSize) noexcept {
    return giveSize(checkRate(pSize, sampleFreq), sizeof(State32f) + kSlack, pSize);
}

QolStatus qolsToneDetectGetStateSize_EC_16s(Qol32s sampleFreq, Qol32s* pSize) noexcept {
    return giveSize(checkRate(pSize, sampleFreq), sizeof(State16s) + kSlack, pSize);
}

QolStatus qolsToneDetectInit_EC_32f(QolsToneDetectState_EC_32f* pState,
                                    Qol32s sampleFreq) noexcept {
    const QolStatus status = checkRate(pState, sampleFreq);
    if (status != qolStsNoErr) {
        return status;
    }
    State32f& s = *alignUp<16>(pState);
    const bool narrow = sampleFreq == 8000;
    s = {};
    s.pCoeffs = narrow ? tables::td_iir_coeffs_8_32f : tables::td_iir_coeffs_16_32f;
    s.lambda = narrow ? 0.96f : 0.92f;
    s.count.minRun = static_cast<Qol32s>(sampleFreq * 0.413);
    s.count.maxRun = static_cast<Qol32s>(sampleFreq * 0.466);
    s.count.maxGap = static_cast<Qol32s>(sampleFreq * 0.02);
    return qolStsNoErr;
}

QolStatus qolsToneDetectInit_EC_16s(QolsToneDetectState_EC_16s* pState,
                                    Qol32s sampleFreq) noexcept {
    const QolStatus status = checkRate(pState, sampleFreq);
    if (status != qolStsNoErr) {
        return status;
    }
    State16s& s = *alignUp<16>(pState);
    const bool narrow = sampleFreq == 8000;
    s = {};
    s.pCoeffs = narrow ? tables::td_iir_coeffs_8_16s : tables::td_iir_coeffs_16_16s;
    s.lambda = narrow ? 15728 : 15073;
    s.count.minRun = sampleFreq * 413 / 1000;
    s.count.maxRun = sampleFreq * 466 / 1000;
    s.count.maxGap = sampleFreq * 2 / 100;
    return qolStsNoErr;
}

QolStatus qolsToneDetect_EC_32f(const Qol32f* pSrc, Qol32s len, Qol32s* pResult,
                                QolsToneDetectState_EC_32f* pState) noexcept {
    if (anyNull(pSrc) || anyNull(pResult) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    State32f& s = *alignUp<16>(pState);
    const Qol32f c0 = s.pCoeffs[0], c1 = s.pCoeffs[1], c2 = s.pCoeffs[2], c3 = s.pCoeffs[3];
    const Qol32f lambda = s.lambda, rest = 1.0f - lambda;
    Qol32f x1 = s.x1, x2 = s.x2, y1 = s.y1, y2 = s.y2, in = s.inPower, out = s.outPower;
    ReversalCount c = s.count;
    bool found = false;
    for (Qol32s n = 0; n < len; ++n) {
        const Qol32f x = pSrc[n], y = c0 * x + c1 * x2 - c2 * y1 - c3 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        in = lambda * in + rest * (x * x);
        out = lambda * out + rest * (y * y);
        if (out > 0.8f * in && out < 10000.0f * in) {
            tone(c);
        } else if (out > 0.0008f * in && out < in) {
            found |= dip(c, out < 0.48f * in);
        } else { // outside of both windows; the reversals stay
            c.run = c.gap = 0;
        }
    }
    s.x1 = x1;
    s.x2 = x2;
    s.y1 = y1;
    s.y2 = y2;
    s.inPower = in;
    s.outPower = out;
    s.count = c;
    *pResult = found;
    return qolStsNoErr;
}

QolStatus qolsToneDetect_EC_16s(const Qol16s* pSrc, Qol32s len, Qol32s* pResult,
                                QolsToneDetectState_EC_16s* pState) noexcept {
    if (anyNull(pSrc) || anyNull(pResult) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    State16s& s = *alignUp<16>(pState);
    const Qol32s c0 = s.pCoeffs[0], c1 = s.pCoeffs[1], c2 = s.pCoeffs[2], c3 = s.pCoeffs[3];
    const Qol32u lambda = static_cast<Qol32u>(s.lambda), rest = 16384 - lambda;
    Qol16s x1 = s.x1, x2 = s.x2, y1 = s.y1, y2 = s.y2;
    // Powers are at most 2^30 and so are their smoothed values.
    Qol32u in = static_cast<Qol32u>(s.inPower), out = static_cast<Qol32u>(s.outPower);
    const auto follow = [=](Qol32u old, Qol16s v) {
        return static_cast<Qol32u>(
            (Qol64u{static_cast<Qol32u>(Qol32s{v} * v)} * rest + Qol64u{old} * lambda) >> 14);
    };
    ReversalCount c = s.count;
    bool found = false;
    for (Qol32s n = 0; n < len; ++n) {
        const Qol16s x = pSrc[n],
                     y = saturate16((c0 * x + c1 * x2 - c2 * y1 - c3 * y2 + 2048) >> 12);
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        in = follow(in, x);
        out = follow(out, y);
        if (out > Qol64u{in} * 13107 >> 14) {
            tone(c);
        } else {
            found |= dip(c, out < Qol64u{in} * 7864 >> 14);
        }
    }
    s.x1 = x1;
    s.x2 = x2;
    s.y1 = y1;
    s.y2 = y2;
    s.inPower = static_cast<Qol32s>(in);
    s.outPower = static_cast<Qol32s>(out);
    s.count = c;
    *pResult = found;
    return qolStsNoErr;
}

} // namespace qolsc
