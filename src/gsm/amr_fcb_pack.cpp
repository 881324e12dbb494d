// SPDX-License-Identifier: Apache-2.0
// Index words of the AMR algebraic codebooks: pulses to words and back.
// 3GPP TS 26.090 §5.7.1; the compression at 10.2 kbit/s as in TS 26.073.
#include "gsm/amr_fcb.h"

#include "numeric/basop.h"
#include "tables/gsm_fcb.h"
#include "vector/simd.h"

#include <algorithm>

namespace qolsc::amr {

using namespace basop;

namespace {

// One sample of the sum of the responses, saturating in the order of the pulses.
Qol16s filteredSample(const Qol16s* delayed, const PulseSet& set, const Qol16s* height,
                      int pulses) {
    Qol32s s = 0;
    for (int n = 0; n < pulses; ++n) {
        s = L_mac(s, delayed[-set.pos[n]], height[n]);
    }
    return round_fx(s);
}

// Sum of the responses to the pulses, each with its height in Q15. Where the magnitudes of the
// terms, taken at full height, stay below 2^15, nothing saturates.
void filterPulses(const PulseSet& set, const Qol16s* height, int pulses, const Qol16s* h,
                  Qol16s* pDst) {
    using simd::i128;
    alignas(16) Qol16s delayed[2 * kSubframe] = {}; // the response behind a subframe of zeros
    std::copy_n(h, kSubframe, delayed + kSubframe);
    const int even = pulses & ~1;
    for (int i = 0; i < kSubframe; i += 8) {
        const Qol16s* x = delayed + kSubframe + i;
        i128 lo = simd::splat32(0x4000), hi = lo, magnitudes = simd::zero();
        const auto add = [&](i128 a, i128 b, Qol16s heightA, Qol16s heightB) {
            const i128 sg = _mm_unpacklo_epi16(simd::splat16(heightA), simd::splat16(heightB));
            lo = simd::add32(lo, simd::maddPairs(_mm_unpacklo_epi16(a, b), sg));
            hi = simd::add32(hi, simd::maddPairs(_mm_unpackhi_epi16(a, b), sg));
            magnitudes =
                _mm_adds_epu16(magnitudes, _mm_adds_epu16(_mm_abs_epi16(a), _mm_abs_epi16(b)));
        };
        for (int n = 0; n < even; n += 2) {
            add(simd::load(x - set.pos[n]), simd::load(x - set.pos[n + 1]), height[n],
                height[n + 1]);
        }
        if (even < pulses) {
            add(simd::load(x - set.pos[even]), simd::zero(), height[even], 0);
        }
        if (_mm_movemask_epi8(_mm_srai_epi16(magnitudes, 15)) == 0) {
            simd::store(pDst + i, simd::packSat16(_mm_srai_epi32(lo, 15), _mm_srai_epi32(hi, 15)));
            continue;
        }
        for (int k = 0; k < 8; ++k) {
            pDst[i + k] = filteredSample(x + k, set, height, pulses);
        }
    }
}

/// Place and track of a position.
struct Place {
    int place;
    int track;
};
constexpr Place placeOf(int pos, int tracks) { return {pos / tracks, pos % tracks}; }

// Word and slot of one pulse at the rates up to 7.95 kbit/s: the slot is the bit of its sign.
struct Slot {
    int bits;
    int sign;
};

Slot slotOf(Codebook book, int n, Place p, int subFrame) {
    const int place = p.place;
    switch (book) {
    case Codebook::pulses2of9:
        return n == 0 ? Slot{place + (tables::trackTable[subFrame][p.track] ? 64 : 0), 0}
                      : Slot{place << 3, 1};
    case Codebook::pulses2of11: {
        if (p.track == 3 || (p.track == 1 && n == 0)) {
            return {(place << 1) + (p.track == 3), 0};
        }
        const int code = p.track == 4 ? 3 : p.track;
        return {(place << 6) + (code << 4), 1};
    }
    case Codebook::pulses3: {
        constexpr int base[] = {0, 0, 0, 8, 128}, shift[] = {0, 4, 8, 4, 8},
                      sign[] = {0, 1, 2, 1, 2};
        return {(place << shift[p.track]) + base[p.track], sign[p.track]};
    }
    default: {
        const int code = tables::gray[place];
        return p.track < 3 ? Slot{code << 3 * p.track, p.track}
                           : Slot{(code << 10) + (p.track == 4 ? 512 : 0), 3};
    }
    }
}

void packSparse(const PulseSet& set, const Qol16s* sign, Codebook book, int subFrame,
                Qol16s* pFixedVec, Qol16s* height, Qol16s* pIndices) {
    int word = 0, signs = 0;
    for (int n = 0; n < pulseCount(book); ++n) {
        const int pos = set.pos[n];
        const bool positive = sign[pos] > 0;
        const Slot s = slotOf(book, n, placeOf(pos, 5), subFrame);
        word += s.bits;
        signs += positive ? 1 << s.sign : 0;
        pFixedVec[pos] = static_cast<Qol16s>(positive ? 8191 : -8192);
        height[n] = static_cast<Qol16s>(positive ? 32767 : -32768);
    }
    pIndices[0] = static_cast<Qol16s>(word);
    pIndices[1] = static_cast<Qol16s>(signs);
}

// 8 and 10 pulses: two a track. The order of the two carries the sign of the second: with equal
// signs the lower place stands first, otherwise the higher.
struct TrackPulses {
    int place[5][2];
    bool negative[5];
};

TrackPulses orderPulses(const PulseSet& set, const Qol16s* sign, int tracks) {
    TrackPulses t{};
    bool taken[5] = {};
    for (int n = 0; n < 2 * tracks; ++n) {
        const Place p = placeOf(set.pos[n], tracks);
        const bool negative = sign[set.pos[n]] <= 0;
        int(&place)[2] = t.place[p.track];
        if (!taken[p.track]) {
            taken[p.track] = true;
            place[0] = p.place;
            t.negative[p.track] = negative;
            continue;
        }
        const bool same = t.negative[p.track] == negative;
        const bool swap = same ? place[0] > p.place : place[0] <= p.place;
        place[1] = swap ? place[0] : p.place;
        if (swap) {
            place[0] = p.place;
            t.negative[p.track] = negative;
        }
    }
    return t;
}

// Three places 0 to 9 in ten bits: base 5 of the halves, then the low bits.
Qol16s compress10(int a, int b, int c) {
    return static_cast<Qol16s>((((a >> 1) + 5 * (b >> 1) + 25 * (c >> 1)) << 3) + (a & 1) +
                               2 * (b & 1) + 4 * (c & 1));
}
// Two places in seven bits, the 25 pairs of halves spread over 32 codes in a meandering order.
Qol16s compress7(int a, int b) {
    const int half = (b >> 1) & 1 ? 4 - (a >> 1) : a >> 1;
    const int pair = ((half + 5 * (b >> 1)) * 32 + 12) / 25;
    return static_cast<Qol16s>((pair << 2) + (a & 1) + 2 * (b & 1));
}

void packDense(const PulseSet& set, const Qol16s* sign, Codebook book, Qol16s* pFixedVec,
               Qol16s* height, Qol16s* pIndices) {
    const int tracks = trackCount(book);
    const bool ten = book == Codebook::pulses10;
    for (int n = 0; n < 2 * tracks; ++n) {
        const int pos = set.pos[n];
        const bool positive = sign[pos] > 0;
        const int high = ten ? 4096 : 8191;
        pFixedVec[pos] = static_cast<Qol16s>(pFixedVec[pos] + (positive ? high : -high));
        height[n] =
            static_cast<Qol16s>(ten ? (positive ? 8192 : -8192) : (positive ? 32767 : -32768));
    }
    const TrackPulses t = orderPulses(set, sign, tracks);
    if (ten) {
        for (int k = 0; k < 5; ++k) {
            pIndices[k] = static_cast<Qol16s>(tables::gray[t.place[k][0]] | t.negative[k] << 3);
            pIndices[k + 5] = tables::gray[t.place[k][1]];
        }
        return;
    }
    for (int k = 0; k < 4; ++k) {
        pIndices[k] = t.negative[k];
    }
    pIndices[4] = compress10(t.place[0][0], t.place[0][1], t.place[1][0]);
    pIndices[5] = compress10(t.place[2][0], t.place[2][1], t.place[1][1]);
    pIndices[6] = compress7(t.place[3][0], t.place[3][1]);
}

} // namespace

void packPulses(const PulseSet& set, const Qol16s* sign, const Qol16s* h, Codebook book,
                int subFrame, Qol16s* pFixedVec, Qol16s* pFiltFixedVec, Qol16s* pIndices) {
    Qol16s height[kMaxPulses];
    for (int i = 0; i < kSubframe; ++i) {
        pFixedVec[i] = 0;
    }
    if (pulseCount(book) >= 8) {
        packDense(set, sign, book, pFixedVec, height, pIndices);
    } else {
        packSparse(set, sign, book, subFrame, pFixedVec, height, pIndices);
    }
    filterPulses(set, height, pulseCount(book), h, pFiltFixedVec);
}

namespace {

void unpackSparse(int word, int signs, Codebook book, int subFrame, Qol16s* pFixedVec) {
    const auto field = [&](int shift, int mask) { return (word >> shift) & mask; };
    int pos[4];
    switch (book) {
    case Codebook::pulses2of9: {
        const Qol16s* track = tables::startPos + 8 * field(6, 1) + 2 * subFrame;
        pos[0] = 5 * field(0, 7) + track[0];
        pos[1] = 5 * field(3, 7) + track[1];
        break;
    }
    case Codebook::pulses2of11:
        pos[0] = 5 * field(1, 7) + 2 * field(0, 1) + 1;
        pos[1] = 5 * field(6, 7) + field(4, 3) + (field(4, 3) == 3);
        break;
    case Codebook::pulses3:
        pos[0] = 5 * field(0, 7);
        pos[1] = 5 * field(4, 7) + 2 * field(3, 1) + 1;
        pos[2] = 5 * field(8, 7) + 2 * field(7, 1) + 2;
        break;
    default:
        for (int n = 0; n < 3; ++n) {
            pos[n] = 5 * tables::dgray[field(3 * n, 7)] + n;
        }
        pos[3] = 5 * tables::dgray[field(10, 7)] + field(9, 1) + 3;
        break;
    }
    for (int n = 0; n < pulseCount(book); ++n) {
        pFixedVec[pos[n]] = static_cast<Qol16s>((signs >> n) & 1 ? 8191 : -8192);
    }
}

// Two pulses of a track: the second has the sign of the first unless it lies in front of it.
void placeTrack(Qol16s* pFixedVec, int first, int second, int height) {
    pFixedVec[first] = static_cast<Qol16s>(height);
    pFixedVec[second] =
        static_cast<Qol16s>(pFixedVec[second] + (second < first ? -height : height));
}

void unpack10(const Qol16s* pIndices, Qol16s* pFixedVec) {
    for (int k = 0; k < 5; ++k) {
        const int first = 5 * tables::dgray[pIndices[k] & 7] + k;
        const int second = 5 * tables::dgray[pIndices[k + 5] & 7] + k;
        placeTrack(pFixedVec, first, second, (pIndices[k] >> 3) & 1 ? -4096 : 4096);
    }
}

struct Triple {
    int a, b, c;
};

// Codes above 124 would name places outside the tracks; a negative word acts as 0.
Triple expand10(int word) {
    const int high = word >> 3, low = word & 7;
    const int m = high < 0 ? 0 : high > 124 ? 124 : high;
    const int rest = m % 25;
    return {rest % 5 * 2 + (low & 1), rest / 5 * 2 + (low >> 1 & 1), m / 25 * 2 + (low >> 2)};
}

void unpack8(const Qol16s* pIndices, Qol16s* pFixedVec) {
    const Triple u = expand10(pIndices[4]), v = expand10(pIndices[5]);
    const int m = (pIndices[6] >> 2) & 31, low = pIndices[6] & 3;
    const int pair = (m * 25 + 12) >> 5, d = pair / 5, r = pair % 5;
    const int e = d & 1 ? 4 - r : r;
    const int first[] = {u.a, u.c, v.a, 2 * e + (low & 1)};
    const int second[] = {u.b, v.c, v.b, 2 * d + (low >> 1)};
    for (int k = 0; k < 4; ++k) {
        placeTrack(pFixedVec, 4 * first[k] + k, 4 * second[k] + k, pIndices[k] == 0 ? 8191 : -8191);
    }
}

} // namespace

void unpackPulses(const Qol16s* pIndices, Codebook book, int subFrame, Qol16s* pFixedVec) {
    for (int i = 0; i < kSubframe; ++i) {
        pFixedVec[i] = 0;
    }
    if (book == Codebook::pulses10) {
        unpack10(pIndices, pFixedVec);
    } else if (book == Codebook::pulses8) {
        unpack8(pIndices, pFixedVec);
    } else {
        unpackSparse(pIndices[0], pIndices[1], book, subFrame, pFixedVec);
    }
}

} // namespace qolsc::amr
