// SPDX-License-Identifier: Apache-2.0
// GSM full rate: coder and decoder between samples and the 76 parameters of a frame.
// GSM 06.10 (ETSI EN 300 961).
#pragma once

#include "qolsc/types.h"

#include <array>

namespace qolsc::tools::gsmfr {

inline constexpr int kFrameSamples = 160;
inline constexpr int kSubframes = 4;
inline constexpr int kSubframeSamples = 40;
inline constexpr int kOrder = 8;
inline constexpr int kPulses = 13;
inline constexpr int kParameters = 76;
inline constexpr int kFrameBits = 260;
inline constexpr int kMinLag = 40, kMaxLag = 120;

/// The coded parameters of a subframe.
struct Subframe {
    Qol16s lag;                         ///< Nc, 40 to 120
    Qol16s gain;                        ///< bc, 0 to 3
    Qol16s grid;                        ///< Mc, 0 to 3
    Qol16s block;                       ///< xmaxc, 0 to 63
    std::array<Qol16s, kPulses> pulses; ///< xMc, 0 to 7
};

/// The coded parameters of a frame.
struct Parameters {
    std::array<Qol16s, kOrder> lar; ///< LARc
    std::array<Subframe, kSubframes> subframes;
};

/// LAR of two frames, from which the filters of four pieces of the frame come.
struct LarMemory {
    std::array<Qol16s, kOrder> last{};
};

struct Encoder {
    std::array<Qol32s, 2> offset{};
    Qol16s emphasis = 0;
    std::array<Qol16s, kOrder> analysis{};
    LarMemory lar;
    std::array<Qol16s, kMaxLag + kFrameSamples> residual{}; ///< reconstructed, the past in front
};

struct Decoder {
    std::array<Qol16s, kOrder> synthesis{};
    Qol16s emphasis = 0;
    Qol16s lag = kMinLag;
    LarMemory lar;
    std::array<Qol16s, kMaxLag + kFrameSamples> residual{}; ///< the past in front
};

void encodeFrame(Encoder& encoder, const Qol16s* pcm, Parameters& out);
void decodeFrame(Decoder& decoder, const Parameters& in, Qol16s* pcm);

// ---- what both sides share ----

/// Decoded log-area ratios (§5.2.8).
std::array<Qol16s, kOrder> decodeLar(const std::array<Qol16s, kOrder>& code);

/// A piece of the frame with its own filter.
struct Piece {
    int first, samples;
    std::array<Qol16s, kOrder> reflection; ///< Q15
};
/// The four pieces of a frame (§5.2.9); the memory takes the frame's LAR.
std::array<Piece, 4> interpolateLar(LarMemory& memory, const std::array<Qol16s, kOrder>& lar);

/// Exponent and mantissa of a block's maximum (§5.2.15).
struct BlockScale {
    int exponent, mantissa;
};
BlockScale blockScale(int code);

/// The 40 samples of an RPE sequence: 13 pulses on a grid of step 3 (§5.2.16, §5.2.17).
std::array<Qol16s, kSubframeSamples> decodeRpe(const Subframe& s);

/// Quantised long-term gains (table 4.3b), Q15.
inline constexpr std::array<Qol16s, 4> kLtpGain{3277, 11469, 21299, 32767};

// Table 4.1 and 4.2 by coefficient.
inline constexpr std::array<Qol16s, kOrder> kLarA{20480, 20480, 20480, 20480,
                                                  13964, 15360, 8534,  9036};
inline constexpr std::array<Qol16s, kOrder> kLarB{0, 0, 2048, -2560, 94, -1792, -341, -1144};
inline constexpr std::array<Qol16s, kOrder> kLarMin{-32, -32, -16, -16, -8, -8, -4, -4};
inline constexpr std::array<Qol16s, kOrder> kLarMax{31, 31, 15, 15, 7, 7, 3, 3};
inline constexpr std::array<Qol16s, kOrder> kLarInvA{13107, 13107, 13107, 13107,
                                                     19223, 17476, 31454, 29708};

} // namespace qolsc::tools::gsmfr
