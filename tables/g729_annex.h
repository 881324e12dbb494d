// SPDX-License-Identifier: Apache-2.0
// Hybrid window of ITU-T G.729 Annex E.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g729 {

/// Hybrid window of the backward analysis in the order of time, Q15 (ITU-T G.729 Annex E).
extern const Qol16s hw[145];

/// The same as floats (ITU-T G.729 Annex C+).
extern const Qol32f hybridWindowInverse[145];

} // namespace qolsc::tables::g729
