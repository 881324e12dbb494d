// SPDX-License-Identifier: Apache-2.0
// Comfort noise of G.729 Annex B (§B.4.4): excitation of noise frames, level and spectrum that the
// SID frames carry. The excitation serves encoder and decoder alike.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tools::g729 {

inline constexpr Qol16s kNoiseSeed = 11111; ///< of the generator after every speech frame

/// Next number of the generator (§4.4.4).
inline Qol16u nextRandom(Qol16s& seed) {
    const auto r = static_cast<Qol16u>(unsigned{static_cast<Qol16u>(seed)} * 31821u + 13849u);
    seed = static_cast<Qol16s>(r);
    return r;
}

/// Indices of a SID frame: 15 bits.
struct SidCodes {
    Qol16s lsf[3]; ///< predictor 1 bit, first stage 5 bits, second stage 4 bits
    Qol16s gain;   ///< 5 bits
};

/// What a subframe of noise was built from.
struct NoiseSubframe {
    int lag;
    Qol16s pitchGain; ///< Q14
    Qol16s fixedGain; ///< Q0, magnitude of the pulses
};

/// Excitation of one subframe at exc[154..193], the 154 past samples in front.
NoiseSubframe noiseExcitation(Qol16s level, Qol16s* exc, Qol16s& seed);

/// Level of a SID gain index.
Qol16s sidLevel(int index);

/// Energy of the excitation: word times 2^exponent.
struct SidEnergy {
    Qol16s word;
    int exponent;
};
/// Gain index for the energy of a frame of speech, in place of a first SID frame that was lost.
int sidIndexOfSpeech(SidEnergy energy);

/// Quantised level of a SID frame.
struct SidGain {
    int index;
    int energy; ///< dB
};
/// Gain for the residual energies, word times 2^-exponent, of one or two frames of noise.
SidGain quantiseSidGain(const SidEnergy* energies, int count);

/// Follows the SID level, by 1/8 a frame.
Qol16s smoothLevel(Qol16s level, Qol16s target);

} // namespace qolsc::tools::g729
