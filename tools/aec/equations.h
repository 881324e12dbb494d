// SPDX-License-Identifier: Apache-2.0
// Least squares for the filters of all bands, eight at a time: the normal equations R·w = p of what
// has been heard lately, and steps towards their solution w.
#pragma once

#include "aec/eight.h"

#include <array>
#include <cstddef>
#include <vector>

namespace qolsc::tools {

/// Of eight bands. With x[i] the far end i frames back and d the near end, R[i][j] sums up
/// conj(x[i])·x[j], p[i] sums up conj(x[i])·d, older frames counting for less.
struct BandEquations {
    struct Frame {
        ComplexEight far, error;
    };
    /// Frames that aren't summed up yet, so that a band's sums come into the cache once in a while.
    std::array<Frame, 16> waiting;
    std::size_t waits;
    std::size_t newest;            ///< in far and rows
    std::vector<ComplexEight> far; ///< newest first from `newest` on; twice, so that nothing wraps
    /// A ring of rows, R[i][i] to R[i][segments - 1] the one i behind the newest: R[i + 1][j + 1]
    /// is what R[i][j] was a frame ago, so that a row, once written, only gets older.
    std::vector<ComplexEight> rows;
    std::vector<ComplexEight> gradient;  ///< p - R·w
    std::vector<ComplexEight> direction; ///< of the last step
    std::vector<ComplexEight> image;     ///< R·direction, as R was then
    Eight curvature;                     ///< real part of conj(direction)·image
};

struct Equations {
    std::size_t segments; ///< coefficients of a band
    float keep;           ///< of a sum, from frame to frame
    float loudest, heard; ///< far end's power, most since sums began; frames as loud as that
    int relearning;       ///< frames until sums begin again after something was forgotten
    std::vector<BandEquations> bands;
    std::vector<ComplexEight> downhill; ///< of the step that is being taken
};

Equations makeEquations(int bands, int segments, double framesKept);

/// A frame of far end with this power; then every eight bands take their part of it.
void hear(Equations& e, float power);
/// A frame of eight bands: far end, and error of the coefficients as they are.
void take(Equations& e, std::size_t group, ComplexEight far, ComplexEight error);
/// In how many frames every band should take a step: few while there is much to learn.
std::size_t roundOf(const Equations& e);
/// A step for eight bands: their coefficients are to move by the result, which isn't negative,
/// times `direction`. `ridge` is the power that a coefficient's doubt makes equal to a tap's: it
/// holds the coefficients where the far end tells nothing.
Eight descend(Equations& e, std::size_t group, Eight ridge);
/// Everything that was heard is forgotten, the coefficients stay.
void forget(Equations& e);
/// The coefficients of a band have been replaced: they are taken for its solution.
void settle(Equations& e, std::size_t band);

} // namespace qolsc::tools
