// SPDX-License-Identifier: Apache-2.0
// Coefficients of the RTA family's filters. They rest on no published text: the library's own design.
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables {

// DC removal, order 4: numerator b0..b3 (antisymmetric), denominator a1..a3 (behind a leading 1), by sampling rate.
extern const Qol32f rgfltDCRemovalNumCoef_16000[4], rgfltDCRemovalNumCoef_22050[4], rgfltDCRemovalNumCoef_32000[4];
extern const Qol32f rgfltDCRemovalDenCoef_16000[3], rgfltDCRemovalDenCoef_22050[3], rgfltDCRemovalDenCoef_32000[3];

// DC removal, order 5, lattice: reflections K[0..3] and taps V[0..4].
extern const Qol32f rgfltHPFLatticeCoefK_8000[4], rgfltHPFLatticeCoefK_16000[4], rgfltHPFLatticeCoefK_22050[4], rgfltHPFLatticeCoefK_32000[4];
extern const Qol32f rgfltHPFLatticeCoefV_8000[5], rgfltHPFLatticeCoefV_16000[5], rgfltHPFLatticeCoefV_22050[5], rgfltHPFLatticeCoefV_32000[5];

// Symmetric prototypes of the two-band quadrature mirror filter.
extern const Qol32f ownrgQmfCoef24[24], ownrgQmfCoef48[48];

// Spectral post-filter, one row a mode; only modes 0 to 4 are served. Factor of the polynomial (h0, h1), scale of the
// log spectrum, exponent of its compression, scale behind it, limit by the mean, tilt.
extern const Qol32f rgfltHpCoeff_32f[8][2];
extern const Qol32f rgfltLogScale_32f[8], rgfltComFac1_32f[8], rgfltMultFac1_32f[8], rgfltMultFac2_32f[8], rgfltLpCoefFac_32f[8];

} // namespace qolsc::tables
