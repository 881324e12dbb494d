// SPDX-License-Identifier: Apache-2.0
// Tables of ITU-T G.728 that an application needs around the primitives.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tools::g728::tables {

/// Excitation shapes, Q11, samples in time order. G.728 Annex B.
extern const Qol16s kShapes[128][5];

/// Gain levels, Q13; 4 to 7 are the negative ones. G.728 Annex B.
extern const Qol16s kGainLevels[8];

/// Left shifts of the product of gain and gain level. G.728 Annex G.
extern const Qol16s kGainShifts[8];

/// Gain levels in dB, Q11. G.728 Annex G.
extern const Qol16s kGainLevelsDb[8];

/// Energy of each shape in dB, Q11. G.728 Annex G.
extern const Qol16s kShapeEnergiesDb[128];

/// Hybrid window of the synthesis filter analysis, Q15, newest sample first. G.728 Annex A, block 49.
extern const Qol16s kSynthesisWindow[105];

/// Hybrid window of the log-gain analysis, Q15, newest first. G.728 Annex A, block 43.
extern const Qol16s kGainWindow[34];

/// Hybrid window of the weighting filter analysis, Q15, newest first. G.728 Annex A, block 36.
extern const Qol16s kWeightWindow[60];

/// Bandwidth expansion of the synthesis filter, (253/256)^i, Q14. G.728 block 51.
extern const Qol16s kSynthesisExpansion[50];

/// Bandwidth expansion of the log-gain predictor, (29/32)^i, Q14. G.728 block 45.
extern const Qol16s kGainExpansion[10];

/// Weighting filter, numerator: 0.9^i, Q14. G.728 block 38.
extern const Qol16s kWeightZeroExpansion[10];

/// Weighting filter, denominator: 0.6^i, Q14. G.728 block 38.
extern const Qol16s kWeightPoleExpansion[10];

/// Short-term post-filter, numerator: 0.65^i, Q14. G.728 block 85.
extern const Qol16s kPostZeroExpansion[10];

/// Short-term post-filter, denominator: 0.75^i, Q14. G.728 block 85.
extern const Qol16s kPostPoleExpansion[10];

} // namespace qolsc::tools::g728::tables
