// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search of AMR: the frame that all rates share.
// 3GPP TS 26.090 §5.7.
#include "gsm/amr_fcb.h"

#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_fcb_lanes.h"
#include "numeric/basop.h"

#include <algorithm>

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

// Largest magnitudes of 20 neighbours and the 20 behind them, which have the same tracks.
void foldMagnitudes(const Qol32s* y, Qol32u (&largest)[20]) {
    for (int i = 0; i < 20; i += 4) {
        simd::store(largest + i, _mm_max_epu32(_mm_abs_epi32(simd::load(y + i)),
                                               _mm_abs_epi32(simd::load(y + i + 20))));
    }
}

// dn to 16 bits with a headroom that lets the pulses of all tracks add up.
void normalizeTarget(const Qol32s* y, int tracks, int headroom, Qol16s* dn) {
    Qol32u magnitudes[20];
    foldMagnitudes(y, magnitudes);
    Qol32s total = 5;
    for (int t = 0; t < tracks; ++t) {
        Qol32u largest = 0;
        for (int i = t; i < 20; i += tracks) {
            largest = std::max(largest, magnitudes[i]);
        }
        total = L_add(total, saturate32(largest) >> 1);
    }
    // No value leaves 32 bits: the total is at least half of the largest.
    const int shift = norm_l(total) - headroom;
    const i128 left = _mm_cvtsi32_si128(std::max(shift, 0));
    const i128 right = _mm_cvtsi32_si128(std::max(-shift, 0) + 1);
    const auto rounded = [&](const Qol32s* v) {
        // Halved before the rounding, so that its sum fits.
        const i128 x = _mm_sra_epi32(_mm_sll_epi32(simd::load(v), left), right);
        return _mm_srai_epi32(simd::add32(x, simd::splat32(0x4000)), 15);
    };
    for (int i = 0; i < kSubframe; i += 8) {
        simd::store(dn + i, simd::packSat16(rounded(y + i), rounded(y + i + 4)));
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
    for (int i = 0; i < kSubframe; i += 8) {
        const i128 x = simd::load(h + i), half = simd::splat16(32);
        simd::store(h2 + i, narrow<6>(madd(pairs(x, half), weightPair(k, 1))));
    }
}

i128 magnitude(i128 x) { return _mm_max_epi16(x, simd::subSat16(simd::zero(), x)); }

void takeSigns(Qol16s* dn, Qol16s* sign) {
    for (int i = 0; i < kSubframe; i += 8) {
        const i128 x = simd::load(dn + i);
        // 32767 for 0 and above, -32767 below.
        simd::store(sign + i,
                    _mm_xor_si128(simd::splat16(32767), _mm_slli_epi16(_mm_srai_epi16(x, 15), 1)));
        simd::store(dn + i, magnitude(x));
    }
}

// 8 and 10 pulses: the sign of a place is that of the residual and of dn, both normalised, added;
// its magnitude ranks the places (TS 26.090 §5.7.2).
void chooseSigns(const Qol16s* pLtpRes, int tracks, PulseProblem& p) {
    // At most 32767 each, and no sum of the two products exceeds 742000: both vectors are
    // normalised.
    const i128 k = weightPair(extract_l(inverseRoot(energyPlus(pLtpRes, 256)) >> 11),
                              extract_l(inverseRoot(energyPlus(p.dn, 256)) >> 11));
    Qol16s magnitudes[kSubframe];
    for (int i = 0; i < kSubframe; i += 8) {
        const i128 dn = simd::load(p.dn + i);
        const i128 c =
            narrow<5>(add(madd(pairs(simd::load(pLtpRes + i), dn), k), simd::splat32(16)));
        const i128 negative = _mm_srai_epi16(c, 15);
        simd::store(p.sign + i,
                    _mm_blendv_epi8(simd::splat16(32767), simd::splat16(-32767), negative));
        simd::store(magnitudes + i, magnitude(c));
        simd::store(p.dn + i, _mm_blendv_epi8(dn, simd::subSat16(simd::zero(), dn), negative));
    }
    Qol16s largestOfAll = -1;
    int opening = 0;
    for (int t = 0; t < tracks; ++t) {
        Qol16s largest = -1;
        for (int i = t; i < kSubframe; i += tracks) {
            if (magnitudes[i] > largest) {
                largest = magnitudes[i];
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
    return giveSize(amr::kBufferBytes, pSize);
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
