// SPDX-License-Identifier: Apache-2.0
// What the tests of the assembled AMR-WB codec have in common.
#pragma once

#include "kit/streams.h"

namespace qolsc::test {

inline constexpr int kSamples = 320;

inline constexpr const char* kNames[] = {"amrwb-6.60",  "amrwb-8.85",  "amrwb-12.65",
                                         "amrwb-14.25", "amrwb-15.85", "amrwb-18.25",
                                         "amrwb-19.85", "amrwb-23.05", "amrwb-23.85"};

/// Speech, then silence long enough for comfort noise, then speech again.
inline std::vector<Qol16s> speechWithPause() {
    const auto speech = readWords("amrwb/sequences/speech.inp");
    std::vector<Qol16s> pcm(speech.begin(), speech.begin() + 60 * kSamples);
    Random r;
    const auto pause = noise16(r, 60 * kSamples, 20);
    pcm.insert(pcm.end(), pause.begin(), pause.end());
    pcm.insert(pcm.end(), speech.begin() + 60 * kSamples, speech.begin() + 100 * kSamples);
    return pcm;
}

} // namespace qolsc::test
