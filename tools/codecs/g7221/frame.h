// SPDX-License-Identifier: Apache-2.0
// What encoder and decoder of G.722.1 share: modes, categories and their balance (ITU-T G.722.1
// clause 3.4), and the coders of one frame.
#pragma once

#include "codecs/codec.h"

#include "qolsc/g722.h"

#include <array>

namespace qolsc::tools::g7221 {

inline constexpr int kRegionSize = 20; ///< coefficients of a region
inline constexpr int kMaxRegions = 28;
inline constexpr int kMaxFrame = 640;
inline constexpr int kMaxPossibilities = 32;
inline constexpr int kIndexBias = 7;      ///< added to an envelope index where it is sent
inline constexpr int kDeviationBias = 24; ///< envelope index to table index
inline constexpr int kNotCoded = 7;       ///< category of a region without codes

/// 7 kHz (main body) or 14 kHz (Annex C) at one bit rate.
struct Mode {
    int frame;       ///< samples and coefficients of a frame, N
    int regions;     ///< coded regions
    int controlBits; ///< bits of the categorisation control
    int bits;        ///< bits of a frame
};
inline int possibilities(const Mode& mode) { return 1 << mode.controlBits; }
Mode shortMode(int bitRate); ///< 7 kHz
Mode longMode(int bitRate);  ///< 14 kHz

using Envelope = std::array<int, kMaxRegions>;

/// Categories of the first possibility, and the regions that the next ones raise by one, in order.
struct Categories {
    std::array<int, kMaxRegions> category;
    std::array<int, kMaxPossibilities> balance;
};
Categories categorise(const Mode& mode, const Envelope& index, int availableBits);

struct EncoderState {
    Mode mode;
    std::array<Qol16s, kMaxFrame> history{};
};
void encodeFrame(EncoderState& state, const Qol16s* pcm, Frame& frame);

struct DecoderState {
    Mode mode;
    std::array<Qol16s, kMaxFrame / 2> overlap{};
    std::array<Qol16s, kMaxFrame> coefficients{}; ///< of the frame before, for a lost one
    int shift = 0;                                ///< theirs
    std::array<Qol16s, 4> random{1, 1, 1, 1};
};
/// Returns the count of samples.
int decodeFrame(DecoderState& state, const Frame& frame, Qol16s* pcm);

} // namespace qolsc::tools::g7221
