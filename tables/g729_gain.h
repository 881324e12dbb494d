// SPDX-License-Identifier: Apache-2.0
// Gain codebooks and preselection of G.729 3.9, Annex D and their float forms (Annex C).
#pragma once

#include "qolsc/types.h"

namespace qolsc::tables::g729 {

/// First stage: pitch gain Q14, code gain correction Q13.
extern const Qol16s gbk1[8][2];

/// Second stage: pitch gain Q14, code gain correction Q13.
extern const Qol16s gbk2[16][2];

/// Row to transmitted index, first stage.
extern const Qol16s map1[8];

/// Row to transmitted index, second stage.
extern const Qol16s map2[16];

/// Transmitted index to row, first stage.
extern const Qol16s imap1[8];

/// Transmitted index to row, second stage.
extern const Qol16s imap2[16];

/// Preselection transform: Q10, Q14; Q16, Q19.
extern const Qol16s gain_coef[2][2];

/// Preselection transform in 32 bits: Q26, Q30; Q32, Q35.
extern const Qol32s gain_L_coef[2][2];

/// Preselection thresholds, first stage, Q14.
extern const Qol16s thr1[4];

/// Preselection thresholds, second stage, Q15.
extern const Qol16s thr2[8];

/// MA predictor of the energy, Q13.
extern const Qol16s gain_pred[4];

/// First stage at 6.4 kbit/s: pitch gain Q14, code gain correction Q12. Annex D.
extern const Qol16s gbk1_6k[8][2];

/// Second stage at 6.4 kbit/s. Annex D.
extern const Qol16s gbk2_6k[8][2];

/// Row to transmitted index at 6.4 kbit/s, first stage.
extern const Qol16s map1_6k[8];

/// Row to transmitted index at 6.4 kbit/s, second stage.
extern const Qol16s map2_6k[8];

/// Transmitted index to row at 6.4 kbit/s, first stage.
extern const Qol16s imap1_6k[8];

/// Transmitted index to row at 6.4 kbit/s, second stage.
extern const Qol16s imap2_6k[8];

/// Preselection transform at 6.4 kbit/s.
extern const Qol16s gain_coef_6k[2][2];

/// Preselection transform at 6.4 kbit/s in 32 bits.
extern const Qol32s gain_L_coef_6k[2][2];

/// Preselection thresholds at 6.4 kbit/s, first stage.
extern const Qol16s thr1_6k[2];

/// Preselection thresholds at 6.4 kbit/s, second stage.
extern const Qol16s thr2_6k[2];

/// First stage: pitch gain, code gain correction.
extern const Qol32f gbk1_32f[8][2];

/// Second stage: pitch gain, code gain correction.
extern const Qol32f gbk2_32f[16][2];

/// First stage at 6.4 kbit/s.
extern const Qol32f gbk1_6k_32f[8][2];

/// Second stage at 6.4 kbit/s.
extern const Qol32f gbk2_6k_32f[8][2];

} // namespace qolsc::tables::g729
