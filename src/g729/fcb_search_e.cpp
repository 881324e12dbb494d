// SPDX-License-Identifier: Apache-2.0
// Search of the 35-bit and 44-bit codebooks of G.729 Annex E (E.3.8): pairs of pulses, depth first.
#include "common/kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb.h"
#include "g729/fcb_code_e.h"
#include "numeric/helpers.h"

#include <algorithm>

namespace qolsc {

namespace {

using namespace basop;
using tables::g729::ipos;

/// Signs and correlations of a subframe, in natural order of the positions.
struct Target {
    Qol16s d[kFcbSubframe]; // correlation with the sign taken off
    Qol16s p[kFcbSubframe]; // sign word
    int peakAt[kTracks];    // position of the largest weighted value of a track
    Qol32s peak[kTracks];
};

/// Impulse response scaled to an energy near 1 and its correlations; the energies are halved.
struct Response {
    Qol16s h[kFcbSubframe];
    Qol16s energy[kFcbSubframe];                 // natural order
    Qol16s cross[kTracks][kPerTrack][kPerTrack]; // track t with t + 1, modulated by the signs
};

/// Best-effort 16-bit form of the backward-filtered target: the sum of the peaks of the tracks
/// keeps two bits of headroom.
void correlate(const Qol16s* x, const Qol16s* h, Qol16s* d) {
    Qol32s y[kFcbSubframe];
    corrTriangle(h, x, kFcbSubframe, y, kFcbSubframe);
    Qol64s total = 5;
    for (int t = 0; t < kTracks; ++t) {
        Qol32s most = 0;
        for (int i = t; i < kFcbSubframe; i += kTracks) {
            most = std::max(most, L_abs(y[i]));
        }
        total += most;
    }
    const int s = 17 - norm(saturate32(total));
    for (int i = 0; i < kFcbSubframe; ++i) {
        d[i] = s > 0 ? scaleNear<Qol16s>(y[i], s) : shiftLeftSaturate<Qol16s>(y[i], -s);
    }
}

/// 1/sqrt of the doubled energy, 512 at least.
Qol16s inverseNorm(const Qol16s* x) {
    Qol32s e = std::max(Qol32s{512}, saturate32(2 * energyExact(x, kFcbSubframe)));
    qolsc::qolsInvSqrt_32s_I(&e, 1);
    return static_cast<Qol16s>(e >> 11);
}

void ownSetSign_G729E_16s(const Qol16s* residual, Target& t) {
    const Qol16s kr = mult(inverseNorm(residual), MAX_16), kd = inverseNorm(t.d);
    for (int track = 0; track < kTracks; ++track) {
        t.peak[track] = -1;
        for (int i = track; i < kFcbSubframe; i += kTracks) {
            const Qol32s v = L_mac(L_mult(kr, residual[i]), kd, t.d[i]);
            t.p[i] = v >= 0 ? kPlus : kMinus;
            if (v < 0) {
                t.d[i] = negate(t.d[i]);
            }
            if (L_abs(v) > t.peak[track]) {
                t.peak[track] = L_abs(v);
                t.peakAt[track] = i;
            }
        }
    }
}

void scaleToUnit(const Qol16s* H, Qol16s* h) {
    const Qol32s e = saturate32(2 * energyExact(H, kFcbSubframe));
    const int k = norm(e) >> 1;
    Qol32s root = (e << (2 * k)) >> 12;
    qolsc::qolsInvSqrt_32s_I(&root, 1);
    const Qol16s q = extract_h(L_shl(root, 8));
    for (int i = 0; i < kFcbSubframe; ++i) {
        h[i] = mult(wrap16(H[i] * (1 << k)), q);
    }
}

void _qolsToeplizMatrix_G729E_16s(const Qol16s* H, const Qol16s* p, Response& r) {
    scaleToUnit(H, r.h);
    Qol32s energy[kFcbSubframe];
    responseEnergies(r.h, energy);
    for (int i = 0; i < kFcbSubframe; ++i) {
        const Qol32s e = energy[kPerTrack * (i % kTracks) + i / kTracks];
        r.energy[i] = static_cast<Qol16s>((2 * e + 0x10000) >> 17);
    }
    correlateResponse(r.h, [&r](auto first, int k, auto second, simd::i128 low, simd::i128 high) {
        if constexpr (second == (first + 1) % kTracks) {
            const auto round16 = [](simd::i128 v) { // 2 R + 0x8000, upper half
                return _mm_srai_epi32(simd::add32(simd::add32(v, v), simd::splat32(0x8000)), 16);
            };
            simd::store(r.cross[first][k], simd::packSat16(round16(low), round16(high)));
        }
    });
    for (int t = 0; t < kTracks; ++t) {
        const int other = (t + 1) % kTracks;
        for (int k = 0; k < kPerTrack; ++k) {
            const bool plus = p[kTracks * k + t] > 0;
            for (int l = 0; l < kPerTrack; ++l) {
                const Qol16s q = p[kTracks * l + other];
                r.cross[t][k][l] = mult(r.cross[t][k][l], plus ? q : static_cast<Qol16s>(~q));
            }
        }
    }
}

/// vec += or -= the response delayed to a position, saturating.
void addDelayed(const Qol16s* h, int position, bool plus, Qol16s* vec) {
    const int sign = plus ? 1 : -1;
    for (int n = position; n < kFcbSubframe; ++n) {
        vec[n] = static_cast<Qol16s>(std::clamp(vec[n] + sign * h[n - position], -32768, 32767));
    }
}

/// Energy term of a further pulse on each position of a track: its own plus its correlation with
/// the pulses so far.
void pulseTerms(const Target& t, const Response& r, const Qol32s* correlation, int track,
                Qol16s* cor) {
    for (int k = 0; k < kPerTrack; ++k) {
        const int i = kTracks * k + track;
        cor[k] = add(mult(round_fx(correlation[i]), t.p[i]), r.energy[i]);
    }
}

/// Doubled, saturated correlations of the scaled response at each position with the pulses so far.
void correlatePulses(const Qol16s* h, const Qol16s* vec, Qol32s* correlation) {
    // |<h,v>| is at most the mean of the energies, so that small ones can't wrap 32 bits.
    if (energyExact(h, kFcbSubframe) + energyExact(vec, kFcbSubframe) <= 0xFFFFFFFF) {
        corrTriangle(h, vec, kFcbSubframe, correlation, kFcbSubframe);
        for (int i = 0; i < kFcbSubframe; ++i) {
            correlation[i] = saturate32(Qol64s{2} * correlation[i]);
        }
        return;
    }
    for (int i = 0; i < kFcbSubframe; ++i) {
        correlation[i] = saturate32(2 * dotExact(h, vec + i, kFcbSubframe - i));
    }
}

/// Sum of correlations and half the energy of the pulses chosen so far.
struct Running {
    Qol16s ps, alpha;
};

/// Best pair of positions on two neighbouring tracks behind the pulses chosen so far.
void ownSearch_G729E(const Target& t, const Response& r, int trackX, const Qol16s* corX,
                     const Qol16s* corY, Running& running, int* px, int* py) {
    using namespace simd;
    const int trackY = (trackX + 1) % kTracks;
    Best best{-1, 1};
    int bestX = 0, bestY = 0;
    alignas(16) Qol16s y[kPerTrack];
    for (int k = 0; k < kPerTrack; ++k) {
        y[k] = t.d[kTracks * k + trackY];
    }
    const i128 dy = load(y), cy = load(corY);
    for (int x = 0; x < kPerTrack; ++x) {
        const i128 ps = addSat16(splat16(add(running.ps, t.d[kTracks * x + trackX])), dy);
        const i128 alpha =
            addSat16(splat16(add(running.alpha, corX[x])), addSat16(cy, load(r.cross[trackX][x])));
        offer8(squareSatQ15(ps), alpha, best, [&bestX, &bestY, x](int k) {
            bestX = x;
            bestY = k;
        });
    }
    *px = kTracks * bestX + trackX;
    *py = kTracks * bestY + trackY;
    running = {add(add(running.ps, t.d[*px]), t.d[*py]), best.alpha};
}

/// One trial: the first pair on the peaks of its tracks, then pair after pair.
Best runTrial(const Target& t, const Response& r, int pulses, PulseSet& set) {
    int x = t.peakAt[ipos[set.start]], y = t.peakAt[ipos[set.start + 1]];
    const int track0 = ipos[set.start];
    set.position[0] = x;
    set.position[1] = y;
    Running running{add(t.d[x], t.d[y]),
                    add(add(r.energy[x], r.energy[y]), r.cross[track0][x / kTracks][y / kTracks])};
    Qol16s vec[kFcbSubframe] = {};
    Qol32s correlation[kFcbSubframe];
    for (int j = 2; j < pulses; j += 2) {
        addDelayed(r.h, x, t.p[x] > 0, vec);
        addDelayed(r.h, y, t.p[y] > 0, vec);
        const int trackX = ipos[set.start + j], trackY = ipos[set.start + j + 1];
        Qol16s corX[kPerTrack], corY[kPerTrack];
        correlatePulses(r.h, vec, correlation);
        pulseTerms(t, r, correlation, trackX, corX);
        pulseTerms(t, r, correlation, trackY, corY);
        ownSearch_G729E(t, r, trackX, corX, corY, running, &x, &y);
        set.position[j] = x;
        set.position[j + 1] = y;
    }
    return {mult(running.ps, running.ps), running.alpha};
}

/// Vector, filtered vector and code words.
void ownBuildCode_G729E_16s(const PulseSet& set, int pulses, const Target& t, const Qol16s* H,
                            Qol16s* pVector, Qol16s* pFiltered, Qol16s* pIndex) {
    Qol16s half[kFcbSubframe], y[kFcbSubframe] = {}, code[kFcbSubframe] = {};
    bool negative[kFcbSubframe];
    for (int i = 0; i < kFcbSubframe; ++i) {
        half[i] = static_cast<Qol16s>(H[i] >> 1);
        negative[i] = t.p[i] < 0;
    }
    for (int i = 0; i < pulses; ++i) {
        const int position = set.position[i];
        code[position] = static_cast<Qol16s>(code[position] + (negative[position] ? -4096 : 4096));
    }
    // The order of the saturating sums is that of coding: the first two pulses of 12 come last.
    for (int i = 0; i < pulses; ++i) {
        const int position = set.position[(i + pulses - 2 * kTracks) % pulses];
        addDelayed(half, position, !negative[position], y);
    }
    int words[kTracks];
    codeWords_G729E(set, pulses, negative, words);
    std::copy_n(code, kFcbSubframe, pVector);
    std::copy_n(y, kFcbSubframe, pFiltered);
    std::transform(words, words + kTracks, pIndex, [](int w) { return static_cast<Qol16s>(w); });
}

} // namespace

QolStatus qolsFixedCodebookSearch_G729E_16s(Qol16s valMode, const Qol16s* pSrcFixedTarget,
                                            const Qol16s* pSrcLtpResidual,
                                            const Qol16s* pSrcImpulseResponse,
                                            Qol16s* pDstFixedVector, Qol16s* pDstFltFixedVector,
                                            Qol16s* pDstFixedIndex) noexcept {
    if (anyNull(pSrcFixedTarget, pSrcLtpResidual, pSrcImpulseResponse, pDstFixedVector,
                pDstFltFixedVector, pDstFixedIndex)) {
        return qolStsNullPtrErr;
    }
    const int pulses = valMode == 0 ? 10 : 12;
    Target t;
    Response r;
    correlate(pSrcFixedTarget, pSrcImpulseResponse, t.d);
    ownSetSign_G729E_16s(pSrcLtpResidual, t);
    _qolsToeplizMatrix_G729E_16s(pSrcImpulseResponse, t.p, r);

    const PulseSet best = bestOfTrials(t.peak, L_add, Best{-1, 1},
                                       [&](PulseSet& set) { return runTrial(t, r, pulses, set); });
    ownBuildCode_G729E_16s(best, pulses, t, pSrcImpulseResponse, pDstFixedVector,
                           pDstFltFixedVector, pDstFixedIndex);
    return qolStsNoErr;
}

} // namespace qolsc
