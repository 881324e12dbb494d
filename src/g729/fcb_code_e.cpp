// SPDX-License-Identifier: Apache-2.0
// Code words of the 35-bit and 44-bit codebooks of G.729 (E.3.8).
#include "g729/fcb_code_e.h"

#include "g729/fcb.h"

#include <utility>

namespace qolsc {

namespace {

constexpr int kSignBit = 8, kPlace = 7;
constexpr int kPairMask = 127; // the order tells the sign of the pulse in the upper bits

/// Place in the track with the sign in bit 3.
int pulseCode(int position, bool negative) {
    return position / kTracks + (negative ? kSignBit : 0);
}

/// Code of two pulses of a track: the order tells the sign of the second.
int pairCode(int first, int second) {
    const bool sameSign = ((first ^ second) & kSignBit) == 0;
    const bool exchange = sameSign ? second < first : (first & kPlace) <= (second & kPlace);
    if (exchange) {
        std::swap(first, second);
    }
    return (first << 4) + second;
}

/// Code of three pulses of a track in 10 bits.
int pack3(int a, int b, int c) {
    const auto order = [](int& x, int& y) {
        if ((x & kPlace) > (y & kPlace)) {
            std::swap(x, y);
        }
    };
    order(a, b);
    order(a, c);
    order(b, c);
    const auto join = [](int x, int y, int z) {
        return ((x & kPlace) << 7) + ((y & kPlace) << 4) + z;
    };
    const int signs = (a & kSignBit ? 4 : 0) | (b & kSignBit ? 2 : 0) | (c & kSignBit ? 1 : 0);
    switch (signs) {
    case 0:
    case 7:
        return join(a, b, c);
    case 1:
    case 6:
        return join(c, a, b);
    case 2:
    case 5:
        return join(b, a, c);
    default:
        return join(b, c, a);
    }
}

} // namespace

void codeWords_G729E(const PulseSet& set, int pulses, const bool* negative, int* words) {
    int code[kTracks] = {};
    bool taken[kTracks] = {};
    const auto pulse = [&set, negative](int i) {
        return pulseCode(set.position[i], negative[set.position[i]]);
    };
    const int first = pulses - 2 * kTracks; // two pulses a track; two more pulses at 44 bits
    for (int i = first; i < pulses; ++i) {
        const int track = set.position[i] % kTracks;
        code[track] = taken[track] ? pairCode(code[track], pulse(i)) : pulse(i);
        taken[track] = true;
    }
    if (first == 0) {
        for (int t = 0; t < kTracks; ++t) {
            words[t] = code[t] & kPairMask;
        }
        return;
    }
    // The first two tracks hold three pulses; the first one is told, the others follow cyclically.
    for (int i = 0; i < kTracks; ++i) {
        const int track = tables::g729::ipos[set.start + i];
        words[i] = i < 2 ? pack3(code[track] >> 4 & 15, code[track] & 15, pulse(i))
                         : code[track] & kPairMask;
    }
    words[0] += tables::g729::ipos[set.start] << 10;
}

} // namespace qolsc
