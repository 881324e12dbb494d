// SPDX-License-Identifier: Apache-2.0
// Voice activity detection of AMR, option 2: sixteen channels of a Fourier transform, twice a frame
// (3GPP TS 26.094 §4).
#include "common/common.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "qolsc/amr.h"
#include "tables/gsm_vad.h"

#include <algorithm>
#include <cstring>

namespace qolsc {
namespace amr {
namespace {

using namespace basop;
using namespace tables;

constexpr int kHalfFrame = 80;
constexpr int kTransform = 128;
constexpr int kOffset = kTransform - kHalfFrame - 24; // of the samples in the transform's input
constexpr int kChannels = 16;
constexpr int kHeadroom = 2;
constexpr Qol16s kPreemphasis = -26214; // -0.8, Q15
constexpr Qol32s kFirstNoise = 8192, kLeastNoise = 32;
constexpr int kNoiseFbits = 9;              // fractional bits of the noise estimate
constexpr Qol16s kMostMetric = 35;          // voice metric of a half frame that may be noise
constexpr Qol16s kMostDeviation = 28 * 256; // Q8 dB

static_assert(sizeof(QolsVad2State_GSMAMR) == 188);

/// What the steps of one half frame hand on.
struct HalfFrame {
    Qol32s total; ///< energy of all channels
    bool peaked;  ///< one channel has most of it: a tone
    Qol16s db[kChannels];
    Qol16s snr[kChannels]; ///< Q8 dB
    Qol16s metric;
    Qol16s xt; ///< instantaneous signal-to-noise ratio, Q8 dB
    Qol16s deviation;
};

/// x n / 2^15 as the standard's product of a split word, but wrapping.
Qol32s product(Qol32s x, Qol16s n) {
    const Dpf s = L_Extract(x);
    return wrapMul32(s.hi * n + ((s.lo * n) >> 15), 2);
}

/// 10 log10 of an energy with that many fractional bits, Q8.
Qol16s decibels(Qol32s energy, int fractionBits) {
    Qol16s exponent, fraction;
    ownLog2(energy, &exponent, &fraction);
    return wrap16(L_shr_r(((fraction * 24660) >> 15) * 2 + (exponent - fractionBits) * 49320, 6));
}

/// Noise is always held in the scale of state 0.
Qol32s inNoiseScale(Qol32s energy, Qol16s shiftState) {
    return shiftState == 1 ? L_shl(energy, 5) : energy;
}

Qol32s transform(const Qol16s* pSrc, QolsVad2State_GSMAMR& s, Qol16s* spectrum) {
    Qol16s scaled[kHalfFrame];
    Qol32s shift = kHeadroom;
    qolsc::qolsAutoScale_16s(pSrc, scaled, kHalfFrame, &shift);
    s.preEmpMem = shr(s.preEmpMem, s.lastNormbShift - shift); // without the standard's rounding
    s.lastNormbShift = static_cast<Qol16s>(shift);
    std::fill_n(spectrum, kTransform, Qol16s{0});
    qolsc::qolsPreemphasize_GSMAMR_16s(kPreemphasis, scaled, spectrum + kOffset, kHalfFrame,
                                       &s.preEmpMem);
    qolsc::qolsFFTFwd_RToPerm_GSMAMR_16s_I(spectrum);
    return shift;
}

void changeScale(QolsVad2State_GSMAMR& s, Qol32s shift) {
    const bool change = s.shiftState == 0 ? shift < 1 : shift >= 3;
    if (change) {
        s.shiftState = s.shiftState == 0 ? 1 : 0;
        for (Qol32s& energy : s.chEnrg) {
            energy = L_shr(energy, tableStateChangeShiftR[s.shiftState]);
        }
    }
}

void ownVad2ChEnergyEstimator_GSMAMR_16s(const Qol16s* pSrc, QolsVad2State_GSMAMR& s,
                                         HalfFrame& h) {
    alignas(32) Qol16s spectrum[kTransform];
    const Qol32s shift = transform(pSrc, s, spectrum);
    changeScale(s, shift);
    const bool first = s.frameCount == 1;
    const int down = 2 * shift - tableEnrgNormShift[s.shiftState];
    for (int i = 0; i < kChannels; ++i) {
        Qol32u sum = 0;
        for (int k = 2 * Table16Ch[i][0]; k <= 2 * Table16Ch[i][1] + 1; ++k) {
            sum += static_cast<Qol32u>(spectrum[k] * spectrum[k]);
        }
        const Qol32s energy = L_shr_r(static_cast<Qol32s>(2 * sum), down);
        const Qol16s rate = mult(TableDFTch[i], first ? MAX_16 : Qol16s{18022}),
                     memory = first ? Qol16s{0} : Qol16s{14746};
        s.chEnrg[i] = std::max(wrapAdd32(product(s.chEnrg[i], memory), product(energy, rate)),
                               Qol32s{tableMinChanEnrg[s.shiftState]});
    }
    h.total = 0;
    for (const Qol32s energy : s.chEnrg) {
        h.total = L_add(h.total, energy);
    }
    h.peaked = *std::max_element(s.chEnrg + 2, s.chEnrg + kChannels) > product(h.total, 20480);
    if (s.frameCount < 5) {
        for (int i = 0; i < kChannels; ++i) {
            s.chNoise[i] = h.peaked || s.chEnrg[i] < tableIneNoise[s.shiftState]
                               ? kFirstNoise
                               : inNoiseScale(s.chEnrg[i], s.shiftState);
        }
    }
}

void ownVad2SnrEstimatorAndSumVocieMetric_GSMAMR_16s(const QolsVad2State_GSMAMR& s, HalfFrame& h) {
    int sum = 0;
    for (int i = 0; i < kChannels; ++i) {
        h.db[i] = decibels(s.chEnrg[i], tableFbits[s.shiftState]);
        h.snr[i] = wrap16(h.db[i] - decibels(s.chNoise[i], kNoiseFbits));
        sum += TableVoiceMetric[std::clamp((((h.snr[i] * 21845) >> 15) + 32) >> 6, 0, 89)];
    }
    h.metric = static_cast<Qol16s>(sum);
}

/// b old + a new, a and b being 16-bit parts of 1.
Qol16s mix(Qol16s fresh, int a, Qol16s old, int b) {
    return wrap16((Qol64s{fresh} * a + Qol64s{old} * b + 0x8000) >> 16);
}

/// Signal-to-noise ratio of the half frame and its peak over time.
void ownVad2DecisionCalibrate_GSMAMR_16s(QolsVad2State_GSMAMR& s, HalfFrame& h) {
    if (s.frameCount <= 4 || s.fupdateFlag == 1) {
        s.negSNRvar = s.negSNRbias = 0;
        Qol32s noise = 0;
        for (const Qol32s channel : s.chNoise) {
            noise = L_add(noise, channel);
        }
        h.xt = s.tsnr = wrap16(14320 - decibels(noise, kNoiseFbits));
        return;
    }
    Qol32s sum = 0;
    for (const Qol16s snr : h.snr) {
        const Qol32s log = snr * 10885; // base 2, Q23
        sum = L_add(sum, ownPow2(static_cast<Qol16s>((log >> 23) + 3),
                                 static_cast<Qol16s>(log >> 8 & 0x7FFF)));
    }
    h.xt = decibels(sum, 7);
    if (h.xt > s.tsnr) {
        s.tsnr = mix(h.xt, 6554, s.tsnr, 58982);
    } else if (h.xt > (s.tsnr * 20480) >> 15) {
        s.tsnr = mix(h.xt, 132, s.tsnr, 65404);
    }
}

Qol16s decide(QolsVad2State_GSMAMR& s, const HalfFrame& h) {
    const int level = std::clamp<int>(static_cast<int>((Qol64s{s.tsnr} * 10923) >> 23), 0, 19);
    if (h.xt < 0) {
        const Qol16s square = round_fx(L_shl(h.xt * h.xt, 8));
        s.negSNRvar = std::min(mix(square, 656, s.negSNRvar, 64880), Qol16s{1024});
        const Qol16s bias = wrap16((Qol64s{s.negSNRvar} * 16 * 24576 - 65257472) >> 15);
        s.negSNRbias = bias < 0 ? Qol16s{0} : static_cast<Qol16s>(bias >> 8);
    }
    if (h.metric > TablePeakSNR[level] + s.negSNRbias) {
        s.burstCount = add(s.burstCount, 1);
        if (s.burstCount > TableBurstcount[level]) {
            s.hangover = TableHangover[level];
        }
        return 1;
    }
    s.burstCount = 0;
    s.hangover = std::max(sub(s.hangover, 1), Qol16s{0});
    return s.hangover != 0 ? 1 : 0;
}

/// Rate of the long-term spectrum: the lower the signal-to-noise ratio, the slower.
void longTermRates(const QolsVad2State_GSMAMR& s, Qol16s xt, Qol16s* pKeep, Qol16s* pTake) {
    const Qol16s below = wrap16(s.tsnr - xt);
    if (below < 1 || s.tsnr < 1) {
        *pKeep = 29491, *pTake = 3277;
    } else if (below > s.tsnr) {
        *pKeep = 22938, *pTake = 9830;
    } else {
        *pKeep = static_cast<Qol16s>(29491 - mult(div_s(below, s.tsnr), 6553));
        *pTake = static_cast<Qol16s>(MAX_16 - *pKeep);
    }
}

Qol16s ownVad2DetermineVADAndSpectrDeviation_GSMAMR_16s(QolsVad2State_GSMAMR& s, HalfFrame& h) {
    const Qol16s flag = decide(s, h);
    h.deviation = 0;
    Qol16s keep, take;
    longTermRates(s, h.xt, &keep, &take);
    for (int i = 0; i < kChannels; ++i) {
        if (s.frameCount == 1) {
            s.chEnrgLongDb[i] = h.db[i];
        } else {
            h.deviation = add(h.deviation, abs_s(sub(s.chEnrgLongDb[i], h.db[i])));
        }
        s.chEnrgLongDb[i] = mac_r(L_mult(keep, s.chEnrgLongDb[i]), take, h.db[i]);
    }
    return flag;
}

void ownVad2BackgroundNoiseUpdate_GSMAMR_16s(QolsVad2State_GSMAMR& s, const HalfFrame& h,
                                             bool periodic) {
    bool update = false;
    s.fupdateFlag = 0;
    if (h.metric <= kMostMetric) {
        if (s.burstCount == 0) {
            update = true;
            s.updateCnt = 0;
        }
    } else if (h.total > tableNoiseFloorChan[s.shiftState] && h.deviation < kMostDeviation &&
               !h.peaked && !periodic) {
        s.updateCnt = add(s.updateCnt, 1);
        if (s.updateCnt >= 50) {
            update = true;
            s.fupdateFlag = 1;
        }
    }
    s.hysterCnt = s.updateCnt == s.lastUpdateCnt ? add(s.hysterCnt, 1) : Qol16s{0};
    s.lastUpdateCnt = s.updateCnt;
    if (s.hysterCnt > 6) {
        s.updateCnt = 0;
    }
    if (update) {
        for (int i = 0; i < kChannels; ++i) {
            const Qol32s energy = inNoiseScale(s.chEnrg[i], s.shiftState);
            s.chNoise[i] = std::max(wrapAdd32(product(s.chNoise[i], 29491), product(energy, 3277)),
                                    kLeastNoise);
        }
    }
}

Qol16s halfFrame(const Qol16s* pSrc, QolsVad2State_GSMAMR& s, bool periodic) {
    HalfFrame h;
    s.frameCount = wrapAdd32(s.frameCount, 1);
    s.shiftState &= 1; // selects table rows
    ownVad2ChEnergyEstimator_GSMAMR_16s(pSrc, s, h);
    ownVad2SnrEstimatorAndSumVocieMetric_GSMAMR_16s(s, h);
    ownVad2DecisionCalibrate_GSMAMR_16s(s, h);
    const Qol16s flag = ownVad2DetermineVADAndSpectrDeviation_GSMAMR_16s(s, h);
    ownVad2BackgroundNoiseUpdate_GSMAMR_16s(s, h, periodic);
    return flag;
}

} // namespace
} // namespace amr

QolStatus qolsVAD2_GSMAMR_16s(const Qol16s* pSrc, QolsVad2State_GSMAMR* pState, Qol16s* pVadFlag,
                              Qol16s valLtpFlag) noexcept {
    if (anyNull(pSrc, pVadFlag) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    QolsVad2State_GSMAMR s; // a copy: the record may lie anywhere
    std::memcpy(&s, pState, sizeof s);
    const Qol16s first = amr::halfFrame(pSrc, s, valLtpFlag != 0);
    const Qol16s second = amr::halfFrame(pSrc + amr::kHalfFrame, s, valLtpFlag != 0);
    std::memcpy(pState, &s, sizeof s);
    *pVadFlag = static_cast<Qol16s>(first | second);
    return qolStsNoErr;
}

} // namespace qolsc
