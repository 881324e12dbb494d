// SPDX-License-Identifier: Apache-2.0
// Tables of ITU-T G.722: quantisers, scale-factor adaptation, QMF, and the filters of the loss tools. Constant
// expressions, since the coder derives its own forms from them.
#pragma once

#include "qolsc/types.h"

#include <array>

namespace qolsc::tables {

/// Decision levels of the 6-bit quantiser of the lower band, relative to the scale factor, Q12 (G.722 Table 14, q6).
inline constexpr std::array<Qol16s, 31> table_quant_q6{
       0,   35,   72,  110,  150,  190,  233,  276,  323,  370,  422,  473,  530,  587,  650,  714,
     786,  858,  940, 1023, 1121, 1219, 1339, 1458, 1612, 1765, 1980, 2195, 2557, 2919, 3200};

/// 6-bit code by interval, the first half for a negative difference; interval i stands at i + 1 of its half (Table 17).
inline constexpr std::array<Qol16s, 64> table_misil{
     0, 63, 62, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10,  9,  8,  7,  6,  5,  4,  0,
     0, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46, 45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32,  0};

/// 2-bit code by interval of the higher band: 1 and 2 negative, 4 and 5 non-negative (Table 20).
inline constexpr std::array<Qol16s, 6> table_misih{0, 1, 0, 0, 3, 2};

/// Magnitude index by 4-bit code (Table 18).
inline constexpr std::array<Qol16s, 16> table_quant_ril4{0, 7, 6, 5, 4, 3, 2, 1, 7, 6, 5, 4, 3, 2, 1, 0};

/// Sign by 4-bit code, -1 for negative.
inline constexpr std::array<Qol16s, 16> table_quant_risi4{0, -1, -1, -1, -1, -1, -1, -1,  0,  0,  0,  0,  0,  0,  0,  0};

/// Reconstruction levels by magnitude index of the 4-bit inverse quantiser, Q12 (oq4).
inline constexpr std::array<Qol16s, 8> table_quant_oq4{0,  150,  323,  530,  786, 1121, 1612, 2557};

/// Magnitude index by 5-bit code.
inline constexpr std::array<Qol16s, 32> table_quant_ril5{
     1,  1, 15, 14, 13, 12, 11, 10,  9,  8,  7,  6,  5,  4,  3,  2,
    15, 14, 13, 12, 11, 10,  9,  8,  7,  6,  5,  4,  3,  2,  1,  1};

/// Sign by 5-bit code.
inline constexpr std::array<Qol16s, 32> table_quant_risi5{
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
     0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0, -1};

/// Reconstruction levels of the 5-bit inverse quantiser, Q12 (oq5).
inline constexpr std::array<Qol16s, 16> table_quant_oq5{0,   35,  110,  190,  276,  370,  473,  587,  714,  858, 1023, 1219, 1458, 1765, 2195, 2919};

/// Magnitude index by 6-bit code.
inline constexpr std::array<Qol16s, 64> table_quant_ril6{
     1,  1,  1,  1, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19,
    18, 17, 16, 15, 14, 13, 12, 11, 10,  9,  8,  7,  6,  5,  4,  3,
    30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15,
    14, 13, 12, 11, 10,  9,  8,  7,  6,  5,  4,  3,  2,  1,  2,  1};

/// Sign by 6-bit code.
inline constexpr std::array<Qol16s, 64> table_quant_risi6{
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
     0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
     0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0, -1, -1};

/// Reconstruction levels of the 6-bit inverse quantiser, Q12 (oq6).
inline constexpr std::array<Qol16s, 31> table_quant_oq6{
       0,   17,   54,   91,  130,  170,  211,  254,  300,  347,  396,  447,  501,  558,  618,  682,  750,  822,
     899,  982, 1072, 1170, 1279, 1399, 1535, 1689, 1873, 2088, 2376, 2738, 3101};

/// Magnitude index by 2-bit code of the higher band (Table 21).
inline constexpr std::array<Qol16s, 4> table_quant_ih2{2, 1, 2, 1};

/// Sign by 2-bit code.
inline constexpr std::array<Qol16s, 4> table_quant_sih{-1, -1,  0,  0};

/// Reconstruction levels of the higher band, Q12 (oq2).
inline constexpr std::array<Qol16s, 3> table_quant_oq2{0, 202, 926};

/// Logarithmic scale-factor step by magnitude index of the 4-bit code, Q11 (wl).
inline constexpr std::array<Qol16s, 8> table_quant_wl{-60,  -30,   58,  172,  334,  538, 1198, 3042};

/// Logarithmic scale-factor step by magnitude index of the higher band, Q11 (wh).
inline constexpr std::array<Qol16s, 3> table_quant_wh{0, -214,  798};

/// Inverse logarithm of the scale factor in steps of 1/32 octave (ila).
inline constexpr std::array<Qol16u, 353> table_ila{
       1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,    1,
       1,    1,    1,    2,    2,    2,    2,    2,    2,    2,    2,    2,    2,    2,    2,    2,
       3,    3,    3,    3,    3,    3,    3,    3,    3,    3,    3,    4,    4,    4,    4,    4,
       4,    4,    4,    5,    5,    5,    5,    5,    5,    5,    6,    6,    6,    6,    6,    6,
       7,    7,    7,    7,    7,    7,    8,    8,    8,    8,    8,    9,    9,    9,    9,   10,
      10,   10,   10,   11,   11,   11,   11,   12,   12,   12,   13,   13,   13,   13,   14,   14,
      15,   15,   15,   16,   16,   16,   17,   17,   18,   18,   18,   19,   19,   20,   20,   21,
      21,   22,   22,   23,   23,   24,   24,   25,   25,   26,   27,   27,   28,   28,   29,   30,
      31,   31,   32,   33,   33,   34,   35,   36,   37,   37,   38,   39,   40,   41,   42,   43,
      44,   45,   46,   47,   48,   49,   50,   51,   52,   54,   55,   56,   57,   58,   60,   61,
      63,   64,   65,   67,   68,   70,   71,   73,   75,   76,   78,   80,   82,   83,   85,   87,
      89,   91,   93,   95,   97,   99,  102,  104,  106,  109,  111,  113,  116,  118,  121,  124,
     127,  129,  132,  135,  138,  141,  144,  147,  151,  154,  157,  161,  165,  168,  172,  176,
     180,  184,  188,  192,  196,  200,  205,  209,  214,  219,  223,  228,  233,  238,  244,  249,
     255,  260,  266,  272,  278,  284,  290,  296,  303,  310,  316,  323,  331,  338,  345,  353,
     361,  369,  377,  385,  393,  402,  411,  420,  429,  439,  448,  458,  468,  478,  489,  500,
     511,  522,  533,  545,  557,  569,  582,  594,  607,  621,  634,  648,  663,  677,  692,  707,
     723,  739,  755,  771,  788,  806,  823,  841,  860,  879,  898,  918,  938,  958,  979, 1001,
    1023, 1045, 1068, 1092, 1115, 1140, 1165, 1190, 1216, 1243, 1270, 1298, 1327, 1356, 1386, 1416,
    1447, 1479, 1511, 1544, 1578, 1613, 1648, 1684, 1721, 1759, 1797, 1837, 1877, 1918, 1960, 2003,
    2047, 2092, 2138, 2185, 2232, 2281, 2331, 2382, 2434, 2488, 2542, 2598, 2655, 2713, 2773, 2833,
    2895, 2959, 3024, 3090, 3157, 3227, 3297, 3370, 3443, 3519, 3596, 3675, 3755, 3837, 3921, 4007,
    4095};

/// QMF of clause 3.1 and 4.4, twice the coefficients of Table 11, Q14.
inline constexpr std::array<Qol16s, 24> qmf_coeffs_G722{
        6,   -22,   -22,   106,    24,  -312,    64,   724,  -420, -1610,  1902,  7752,
     7752,  1902, -1610,  -420,   724,    64,  -312,    24,   106,   -22,   -22,     6};

/// Low-pass in front of the decimation by 4, Q16 (Appendix IV).
inline constexpr std::array<Qol16s, 9> G722PLC_fir_lp{3692,  6190,  8525, 10186, 10787, 10186,  8525,  6190,  3692};

/// Offset removal of the higher band: input gain and feedback, Q15 (Appendix IV).
inline constexpr std::array<Qol16s, 2> hb_coeff{29212, 25656};

} // namespace qolsc::tables
