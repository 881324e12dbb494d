// SPDX-License-Identifier: Apache-2.0
// Gain codebooks and preselection of G.729 3.9, Annex D and their float forms (Annex C).
#include "tables/g729_gain.h"

namespace qolsc::tables::g729 {

// First stage: pitch gain Q14, code gain correction Q13.
alignas(32) const Qol16s gbk1[8][2] = {
    {1, 1516},
    {1551, 2425},
    {1831, 5022},
    {57, 5404},
    {1921, 9291},
    {3242, 9949},
    {356, 14756},
    {2678, 27162}};

// Second stage: pitch gain Q14, code gain correction Q13.
alignas(32) const Qol16s gbk2[16][2] = {
    {826, 2005},
    {1994, 0},
    {5142, 592},
    {6160, 2395},
    {8091, 4861},
    {9120, 525},
    {10573, 2966},
    {11569, 1196},
    {13260, 3256},
    {14194, 1630},
    {15132, 4914},
    {15161, 14276},
    {15434, 237},
    {16112, 3392},
    {17299, 1861},
    {18973, 5935}};

// Row to transmitted index, first stage.
alignas(32) const Qol16s map1[8] = {
    5, 1, 4, 7, 3, 0, 6, 2};

// Row to transmitted index, second stage.
alignas(32) const Qol16s map2[16] = {
    4, 6, 0, 2, 12, 14, 8, 10, 15, 11, 9, 13, 7, 3, 1, 5};

// Transmitted index to row, first stage.
alignas(32) const Qol16s imap1[8] = {
    5, 1, 7, 4, 2, 0, 6, 3};

// Transmitted index to row, second stage.
alignas(32) const Qol16s imap2[16] = {
    2, 14, 3, 13, 0, 15, 1, 12, 6, 10, 7, 9, 4, 11, 5, 8};

// Preselection transform: Q10, Q14; Q16, Q19.
alignas(32) const Qol16s gain_coef[2][2] = {
    {31881, 26416},
    {31548, 27816}};

// Preselection transform in 32 bits: Q26, Q30; Q32, Q35.
alignas(32) const Qol32s gain_L_coef[2][2] = {
    {2089405952, 1731217536},
    {2067549984, 1822990272}};

// Preselection thresholds, first stage, Q14.
alignas(32) const Qol16s thr1[4] = {
    10808, 12374, 19778, 32567};

// Preselection thresholds, second stage, Q15.
alignas(32) const Qol16s thr2[8] = {
    14087, 16188, 20274, 21321, 23525, 25232, 27873, 30542};

// MA predictor of the energy, Q13.
alignas(32) const Qol16s gain_pred[4] = {
    5571, 4751, 2785, 1556};

// First stage at 6.4 kbit/s: pitch gain Q14, code gain correction Q12. Annex D.
alignas(32) const Qol16s gbk1_6k[8][2] = {
    {5849, 0},
    {2929, 1078},
    {9425, 2731},
    {6068, 6093},
    {3617, 6747},
    {3171, 9280},
    {3915, 12872},
    {4987, 22294}};

// Second stage at 6.4 kbit/s. Annex D.
alignas(32) const Qol16s gbk2_6k[8][2] = {
    {0, 4175},
    {3988, 0},
    {4478, 7324},
    {7876, 7821},
    {10291, 11385},
    {10828, 27602},
    {11956, 10735},
    {16423, 15724}};

// Row to transmitted index at 6.4 kbit/s, first stage.
alignas(32) const Qol16s map1_6k[8] = {
    0, 4, 6, 5, 2, 1, 7, 3};

// Row to transmitted index at 6.4 kbit/s, second stage.
alignas(32) const Qol16s map2_6k[8] = {
    0, 4, 3, 7, 5, 1, 6, 2};

// Transmitted index to row at 6.4 kbit/s, first stage.
alignas(32) const Qol16s imap1_6k[8] = {
    0, 5, 4, 7, 1, 3, 2, 6};

// Transmitted index to row at 6.4 kbit/s, second stage.
alignas(32) const Qol16s imap2_6k[8] = {
    0, 5, 7, 2, 1, 4, 6, 3};

// Preselection transform at 6.4 kbit/s.
alignas(32) const Qol16s gain_coef_6k[2][2] = {
    {18756, 20596},
    {26166, 19322}};

// Preselection transform at 6.4 kbit/s in 32 bits.
alignas(32) const Qol32s gain_L_coef_6k[2][2] = {
    {1229182965, 1349785278},
    {1714804347, 1266310978}};

// Preselection thresholds at 6.4 kbit/s, first stage.
alignas(32) const Qol16s thr1_6k[2] = {
    9919, 19675};

// Preselection thresholds at 6.4 kbit/s, second stage.
alignas(32) const Qol16s thr2_6k[2] = {
    17233, 25144};

// First stage: pitch gain, code gain correction.
alignas(32) const Qol32f gbk1_32f[8][2] = {
    {1e-05F, 0.185084F},
    {0.094719F, 0.296035F},
    {0.111779F, 0.613122F},
    {0.003516F, 0.65978F},
    {0.117258F, 1.134277F},
    {0.197901F, 1.214512F},
    {0.021772F, 1.801288F},
    {0.163457F, 3.3157F}};

// Second stage: pitch gain, code gain correction.
alignas(32) const Qol32f gbk2_32f[16][2] = {
    {0.050466F, 0.244769F},
    {0.121711F, 1e-05F},
    {0.313871F, 0.072357F},
    {0.375977F, 0.292399F},
    {0.49387F, 0.59341F},
    {0.556641F, 0.064087F},
    {0.645363F, 0.362118F},
    {0.706138F, 0.14611F},
    {0.809357F, 0.397579F},
    {0.866379F, 0.199087F},
    {0.923602F, 0.599938F},
    {0.925376F, 1.742757F},
    {0.942028F, 0.029027F},
    {0.983459F, 0.414166F},
    {1.055892F, 0.227186F},
    {1.158039F, 0.724592F}};

// First stage at 6.4 kbit/s.
alignas(32) const Qol32f gbk1_6k_32f[8][2] = {
    {0.357003F, 0.0F},
    {0.178752F, 0.065771F},
    {0.575276F, 0.166704F},
    {0.370335F, 0.371903F},
    {0.220734F, 0.411803F},
    {0.193548F, 0.566385F},
    {0.238962F, 0.785625F},
    {0.304379F, 1.360714F}};

// Second stage at 6.4 kbit/s.
alignas(32) const Qol32f gbk2_6k_32f[8][2] = {
    {0.0F, 0.254841F},
    {0.243384F, 0.0F},
    {0.273293F, 0.447009F},
    {0.480707F, 0.477384F},
    {0.628117F, 0.694884F},
    {0.660905F, 1.684719F},
    {0.729735F, 0.655223F},
    {1.002375F, 0.959743F}};

} // namespace qolsc::tables::g729
