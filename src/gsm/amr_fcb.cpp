// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search of AMR: the frame that all rates share.
// 3GPP TS 26.090 §5.7.
#include "gsm/amr_fcb.h"

#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"

namespace qolsc {

namespace amr {

using namespace basop;

namespace {

constexpr int kBufferBytes = 16384;
static_assert(sizeof(FixedSearchWork) + 15 <= kBufferBytes);

// 2 sum of target[j] h[j - i], saturating after every product.
void correlateTarget(const Qol16s* pTarget, const Qol16s* h, Qol32s* y) {
    // A sum is at most the root of the product of the energies: below 2^30 nothing saturates.
    const Qol64s bound = Qol64s{1} << 30;
    const Qol64s ex = energyExact(pTarget, kSubframe), eh = energyExact(h, kSubframe);
    if (eh == 0 || ex < bound * bound / eh) {
        corrTriangle(h, pTarget, kSubframe, y, kSubframe);
        for (int i = 0; i < kSubframe; ++i) {
            y[i] = wrapAdd32(y[i], y[i]);
        }
        return;
    }
    for (int i = 0; i < kSubframe; ++i) {
        Qol32s s = 0;
        for (int j = i; j < kSubframe; ++j) {
            s = L_mac(s, pTarget[j], h[j - i]);
        }
        y[i] = s;
    }
}

// dn to 16 bits with a headroom that lets the pulses of all tracks add up.
void normalizeTarget(const Qol32s* y, int tracks, int headroom, Qol16s* dn) {
    Qol32s total = 5;
    for (int t = 0; t < tracks; ++t) {
        Qol32s largest = 0;
        for (int i = t; i < kSubframe; i += tracks) {
            const Qol32s a = L_abs(y[i]);
            largest = a > largest ? a : largest;
        }
        total = L_add(total, largest >> 1);
    }
    const int shift = norm_l(total) - headroom;
    if (shift >= 0) {
        // The largest magnitude has at least this headroom: nothing saturates but the rounding.
        for (int i = 0; i < kSubframe; ++i) {
            dn[i] = saturate16(((Qol64s{y[i]} * (Qol64s{1} << shift)) + 0x8000) >> 16);
        }
    } else {
        for (int i = 0; i < kSubframe; ++i) {
            dn[i] = round_fx(L_shr(y[i], -shift));
        }
    }
}

Qol32s inverseRoot(Qol32s x) {
    qolsc::qolsInvSqrt_32s_I(&x, 1);
    return x;
}

// Doubled energy plus the offset, saturated at the end: all terms are positive.
Qol32s energyPlus(const Qol16s* x, Qol32s offset) {
    return saturate32(2 * energyExact(x, kSubframe) + offset);
}

// The response scaled to an energy just below 1 in Q15, so that the matrix fits 16 bits.
void scaleResponse(const Qol16s* h, Qol16s* h2) {
    const Qol32s energy = energyPlus(h, 2);
    if (energy >> 16 == 0x7FFF) {
        for (int i = 0; i < kSubframe; ++i) {
            h2[i] = static_cast<Qol16s>(h[i] >> 1);
        }
        return;
    }
    const Qol16s k = mult(extract_h(L_shl(inverseRoot(energy >> 1), 7)), 32440);
    for (int i = 0; i < kSubframe; ++i) {
        h2[i] = saturate16((Qol32s{h[i]} * k + 32) >> 6);
    }
}

void takeSigns(Qol16s* dn, Qol16s* sign) {
    for (int i = 0; i < kSubframe; ++i) {
        sign[i] = static_cast<Qol16s>(dn[i] > 0 ? 32767 : dn[i] < 0 ? -32767 : 0);
        dn[i] = abs_s(dn[i]);
    }
}

// 8 and 10 pulses: the sign of a place is that of the residual and of dn, both normalised, added;
// its magnitude ranks the places (TS 26.090 §5.7.2).
void chooseSigns(const Qol16s* pLtpRes, int tracks, PulseProblem& p) {
    const Qol32s kRes = inverseRoot(energyPlus(pLtpRes, 256)) >> 11;
    const Qol32s kDn = inverseRoot(energyPlus(p.dn, 256)) >> 11;
    Qol16s magnitude[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        const Qol16s c = wrap16((kRes * pLtpRes[i] + kDn * p.dn[i] + 16) >> 5);
        p.sign[i] = static_cast<Qol16s>(c >= 0 ? 32767 : -32767);
        magnitude[i] = static_cast<Qol16s>(c >= 0 ? c : negate(c));
        p.dn[i] = c >= 0 ? p.dn[i] : negate(p.dn[i]);
    }
    Qol16s largestOfAll = -1;
    int opening = 0;
    for (int t = 0; t < tracks; ++t) {
        Qol16s largest = -1;
        for (int i = t; i < kSubframe; i += tracks) {
            if (magnitude[i] > largest) {
                largest = magnitude[i];
                p.posMax[t] = static_cast<Qol16s>(i);
            }
        }
        if (largest > largestOfAll) {
            largestOfAll = largest;
            opening = t;
        }
    }
    for (int i = 0; i < 2 * tracks; ++i) {
        p.ipos[i] = static_cast<Qol16s>((opening + i) % tracks);
    }
}

} // namespace

void preparePulses(const Qol16s* pTarget, const Qol16s* pLtpRes, const Qol16s* h, Codebook book,
                   PulseProblem& problem) {
    const bool dense = pulseCount(book) >= 8;
    Qol32s y[kSubframe];
    correlateTarget(pTarget, h, y);
    normalizeTarget(y, trackCount(book), dense ? 2 : 1, problem.dn);
    if (dense) {
        chooseSigns(pLtpRes, trackCount(book), problem);
    } else {
        takeSigns(problem.dn, problem.sign);
    }
    scaleResponse(h, problem.h2);
}

namespace {

void algebraicSearch(Qol16s lag, Qol16s pitchGain, const Qol16s* pTarget, const Qol16s* pLtpRes,
                     Qol16s* pImpulse, Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices,
                     int subFrame, Codebook book, FixedSearchWork& work) {
    const Qol16s sharp = shl(pitchGain, 1);
    const auto sharpen = [&](Qol16s* x) {
        if (lag < kSubframe) {
            qolsc::qolsHarmonicFilter_16s_I(sharp, lag, x + lag, kSubframe - lag);
        }
    };
    sharpen(pImpulse);
    PulseProblem problem;
    preparePulses(pTarget, pLtpRes, pImpulse, book, problem);
    PulseSet best;
    if (!searchLanes(problem, book, subFrame, work, best)) {
        searchPlain(problem, book, subFrame, work, best);
    }
    packPulses(best, problem.sign, pImpulse, book, subFrame, pFixedVec, pFiltFixedVec, pIndices);
    sharpen(pFixedVec);
}

bool searchRangesHold(Qol16s lag, Qol16s subFrame, Qol32s rate) {
    return subFrame >= 0 && subFrame <= 3 && lag >= 17 && lag <= 144 && isRate(rate);
}

} // namespace

} // namespace amr

QolStatus qolsAlgebraicCodebookSearch_GSMAMR_16s(Qol16s valIntLag, Qol16s valPitchGain,
                                                 const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                 Qol16s* pImpulse, Qol16s* pFixedVec,
                                                 Qol16s* pFiltFixedVec, Qol16s* pIndices,
                                                 Qol16s valSubFrame, Qol32s valRate) noexcept {
    if (anyNull(pTarget, pLtpRes, pImpulse, pFixedVec, pFiltFixedVec, pIndices)) {
        return qolStsNullPtrErr;
    }
    if (!amr::searchRangesHold(valIntLag, valSubFrame, valRate)) {
        return qolStsRangeErr;
    }
    amr::FixedSearchWork work;
    amr::algebraicSearch(valIntLag, valPitchGain, pTarget, pLtpRes, pImpulse, pFixedVec,
                         pFiltFixedVec, pIndices, valSubFrame, amr::codebookOf(valRate), work);
    return qolStsNoErr;
}

QolStatus qolsAlgebraicCodebookSearchEX_GSMAMR_16s(Qol16s valIntLag, Qol16s valPitchGain,
                                                   const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                   Qol16s* pImpulse, Qol16s* pFixedVec,
                                                   Qol16s* pFiltFixedVec, Qol16s* pIndices,
                                                   Qol16s valSubFrame, Qol32s valRate,
                                                   Qol8u* pBuffer) noexcept {
    if (anyNull(pTarget, pLtpRes, pImpulse, pFixedVec, pFiltFixedVec, pIndices, pBuffer)) {
        return qolStsNullPtrErr;
    }
    if (!amr::searchRangesHold(valIntLag, valSubFrame, valRate)) {
        return qolStsRangeErr;
    }
    auto& work = *reinterpret_cast<amr::FixedSearchWork*>(alignUp<16>(pBuffer));
    amr::algebraicSearch(valIntLag, valPitchGain, pTarget, pLtpRes, pImpulse, pFixedVec,
                         pFiltFixedVec, pIndices, valSubFrame, amr::codebookOf(valRate), work);
    return qolStsNoErr;
}

QolStatus qolsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s(Qol32s* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    *pSize = amr::kBufferBytes;
    return qolStsNoErr;
}

QolStatus qolsFixedCodebookDecode_GSMAMR_16s(const Qol16s* pIndices, Qol16s* pFixedVec,
                                             Qol16s valSubFrame, Qol32s valRate) noexcept {
    if (anyNull(pIndices, pFixedVec)) {
        return qolStsNullPtrErr;
    }
    if (valSubFrame < 0 || valSubFrame > 3 || !amr::isRate(valRate)) {
        return qolStsRangeErr;
    }
    amr::unpackPulses(pIndices, amr::codebookOf(valRate), valSubFrame, pFixedVec);
    return qolStsNoErr;
}

} // namespace qolsc
