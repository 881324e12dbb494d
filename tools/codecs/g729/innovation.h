// SPDX-License-Identifier: Apache-2.0
// Fixed-codebook vectors of G.729 from their codes (§4.1.4, §D.5.8, Annex E).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tools::g729 {

/// All write 40 samples, Q13.
/// 8 kbit/s: four pulses, 13 and 4 bits.
void innovation17(int position, int sign, Qol16s* code);
/// 6.4 kbit/s: two pulses, 9 and 2 bits.
void innovation11(int position, int sign, Qol16s* code);
/// 11.8 kbit/s, forward: ten pulses in five words of 7 bits, a track each.
void innovation35(const Qol16s* words, Qol16s* code);
/// 11.8 kbit/s, backward: twelve pulses in words of 13, 10, 7, 7 and 7 bits.
void innovation44(const Qol16s* words, Qol16s* code);

} // namespace qolsc::tools::g729
