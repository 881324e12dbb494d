// SPDX-License-Identifier: Apache-2.0
// One G.722.1 frame from bits to samples (ITU-T G.722.1 clause 4).
#include "codecs/bits.h"
#include "codecs/g7221/frame.h"
#include "codecs/g7221/tables.h"
#include "numeric/basop.h"

#include <algorithm>

namespace qolsc::tools::g7221 {

namespace {

using Spectrum = std::array<Qol16s, kMaxFrame>;

/// Shape of a category's vectors: coefficients, vectors, count of bins.
struct Shape {
    int dimension, vectors, bins;
    const Qol16s* tree;
};
constexpr Shape kShapes[] = {{2, 10, 14, kTree0}, {2, 10, 10, kTree1}, {2, 10, 7, kTree2},
                             {4, 5, 5, kTree3},   {4, 5, 4, kTree4},   {5, 4, 3, kTree5},
                             {5, 4, 2, kTree6}};

/// Bits of a frame, which may run out.
struct Reader {
    const Frame& frame;
    int position;
    int end;
};
std::uint32_t read(Reader& r, int count) { return takeBits(r.frame, r.position, count); }
bool exhausted(const Reader& r) { return r.position > r.end; }

/// What the bits say, and whether they can be right.
struct Decoded {
    Spectrum x{};
    int shift = 0;
    bool bad = false;
};

/// Envelope of the frame; false when an index leaves its range.
bool readEnvelope(const Mode& mode, Reader& reader, Envelope& index) {
    index[0] = static_cast<int>(read(reader, 5)) - kIndexBias;
    for (int r = 1; r < mode.regions; ++r) {
        std::uint32_t code = 0;
        int j = -1;
        // Lengths are 15 at most; the codes of a region are complete, so one fits.
        for (int length = 1; j < 0 && length <= 16; ++length) {
            code = code << 1 | read(reader, 1);
            for (int k = 0; k < 24 && j < 0; ++k) {
                j = kEnvelopeLengths[r][k] == length && kEnvelopeCodes[r][k] == code ? k : -1;
            }
        }
        index[r] = index[r - 1] + j - 12;
        if (index[r] + kIndexBias < -8 || index[r] + kIndexBias > 31) {
            return false;
        }
    }
    return true;
}

/// Shift that keeps all regions inside 16 bits, as large as it may be (clause 4.4).
int outputShift(const Mode& mode, const Envelope& index) {
    int sum = 0, greatest = 0;
    for (int r = 0; r < mode.regions; ++r) {
        sum += kStandardDeviation[index[r] + kDeviationBias];
        greatest = std::max(greatest, index[r] + kDeviationBias);
    }
    int shift = 9;
    for (; shift >= 0 && (sum >= 8 || greatest > 28); --shift) {
        sum >>= 1;
        greatest -= 2;
    }
    return shift;
}

Qol16s randomWord(std::array<Qol16s, 4>& s) {
    Qol16s r = wrap16(s[0] + s[3]);
    r = r < 0 ? basop::add(r, 1) : r;
    s = {r, s[0], s[1], s[2]};
    return r;
}

/// Fills coefficients that carry no code with noise of a level by category (clause 4.3).
void fillNoise(Qol16s* x, int category, int deviation, std::array<Qol16s, 4>& random) {
    constexpr int kLevels_Q15[] = {5793, 8192, 23170};
    const auto level = static_cast<Qol16s>((deviation * kLevels_Q15[category - 5]) >> 15);
    for (int half = 0; half < kRegionSize; half += kRegionSize / 2) {
        Qol16s bits = randomWord(random);
        for (int i = half; i < half + kRegionSize / 2; ++i) {
            if (x[i] == 0) {
                x[i] = static_cast<Qol16s>((bits & 1) != 0 ? level : -level);
                bits = static_cast<Qol16s>(bits >> 1);
            }
        }
    }
}

/// One vector's index from the tree.
int readIndex(Reader& reader, const Qol16s* tree) {
    int node = 0;
    do {
        node = tree[2 * node + static_cast<int>(read(reader, 1))];
    } while (node > 0);
    return -node;
}

/// Coefficients of one coded region; false when the bits end inside it.
bool readRegion(Reader& reader, int category, int deviation, Qol16s* x) {
    const Shape& shape = kShapes[category];
    for (int v = 0; v < shape.vectors; ++v, x += shape.dimension) {
        int bins[5], used = 0;
        for (int i = shape.dimension - 1, rest = readIndex(reader, shape.tree); i >= 0; --i) {
            bins[i] = rest % shape.bins;
            rest /= shape.bins;
            used += bins[i] != 0 ? 1 : 0;
        }
        const std::uint32_t signs = read(reader, used);
        if (exhausted(reader)) {
            return false;
        }
        for (int i = 0, sign = used; i < shape.dimension; ++i) {
            x[i] = static_cast<Qol16s>((deviation * kCentroids[category][bins[i]]) >> 12);
            if (x[i] != 0) {
                --sign;
                x[i] = static_cast<Qol16s>((signs >> sign & 1) != 0 ? x[i] : -x[i]);
            }
        }
    }
    return true;
}

Decoded decodeBits(DecoderState& state, const Frame& frame) {
    const Mode& mode = state.mode;
    Decoded d;
    Reader reader{frame, 0, mode.bits};
    Envelope index{};
    if (!readEnvelope(mode, reader, index)) {
        d.bad = true;
        return d;
    }
    d.shift = outputShift(mode, index);
    const int control = static_cast<int>(read(reader, mode.controlBits));
    const Categories choice = categorise(mode, index, mode.bits - reader.position);
    auto category = choice.category;
    for (int i = 0; i < control; ++i) {
        ++category[choice.balance[i]];
    }

    bool ranOut = false;
    for (int r = 0; r < mode.regions; ++r) {
        Qol16s* x = d.x.data() + kRegionSize * r;
        const int deviation = kStandardDeviation[index[r] + kDeviationBias + 2 * d.shift];
        if (!ranOut && category[r] < kNotCoded && !readRegion(reader, category[r], deviation, x)) {
            ranOut = true;
            std::fill(x, x + kRegionSize, Qol16s{0});
        }
        const int filled = ranOut ? kNotCoded : category[r];
        if (filled >= 5) {
            fillNoise(x, filled, deviation, state.random);
        }
    }
    if (ranOut) {
        d.bad = control < possibilities(mode) - 1;
    }
    while (!ranOut && reader.position < reader.end) {
        d.bad |= read(reader, 1) == 0; // what is left over was filled with ones
    }
    return d;
}

} // namespace

int decodeFrame(DecoderState& state, const Frame& frame, Qol16s* pcm) {
    const Mode& mode = state.mode;
    Decoded d;
    d.bad = true;
    if (frame.kind == FrameKind::speech && frame.bits == mode.bits) {
        d = decodeBits(state, frame);
    }
    if (d.bad) {
        // The frame before once more; a second loss in a row gives silence.
        d.x = state.coefficients;
        d.shift = state.shift;
        state.coefficients.fill(0);
    } else {
        state.coefficients = d.x;
        state.shift = d.shift;
    }
    Spectrum y;
    qolsDCTInv_G7221_16s(d.x.data(), y.data(), mode.frame);
    for (int i = 0; i < mode.frame; ++i) {
        y[i] = basop::shr(y[i], d.shift);
    }
    qolsDecomposeDCTToMLT_G7221_16s(y.data(), state.overlap.data(), pcm, mode.frame);
    return mode.frame;
}

} // namespace qolsc::tools::g7221
