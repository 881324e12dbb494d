// SPDX-License-Identifier: Apache-2.0
// Interpolation filters of the pitch search, G.729 3.7 and 3.7.1.
#include "tables/g729_pitch.h"

namespace qolsc::tables::g729 {

// 1/3 interpolation filter of the excitation.
alignas(32) const Qol32f inter_3l_32f[31] = {
    0.898517F, 0.769271F, 0.448635F, 0.095915F, -0.134333F, -0.178528F, -0.084919F, 0.036952F,
    0.095533F, 0.068936F, -0.0F, -0.050404F, -0.050835F, -0.014169F, 0.023083F, 0.033543F,
    0.016774F, -0.007466F, -0.01934F, -0.013755F, 0.0F, 0.0094F, 0.009029F, 0.002381F, -0.003658F,
    -0.005027F, -0.002405F, 0.00105F, 0.00278F, 0.002145F, 0.0F};

} // namespace qolsc::tables::g729
