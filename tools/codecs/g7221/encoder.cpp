// SPDX-License-Identifier: Apache-2.0
// One G.722.1 frame from samples to bits (ITU-T G.722.1 clause 3).
#include "codecs/bits.h"
#include "codecs/g7221/frame.h"
#include "codecs/g7221/tables.h"
#include "numeric/basop.h"

#include <algorithm>

namespace qolsc::tools::g7221 {

namespace {

using Spectrum = std::array<Qol16s, kMaxFrame>;

/// Left shifts that bring the folded block to full use of the transform; negative shifts right.
int blockShift(const Spectrum& x, int count) {
    int peak = 0;
    Qol32s sum = 0;
    for (int i = 0; i < count; ++i) {
        const int magnitude = basop::abs_s(x[i]);
        peak = std::max(peak, magnitude);
        sum += magnitude;
    }
    int shift = 0;
    if (peak < 14000) {
        const int t = peak < 438 ? peak + 1 : peak;
        const int norm = basop::norm_s(static_cast<Qol16s>((2 * t * 9587) >> 20));
        shift = norm == 0 ? 9 : norm - 6;
    }
    return peak < sum >> 7 ? shift - 1 : shift;
}

/// Envelope index of a region: twice the logarithm of its root mean square, rounded.
int powerIndex(const Qol16s* x, int shift) {
    Qol32s energy = 0;
    for (int i = 0; i < kRegionSize; ++i) {
        energy = basop::L_mac0(energy, x[i], x[i]);
    }
    int power = 0;
    for (; energy > 0xFFFF; energy >>= 1) {
        ++power;
    }
    for (; energy <= 0x7FFF && power + 15 >= 0; energy <<= 1) {
        --power;
    }
    // The mean over 20 coefficients rounds up from 20 sqrt(2) = 1.7678 * 16 on: 28963 = 1.7678 *
    // 2^14.
    power += energy >> 1 >= 28963 ? 1 : 0;
    return power + 35 - 2 * shift - kDeviationBias;
}

/// Envelope with slopes that the differences can express.
Envelope envelopeOf(const Mode& mode, const Spectrum& x, int shift) {
    Envelope index{};
    for (int r = 0; r < mode.regions; ++r) {
        index[r] = powerIndex(x.data() + kRegionSize * r, shift);
    }
    for (int r = mode.regions - 2; r >= 0; --r) {
        index[r] = std::max(index[r], index[r + 1] - 11);
    }
    for (int r = 0; r < mode.regions; ++r) {
        index[r] = std::clamp(index[r], (r == 0 ? 1 : -8) - kIndexBias, 31 - kIndexBias);
    }
    return index;
}

/// Sends the envelope and leaves the values that the decoder will have.
void putEnvelope(const Mode& mode, Envelope& index, Frame& frame) {
    putBits(frame, static_cast<std::uint32_t>(index[0] + kIndexBias), 5);
    for (int r = 1; r < mode.regions; ++r) {
        const int j = std::max(index[r] - index[r - 1], -12) + 12;
        index[r] = index[r - 1] + j - 12;
        putBits(frame, kEnvelopeCodes[r][j], kEnvelopeLengths[r][j]);
    }
}

/// Codes of one region at its category.
struct RegionCode {
    std::array<Qol32u, 10> words;
    Qol32s bits;
};

/// All regions at their categories, and the sum of their bits.
struct Coding {
    const Spectrum& x;
    std::array<int, kMaxRegions> rmsIndex, category;
    std::array<RegionCode, kMaxRegions> code;
    int bits;
};
void codeRegion(Coding& c, int r) {
    RegionCode& code = c.code[r];
    c.bits -= code.bits;
    code.bits = 0;
    if (c.category[r] < kNotCoded) {
        qolsHuffmanEncode_G722_16s32u(c.category[r], c.rmsIndex[r], c.x.data() + kRegionSize * r,
                                      code.words.data(), &code.bits);
    }
    c.bits += code.bits;
}

/// Brings loud regions into the range of the quantiser's table.
void normalise(Spectrum& x, std::array<int, kMaxRegions>& rmsIndex, const Mode& mode) {
    for (int r = 0; r < mode.regions; ++r) {
        const int n = (rmsIndex[r] - 39) >> 1;
        if (n <= 0) {
            continue;
        }
        for (int i = kRegionSize * r; i < kRegionSize * (r + 1); ++i) {
            x[i] = static_cast<Qol16s>((x[i] * 65536 + 32768) >> n >> 16);
        }
        rmsIndex[r] -= 2 * n;
    }
}

/// Starts in the middle of the possibilities, goes finer while bits are left, then coarser while
/// they are exceeded (clause 3.6). Returns the possibility taken.
int fit(Coding& c, const Mode& mode, const Categories& choice, int available) {
    int control = possibilities(mode) / 2 - 1;
    for (int i = 0; i < control; ++i) {
        ++c.category[choice.balance[i]];
    }
    for (int r = 0; r < mode.regions; ++r) {
        codeRegion(c, r);
    }
    while (c.bits < available && control > 0) {
        const int r = choice.balance[--control];
        --c.category[r];
        codeRegion(c, r);
    }
    while (c.bits > available && control < possibilities(mode) - 1) {
        const int r = choice.balance[control++];
        ++c.category[r];
        codeRegion(c, r);
    }
    return control;
}

void putRegions(const Coding& c, const Mode& mode, Frame& frame) {
    for (int r = 0; r < mode.regions; ++r) {
        const RegionCode& code = c.code[r];
        for (int done = 0; done < code.bits && frame.bits < mode.bits; done += 32) {
            const int count = std::min({32, code.bits - done, mode.bits - frame.bits});
            putBits(frame, code.words[done / 32] >> (32 - count), count);
        }
    }
    while (frame.bits < mode.bits) {
        putBits(frame, 1, 1);
    }
}

} // namespace

void encodeFrame(EncoderState& state, const Qol16s* pcm, Frame& frame) {
    const Mode& mode = state.mode;
    Spectrum x{};
    qolsDecomposeMLTToDCT_G7221_16s(pcm, state.history.data(), x.data(), mode.frame);
    const int shift = blockShift(x, mode.frame);
    for (int i = 0; i < mode.frame; ++i) {
        x[i] = basop::shl(x[i], shift);
    }
    qolsDCTFwd_G7221_16s(x.data(), x.data(), mode.frame);

    Envelope index = envelopeOf(mode, x, shift);
    putEnvelope(mode, index, frame);
    const int available = mode.bits - frame.bits - mode.controlBits;
    const Categories choice = categorise(mode, index, available);

    Coding coding{x, {}, choice.category, {}, 0};
    for (int r = 0; r < mode.regions; ++r) {
        coding.rmsIndex[r] = index[r] + 2 * shift + kDeviationBias;
    }
    normalise(x, coding.rmsIndex, mode);
    const int control = fit(coding, mode, choice, available);
    putBits(frame, static_cast<std::uint32_t>(control), mode.controlBits);
    putRegions(coding, mode, frame);
}

} // namespace qolsc::tools::g7221
