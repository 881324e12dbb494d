// SPDX-License-Identifier: Apache-2.0
// What coder and decoder of GSM full rate share: LAR decoding and interpolation, RPE decoding.
// GSM 06.10 §5.2.8, §5.2.9, §5.2.15 to §5.2.17.
#include "codecs/gsmfr/gsmfr.h"

#include "numeric/basop.h"
#include "qolsc/gsmfr.h"

namespace qolsc::tools::gsmfr {

using namespace basop;

namespace {

/// Inverse mantissas of APCM (table 4.6), Q15.
constexpr std::array<Qol16s, 8> kFac{18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};

Qol16s toReflection(Qol16s lar) {
    const Qol16s a = abs_s(lar);
    const Qol16s r = a < 11059   ? static_cast<Qol16s>(a << 1)
                     : a < 20070 ? static_cast<Qol16s>(a + 11059)
                                 : add(static_cast<Qol16s>(a >> 2), 26112);
    return lar < 0 ? negate(r) : r;
}

} // namespace

std::array<Qol16s, kOrder> decodeLar(const std::array<Qol16s, kOrder>& code) {
    std::array<Qol16s, kOrder> lar;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const Qol16s t = sub(wrap16((code[i] + kLarMin[i]) * 1024), wrap16(2 * kLarB[i]));
        const Qol16s u = mult_r(kLarInvA[i], t);
        lar[i] = add(u, u);
    }
    return lar;
}

std::array<Piece, 4> interpolateLar(LarMemory& memory, const std::array<Qol16s, kOrder>& lar) {
    std::array<Piece, 4> pieces{
        {{0, 13, {}}, {13, 14, {}}, {27, 13, {}}, {40, kFrameSamples - 40, {}}}};
    for (std::size_t i = 0; i < kOrder; ++i) {
        const Qol16s o = memory.last[i], n = lar[i];
        const auto part = [](Qol16s x, int shift) { return static_cast<Qol16s>(x >> shift); };
        const Qol16s quarters = add(part(o, 2), part(n, 2));
        pieces[0].reflection[i] = toReflection(add(quarters, part(o, 1)));
        pieces[1].reflection[i] = toReflection(add(part(o, 1), part(n, 1)));
        pieces[2].reflection[i] = toReflection(add(quarters, part(n, 1)));
        pieces[3].reflection[i] = toReflection(n);
    }
    memory.last = lar;
    return pieces;
}

BlockScale blockScale(int code) {
    BlockScale s{code > 15 ? (code >> 3) - 1 : 0, 0};
    s.mantissa = code - 8 * s.exponent;
    if (s.mantissa == 0) {
        return {-4, 7};
    }
    while (s.mantissa <= 7) {
        s.mantissa = 2 * s.mantissa + 1;
        --s.exponent;
    }
    s.mantissa -= 8;
    return s;
}

std::array<Qol16s, kSubframeSamples> decodeRpe(const Subframe& s) {
    const BlockScale scale = blockScale(s.block);
    std::array<Qol16s, kPulses> pulses;
    qolsRPEQuantDecode_GSMFR_16s(s.pulses.data(), kFac[static_cast<std::size_t>(scale.mantissa)],
                                 static_cast<Qol16s>(6 - scale.exponent), pulses.data());
    std::array<Qol16s, kSubframeSamples> x{};
    for (std::size_t i = 0; i < kPulses; ++i) {
        x[static_cast<std::size_t>(s.grid) + 3 * i] = pulses[i];
    }
    return x;
}

} // namespace qolsc::tools::gsmfr
