// SPDX-License-Identifier: Apache-2.0
#include "tables/gsm_dtx.h"

namespace qolsc::tables {

const Qol16s gamma3[10] = {
    18022, 9912, 5451, 2998, 1649, 907, 499, 274, 151, 83,
};

const Qol16s gamma3_MR122[10] = {
    22938, 16057, 11240, 7868, 5508, 3856, 2699, 1889, 1322, 925,
};

const Qol16s gamma4_MR122[10] = {
    24576, 18432, 13824, 10368, 7776, 5832, 4374, 3281, 2461, 1846,
};

} // namespace qolsc::tables
