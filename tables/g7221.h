// SPDX-License-Identifier: Apache-2.0
// Tables of ITU-T G.722.1 (main body: 320 coefficients; Annex C: 640): windows, integer DCT, vector Huffman codes.
#pragma once

#include "qolsc/types.h"

#include <array>

namespace qolsc::tables {

/// Analysis window in pairs, Q15 (clause 3.1). Pair i < N/2 weighs the previous frame's samples N/2-1-i and N/2+i, pair N/2+i
/// the new samples N-1-i (negated) and i.
extern const Qol16s cnstSamples2MLT_G722_7kHz[640];

/// The same for N = 640 (Annex C).
extern const Qol16s cnstSamples2MLT_G722_14kHz[1280];

/// Synthesis window in pairs, Q15 (clause 4.6). Pair i < N/2 weighs DCT sample N/2-1-i and old sample i, pair N/2+i old sample
/// N/2-1-i (negated) and DCT sample i.
extern const Qol16s cnstMLT2Samples_G722_7kHz[640];

/// The same for N = 640 (Annex C).
extern const Qol16s cnstMLT2Samples_G722_14kHz[1280];

/// Added before the 320-point forward DCT, Q0.
extern const Qol16s cnstAnalBias_G722[320];

/// Added after the 320-point inverse DCT, Q0.
extern const Qol16s cnstSynthesisBias7khz_G722[320];

/// Dither of the first butterfly of the 320-point inverse DCT, Q0.
extern const Qol16s dct_s_dither_7kHz[320];

/// Dither of the first butterfly of the 640-point inverse DCT, Q0.
extern const Qol16s dct_s_dither_14kHz[640];

/// 10-point DCT-IV of the forward transform, Q15, row = input, column = output.
inline constexpr std::array<Qol16s, 100> dct_core_a{
     10453,  10196,   9688,   8941,   7973,   6810,   5479,   4013,   2448,    823,
     10196,   7973,   4013,   -823,  -5479,  -8941, -10453,  -9688,  -6810,  -2448,
      9688,   4013,  -4013,  -9688,  -9688,  -4013,   4013,   9688,   9688,   4013,
      8941,   -823,  -9688,  -7973,   2448,  10196,   6810,  -4013, -10453,  -5479,
      7973,  -5479,  -9688,   2448,  10453,    823, -10196,  -4013,   8941,   6810,
      6810,  -8941,  -4013,  10196,    823, -10453,   2448,   9688,  -5479,  -7973,
      5479, -10453,   4013,   6810, -10196,   2448,   7973,  -9688,    823,   8941,
      4013,  -9688,   9688,  -4013,  -4013,   9688,  -9688,   4013,   4013,  -9688,
      2448,  -6810,   9688, -10453,   8941,  -5479,    823,   4013,  -7973,  10196,
       823,  -2448,   4013,  -5479,   6810,  -7973,   8941,  -9688,  10196, -10453};

/// 10-point DCT-IV of the inverse transform, Q15, 0.9 cos(pi (k + 0.5)(i + 0.5)/10).
inline constexpr std::array<Qol16s, 100> dct_core_s{
     29400,  28676,  27246,  25145,  22425,  19153,  15409,  11286,   6885,   2314,
     28676,  22425,  11286,  -2314, -15409, -25145, -29400, -27246, -19153,  -6885,
     27246,  11286, -11286, -27246, -27246, -11286,  11286,  27246,  27246,  11286,
     25145,  -2314, -27246, -22425,   6885,  28676,  19153, -11286, -29400, -15409,
     22425, -15409, -27246,   6885,  29400,   2314, -28676, -11286,  25145,  19153,
     19153, -25145, -11286,  28676,   2314, -29400,   6885,  27246, -15409, -22425,
     15409, -29400,  11286,  19153, -28676,   6885,  22425, -27246,   2314,  25145,
     11286, -27246,  27246, -11286, -11286,  27246, -27246,  11286,  11286, -27246,
      6885, -19153,  27246, -29400,  25145, -15409,   2314,  11286, -22425,  28676,
      2314,  -6885,  11286, -15409,  19153, -22425,  25145, -27246,  28676, -29400};

/// Rotations of the forward DCT for blocks of 20: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_10[20];

/// Rotations of the forward DCT for blocks of 40: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_20[40];

/// Rotations of the forward DCT for blocks of 80: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_40[80];

/// Rotations of the forward DCT for blocks of 160: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_80[160];

/// Rotations of the forward DCT for blocks of 320: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_160[320];

/// Rotations of the forward DCT for blocks of 640: cosine, minus sine, Q15.
extern const Qol16s a_cos_msin_320[640];

/// Rotations of the inverse DCT for blocks of 20: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_10[20];

/// Rotations of the inverse DCT for blocks of 40: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_20[40];

/// Rotations of the inverse DCT for blocks of 80: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_40[80];

/// Rotations of the inverse DCT for blocks of 160: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_80[160];

/// Rotations of the inverse DCT for blocks of 320: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_160[320];

/// Rotations of the inverse DCT for blocks of 640: cosine, minus sine, Q15.
extern const Qol16s s_cos_msin_320[640];

/// Coefficients of a vector, by category.
extern const Qol16s cnstVecDimentions_G722[8];

/// Vectors of a region, by category.
extern const Qol16s cnstVecNumbers_G722[8];

/// Greatest quantiser bin, by category.
extern const Qol16s cnstMaxBin_G722[8];

/// Inverse of the quantiser step, by category, Q15.
extern const Qol16s cnstStepSizeInv_G722[8];

/// Rounding offset of the quantiser, by category, Q13.
extern const Qol16s cnstIntDeadZone_G722[8];

/// Two bits more of the rounding offset, Q15.
extern const Qol16s cnstIntDeadZone_G722_low_bits[8];

/// Inverse of a region's standard deviation, by index (steps of 3 dB, index 24 is 1), Q15.
extern const Qol16s cnstStdDeviationInv_G722[64];

/// Vector Huffman codes of category 0 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg0_G722[196];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg0_G722[196];

/// Vector Huffman codes of category 1 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg1_G722[100];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg1_G722[100];

/// Vector Huffman codes of category 2 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg2_G722[49];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg2_G722[49];

/// Vector Huffman codes of category 3 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg3_G722[625];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg3_G722[625];

/// Vector Huffman codes of category 4 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg4_G722[256];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg4_G722[256];

/// Vector Huffman codes of category 5 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg5_G722[243];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg5_G722[243];

/// Vector Huffman codes of category 6 by vector index, right-aligned.
extern const Qol16u cnstMltSqvhCodeCtg6_G722[32];

/// Their lengths in bits.
extern const Qol16s cnstMltSqvhBitcountCtg6_G722[32];

} // namespace qolsc::tables
