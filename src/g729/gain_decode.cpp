// SPDX-License-Identifier: Apache-2.0
// Gain prediction and decoding of G.729 (3.9.1, 4.1.5, 4.4.2, 4.4.3) and of its 6.4 kbit/s codebook
// (Annexes D and I).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/gain.h"
#include "numeric/helpers.h"
#include "tables/g729_gain.h"

namespace qolsc {

using namespace tables::g729;

namespace {

constexpr Qol16s kFloor_Q10 = -14336;      // -14 dB
constexpr Qol16s kLog10_Q12 = 24660;       // 20 log10(2), Q12
constexpr Qol64s kMeanEnergy = 0x3FA60000; // mean energy and the length of the vector, Q25 dB

void push(Qol16s* history, Qol16s newest) {
    for (int i = kGainHistory - 1; i > 0; --i) {
        history[i] = history[i - 1];
    }
    history[0] = newest;
}

Qol16s scaleGain(Qol16s gain, Qol16s factor_Q15) {
    return static_cast<Qol16s>((gain * factor_Q15) >> 15);
}

} // namespace

PredictedGain ownGainPredict(Qol32s energy, const Qol16s* history) {
    Qol16s e = 0, f = 0;
    ownLog2(saturate32(Qol64s{2} * energy), &e, &f);
    Qol64s s = Qol64s{-e * kLog10_Q12 + ((f * -kLog10_Q12) >> 15)} * 1024 + kMeanEnergy;
    for (int i = 0; i < kGainHistory; ++i) {
        s += gain_pred[i] * history[i];
    }
    const Qol32s t = saturate16(s >> 15) * 5439; // 1 / (20 log10(2)), to powers of 2
    const auto fraction = static_cast<Qol16s>(t >> 8 & 0x7FFF);
    return {static_cast<Qol16s>(ownPow2(14, fraction)), 14 - (t >> 23)};
}

void ownGainUpdate(Qol32s correction, Qol16s* history) {
    Qol16s e = 0, f = 0;
    ownLog2(correction, &e, &f);
    const Qol32s t = (e - 13) * 65536 + 2 * f; // the factor is in Q13
    push(history, basop::mult(basop::extract_h(basop::L_shl(t, 13)), kLog10_Q12));
}

void ownGainUpdateErasure(Qol16s* history) {
    Qol32s sum = 0;
    for (int i = 0; i < kGainHistory; ++i) {
        sum += history[i];
    }
    const Qol32s mean = (sum >> 2) - 4096; // 4 dB, Q10
    push(history, mean < kFloor_Q10 ? kFloor_Q10 : static_cast<Qol16s>(mean));
}

QolStatus qolsDecodeGain_G729_16s(Qol32s valFixedEnergy, Qol16s* pSrcDstEnergyErr,
                                  const Qol16s* pIdx, Qol16s* pDstQGain) noexcept {
    if (anyNull(pSrcDstEnergyErr, pDstQGain)) {
        return qolStsNullPtrErr;
    }
    if (pIdx == nullptr) {
        pDstQGain[0] = scaleGain(pDstQGain[0], 29491); // 0.9
        pDstQGain[1] = scaleGain(pDstQGain[1], 32111); // 0.98
        ownGainUpdateErasure(pSrcDstEnergyErr);
        return qolStsNoErr;
    }
    const int r1 = imap1[pIdx[0] & 7], r2 = imap2[pIdx[1] & 15];
    const PredictedGain g0 = ownGainPredict(valFixedEnergy, pSrcDstEnergyErr);
    const Qol32s correction = gbk1[r1][1] + gbk2[r2][1];
    pDstQGain[0] = saturate16(gbk1[r1][0] + gbk2[r2][0]);
    pDstQGain[1] = scaleTruncate<Qol16s>(Qol64s{g0.value} * (correction >> 1), g0.exponent + 11);
    ownGainUpdate(correction, pSrcDstEnergyErr);
    return qolStsNoErr;
}

QolStatus qolsDecodeGain_G729I_16s(Qol32s valFixedEnergy, Qol16s valBeta, Qol16s* pSrcDstEnergyErr,
                                   const Qol16s* pIdx, Qol16s* pDstQGain) noexcept {
    if (anyNull(pSrcDstEnergyErr, pDstQGain)) {
        return qolStsNullPtrErr;
    }
    if (pIdx == nullptr) {
        pDstQGain[0] = basop::mult(pDstQGain[0], valBeta);
        pDstQGain[1] = basop::mult(pDstQGain[1], valBeta);
        ownGainUpdateErasure(pSrcDstEnergyErr);
        return qolStsNoErr;
    }
    const int r1 = imap1_6k[pIdx[0] & 7], r2 = imap2_6k[pIdx[1] & 7];
    const PredictedGain g0 = ownGainPredict(valFixedEnergy, pSrcDstEnergyErr);
    const Qol32s correction = (gbk1_6k[r1][1] + gbk2_6k[r2][1]) >> 1;
    pDstQGain[0] = saturate16(gbk1_6k[r1][0] + gbk2_6k[r2][0]);
    pDstQGain[1] = wrap16((Qol64s{g0.value} * correction) >> (g0.exponent + 12));
    ownGainUpdate(correction, pSrcDstEnergyErr);
    return qolStsNoErr;
}

} // namespace qolsc
