// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook search (TS 26.190 5.8.3): normalised mix of target correlation and residual,
// signs, pulses in pairs over a few rotations of the tracks.
#include "amrwb/acelp.h"
#include "amrwb/amrwb.h"
#include "numeric/helpers.h"
#include "vector/simd.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qolsc {
namespace acelp {
namespace {

using namespace basop;

constexpr Qol16s kPulse = 512; // Q9

/// 1/sqrt of the energy of a subframe, brought to the upper half by the given shift.
Qol16s normFactor(const Qol16s* v, int shift) {
    const Qol32s energy = saturate32(2 * energyOf(v) + 1);
    const Qol16s n = norm_l(energy);
    Qol32s mantissa = energy << n;
    auto exponent = static_cast<Qol16s>(30 - n);
    ownInvSqrt_32s16s_I(&mantissa, &exponent);
    return round_fx(L_shl(mantissa, exponent + shift));
}

/// Correlation of target and response in 16 bits, scaled by the maxima of the tracks.
template <bool Plain>
void targetCorrelation(const Qol16s* pTarget, const Qol16s* pImpulse, Qol16s* dn) {
    Qol32s y[kLength];
    Qol64s most = 0, sum = 0;
    for (int i = 0; i < kLength; ++i) {
        most = std::max<Qol64s>(most, std::abs(pTarget[i]));
        sum += std::abs(pImpulse[i]);
    }
    if (!Plain && most * sum < 0x40000000 - 1) {
        correlateTarget_noOverflow(pTarget, pImpulse, y);
    } else {
        correlateTarget(pTarget, pImpulse, y);
    }
    Qol32s total = 1;
    for (int t = 0; t < kTracks; ++t) {
        Qol32s peak = 0;
        for (int i = t; i < kLength; i += kTracks) {
            peak = std::max(peak, L_abs(y[i]));
        }
        peak >>= 2;
        total = L_add(L_add(total, peak), peak >> 1);
    }
    const int shift = norm_l(total) - 4;
    for (int i = 0; i < kLength; ++i) {
        dn[i] = round_fx(L_shl(y[i], shift));
    }
}

/// Mixes residual and correlation, takes the signs out; dn, mark and sign track after track.
template <int Tracks>
void mixAndSigns(const Qol16s* pLtpRes, const Qol16s* dn, Qol16s alp, Work& w) {
    const Qol16s kCn = normFactor(pLtpRes, 5);
    const Qol16s kDn = mult_r(alp, normFactor(dn, 8));
    for (int p = 0; p < kLength; ++p) {
        const int at = (p % Tracks) * (kLength / Tracks) + p / Tracks;
        const Qol16s mixed = extract_h(L_shl(L_mac(L_mult(kCn, pLtpRes[p]), kDn, dn[p]), 8));
        const bool negative = mixed < 0;
        w.mark[at] = negative ? negate(mixed) : mixed;
        w.dn[at] = negative ? negate(dn[p]) : dn[p];
        w.sign[at] = negative ? Qol16s{-1} : Qol16s{0};
    }
}

void setResponse(const Qol16s* pImpulse, int halve, Work& w) {
    std::fill_n(w.response, kLength, Qol16s{0});
    std::fill_n(w.negated, kLength, Qol16s{0});
    for (int n = 0; n < kLength; ++n) {
        w.response[kLength + n] = static_cast<Qol16s>(pImpulse[n] >> halve);
        w.negated[kLength + n] = negate(w.response[kLength + n]);
    }
}

/// Signed response of a pulse, 0 before it.
const Qol16s* pulseResponse(const Work& w, int p, Qol16s sign) {
    return (sign != 0 ? w.negated : w.response) + kLength - p;
}
const Qol16s* pulseResponse(const Work& w, int p) {
    return pulseResponse(w, p, w.sign[trackIndex(p)]);
}

/// vec += a + b, the inner sum saturating first.
void addPair(Qol16s* vec, const Qol16s* a, const Qol16s* b) {
    using namespace simd;
    for (int n = 0; n < kLength; n += 8) {
        store(vec + n, addSat16(load(vec + n), addSat16(load(a + n), load(b + n))));
    }
}

/// State of one rotation of the tracks.
struct Rotation {
    Qol16s tracks[kMostPulses];
    Qol16s positions[kMostPulses];
    Qol16s ps;
    Qol16s alp;
};

/// Pulses that aren't searched: the best places of the first two or four tracks.
int setFixedPulses(const Rate& rate, const Qol16s* posMax, Work& w, Rotation& r) {
    const int fixed = rate.pulses < 8 ? 0 : rate.pulses < 12 ? 2 : 4;
    std::fill_n(w.vec, kLength, Qol16s{0});
    r.ps = 0;
    r.alp = 0;
    for (int k = 0; k < fixed; ++k) {
        r.positions[k] = posMax[r.tracks[k]];
        const Qol16s* h = pulseResponse(w, r.positions[k]);
        for (int n = 0; n < kLength; ++n) {
            w.vec[n] = add(w.vec[n], h[n]);
        }
        r.ps = add(r.ps, w.dn[trackIndex(r.positions[k])]);
    }
    if (fixed == 2) {
        const int a = trackIndex(r.positions[0]), b = trackIndex(r.positions[1]);
        const Qol16s cross = w.xy[a * kPlaces + b % kPlaces];
        r.alp = round_fx(L_mac(L_mac(L_mult(4096, w.xx[a]), w.xx[b], 4096), cross, 8192));
    } else if (fixed == 4) {
        r.alp = round_fx(saturate32(2 * energyOf(w.vec)) >> 3);
    }
    return fixed;
}

/// One stage: the best pair of places on two neighbouring tracks. vecLimit: energy of the pulses'
/// response below which no product with a pulse's response overflows.
template <bool Plain>
Best searchStage(const Stage& stage, Qol64s vecLimit, const Work& w) {
    Best best;
    Qol16s corX[kPlaces], corY[kPlaces];
    if (!Plain && energyOf(w.vec) < vecLimit) {
        stageCorrelation_noOverflow(w, stage.trackX, corX);
        stageCorrelation_noOverflow(w, stage.trackY, corY);
    } else {
        stageCorrelation(w, stage.trackX, corX);
        stageCorrelation(w, stage.trackY, corY);
    }
    if (!Plain && stage.alp < 24575 && stage.alp > -24575) {
        searchPair_alpBelow24575(w, stage, corX, corY, best);
    } else {
        searchPair(w, stage, corX, corY, best);
    }
    return best;
}

/// Code vector, filtered vector and index words of the pulses chosen.
void writeResult(const Rate& rate, const Work& w, const Qol16s* positions, int halve,
                 Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices) {
    Qol16s codes[kTracks][kMostPulses] = {};
    int counts[kTracks] = {};
    std::memset(pFixedVec, 0, kLength * sizeof(Qol16s));
    for (int k = 0; k < rate.pulses; ++k) {
        const int p = positions[k], track = p % kTracks;
        const bool negative = w.sign[trackIndex(p)] != 0;
        const auto height = static_cast<Qol16s>(kPulse >> halve);
        pFixedVec[p] = negative ? sub(pFixedVec[p], height) : add(pFixedVec[p], height);
        codes[track][counts[track]++] = static_cast<Qol16s>(p / kTracks + (negative ? 16 : 0));
    }
    for (int n = 0; n < kLength; ++n) {
        pFiltFixedVec[n] = static_cast<Qol16s>((w.bestVec[n] + 4) >> 3);
    }
    pack(rate, codes, pIndices);
}

template <bool Plain>
void searchPulses(const Rate& rate, const Qol16s* pImpulse, Qol16s* pFixedVec,
                  Qol16s* pFiltFixedVec, Qol16s* pIndices, Work& w) {
    // Track order; rotation k begins at entry 4k.
    static constexpr Qol16s tipos[36] = {0, 1, 2, 3, 1, 2, 3, 0, 2, 3, 0, 1, 3, 0, 1, 2, 0, 1,
                                         2, 3, 1, 2, 3, 0, 2, 3, 0, 1, 3, 0, 1, 2, 0, 1, 2, 3};
    const int halve = rate.pulses >= 12 && saturate32(2 * energyOf(pImpulse)) >> 16 > 1024 ? 1 : 0;
    setResponse(pImpulse, halve, w);
    const Qol64s energy = energyOf(w.response + kLength);
    const Qol64s vecLimit = kStageEnergies / std::max<Qol64s>(energy, 1);
    if (!Plain && energy < kTableEnergy) {
        correlationTables_noOverflow<kTracks>(w);
    } else {
        correlationTables<kTracks>(w);
    }
    Qol16s posMax[kTracks];
    Plain ? selectPlaces(w, posMax) : selectPlaces_vector(w, posMax);

    Qol16s chosen[kMostPulses];
    for (int k = 0; k < rate.pulses; ++k) {
        chosen[k] = static_cast<Qol16s>(k);
    }
    std::memset(w.bestVec, 0, sizeof w.bestVec);
    std::memset(w.vec, 0, sizeof w.vec);
    Best bestOfAll;
    Qol16s x = 0, y = 1; // positions of the stage before
    for (int k = 0; k < rate.iterations; ++k) {
        Rotation r;
        std::copy_n(tipos + 4 * k, rate.pulses, r.tracks);
        if (rate.pulses % 4 == 2) {
            r.tracks[rate.pulses - 2] = 0; // the odd pair belongs to tracks 0 and 1
            r.tracks[rate.pulses - 1] = 1;
        }
        int j = setFixedPulses(rate, posMax, w, r);
        for (int s = 0; s < rate.stages; ++s, j += 2) {
            const Stage stage{r.tracks[j], r.tracks[j + 1], rate.candidates[s], r.ps, r.alp};
            const Best best = searchStage<Plain>(stage, vecLimit, w);
            if (best.x >= 0) {
                x = static_cast<Qol16s>(best.x * kTracks + stage.trackX);
                y = static_cast<Qol16s>(best.y * kTracks + stage.trackY);
            }
            r.positions[j] = x;
            r.positions[j + 1] = y;
            r.ps = add(r.ps, add(w.dn[trackIndex(x)], w.dn[trackIndex(y)]));
            r.alp = best.energy;
            addPair(w.vec, pulseResponse(w, x), pulseResponse(w, y));
        }
        const Qol16s square = mult(r.ps, r.ps);
        if (L_msu(L_mult(bestOfAll.energy, square), bestOfAll.square, r.alp) > 0) {
            bestOfAll = {square, r.alp, 0, 0};
            std::copy_n(r.positions, rate.pulses, chosen);
            std::memcpy(w.bestVec, w.vec, sizeof w.bestVec);
        }
    }
    writeResult(rate, w, chosen, halve, pFixedVec, pFiltFixedVec, pIndices);
}

/// 12 bits: one pulse on the even positions, one on the odd ones.
template <bool Plain>
void searchTwoPulses(const Qol16s* pImpulse, Qol16s* pFixedVec, Qol16s* pFiltFixedVec,
                     Qol16s* pIndices, Work& w) {
    constexpr int places = kLength / 2;
    setResponse(pImpulse, 0, w);
    if (!Plain && energyOf(w.response + kLength) < kTableEnergy) {
        correlationTables_noOverflow<2>(w);
    } else {
        correlationTables<2>(w);
    }
    Best best;
    Plain ? searchTwoTracks(w, best) : searchTwoTracks_vector(w, best);
    const int x = std::max(best.x, 0), y = best.y;
    const bool negX = w.sign[x] != 0, negY = w.sign[places + y] != 0;
    const Qol16s* a = pulseResponse(w, 2 * x, w.sign[x]);
    const Qol16s* b = pulseResponse(w, 2 * y + 1, w.sign[places + y]);
    std::memset(pFixedVec, 0, kLength * sizeof(Qol16s));
    pFixedVec[2 * x] = static_cast<Qol16s>(negX ? -kPulse : kPulse);
    pFixedVec[2 * y + 1] = static_cast<Qol16s>(negY ? -kPulse : kPulse);
    for (int n = 0; n < kLength; ++n) {
        pFiltFixedVec[n] = static_cast<Qol16s>((add(a[n], b[n]) + 4) >> 3);
    }
    pIndices[0] = static_cast<Qol16s>(((x + (negX ? places : 0)) << 6) + y + (negY ? places : 0));
}

} // namespace

template <bool Plain>
void search(const Rate& rate, const Qol16s* pTarget, const Qol16s* pLtpRes, const Qol16s* pImpulse,
            Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices, Work& w) {
    Qol16s dn[kLength];
    targetCorrelation<Plain>(pTarget, pImpulse, dn);
    if (rate.bits == 12) {
        mixAndSigns<2>(pLtpRes, dn, rate.alp, w);
        searchTwoPulses<Plain>(pImpulse, pFixedVec, pFiltFixedVec, pIndices, w);
    } else {
        mixAndSigns<kTracks>(pLtpRes, dn, rate.alp, w);
        searchPulses<Plain>(rate, pImpulse, pFixedVec, pFiltFixedVec, pIndices, w);
    }
}
template void search<false>(const Rate&, const Qol16s*, const Qol16s*, const Qol16s*, Qol16s*,
                            Qol16s*, Qol16s*, Work&);
template void search<true>(const Rate&, const Qol16s*, const Qol16s*, const Qol16s*, Qol16s*,
                           Qol16s*, Qol16s*, Work&);

} // namespace acelp

namespace {
constexpr Qol32s kBufferBytes = 8192;
constexpr std::size_t kBufferAlignment = 32;
static_assert(sizeof(acelp::Work) + kBufferAlignment - 1 <= kBufferBytes);
static_assert(alignof(acelp::Work) == kBufferAlignment);
} // namespace

QolStatus qolsAlgebraicCodebookSearch_AMRWB_16s(const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                const Qol16s* pImpulse, Qol16s* pFixedVec,
                                                Qol16s* pFiltFixedVec, Qol32s valRate,
                                                Qol16s* pIndices) noexcept {
    Qol8u buffer[kBufferBytes];
    return qolsc::qolsAlgebraicCodebookSearchEX_AMRWB_16s(pTarget, pLtpRes, pImpulse, pFixedVec,
                                                          pFiltFixedVec, valRate, pIndices, buffer);
}

QolStatus qolsAlgebraicCodebookSearchEX_AMRWB_16s(const Qol16s* pTarget, const Qol16s* pLtpRes,
                                                  const Qol16s* pImpulse, Qol16s* pFixedVec,
                                                  Qol16s* pFiltFixedVec, Qol32s valRate,
                                                  Qol16s* pIndices, Qol8u* pBuffer) noexcept {
    if (anyNull(pTarget, pLtpRes, pImpulse, pFixedVec, pFiltFixedVec, pIndices) ||
        anyNull(pBuffer)) {
        return qolStsNullPtrErr;
    }
    const acelp::Rate* rate = acelp::rateOf(valRate);
    if (rate == nullptr) {
        return qolStsRangeErr;
    }
    auto* work = reinterpret_cast<acelp::Work*>(alignUp<kBufferAlignment>(pBuffer));
    acelp::search<false>(*rate, pTarget, pLtpRes, pImpulse, pFixedVec, pFiltFixedVec, pIndices,
                         *work);
    return qolStsNoErr;
}

QolStatus qolsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s(Qol32s* pSize) noexcept {
    return giveSize(kBufferBytes, pSize);
}

} // namespace qolsc
