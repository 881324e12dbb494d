// SPDX-License-Identifier: Apache-2.0
// Search of the excitation codebook: the definition, and the kernels of four shapes at once.
#pragma once

#include "g728/g728.h"

namespace qolsc::g728 {

inline constexpr int kShapes = 128, kShapesPerGroup = 4;

/// Sample of a shape, out of the grouped table.
Qol16s shapeSample(int shape, int sample);

/// What distinguishes the rates: levels with their bounds against the energy, the top one first,
/// and the groups of four shapes to scan.
struct SearchRate {
    int levels;
    Qol16s bound[3];   ///< between a level and the next lower one, the top one first
    Qol16s pair[4][2]; ///< minus twice the level and its square, the top one first
    int firstGroup, groups, groupStep;
};
inline constexpr SearchRate kRate160{
    4, {17787, 10164, 5808}, {{-22638, 15640}, {-12936, 5107}, {-7392, 1668}, {-4224, 545}}, 0, 32,
    1};
inline constexpr SearchRate kRate128{
    2, {7126, 0, 0}, {{-12800, 5000}, {-4308, 566}, {0, 0}, {0, 0}}, 16, 16, 1};
inline constexpr SearchRate kRate96{
    2, {8253, 0, 0}, {{-15874, 7690}, {-4626, 653}, {0, 0}, {0, 0}}, 24, 4, 2};

/// Best shape, as its place in the scan, and gain with the sign bit.
struct SearchResult {
    int position;
    int gain;
};

SearchResult ownCodebookSearchPlain_G728(const SearchRate& rate, const Qol16s* corr,
                                         const Qol16s* energy);

SearchResult ownCodebookSearch_G728_16s_R160(const Qol16s* corr, const Qol16s* energy);
SearchResult ownCodebookSearch_G728_16s_R128(const Qol16s* corr, const Qol16s* energy);
SearchResult ownCodebookSearch_G728_16s_R96(const Qol16s* corr, const Qol16s* energy);

/// Energies of all shapes through the impulse response (5, Q13), one product after the other.
void ownImpulseResponseEnergyPlain_G728(const Qol16s* h, Qol16s* energy);
void ownImpulseResponseEnergy_G728(const Qol16s* h, Qol16s* energy);

} // namespace qolsc::g728
