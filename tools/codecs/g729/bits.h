// SPDX-License-Identifier: Apache-2.0
// Parameters of an 8 kbit/s frame of G.729 and their 80 bits (G.729 Table 8), the lag codes
// (3.7.2, 4.1.3) and the interface between the encoders and the codec records.
#pragma once

#include "codecs/codec.h"
#include "qolsc/types.h"

namespace qolsc::tools::g729 {

inline constexpr int kFrameSamples = 80;
inline constexpr int kSubframe = 40;
inline constexpr int kFrameBits = 80;
inline constexpr int kBits6400 = 64, kBits11800 = 118; ///< Annexes D and E
inline constexpr int kBitsSid = 15;
inline constexpr int kOrder = 10, kCoeffs = kOrder + 1; ///< of the LP filter
inline constexpr int kPastExcitation = 154;

/// Codes of a subframe.
struct SubframeCodes {
    Qol16s lag;      ///< P1 (8 bits) or P2 (5 bits)
    Qol16s position; ///< 13 bits
    Qol16s sign;     ///< 4 bits
    Qol16s gain[2];  ///< first stage 3 bits, second stage 4 bits
    Qol16s words[5]; ///< positions and signs at 11.8 kbit/s
};

/// Codes of a frame.
struct FrameCodes {
    Qol16s lsp[2]; ///< L0 << 7 | L1, then L2 << 5 | L3
    Qol16s parity; ///< of the lag of subframe 0
    SubframeCodes sub[2];
};

/// Parity bit of P1: 1 plus its six upper bits, modulo 2.
int lagParity(int p1);

/// Writes the 80 bits of a frame, each parameter most significant bit first.
void packFrame(const FrameCodes& codes, Frame& frame);
/// Reads them back. The frame has 80 bits.
FrameCodes unpackFrame(const Frame& frame);

/// Writes the 64 bits of a frame of Annex D (9 bits of positions, 2 of signs, 3 and 3 of gains).
void packFrame6400(const FrameCodes& codes, Frame& frame);

/// Lag with its fraction in thirds.
struct Lag {
    int integer;
    int fraction;
};

/// First lag of the window of subframe 1, from the integer lag of subframe 0.
int secondWindow(int lag0);
int encodeLag0(Lag lag);
int encodeLag1(Lag lag, int window);
/// Lag of subframe 1 at 6.4 kbit/s in 4 bits: thirds in the middle of the window only (D.5.7).
int encodeLag1Short(Lag lag, int window);
Lag decodeLag1Short(int code, int window);
Lag decodeLag0(int p1);
Lag decodeLag1(int p2, int window);

} // namespace qolsc::tools::g729
