// SPDX-License-Identifier: Apache-2.0
// Levinson-Durbin recursion: the definition, and the one with coefficients in lanes.
#pragma once

#include "g728/g728.h"

namespace qolsc::g728 {

inline constexpr int kMostLanesOrder = 50;

/// Goes on from order start to end; a holds the coefficients, those of the order reached on a
/// failure.
QolStatus ownLevinsonPlain_G728(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                                Qol16s* pScale);
/// The same for end up to kMostLanesOrder and no correlation of -32768, on which pairs of products
/// wrap.
QolStatus ownLevinsonLanes_G728(const Qol16s* r, int start, int end, Qol16s* a, Qol16s* pEnergy,
                                Qol16s* pScale);

} // namespace qolsc::g728
