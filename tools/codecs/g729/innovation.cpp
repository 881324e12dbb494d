// SPDX-License-Identifier: Apache-2.0
// Fixed-codebook vectors of G.729 from their codes (§4.1.4, §D.5.8, Annex E).
#include "codecs/g729/innovation.h"

#include <algorithm>

namespace qolsc::tools::g729 {

namespace {

constexpr int kSubframe = 40, kTracks = 5;
constexpr Qol16s kUp = 8191, kDown = -8192; // +1 and -1, Q13
constexpr int kHeightE = 4096;              // of Annex E's pulses

void clear(Qol16s* code) { std::fill_n(code, kSubframe, Qol16s{0}); }

Qol16s pulse(int sign, int bit) { return (sign >> bit & 1) != 0 ? kUp : kDown; }

int grayToBinary(int g) {
    g ^= g >> 4;
    g ^= g >> 2;
    return g ^ g >> 1;
}

/// Pulses of one track of Annex E: the sign of the first is coded (1: minus), each further one
/// has the other sign when it lies behind the one before it.
void addPulses(int word, int count, int track, Qol16s* code) {
    int last = kTracks * (word & 7) + track;
    int height = (word >> 3 & 1) != 0 ? -kHeightE : kHeightE;
    code[last] = static_cast<Qol16s>(code[last] + height);
    for (int i = 1; i < count; ++i) {
        const int at = kTracks * (word >> (1 + 3 * i) & 7) + track;
        if (at > last) {
            height = -height;
        }
        code[at] = static_cast<Qol16s>(code[at] + height);
        last = at;
    }
}

} // namespace

void innovation17(int position, int sign, Qol16s* code) {
    clear(code);
    for (int i = 0; i < 3; ++i) {
        code[5 * (position >> (3 * i) & 7) + i] = pulse(sign, i);
    }
    code[5 * (position >> 10 & 7) + 3 + (position >> 9 & 1)] = pulse(sign, 3);
}

void innovation11(int position, int sign, Qol16s* code) {
    clear(code);
    const int i0 = grayToBinary(position & 15), i1 = grayToBinary(position >> 4 & 31);
    const int p0 = 5 * (i0 / 2) + (i0 % 2 == 0 ? 1 : 3);
    const int p1 = i1 < 24 ? 5 * (i1 / 3) + 2 * (i1 % 3) : 5 * (i1 - 24) + 1;
    code[p0] = pulse(sign, 0);
    code[p1] = static_cast<Qol16s>(code[p1] + pulse(sign, 1));
}

void innovation35(const Qol16s* words, Qol16s* code) {
    clear(code);
    for (int track = 0; track < kTracks; ++track) {
        addPulses(words[track], 2, track, code);
    }
}

void innovation44(const Qol16s* words, Qol16s* code) {
    clear(code);
    const int first = std::min(words[0] >> 10 & 7, kTracks - 1);
    for (int i = 0; i < kTracks; ++i) {
        addPulses(words[i], i < 2 ? 3 : 2, (first + i) % kTracks, code);
    }
}

} // namespace qolsc::tools::g729
