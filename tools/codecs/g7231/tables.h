// SPDX-License-Identifier: Apache-2.0
// Tables of ITU-T G.723.1 that an application needs around the primitives.
#pragma once

#include "qolsc/types.h"
#include "tables/g723_search.h"

namespace qolsc::tools::g7231::tables {

// Those that the library's search reads too.
using qolsc::tables::g723::CombTbl;
using qolsc::tables::g723::GainDBLvls;
using qolsc::tables::g723::PulsesPerSbfr;

/// LPC analysis window, Q15. G.723.1 2.4.
extern const Qol16s kHamming[180];

/// Lag window of lags 1 to 10, Q15. G.723.1 2.4.
extern const Qol16s kBinomial[10];

/// Bandwidth expansion before the LSP conversion, 0.994^i, Q15. G.723.1 2.4.
extern const Qol16s kBandExpansion[10];

/// Cosine over a full turn, Q14.
extern const Qol16s kCosine[512];

/// Long-term mean of the LSP vector. G.723.1 2.5.
extern const Qol16s kLspMean[10];

/// LSP codebook, components 0 to 2. G.723.1 2.5.
extern const Qol16s kLspBand0[256][3];

/// LSP codebook, components 3 to 5.
extern const Qol16s kLspBand1[256][3];

/// LSP codebook, components 6 to 9.
extern const Qol16s kLspBand2[256][4];

/// Formant weighting, numerator: 0.9^i, Q15. G.723.1 2.8.
extern const Qol16s kWeightZero[10];

/// Formant weighting, denominator: 0.5^i, Q15.
extern const Qol16s kWeightPole[10];

/// Formant post-filter, numerator: 0.65^i, Q15. G.723.1 3.8.
extern const Qol16s kPostZero[10];

/// Formant post-filter, denominator: 0.75^i, Q15.
extern const Qol16s kPostPole[10];

/// Weight of the pitch post-filter at 6.3 and 5.3 kbit/s, Q15. G.723.1 3.6.
extern const Qol16s kPitchPostWeight[2];

/// Count of valid position codes of each subframe.
extern const Qol32s kPositionCodeCounts[4];

/// Worst-case gain of the entries of the 85-entry codebook, Q13, for the taming. G.723.1 2.14.
extern const Qol16s kWorstGain85[85];

/// The same of the 170-entry codebook.
extern const Qol16s kWorstGain170[170];

/// Lag correction of the pitch-synchronous filter at 5.3 kbit/s by gain index; 60 is no filter.
/// G.723.1 2.16.
extern const Qol16s kPitchSharpLag[170];

/// Gain of that filter, Q15.
extern const Qol16s kPitchSharpGain[170];

/// Factors of the comfort-noise gain by count of energies. G.723.1 A.4.
extern const Qol16s kSidGainFactors[4];

/// Segment bounds of the comfort-noise gain quantiser.
extern const Qol32s kSidGainBounds[3];

/// Segment bases of the same.
extern const Qol16s kSidGainBases[3];

} // namespace qolsc::tools::g7231::tables
