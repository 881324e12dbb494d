// SPDX-License-Identifier: Apache-2.0
// Tables of the fixed-point helpers. Constant expressions, since the helpers are.
#pragma once

#include "qolsc/types.h"

#include <array>
#include <bit>

namespace qolsc::tables {

/// Left shifts that normalise a 32-bit word, by its top byte; 65535 (-1) where bit 31 is set.
inline constexpr auto NormTable = [] {
    std::array<Qol16u, 256> t{};
    for (unsigned b = 0; b < 256; ++b) {
        t[b] = static_cast<Qol16u>(7 - std::bit_width(b));
    }
    return t;
}();

/// The same by the second byte of a word whose top byte is 0: NormTable plus 8, modulo 2^16.
inline constexpr auto NormTable2 = [] {
    std::array<Qol16u, 256> t{};
    for (unsigned b = 0; b < 256; ++b) {
        t[b] = static_cast<Qol16u>(NormTable[b] + 8);
    }
    return t;
}();

/// Significant bits of the index.
inline constexpr auto LogTable = [] {
    std::array<Qol16u, 256> t{};
    for (unsigned b = 0; b < 256; ++b) {
        t[b] = static_cast<Qol16u>(std::bit_width(b));
    }
    return t;
}();

/// log2(1 + i/32), Q15, rounded, the last one held at 32767.
inline constexpr std::array<Qol16u, 33> Log2Table{
    0,     1455,  2866,  4236,  5568,  6863,  8124,  9352,  10549, 11716, 12855, 13967, 15054, 16117, 17156, 18172, 19167,
    20142, 21097, 22033, 22951, 23852, 24735, 25603, 26455, 27291, 28113, 28922, 29716, 30497, 31266, 32023, 32767};

/// 2^(i/32), Q14, the last one held at 32767.
inline constexpr std::array<Qol16u, 33> tabpow{
    16384, 16743, 17109, 17484, 17867, 18258, 18658, 19066, 19484, 19911, 20347, 20792, 21247, 21713, 22188, 22674, 23170,
    23678, 24196, 24726, 25268, 25821, 26386, 26964, 27554, 28158, 28774, 29405, 30048, 30706, 31379, 32066, 32767};

/// round(2^14 / sqrt((16 + i)/64)) with 32767 first: 1/sqrt(x)/2 for x of 0.25 to 1 in steps of 1/64, Q15.
inline constexpr std::array<Qol16s, 49> invSqrtTable{
    32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214, 25705, 25225, 24770, 24339, 23930, 23541, 23170,
    22817, 22479, 22155, 21845, 21548, 21263, 20988, 20724, 20470, 20225, 19988, 19760, 19539, 19326, 19119, 18919, 18725,
    18536, 18354, 18176, 18004, 17837, 17674, 17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384};

/// invSqrtTable in the upper halves of 32-bit words.
inline constexpr auto tabsqr = [] {
    std::array<Qol32s, 49> t{};
    for (unsigned i = 0; i < t.size(); ++i) {
        t[i] = invSqrtTable[i] * 65536;
    }
    return t;
}();

/// Differences of neighbouring entries of invSqrtTable.
inline constexpr auto tabsqr_d = [] {
    std::array<Qol16s, 48> t{};
    for (unsigned i = 0; i < t.size(); ++i) {
        t[i] = static_cast<Qol16s>(invSqrtTable[i] - invSqrtTable[i + 1]);
    }
    return t;
}();

} // namespace qolsc::tables
