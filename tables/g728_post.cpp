// SPDX-License-Identifier: Apache-2.0
// Pitch extraction of the post-filter adapter of ITU-T G.728.
#include "tables/g728_post.h"

namespace qolsc::tables::g728 {

const Qol16s decimationPole[3] = {
    -19172, 16481, -5031,
};

const Qol16s decimationZero[4] = {
    18721, -3668, -3668, 18721,
};

} // namespace qolsc::tables::g728
