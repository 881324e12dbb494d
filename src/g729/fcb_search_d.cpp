// SPDX-License-Identifier: Apache-2.0
// Search of the two-pulse, 11-bit codebook of G.729 Annex D (D.5.8).
#include "g729/fcb_search_d.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/fcb.h"
#include "numeric/helpers.h"
#include "tables/g729_fcb.h"

#include <algorithm>

namespace qolsc {

int positionWord_G729D(int position0, int position1) {
    const auto place = [position0, position1](const Qol16s* table, int count, bool first) {
        const int wanted = first ? position0 : position1;
        int i = 0;
        while (i < count - 1 && table[i] != wanted) {
            ++i;
        }
        return i;
    };
    using namespace tables::g729;
    return grayEncode[place(trackTable0, 16, true)] +
           (grayEncode[place(trackTable1, 32, false)] << 4);
}

namespace {

/// Energies by track and the cross terms of each pass, 8 x 8 with the outer track first.
struct Matrix {
    Qol16s energy[kFcbSubframe];
    Qol16s cross[kPassesG729D][kBlock];
};

void _qolsToeplizMatrix_G729D_16s32s(const Qol16s* pSrcImpulseResponse, Matrix& m) {
    Qol16s h[kFcbSubframe];
    Qol32s energy[kFcbSubframe];
    scaleResponse(pSrcImpulseResponse, h);
    responseEnergies(h, energy);
    ownConvert_32s16s_sfs(energy, m.energy, kFcbSubframe, 15);
    correlateResponse(h, [&m](auto first, int k, auto second, simd::i128 low, simd::i128 high) {
        for (int pass = 0; pass < kPassesG729D; ++pass) {
            if (kPassTracksG729D[pass].outer == first && kPassTracksG729D[pass].inner == second) {
                simd::store(m.cross[pass] + kPerTrack * k,
                            simd::packSat16(_mm_srai_epi32(low, 15), _mm_srai_epi32(high, 15)));
            }
        }
    });
}

/// One pass over a pair of tracks; true when it found a better pair, in track order.
bool ownSearch_G729D(const SignedCorrelation& s, const Matrix& m, int pass, Best& best, int* outer,
                     int* inner) {
    using namespace simd;
    const PassTracks tracks = kPassTracksG729D[pass];
    const int first = kPerTrack * tracks.outer, second = kPerTrack * tracks.inner;
    const i128 p = load(s.p + second), d = load(s.d + second), e = load(m.energy + second);
    bool found = false;
    for (int i = first; i < first + kPerTrack; ++i) {
        const i128 rr =
            mulSatQ15(load(m.cross[pass] + kPerTrack * (i - first)), mulSatQ15(splat16(s.p[i]), p));
        const i128 own = splat32(m.energy[i]), lowWord = splat32(0xFFFF);
        const auto sixteenth = [own, lowWord](i128 energy, i128 cross) { // low 16 bits
            const i128 sum = add32(add32(own, energy), add32(cross, cross));
            return _mm_and_si128(_mm_srli_epi32(sum, 4), lowWord);
        };
        const i128 alpha = _mm_packus_epi32(sixteenth(widenLow(e), widenLow(rr)),
                                            sixteenth(widenHigh(e), widenHigh(rr)));
        const i128 ps = addSat16(splat16(s.d[i]), d);
        offer8(squareSatQ15(ps), alpha, best, [&](int k) {
            *outer = i;
            *inner = second + k;
            found = true;
        });
    }
    return found;
}

/// y += the response delayed to a position, with the sign of its pulse.
void addResponse(const Qol16s* h, int position, bool positive, Qol16s* y) {
    for (int n = position; n < kFcbSubframe; ++n) {
        const Qol16s tap = h[n - position];
        y[n] = positive ? basop::add(y[n], tap) : basop::sub(y[n], tap);
    }
}

} // namespace

QolStatus qolsFixedCodebookSearch_G729D_16s(const Qol16s* pSrcFixedCorr,
                                            const Qol16s* pSrcImpulseResponse,
                                            Qol16s* pDstFixedVector, Qol16s* pDstFltFixedVector,
                                            Qol16s* pDstSign, Qol16s* pDstPosition) noexcept {
    if (anyNull(pSrcFixedCorr, pSrcImpulseResponse, pDstFixedVector, pDstFltFixedVector, pDstSign,
                pDstPosition)) {
        return qolStsNullPtrErr;
    }
    Matrix m;
    _qolsToeplizMatrix_G729D_16s32s(pSrcImpulseResponse, m);
    const SignedCorrelation s = splitSigns(pSrcFixedCorr);
    Best best{0, 32767};
    int place[2] = {kPerTrack, 0}; // positions 1 and 0
    for (int pass = 0; pass < kPassesG729D; ++pass) {
        int outer = 0, inner = 0;
        if (ownSearch_G729D(s, m, pass, best, &outer, &inner)) {
            const bool swap = kPassTracksG729D[pass].outerIsFirst;
            place[0] = swap ? outer : inner;
            place[1] = swap ? inner : outer;
        }
    }

    Qol16s vector[kFcbSubframe] = {}, filtered[kFcbSubframe] = {};
    int sign = 0;
    for (int i = 0; i < 2; ++i) {
        const Qol16s p = s.p[place[i]];
        vector[positionOf(place[i])] = static_cast<Qol16s>(vector[positionOf(place[i])] + (p >> 2));
        addResponse(pSrcImpulseResponse, positionOf(place[i]), p > 0, filtered);
        sign |= (p > 0 ? 1 : 0) << i;
    }
    *pDstPosition =
        static_cast<Qol16s>(positionWord_G729D(positionOf(place[0]), positionOf(place[1])));
    *pDstSign = static_cast<Qol16s>(sign);
    std::copy_n(vector, kFcbSubframe, pDstFixedVector);
    std::copy_n(filtered, kFcbSubframe, pDstFltFixedVector);
    return qolStsNoErr;
}

} // namespace qolsc
