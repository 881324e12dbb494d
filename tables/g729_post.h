// SPDX-License-Identifier: Apache-2.0
// Post-filter and phase dispersion tables of ITU-T G.729 and its Annex D.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g729 {

/// Powers of 0.7, Q15: denominator of the short-term post-filter (ITU-T G.729 §4.2.2).
extern const Qol16s facGamma1_pst[11];

/// Powers of 0.55, Q15: numerator of the short-term post-filter (ITU-T G.729 §4.2.2).
extern const Qol16s facGamma2_pst[11];

/// Short interpolation filters of the long-term post-filter, Q15, phases 1/8..7/8 (ITU-T G.729 §4.2.1).
extern const Qol16s tab_hup_s[7][4];

/// Long interpolation filters of the same phases, Q15 (ITU-T G.729 §4.2.1).
extern const Qol16s tab_hup_l[7][16];

/// Dispersion impulse for low pitch gains, Q15 (ITU-T G.729 Annex D §D.6.2).
extern const Qol16s phImpLow[40];

/// Dispersion impulse for middle pitch gains, Q15 (ITU-T G.729 Annex D §D.6.2).
extern const Qol16s phImpMid[40];

} // namespace qolsc::tables::g729
