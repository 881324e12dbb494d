// SPDX-License-Identifier: Apache-2.0
// Voice activity detector of AMR-WB (TS 26.194 3).
#include "amrwb/amrwb.h"
#include "common/vad_filterbank.h"

#include <algorithm>
#include <cstring>

namespace qolsc {
namespace {

using namespace basop;

constexpr int kBands = 12;
constexpr int kFrame = 256;

constexpr VadBand kBandsOfTree[kBands] = {
    {0, 32, 2, 8, 17},   // 0 to 200 Hz
    {16, 32, 2, 8, 17},  // 400
    {24, 32, 2, 8, 17},  // 600
    {8, 32, 2, 8, 17},   // 800
    {12, 16, 4, 16, 16}, // 1200
    {4, 16, 4, 16, 16},  // 1600
    {6, 16, 4, 16, 16},  // 2000
    {14, 16, 4, 16, 16}, // 2400
    {2, 8, 8, 32, 15},   // 3200
    {3, 8, 8, 32, 15},   // 4000
    {7, 8, 8, 32, 15},   // 4800
    {1, 4, 16, 64, 14},  // 6400
};

constexpr Qol32s kTonePower = 686080;   // below it the tone register is cut
constexpr Qol32s kSilentPower = 30000;  // below it there is no speech
constexpr Qol16s kLevelOfSpeech = 2050; // estimate at the start
constexpr Qol16s kLeastSpeech = 129;    // input level that may enter the estimate
constexpr Qol16s kLeastMaximum = 410;
constexpr Qol16s kEstimateFrames = 80, kActiveFrames = 25;

/// Splits the frame into the bands of kBandsOfTree, in place.
void ownFilterBank(Qol16s* b, QolsVadState_AMRWB& s) {
    for (int i = 0; i < kFrame; i += 2) {
        vadFilter5(&b[i], &b[i + 1], s.aData5[0]);
    }
    for (int i = 0; i < kFrame; i += 4) {
        vadFilter5(&b[i], &b[i + 2], s.aData5[1]);
        vadFilter5(&b[i + 1], &b[i + 3], s.aData5[2]);
    }
    for (int i = 0; i < kFrame; i += 8) {
        vadFilter5(&b[i], &b[i + 4], s.aData5[3]);
        vadFilter5(&b[i + 2], &b[i + 6], s.aData5[4]);
        vadFilter3<false>(&b[i + 3], &b[i + 7], &s.aData3[0]);
    }
    for (int i = 0; i < kFrame; i += 16) {
        vadFilter3<false>(&b[i], &b[i + 8], &s.aData3[1]);
        vadFilter3<false>(&b[i + 4], &b[i + 12], &s.aData3[2]);
        vadFilter3<false>(&b[i + 6], &b[i + 14], &s.aData3[3]);
    }
    for (int i = 0; i < kFrame; i += 32) {
        vadFilter3<false>(&b[i], &b[i + 16], &s.aData3[4]);
        vadFilter3<false>(&b[i + 8], &b[i + 24], &s.aData3[5]);
    }
}

/// Base-2 logarithm of a positive x by repeated squaring, falling with x, Q10.
Qol16s ilog2(Qol16s x) {
    const int e = norm_s(x);
    Qol16s m = shl(x, e);
    for (int k = 0; k < 3; ++k) {
        m = mult(m, m);
    }
    Qol32s t = m * m;
    const int f = norm_l(t);
    t = L_shl(t, f);
    const Qol16s r = add(add(wrap16((e + 16) << 10), wrap16((f - 1) * 64)), 127);
    return sub(r, static_cast<Qol16s>(t >> 24));
}

/// Threshold of the signal-to-noise sum from the levels of noise and speech; raises the speech
/// level to the noise.
Qol16s threshold(QolsVadState_AMRWB& s) {
    Qol32s sum = 0;
    for (int k = 1; k < kBands; ++k) {
        sum += s.bckrEst[k];
    }
    const Qol16s noiseLevel = wrap16(sum >> 4);
    const auto floor = static_cast<Qol16s>(noiseLevel & ~7);
    s.speechLevel = std::max(s.speechLevel, floor);
    const Qol16s a = wrap16(ilog2(std::max<Qol16s>(noiseLevel, 1)) - 31744);
    const Qol16s b = wrap16(ilog2(std::max<Qol16s>(sub(s.speechLevel, floor), 1)) - 22527);
    const int byNoise = (a * 1509) >> 15;
    const int bySpeech = std::clamp(((b * -1339) >> 15) - 96, -96, 96);
    return std::max(wrap16(byNoise + bySpeech + 768), Qol16s{204});
}

Qol16s withHangover(QolsVadState_AMRWB& s, Qol32s power, Qol16s thr) {
    if (power < kSilentPower) {
        s.burstCount = 0;
        s.hangCount = 0;
        return 0;
    }
    if ((s.vadReg & 0x4000) != 0) {
        s.burstCount = add(s.burstCount, 1);
        if (s.burstCount >= (((thr - 768) * 297) >> 15) + 8) {
            s.hangCount = static_cast<Qol16s>(std::max((((thr - 217) * -1110) >> 15) + 12, 2));
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

/// Level of speech: the greatest level of a run with enough active frames.
void estimateSpeech(QolsVadState_AMRWB& s) {
    Qol32s sum = 0;
    for (int k = 1; k < kBands; ++k) {
        sum += s.level[k];
    }
    const Qol16s in = extract_h(L_shl(sum, 12));
    const auto restart = [&s] { s.spEstCnt = s.spMax = s.spMaxCnt = 0; };
    if (sub(s.spEstCnt, s.spMaxCnt) > kEstimateFrames - kActiveFrames) {
        restart();
    }
    s.spEstCnt = add(s.spEstCnt, 1);
    if (((s.vadReg & 0x4000) == 0 && in <= s.speechLevel) || in <= kLeastSpeech) {
        return;
    }
    s.spMax = std::max(s.spMax, in);
    s.spMaxCnt = add(s.spMaxCnt, 1);
    if (s.spMaxCnt >= kActiveFrames) {
        const auto half = static_cast<Qol16s>(s.spMax >> 1);
        if (half > kLeastMaximum) {
            s.speechLevel = add(s.speechLevel, mult_r(4915, sub(half, s.speechLevel)));
        }
        restart();
    }
}

Qol16s ownVadDecision(QolsVadState_AMRWB& s, Qol32s power, Qol16s toneFlag) {
    const Qol32s snrSum = vadSnrSum(s.level, s.bckrEst, kBands, 6);
    const Qol16s thr = threshold(s);
    s.vadReg >>= 1;
    if (snrSum > 12 * (thr << 10)) {
        s.vadReg |= 0x4000;
    }
    ownNoiseEstimateUpdate(s.level, kBands, 20000, {s.vadReg, toneFlag, 0, 0, 0},
                           {s.bckrEst, s.aveLevel, s.oldLevel, &s.statCount});
    const Qol16s flag = withHangover(s, power, thr);
    estimateSpeech(s);
    return flag;
}

} // namespace

QolStatus qolsVADGetSize_AMRWB_16s(Qol32s* pSize) noexcept {
    return giveSize(sizeof(QolsVadState_AMRWB), pSize);
}

QolStatus qolsVADInit_AMRWB_16s(QolsVadState_AMRWB* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    QolsVadState_AMRWB fresh, old;
    std::memcpy(&old, pState, sizeof old);
    std::memset(&fresh, 0, sizeof fresh);
    for (Qol16s* level : {fresh.bckrEst, fresh.aveLevel, fresh.oldLevel}) {
        std::fill_n(level, kBands, Qol16s{150});
    }
    fresh.statCount = old.statCount;
    fresh.speechLevel = kLevelOfSpeech;
    std::memcpy(pState, &fresh, sizeof fresh);
    return qolStsNoErr;
}

QolStatus qolsVAD_AMRWB_16s(const Qol16s* pSrc, QolsVadState_AMRWB* pState, Qol16s* pToneFlag,
                            Qol16s* pVadFlag) noexcept {
    if (anyNull(pSrc, pToneFlag, pVadFlag) || anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    QolsVadState_AMRWB state; // a copy: the record may lie anywhere
    std::memcpy(&state, pState, sizeof state);
    Qol64s energy = 0;
    Qol16s tree[kFrame];
    for (int i = 0; i < kFrame; ++i) {
        energy += pSrc[i] * pSrc[i];
        tree[i] = static_cast<Qol16s>(pSrc[i] >> 1);
    }
    const Qol32s power = saturate32(2 * energy);
    const Qol32s twoFrames = L_add(power, state.prevPowSum);
    state.prevPowSum = power;
    if (twoFrames < kTonePower) {
        *pToneFlag &= 0x1FFF;
    }
    ownFilterBank(tree, state);
    vadSignalLevels(tree, kBandsOfTree, kBands, state.subLevel, state.level);
    *pVadFlag = ownVadDecision(state, twoFrames, *pToneFlag);
    std::memcpy(pState, &state, sizeof state);
    return qolStsNoErr;
}

QolStatus qolsVADGetEnergyLevel_AMRWB_16s(const Qol16s* pState, Qol16s* pDst) noexcept {
    if (anyNull(pState, pDst)) {
        return qolStsNullPtrErr;
    }
    QolsVadState_AMRWB state;
    std::memcpy(&state, pState, sizeof state);
    std::copy_n(state.level, kBands, pDst);
    return qolStsNoErr;
}

} // namespace qolsc
