// SPDX-License-Identifier: Apache-2.0
// Index words of the algebraic codebook (TS 26.190 5.8.2) and its decoder (6.1). N is the count of
// bits of a place; the sign of a code stays in bit 4 whatever N is.
#include "amrwb/acelp.h"
#include "amrwb/amrwb.h"

#include <algorithm>

namespace qolsc::acelp {
namespace {

constexpr Qol16s kNegative = 16;

constexpr Rate kRates[] = {
    {12, 0, 8192, 2, 0, {}},
    {20, 4, 8192, 4, 2, {4, 8}},
    {28, 4, 6144, 6, 3, {4, 8, 8}},
    {36, 4, 4096, 8, 3, {4, 8, 8}},
    {44, 4, 4096, 10, 4, {4, 6, 8, 8}},
    {52, 4, 4096, 12, 4, {4, 6, 8, 8}},
    {64, 3, 3277, 16, 6, {4, 4, 6, 6, 8, 8}},
    {72, 3, 3072, 18, 7, {2, 3, 4, 5, 6, 7, 8}},
    {88, 2, 2048, 24, 10, {2, 2, 3, 4, 5, 6, 7, 8, 8, 8}},
    {88, 1, 2048, 24, 10, {2, 2, 3, 4, 5, 6, 7, 8, 8, 8}},
};

/// Row of kRates by rate code, -1 for codes that aren't rates.
constexpr signed char kRowOfCode[33] = {-1, -1, -1, -1, -1, 0, -1, -1, -1, 1, -1,
                                        -1, -1, 3,  -1, 4,  5, -1, 6,  7,  8, 9,
                                        8,  -1, -1, 0,  1,  2, 3,  4,  5,  6, 7};

/// How many pulses the tracks hold: tracks 0, 1 and tracks 2, 3.
struct Allocation {
    int first, second;
};
constexpr Allocation allocationOf(int pulses) { return {(pulses + 2) / 4, pulses / 4}; }

int placeOf(int code, int n) { return code & ((1 << n) - 1); }
int signOf(int code) { return code >> 4 & 1; }
int halfOf(int code, int n) { return code >> (n - 1) & 1; }

int quant1(int c, int n) { return placeOf(c, n) + (signOf(c) << n); }

/// The order of the places tells whether the signs are equal.
int ownQuant2p2N1(int c1, int c2, int n) {
    const bool equal = signOf(c1) == signOf(c2);
    const bool firstHigh = equal ? c1 <= c2 : placeOf(c1, n) > placeOf(c2, n);
    const int high = firstHigh ? c1 : c2, low = firstHigh ? c2 : c1;
    return (placeOf(high, n) << n) + placeOf(low, n) + (signOf(high) << (2 * n));
}

/// Two pulses of the same half of the track among the first three, and the third.
struct Split {
    int u, v, w;
};
Split pairInOneHalf(const Qol16s* c, int n) {
    const int h0 = halfOf(c[0], n);
    return h0 == halfOf(c[1], n)   ? Split{c[0], c[1], c[2]}
           : h0 == halfOf(c[2], n) ? Split{c[0], c[2], c[1]}
                                   : Split{c[1], c[2], c[0]};
}

int ownQuant3p3N1(const Qol16s* c, int n) {
    const Split s = pairInOneHalf(c, n);
    return ownQuant2p2N1(s.u, s.v, n - 1) + (halfOf(s.u, n) << (2 * n - 1)) +
           (quant1(s.w, n) << (2 * n));
}

int ownQuant4p4N1(const Qol16s* c, int n) {
    const Split s = pairInOneHalf(c, n);
    return ownQuant2p2N1(s.u, s.v, n - 1) + (halfOf(s.u, n) << (2 * n - 1)) +
           (ownQuant2p2N1(s.w, c[3], n) << (2 * n));
}

/// The pulses of each half of the track, in their order.
struct Halves {
    Qol16s low[6], high[6];
    int lowCount, highCount;
};
Halves splitHalves(const Qol16s* c, int count, int n) {
    Halves h{};
    for (int i = 0; i < count; ++i) {
        if (halfOf(c[i], n) != 0) {
            h.high[h.highCount++] = c[i];
        } else {
            h.low[h.lowCount++] = c[i];
        }
    }
    return h;
}

int ownQuant4p4N(const Qol16s* c, int n) {
    const int m = n - 1;
    const Halves h = splitHalves(c, 4, n);
    int index = (h.lowCount & 3) << (4 * n - 2);
    switch (h.lowCount) {
    case 0:
        return index + (1 << (4 * n - 3)) + ownQuant4p4N1(h.high, m);
    case 1:
        return index + (quant1(h.low[0], m) << (3 * m + 1)) + ownQuant3p3N1(h.high, m);
    case 2:
        return index + (ownQuant2p2N1(h.low[0], h.low[1], m) << (2 * m + 1)) +
               ownQuant2p2N1(h.high[0], h.high[1], m);
    case 3:
        return index + (ownQuant3p3N1(h.low, m) << n) + quant1(h.high[0], m);
    default:
        return index + ownQuant4p4N1(h.low, m);
    }
}

int ownQuant5p5N(const Qol16s* c, int n) {
    const Halves h = splitHalves(c, 5, n);
    const bool highRules = h.lowCount < 3;
    const Qol16s* major = highRules ? h.high : h.low;
    const Qol16s* minor = highRules ? h.low : h.high;
    const int inMajor = highRules ? h.highCount : h.lowCount;
    const int rest0 = inMajor > 3 ? major[3] : minor[0],
              rest1 = inMajor > 4 ? major[4] : minor[inMajor > 3 ? 0 : 1];
    return ((highRules ? 1 : 0) << (5 * n - 1)) + (ownQuant3p3N1(major, n - 1) << (2 * n + 1)) +
           ownQuant2p2N1(rest0, rest1, n);
}

int ownQuant6p6N2(const Qol16s* c, int n) {
    const int m = n - 1;
    const Halves h = splitHalves(c, 6, n);
    if (h.lowCount == 3) {
        return (3 << (6 * n - 4)) + (ownQuant3p3N1(h.low, m) << (3 * m + 1)) +
               ownQuant3p3N1(h.high, m);
    }
    const bool highRules = h.lowCount < 3;
    const Qol16s* major = highRules ? h.high : h.low;
    const Qol16s* minor = highRules ? h.low : h.high;
    const int inMinor = highRules ? h.lowCount : h.highCount;
    const int head = (inMinor << (6 * n - 4)) + ((highRules ? 1 : 0) << (6 * n - 5));
    switch (inMinor) {
    case 0:
        return head + (ownQuant5p5N(major, m) << n) + quant1(major[5], m);
    case 1:
        return head + (ownQuant5p5N(major, m) << n) + quant1(minor[0], m);
    default:
        return head + (ownQuant4p4N(major, m) << (2 * m + 1)) +
               ownQuant2p2N1(minor[0], minor[1], m);
    }
}

// ---- the way back: o is the part of the place that the outer level knows ----

void dec1(Qol32u w, int n, int o, Qol16s* c) {
    c[0] =
        static_cast<Qol16s>(placeOf(static_cast<int>(w), n) + o + ((w >> n & 1) ? kNegative : 0));
}

void dec2(Qol32u w, int n, int o, Qol16s* c) {
    const int a = placeOf(static_cast<int>(w >> n), n) + o, b = placeOf(static_cast<int>(w), n) + o;
    const int sign = (w >> (2 * n) & 1) ? kNegative : 0;
    c[0] = static_cast<Qol16s>(a + sign);
    c[1] = static_cast<Qol16s>(b + (b < a ? kNegative - sign : sign));
}

/// The pair of one half that opens the words of three and four pulses.
void decPair(Qol32u w, int n, int o, Qol16s* c) {
    dec2(w & ((1u << (2 * n - 1)) - 1), n - 1,
         o + static_cast<int>(w >> (2 * n - 1) & 1) * (1 << (n - 1)), c);
}

void dec3(Qol32u w, int n, int o, Qol16s* c) {
    decPair(w, n, o, c);
    dec1(w >> (2 * n), n, o, c + 2);
}

void dec4of4N1(Qol32u w, int n, int o, Qol16s* c) {
    decPair(w, n, o, c);
    dec2(w >> (2 * n), n, o, c + 2);
}

void ownDec4p4N(Qol32u w, int n, int o, Qol16s* c) {
    const int m = n - 1, upper = o + (1 << m);
    switch (w >> (4 * n - 2) & 3) {
    case 0:
        dec4of4N1(w, m, (w >> (4 * m + 1) & 1) ? upper : o, c);
        break;
    case 1:
        dec1(w >> (3 * m + 1), m, o, c);
        dec3(w, m, upper, c + 1);
        break;
    case 2:
        dec2(w >> (2 * m + 1), m, o, c);
        dec2(w, m, upper, c + 2);
        break;
    default:
        dec3(w >> (m + 1), m, o, c);
        dec1(w, m, upper, c + 3);
    }
}

void ownDec5p5N(Qol32u w, int n, int o, Qol16s* c) {
    dec3(w >> (2 * n + 1), n - 1, (w >> (5 * n - 1) & 1) ? o + (1 << (n - 1)) : o, c);
    dec2(w, n, o, c + 3);
}

void ownDec6p6N2(Qol32u w, int n, int o, Qol16s* c) {
    const int m = n - 1, upper = o + (1 << m);
    const bool highRules = (w >> (6 * n - 5) & 1) != 0;
    const int major = highRules ? upper : o, minor = highRules ? o : upper;
    switch (w >> (6 * n - 4) & 3) {
    case 0:
        ownDec5p5N(w >> n, m, major, c);
        dec1(w, m, major, c + 5);
        break;
    case 1:
        ownDec5p5N(w >> n, m, major, c);
        dec1(w, m, minor, c + 5);
        break;
    case 2:
        ownDec4p4N(w >> (2 * m + 1), m, major, c);
        dec2(w, m, minor, c + 4);
        break;
    default:
        dec3(w >> (3 * m + 1), m, o, c);
        dec3(w, m, upper, c + 3);
    }
}

/// Bits that a track's second word takes when its index is split over two; 0 for a single word.
constexpr int lowBits(int pulses) {
    return pulses == 4 ? 14 : pulses == 5 ? 10 : pulses == 6 ? 11 : 0;
}

} // namespace

const Rate* rateOf(Qol32s valRate) {
    if (valRate < 0 || valRate > 32 || kRowOfCode[valRate] < 0) {
        return nullptr;
    }
    return &kRates[kRowOfCode[valRate]];
}

void pack(const Rate& rate, const Qol16s codes[kTracks][kMostPulses], Qol16s* pIndices) {
    const Allocation share = allocationOf(rate.pulses);
    for (int t = 0; t < kTracks; ++t) {
        const Qol16s* c = codes[t];
        const int pulses = t < 2 ? share.first : share.second;
        const int index = pulses == 1   ? quant1(c[0], 4)
                          : pulses == 2 ? ownQuant2p2N1(c[0], c[1], 4)
                          : pulses == 3 ? ownQuant3p3N1(c, 4)
                          : pulses == 4 ? ownQuant4p4N(c, 4)
                          : pulses == 5 ? ownQuant5p5N(c, 4)
                                        : ownQuant6p6N2(c, 4);
        const int low = lowBits(pulses);
        if (low == 0) {
            pIndices[t] = static_cast<Qol16s>(index);
        } else {
            pIndices[t] = static_cast<Qol16s>(index >> low);
            pIndices[t + kTracks] = static_cast<Qol16s>(index & ((1 << low) - 1));
        }
    }
}

void unpack(const Rate& rate, const Qol16s* pIndices, Qol16s codes[kTracks][kMostPulses],
            int counts[kTracks]) {
    const Allocation share = allocationOf(rate.pulses);
    for (int t = 0; t < kTracks; ++t) {
        Qol16s* c = codes[t];
        const int pulses = t < 2 ? share.first : share.second;
        const int low = lowBits(pulses);
        const Qol32u word = static_cast<Qol16u>(pIndices[t]);
        const Qol32u w =
            low == 0 ? word : (word << low) + static_cast<Qol16u>(pIndices[t + kTracks]);
        counts[t] = pulses;
        switch (pulses) {
        case 1:
            dec1(w, 4, 0, c);
            break;
        case 2:
            dec2(w, 4, 0, c);
            break;
        case 3:
            dec3(w, 4, 0, c);
            break;
        case 4:
            ownDec4p4N(w, 4, 0, c);
            break;
        case 5:
            ownDec5p5N(w, 4, 0, c);
            break;
        default:
            ownDec6p6N2(w, 4, 0, c);
        }
    }
}

} // namespace qolsc::acelp

namespace qolsc {
namespace {
constexpr Qol16s kPulse = 512; // Q9
}

QolStatus qolsAlgebraicCodebookDecode_AMRWB_16s(const Qol16s* pIndices, Qol16s* pFixedVec,
                                                Qol32s valRate) noexcept {
    using namespace acelp;
    if (anyNull(pIndices, pFixedVec)) {
        return qolStsNullPtrErr;
    }
    const Rate* rate = rateOf(valRate);
    if (rate == nullptr) {
        return qolStsRangeErr;
    }
    if (rate->bits == 12) {
        const int w = pIndices[0];
        std::fill_n(pFixedVec, kLength, Qol16s{0});
        pFixedVec[2 * (w >> 6 & 31)] = static_cast<Qol16s>((w & 0x800) != 0 ? -kPulse : kPulse);
        pFixedVec[2 * (w & 31) + 1] = static_cast<Qol16s>((w & 0x20) != 0 ? -kPulse : kPulse);
        return qolStsNoErr;
    }
    Qol16s codes[kTracks][kMostPulses];
    int counts[kTracks];
    unpack(*rate, pIndices, codes, counts);
    std::fill_n(pFixedVec, kLength, Qol16s{0});
    for (int t = 0; t < kTracks; ++t) {
        for (int k = 0; k < counts[t]; ++k) {
            Qol16s& at = pFixedVec[4 * (codes[t][k] & 15) + t];
            at = static_cast<Qol16s>(at + ((codes[t][k] & kNegative) != 0 ? -kPulse : kPulse));
        }
    }
    return qolStsNoErr;
}

} // namespace qolsc
