// SPDX-License-Identifier: Apache-2.0
// Tables of the echo canceller: prototype windows of its filter banks, resonators of its tone detectors.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

// Prototype windows by order of the transform, frame size and length. They are symmetric: first halves.
extern const Qol32f QolsSubbandWindow_5_24_128[64], QolsSubbandWindow_6_44_256[128];

// Resonators at 2100 Hz for 8 and 16 kHz, y[n] = c0 x[n] + c1 x[n-2] - c2 y[n-1] - c3 y[n-2], as floats and in Q12.
extern const Qol32f td_iir_coeffs_8_32f[4], td_iir_coeffs_16_32f[4];
extern const Qol16s td_iir_coeffs_8_16s[4], td_iir_coeffs_16_16s[4];

} // namespace qolsc::tables
