// SPDX-License-Identifier: Apache-2.0
// What encoder and decoder of G.723.1 share: constants, frame fields, operators.
#pragma once

#include "codecs/codec.h"
#include "numeric/basop.h"
#include "qolsc/g723.h"

#include <algorithm>
#include <array>

namespace qolsc::tools::g7231 {

inline constexpr int kFrame = 240, kSubframe = 60, kSubframes = 4, kPast = 145, kOrder = 10;
inline constexpr int kShortLag = 58;

/// A subframe's excitation as transmitted.
struct Subframe {
    int lag;    ///< of the half frame: the delay is lag - 1 + offset
    int offset; ///< 1 in even subframes
    int gain;   ///< adaptive gain vector
    int level;  ///< of the fixed codebook
    int train;  ///< 1 for pulse trains
    int grid;
    Qol32s position;
    int signs;
};

enum class Kind : std::uint8_t { high, low, silence, untransmitted };

/// The fields of a frame.
struct Fields {
    Kind kind;
    std::array<int, 3> lsp; ///< indices of the three bands
    std::array<Subframe, kSubframes> sub;
    int noiseGain; ///< of a silence description
    bool erased;   ///< a field is out of its range
};

void packFrame(const Fields& fields, Frame& frame);
Fields unpackFrame(const Frame& frame);

/// Octets of the frame kinds: speech at 6.3 and 5.3 kbit/s, silence description, nothing.
int octetsOf(Kind kind);

/// 32 by 16 bits: a v / 2^15.
constexpr Qol32s L_mls(Qol32s a, Qol16s v) {
    return basop::L_mac(static_cast<Qol32s>((Qol64s{a & 0xFFFF} * v) >> 15), v,
                        basop::extract_h(a));
}

/// Q15 quotient of a 32-bit word and the upper half d of another one.
constexpr Qol16s div_l(Qol32s a, Qol16s d) {
    return Qol64s{a} >= Qol64s{d} * 65536 ? Qol16s{32767} : static_cast<Qol16s>((a >> 1) / d);
}

/// Root of a 32-bit word as the standard steps to it.
constexpr Qol16s rootOf(Qol32s v) {
    Qol32s r = 0;
    for (int bit = 0x4000, i = 0; i < 14; ++i, bit >>= 1) {
        if (Qol64s{v} >= 2 * Qol64s{r + bit} * (r + bit)) {
            r += bit;
        }
    }
    return static_cast<Qol16s>(r);
}

/// Sum of 2 x[i] y[i], saturating at each step.
inline Qol32s dotDoubled(const Qol16s* x, const Qol16s* y, int n, Qol32s start = 0) {
    for (int i = 0; i < n; ++i) {
        start = basop::L_mac(start, x[i], y[i]);
    }
    return start;
}

/// Shift that leaves three bits of headroom, applied; the count is returned.
int normaliseThree(const Qol16s* src, int n, Qol16s* dst);

/// Noise generator of the standard; the seed moves.
constexpr Qol16s nextRandom(Qol16s& seed) {
    seed = static_cast<Qol16s>(static_cast<Qol16u>(static_cast<Qol16u>(seed) * 521u + 259u));
    return seed;
}

using Vector10 = std::array<Qol16s, kOrder>;

/// LSP indices to frequencies, from the previous ones; for an erased frame index 0 and a stronger
/// prediction. G.723.1 2.6, 3.2.
Vector10 decodeLsp(const std::array<int, 3>& indices, const Vector10& previous, bool erased);
/// Predictors of the four subframes, Q13. G.723.1 2.7.
std::array<Vector10, kSubframes> interpolateLsp(const Vector10& current, const Vector10& previous);

/// Excitation of a 5.3 kbit/s subframe from code word, signs, grid and level; the gain vector gives
/// the pitch-synchronous filter. G.723.1 2.16.
void acelpVector(const Subframe& s, Qol16s* vector);
/// What that filter is: lag, or 60 and above for none, and gain.
struct Sharpening {
    int lag;
    Qol16s gain;
};
Sharpening sharpeningOf(const Subframe& s);
void sharpen(const Sharpening& s, Qol16s* vector);
/// Excitation of a 6.3 kbit/s subframe.
void multipulseVector(const Subframe& s, int subframe, Qol16s* vector);

/// Adds the adaptive part to twice the fixed one and moves the history on.
void addExcitation(const Qol16s* fixed, const Qol16s* adaptive, Qol16s* excitation);
inline void pushHistory(Qol16s* past, const Qol16s* samples, int n) {
    std::copy(past + n, past + kPast, past);
    std::copy_n(samples, n, past + kPast - n);
}

} // namespace qolsc::tools::g7231
