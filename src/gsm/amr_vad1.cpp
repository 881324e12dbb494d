// SPDX-License-Identifier: Apache-2.0
// Voice activity detection of AMR, option 1: nine-band filter bank (3GPP TS 26.094 §3).
#include "common/vad_filterbank.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "qolsc/amr.h"

#include <algorithm>
#include <cstring>

namespace qolsc {
namespace amr {
namespace {

using namespace basop;

constexpr int kBands = 9;
constexpr int kFrame = 160;
constexpr int kAhead = 40; // samples by which the filter bank leads the power

constexpr VadBand kBandsOfTree[kBands] = {
    {0, 16, 8, 10, 16},  // 0 to 250 Hz
    {8, 16, 8, 10, 16},  // 500
    {12, 16, 8, 10, 16}, // 750
    {4, 16, 8, 10, 16},  // 1000
    {6, 8, 16, 20, 16},  // 1500
    {2, 8, 16, 20, 16},  // 2000
    {3, 8, 16, 20, 16},  // 2500
    {7, 8, 16, 20, 16},  // 3000
    {1, 4, 32, 40, 15},  // 4000
};

constexpr Qol32s kPitchPower = 343040; // below it no pitch is believed
constexpr Qol32s kSilentPower = 15000; // below it there is no speech
constexpr Qol16s kMostBackground = 16000;
constexpr Qol16s kNewest = 0x4000; // of a register of flags

// High-pass correlation, Q15.
constexpr Qol16s kCorrelationFloor = 13106;    // 0.4
constexpr Qol16s kCorrelationLow = 16384;      // 0.5
constexpr Qol16s kCorrelationHigh = 19660;     // 0.6
constexpr Qol16s kCorrelationHangover = 21298; // 0.65
constexpr Qol16s kCorrelationTimer = 22936;    // 0.7
constexpr Qol16s kLongHangover = 250, kTimerOfLong = 100;

/// Pairs of samples, quartered, to low and high half band.
void ownFirstFilterStage_GSMAMR(const Qol16s* pSrc, Qol16s* b, Qol16s* pMem) {
    for (int i = 0; i < kFrame; i += 2) {
        const Qol16s even = vadAllpass(static_cast<Qol16s>(pSrc[i] >> 2), kVadCoeff5First, pMem);
        const Qol16s odd =
            vadAllpass(static_cast<Qol16s>(pSrc[i + 1] >> 2), kVadCoeff5Second, pMem + 1);
        b[i] = add(even, odd);
        b[i + 1] = sub(even, odd);
    }
}

void ownVadFilterBank_GSMAMR_16s(const Qol16s* pSrc, QolsVad1State_GSMAMR& s, Qol16s* pLevel) {
    Qol16s b[kFrame];
    ownFirstFilterStage_GSMAMR(pSrc, b, s.aData5[0]);
    for (int i = 0; i < kFrame; i += 4) {
        vadFilter5(&b[i], &b[i + 2], s.aData5[1]);
        vadFilter5(&b[i + 1], &b[i + 3], s.aData5[2]);
    }
    for (int i = 0; i < kFrame; i += 8) {
        vadFilter3<true>(&b[i], &b[i + 4], &s.aData3[0]);
        vadFilter3<true>(&b[i + 2], &b[i + 6], &s.aData3[1]);
        vadFilter3<true>(&b[i + 3], &b[i + 7], &s.aData3[4]);
    }
    for (int i = 0; i < kFrame; i += 16) {
        vadFilter3<true>(&b[i], &b[i + 8], &s.aData3[2]);
        vadFilter3<true>(&b[i + 4], &b[i + 12], &s.aData3[3]);
    }
    vadSignalLevels(b, kBandsOfTree, kBands, s.subLevel, pLevel);
}

/// Follows the correlation of signals that the levels don't tell from noise, as music.
void estimateComplex(QolsVad1State_GSMAMR& s, bool silent, Qol16s best) {
    const Qol16s c = s.corrHpFast;
    const Qol16s rate = c < kCorrelationHigh ? 2621 : best < c ? 6553 : 655;
    const Qol16s moved = round_fx(L_mac(L_msu(L_deposit_h(c), rate, c), rate, best));
    s.corrHpFast = silent ? kCorrelationFloor : std::max(moved, kCorrelationFloor);

    s.complexHigh >>= 1;
    s.complexLow >>= 1;
    if (!silent && s.corrHpFast > kCorrelationHigh) {
        s.complexHigh |= kNewest;
    }
    if (!silent && s.corrHpFast >= kCorrelationLow) {
        s.complexLow |= kNewest;
    }
    s.complexHangTimer = s.corrHpFast > kCorrelationTimer ? add(s.complexHangTimer, 1) : Qol16s{0};
    s.complexWarning =
        (s.complexHigh & 0x7F80) == 0x7F80 || (s.complexLow & 0x7FFF) == 0x7FFF ? 1 : 0;
}

Qol16s withHangover(QolsVad1State_GSMAMR& s, bool silent, Qol16s noiseLevel) {
    if (silent) {
        s.burstCount = s.hangCount = s.complexHangCount = s.complexHangTimer = 0;
        return 0;
    }
    if (s.complexHangTimer > kTimerOfLong) {
        s.complexHangCount = std::max(s.complexHangCount, kLongHangover);
    }
    if (s.complexHangCount != 0) {
        s.burstCount = 4;
        s.complexHangCount = sub(s.complexHangCount, 1);
        return 1;
    }
    if ((s.vadReg & 0x3FF0) == 0 && s.corrHpFast > kCorrelationHangover) {
        return 1;
    }
    const bool quiet = noiseLevel <= 100;
    if ((s.vadReg & kNewest) != 0) {
        s.burstCount = add(s.burstCount, 1);
        if (s.burstCount >= (quiet ? 5 : 4)) {
            s.hangCount = quiet ? 4 : 7;
        }
        return 1;
    }
    s.burstCount = 0;
    if (s.hangCount > 0) {
        --s.hangCount;
        return 1;
    }
    return 0;
}

Qol16s ownVadDecision_GSMAMR_16s(const Qol16s* pLevel, QolsVad1State_GSMAMR& s, bool silent,
                                 Qol16s best, Qol16s toneFlag) {
    const Qol32s total = vadSnrSum(pLevel, s.bckrEst, kBands, 5);
    const Qol16s snrSum = mult(extract_h(L_shl(total, 6)), 3641); // mean of the nine
    Qol32s sum = 0;
    for (const Qol16s estimate : s.bckrEst) {
        sum += estimate;
    }
    const Qol16s noiseLevel = wrap16(sum >> 3);
    const int threshold = std::max(((noiseLevel * -2808) >> 15) + 1260, 720);
    s.vadReg >>= 1;
    if (snrSum > threshold) {
        s.vadReg |= kNewest;
    }
    estimateComplex(s, silent, best);
    ownNoiseEstimateUpdate(pLevel, kBands, kMostBackground,
                           {s.vadReg, toneFlag, s.pitchReg, s.complexWarning, s.complexHangCount},
                           {s.bckrEst, s.aveLevel, s.oldLevel, &s.statCount});
    return withHangover(s, silent, noiseLevel);
}

} // namespace
} // namespace amr

QolStatus qolsVAD1_GSMAMR_16s(const Qol16s* pSrc, QolsVad1State_GSMAMR* pState, Qol16s* pVadFlag,
                              Qol16s valBestCorrHp, Qol16s valToneFlag) noexcept {
    static_assert(sizeof(QolsVad1State_GSMAMR) == 116);
    if (anyNull(pSrc, pVadFlag) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    QolsVad1State_GSMAMR s; // a copy: the record may lie anywhere
    std::memcpy(&s, pState, sizeof s);
    Qol64s energy = 0;
    for (int i = 0; i < amr::kFrame; ++i) {
        energy += pSrc[i] * pSrc[i];
    }
    const Qol32s power = saturate32(2 * energy);
    const bool silent = power < amr::kSilentPower;
    if (power < amr::kPitchPower) {
        s.pitchReg &= 0x3FFF;
    }
    if (silent) {
        s.complexLow &= 0x3FFF;
    }
    Qol16s level[amr::kBands];
    amr::ownVadFilterBank_GSMAMR_16s(pSrc + amr::kAhead, s, level);
    *pVadFlag = amr::ownVadDecision_GSMAMR_16s(level, s, silent, valBestCorrHp, valToneFlag);
    std::memcpy(pState, &s, sizeof s);
    return qolStsNoErr;
}

} // namespace qolsc
