// SPDX-License-Identifier: Apache-2.0
// Open-loop pitch search of AMR in three forms: without DTX, and with what the activity detectors
// of option 1 and 2 read. 3GPP TS 26.090 §5.3, TS 26.094 §3.3.
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_pitch.h"
#include "numeric/helpers.h"
#include "tables/gsm_pitch.h"

#include <algorithm>

namespace qolsc {

namespace amr {

using namespace basop;

namespace {

constexpr int kFrame = 160;
constexpr Qol16s kVoicedGain = 9830; // 0.3 in Q15

/// What a form has beside the lags.
enum class Detector { none, option1, option2 };

/// In and out of the searches of one frame.
struct OpenLoop {
    Qol16s *pVoicedLag, *pVoicedGain, *pLagHist, *pOpenLoopLag, *pGainFlag;
    Qol16s *pToneFlag, *pMaxHpCorr; ///< option 1
    Qol32s *pLtpCorr, *pLtpEnergy;  ///< option 2
};

/// Signal of one search, scaled, and its correlations, doubled and saturated as in the standard.
struct Scaled {
    Qol16s buffer[kMaxLag + kFrame];
    Qol32s corr[kMaxLag + 1]; ///< by lag
    const Qol16s* x;          ///< first sample of the search
    int len;
    int shift;  ///< right shift of the scaling
    bool exact; ///< no sum of products over the buffer can saturate
};

Qol32s dotSaturating(const Qol16s* a, const Qol16s* b, int len) {
    Qol32s s = 0;
    for (int i = 0; i < len; ++i) {
        s = L_mac(s, a[i], b[i]);
    }
    return s;
}

// Doubled correlation of the search's samples with those of a lag before.
Qol32s doubled(const Scaled& s, const Qol16s* a, const Qol16s* b) {
    return s.exact ? 2 * dotWrap(a, b, s.len) : dotSaturating(a, b, s.len);
}

// wsp: first sample of the search, kMaxLag samples of history in front.
void scaleSignal(const Qol16s* wsp, int len, Scaled& s) {
    const Qol16s* from = wsp - kMaxLag;
    const int count = kMaxLag + len;
    const Qol64s energy = energyExact(from, count);
    s.len = len;
    s.x = s.buffer + kMaxLag;
    s.shift = energy >= 0x3FFFFFFF ? 3 : energy < 0x80000 ? -3 : 0;
    // Below 2^19 no sample reaches 2^12, so the left shift doesn't saturate.
    for (int i = 0; i < count; ++i) {
        s.buffer[i] = static_cast<Qol16s>(s.shift > 0   ? from[i] >> 3
                                          : s.shift < 0 ? from[i] * 8
                                                        : from[i]);
    }
    s.exact = s.shift <= 0 || energyExact(s.buffer, count) < (1 << 30);
}

void correlateLags(Scaled& s, int minLag) {
    if (!s.exact) {
        for (int t = minLag; t <= kMaxLag; ++t) {
            s.corr[t] = dotSaturating(s.x, s.x - t, s.len);
        }
        return;
    }
    Qol32s sums[kMaxLag + 1];
    corrLags(s.x, s.x - kMaxLag, s.len, sums, kMaxLag - minLag + 1);
    for (int t = minLag; t <= kMaxLag; ++t) {
        s.corr[t] = 2 * sums[kMaxLag - t];
    }
}

// High-pass correlation for the detector's complex-signal test (TS 26.094 §3.3.5).
Qol16s ownHpMax(const Scaled& s, int minLag) {
    Qol32s most = MIN_32;
    for (int t = kMaxLag - 1; t > minLag; --t) {
        const Qol32s d = L_abs(L_sub(L_sub(L_shl(s.corr[t], 1), s.corr[t + 1]), s.corr[t - 1]));
        most = std::max(most, d);
    }
    const Qol32s e0 = doubled(s, s.x, s.x), e1 = doubled(s, s.x, s.x - 1);
    const Qol32s f = L_abs(L_sub(L_shl(e0, 1), L_shl(e1, 1)));
    const int s1 = norm_l(most) - 1, s2 = norm_l(f);
    const Qol16s num = extract_h(L_shl(most, s1)), den = extract_h(L_shl(f, s2));
    return shr(den ? div_s(num, den) : Qol16s{0}, s1 - s2);
}

/// The best lag of a section.
struct Peak {
    int lag;
    Qol16s value; ///< normalised correlation
    Qol32s corr, energy;
};

// Bit 14 of the tone register: the gain of the prediction exceeds 0.65.
void testTone(Qol32s corr, Qol32s energy, Qol16s* pToneFlag) {
    const Qol16s u = round_fx(energy);
    if (u > 0 && L_msu(corr, u, 21298) > 0) {
        *pToneFlag = static_cast<Qol16s>(*pToneFlag | 0x4000);
    }
}

Qol16s normalised(Qol32s corr, Qol32s energy, int shift, Qol32s rate) {
    Qol32s root = energy;
    qolsc::qolsInvSqrt_32s_I(&root, 1);
    if (rate != kRate122) {
        return extract_l(Mpy_32(L_Extract(corr), L_Extract(root)));
    }
    const Qol32s v = Mpy_32(L_Extract(corr), L_Extract(L_shl(root, 1)));
    return extract_h(L_shl(L_shr(v, shift), 15));
}

// Of equal correlations the smallest lag stands.
Peak findPeak(const Scaled& s, int low, int high, Qol32s rate, Qol16s* pToneFlag) {
    Peak p{low, 0, s.corr[low], 0};
    for (int t = low + 1; t <= high; ++t) {
        if (s.corr[t] > p.corr) {
            p.corr = s.corr[t];
            p.lag = t;
        }
    }
    const Qol16s* delayed = s.x - p.lag;
    p.energy = doubled(s, delayed, delayed);
    if (pToneFlag) {
        testTone(p.corr, p.energy, pToneFlag);
    }
    p.value = normalised(p.corr, p.energy, s.shift, rate);
    return p;
}

// A section of smaller lags wins from 0.85 of the value on.
const Peak& favourSmall(const Peak& large, const Peak& small) {
    return mult(large.value, 27853) < small.value ? small : large;
}

template <Detector D>
void ownPitchOL(const Qol16s* wsp, int len, int minLag, int idx, bool last, const OpenLoop& o,
                Qol32s rate) {
    Scaled s;
    scaleSignal(wsp, len, s);
    correlateLags(s, minLag);
    Qol16s* tone = D == Detector::option1 ? o.pToneFlag : nullptr;
    const Peak large = findPeak(s, 4 * minLag, kMaxLag, rate, tone);
    const Peak middle = findPeak(s, 2 * minLag, 4 * minLag - 1, rate, tone);
    const Peak small = findPeak(s, minLag, 2 * minLag - 1, rate, tone);
    const Peak& best = favourSmall(favourSmall(large, middle), small);
    o.pOpenLoopLag[idx] = static_cast<Qol16s>(best.lag);
    if constexpr (D == Detector::option1) {
        if (last) {
            *o.pMaxHpCorr = ownHpMax(s, minLag);
        }
    }
    if constexpr (D == Detector::option2) {
        o.pLtpCorr[idx] = best.corr;
        o.pLtpEnergy[idx] = best.energy;
    }
}

// Median of the lags by repeated removal of the maximum.
Qol16s ownGmed_n(const Qol16s* lags, int n) {
    Qol16s rest[5];
    std::copy_n(lags, n, rest);
    int removed = 0;
    for (int i = 0; i <= n / 2; ++i) {
        Qol16s most = -32767;
        for (int j = 0; j < n; ++j) {
            if (rest[j] >= most) {
                most = rest[j];
                removed = j;
            }
        }
        rest[removed] = MIN_16;
    }
    return lags[removed];
}

// Lag of the largest weighted correlation: small lags are favoured, and while the speech is voiced
// those near the last lag; of equals the smaller lag stands (TS 26.090 §5.3.3).
int ownLagMax_GSMAMR(const Scaled& s, int minLag, bool voiced, int lastLag) {
    using tables::corrweight;
    // Held inside the table, which is centred on index 123.
    const int centre = std::clamp(lastLag, 16, kMaxLag);
    Qol32s most = MIN_32;
    int best = kMaxLag;
    for (int t = kMaxLag; t >= minLag; --t) {
        Qol32s v = Mpy_32_16(L_Extract(s.corr[t]), corrweight[t + 107]);
        if (voiced) {
            v = Mpy_32_16(L_Extract(v), corrweight[123 + t - centre]);
        }
        if (v >= most) {
            most = v;
            best = t;
        }
    }
    return best;
}

template <Detector D>
void ownPitchOLWgh(const Qol16s* wsp, int len, int minLag, int idx, bool last, const OpenLoop& o) {
    Scaled s;
    scaleSignal(wsp, len, s);
    correlateLags(s, minLag);
    const int lag = ownLagMax_GSMAMR(s, minLag, *o.pVoicedGain >= kVoicedGain, *o.pVoicedLag);
    const Qol16s* delayed = s.x - lag;
    const Qol32s corr = s.corr[lag], energy = doubled(s, delayed, delayed);
    if constexpr (D == Detector::option1) {
        testTone(corr, energy, o.pToneFlag);
        if (last) {
            *o.pMaxHpCorr = ownHpMax(s, minLag);
        }
    }
    if constexpr (D == Detector::option2) {
        o.pLtpCorr[idx] = corr;
        o.pLtpEnergy[idx] = energy;
    }
    o.pOpenLoopLag[idx] = static_cast<Qol16s>(lag);
    o.pGainFlag[idx] = round_fx(L_msu(corr, round_fx(energy), 13107)); // 0.4
    if (o.pGainFlag[idx] > 0) {
        std::copy_backward(o.pLagHist, o.pLagHist + 4, o.pLagHist + 5);
        o.pLagHist[0] = static_cast<Qol16s>(lag);
        *o.pVoicedLag = ownGmed_n(o.pLagHist, 5);
        *o.pVoicedGain = MAX_16;
    } else {
        *o.pVoicedLag = static_cast<Qol16s>(lag);
        *o.pVoicedGain = mult(*o.pVoicedGain, 29491); // 0.9
    }
}

// Weighted speech of the four subframes behind its history.
void weightSpeech(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2, const Qol16s* pSrcSpeech,
                  Qol16s* wsp) {
    for (int n = 0; n < kFrame; n += kSubframe) {
        qolsc::qolsResidualFilter_G729_16s(pSrcSpeech + n, pWgtLpc1, wsp + n);
        qolsc::qolsSynthesisFilterLow_NR_16s_ISfs(pWgtLpc2, wsp + n, kSubframe, 12,
                                                  wsp + n - kOrder);
        pWgtLpc1 += kOrder + 1;
        pWgtLpc2 += kOrder + 1;
    }
}

template <Detector D>
void searchFrame(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2, const Qol16s* pSrcSpeech,
                 Qol16s* pPrevWsp, const OpenLoop& o, Qol32s rate) {
    Qol16s buffer[kMaxLag + kFrame];
    std::copy_n(pPrevWsp, kMaxLag, buffer);
    weightSpeech(pWgtLpc1, pWgtLpc2, pSrcSpeech, buffer + kMaxLag);
    const bool once = rate == kRate475 || rate == kRate515;
    const int searches = once ? 1 : 2, len = kFrame / searches;
    const int minLag = rate > kRate795 && rate != kRate102 ? 18 : 20;
    o.pGainFlag[0] = o.pGainFlag[1] = 0;
    if constexpr (D == Detector::option2) {
        o.pLtpCorr[1] = o.pLtpEnergy[1] = 0;
    }
    for (int idx = 0; idx < searches; ++idx) {
        if constexpr (D == Detector::option1) {
            // One bit a half frame.
            *o.pToneFlag = static_cast<Qol16s>(*o.pToneFlag >> 1);
            if (once) {
                *o.pToneFlag = static_cast<Qol16s>((*o.pToneFlag >> 1) | 0x2000);
            }
        }
        const Qol16s* wsp = buffer + kMaxLag + idx * len;
        const bool last = idx == searches - 1;
        if (rate == kRate102) {
            ownPitchOLWgh<D>(wsp, len, minLag, idx, last, o);
        } else {
            ownPitchOL<D>(wsp, len, minLag, idx, last, o, rate);
        }
    }
    if (once) {
        o.pOpenLoopLag[1] = o.pOpenLoopLag[0];
    }
    std::copy_n(buffer + kFrame, kMaxLag, pPrevWsp);
}

} // namespace

} // namespace amr

QolStatus qolsOpenLoopPitchSearchNonDTX_GSMAMR_16s(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2,
                                                   const Qol16s* pSrcSpeech, Qol16s* pVoicedLag,
                                                   Qol16s* pVoicedGain, Qol16s* pLagHist,
                                                   Qol16s* pPrevWsp, Qol16s* pOpenLoopLag,
                                                   Qol16s* pGainFlag, Qol32s valRate) noexcept {
    if (anyNull(pWgtLpc1, pWgtLpc2, pSrcSpeech, pVoicedLag, pVoicedGain, pLagHist, pPrevWsp,
                pOpenLoopLag, pGainFlag)) {
        return qolStsNullPtrErr;
    }
    if (!amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    const amr::OpenLoop o = {pVoicedLag, pVoicedGain, pLagHist, pOpenLoopLag, pGainFlag,
                             nullptr,    nullptr,     nullptr,  nullptr};
    amr::searchFrame<amr::Detector::none>(pWgtLpc1, pWgtLpc2, pSrcSpeech, pPrevWsp, o, valRate);
    return qolStsNoErr;
}

QolStatus qolsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2,
                                                    const Qol16s* pSrcSpeech, Qol16s* pToneFlag,
                                                    Qol16s* pVoicedLag, Qol16s* pVoicedGain,
                                                    Qol16s* pLagHist, Qol16s* pPrevWsp,
                                                    Qol16s* pMaxHpCorr, Qol16s* pOpenLoopLag,
                                                    Qol16s* pGainFlag, Qol32s valRate) noexcept {
    if (anyNull(pWgtLpc1, pWgtLpc2, pSrcSpeech, pToneFlag, pVoicedLag, pVoicedGain, pLagHist,
                pPrevWsp, pMaxHpCorr, pOpenLoopLag, pGainFlag)) {
        return qolStsNullPtrErr;
    }
    if (!amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    const amr::OpenLoop o = {pVoicedLag, pVoicedGain, pLagHist, pOpenLoopLag, pGainFlag,
                             pToneFlag,  pMaxHpCorr,  nullptr,  nullptr};
    amr::searchFrame<amr::Detector::option1>(pWgtLpc1, pWgtLpc2, pSrcSpeech, pPrevWsp, o, valRate);
    return qolStsNoErr;
}

QolStatus qolsOpenLoopPitchSearchDTXVAD2_GSMAMR_16s32s(
    const Qol16s* pWgtLpc1, const Qol16s* pWgtLpc2, const Qol16s* pSrcSpeech, Qol16s* pVoicedLag,
    Qol16s* pVoicedGain, Qol16s* pLagHist, Qol16s* pPrevWsp, Qol32s* pLtpCorr, Qol32s* pLtpEnergy,
    Qol16s* pOpenLoopLag, Qol16s* pGainFlag, Qol32s valRate) noexcept {
    if (anyNull(pWgtLpc1, pWgtLpc2, pSrcSpeech, pVoicedLag, pVoicedGain, pLagHist, pPrevWsp,
                pLtpCorr, pLtpEnergy, pOpenLoopLag, pGainFlag)) {
        return qolStsNullPtrErr;
    }
    if (!amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    const amr::OpenLoop o = {pVoicedLag, pVoicedGain, pLagHist, pOpenLoopLag, pGainFlag,
                             nullptr,    nullptr,     pLtpCorr, pLtpEnergy};
    amr::searchFrame<amr::Detector::option2>(pWgtLpc1, pWgtLpc2, pSrcSpeech, pPrevWsp, o, valRate);
    return qolStsNoErr;
}

} // namespace qolsc
