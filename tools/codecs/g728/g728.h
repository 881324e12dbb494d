// SPDX-License-Identifier: Apache-2.0
// G.728 in 16-bit fixed point (Annex G): encoder and decoder at 16 kbit/s, and with the smaller
// codebooks at 12.8 and 9.6 kbit/s. A code word stands for five samples.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g728 {

inline constexpr int kVector = 5;

/// What a rate's code words consist of.
struct Rate {
    int search;    ///< argument of the library's search
    int gainBits;  ///< sign and level
    int shapeBits; ///< place in the scan
};
inline constexpr Rate kRate16{17, 3, 7}, kRate128{14, 2, 6}, kRate96{10, 2, 4};

void* openEncoder(const Rate& rate);
void closeEncoder(void* encoder);
/// Code word of five 16-bit samples.
int encodeVector(void* encoder, const std::int16_t* pcm);

void* openDecoder(const Rate& rate, bool postFilter);
void closeDecoder(void* decoder);
/// Five samples of a code word; a negative one stands for a lost vector.
void decodeVector(void* decoder, int code, std::int16_t* pcm);

/// Long-term post-filter of a pitch and the 240 decoded samples (Q0) before the current vector.
/// G.728 blocks 83 and 84.
struct LongTerm {
    std::int16_t gain;    ///< Q14
    std::int16_t tapGain; ///< Q16
    std::int16_t tap;     ///< Q14
};
LongTerm longTermPostFilter(const std::int16_t* memory, int pitch);

} // namespace qolsc::tools::g728
