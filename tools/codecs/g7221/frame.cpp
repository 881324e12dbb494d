// SPDX-License-Identifier: Apache-2.0
// Modes and categorisation of G.722.1 (ITU-T G.722.1 clause 3.4).
#include "codecs/g7221/frame.h"

#include "codecs/g7221/tables.h"

#include <algorithm>

namespace qolsc::tools::g7221 {

namespace {

constexpr int kFramesPerSecond = 50;

using Regions = std::array<int, kMaxRegions>;

int expectedBits(const Mode& mode, const Regions& category) {
    int bits = 0;
    for (int r = 0; r < mode.regions; ++r) {
        bits += kExpectedBits[category[r]];
    }
    return bits;
}

Regions categoriesAt(const Mode& mode, const Envelope& index, int offset) {
    Regions category{};
    for (int r = 0; r < mode.regions; ++r) {
        category[r] = std::clamp((offset - index[r]) >> 1, 0, kNotCoded);
    }
    return category;
}

/// Greatest offset, in steps of one, at which the expected bits still fill what is there.
int bestOffset(const Mode& mode, const Envelope& index, int available) {
    int offset = -32;
    for (int delta = 32; delta > 0; delta /= 2) {
        if (expectedBits(mode, categoriesAt(mode, index, offset + delta)) >= available - 32) {
            offset += delta;
        }
    }
    return offset;
}

/// Moves one region to another category and keeps the count of expected bits.
void step(Regions& category, int& bits, int region, int by) {
    bits -= kExpectedBits[category[region]];
    category[region] += by;
    bits += kExpectedBits[category[region]];
}

/// The region whose category is the most above what its power asks for, to be made finer.
int finerRegion(const Mode& mode, const Envelope& index, const Regions& category, int offset) {
    int best = 0, least = 99;
    for (int r = 0; r < mode.regions; ++r) {
        const int distance = offset - index[r] - 2 * category[r];
        if (category[r] > 0 && distance < least) {
            least = distance;
            best = r;
        }
    }
    return best;
}

/// The region to be made coarser; of equal ones the highest.
int coarserRegion(const Mode& mode, const Envelope& index, const Regions& category, int offset) {
    int best = 0, greatest = -99;
    for (int r = mode.regions - 1; r >= 0; --r) {
        const int distance = offset - index[r] - 2 * category[r];
        if (category[r] < kNotCoded && distance > greatest) {
            greatest = distance;
            best = r;
        }
    }
    return best;
}

} // namespace

Mode shortMode(int bitRate) { return {320, 14, 4, bitRate / kFramesPerSecond}; }
Mode longMode(int bitRate) { return {640, 28, 5, bitRate / kFramesPerSecond}; }

Categories categorise(const Mode& mode, const Envelope& index, int availableBits) {
    // At the higher rates codes get longer than expected.
    const int available = availableBits > mode.frame
                              ? mode.frame + ((availableBits - mode.frame) * 5 >> 3)
                              : availableBits;
    const int offset = bestOffset(mode, index, available);
    Regions finest = categoriesAt(mode, index, offset), coarsest = finest;
    int mostBits = expectedBits(mode, finest), leastBits = mostBits;

    // Steps to either side fill the list from its middle.
    const int count = possibilities(mode);
    std::array<int, 2 * kMaxPossibilities> list{};
    int up = count, down = count;
    for (int i = 0; i < count - 1; ++i) {
        if (mostBits + leastBits <= 2 * available) {
            const int r = finerRegion(mode, index, finest, offset);
            list[--up] = r;
            step(finest, mostBits, r, -1);
        } else {
            const int r = coarserRegion(mode, index, coarsest, offset);
            list[down++] = r;
            step(coarsest, leastBits, r, +1);
        }
    }
    Categories result{finest, {}};
    std::copy(list.begin() + up, list.begin() + down, result.balance.begin());
    return result;
}

} // namespace qolsc::tools::g7221
