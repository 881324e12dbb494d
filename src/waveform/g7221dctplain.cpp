// SPDX-License-Identifier: Apache-2.0
// The integer DCT-IV of ITU-T G.722.1 by basic operators: what the vector form has to equal.
#include "waveform/g7221tables.h"

#include <cstring>
#include <utility>

namespace qolsc {

namespace {

using namespace basop;

/// Butterflies of one level: sums rise from the block's beginning, differences fall from its end.
template <typename Sum, typename Difference>
void down(const Qol16s* pIn, Qol16s* pOut, int len, int span, Sum sum, Difference difference) {
    for (int b = 0; b < len; b += span) {
        for (int j = 0; j < span / 2; ++j) {
            pOut[b + j] = sum(pIn[b + 2 * j], pIn[b + 2 * j + 1], b + 2 * j);
            pOut[b + span - 1 - j] = difference(pIn[b + 2 * j], pIn[b + 2 * j + 1], b + 2 * j + 1);
        }
    }
}

/// Core and rotations back up; the inverse doubles their accumulators once more before rounding.
/// Returns the buffer that holds the result.
template <bool Doubled>
Qol16s* upward(Qol16s* in, Qol16s* out, int len, const Qol16s* pCore,
               const Qol16s* const (&rotations)[6]) {
    const auto rounded = [](Qol32s acc) { return round_fx(Doubled ? L_shl(acc, 1) : acc); };
    for (int b = 0; b < len; b += kDctCore) {
        dctCorePlain(in + b, out + b, pCore);
    }
    std::swap(in, out);
    for (int s = dctLevels(len) - 1; s >= 0; --s) {
        const int span = len >> s, h = span / 2;
        const Qol16s* table = dctRotations(rotations, span);
        for (int b = 0; b < len; b += span) {
            for (int j = 0; j < h; ++j) {
                const Qol16s c = table[2 * j], m = table[2 * j + 1];
                const Qol16s l = in[b + j], u = in[b + h + j];
                const auto sm = static_cast<Qol16s>(j % 2 == 0 ? -m : m);
                const auto sc = static_cast<Qol16s>(j % 2 == 0 ? c : -c);
                out[b + j] = rounded(L_mac(L_mult(c, l), sm, u));
                out[b + span - 1 - j] = rounded(L_mac(L_mult(m, l), sc, u));
            }
        }
        std::swap(in, out);
    }
    return in;
}

} // namespace

void dctFwdPlain(const Qol16s* pSrc, Qol16s* pDst, int len) {
    Qol16s buffers[2][kDctLong];
    Qol16s *in = buffers[0], *out = buffers[1];
    for (int i = 0; i < len; ++i) {
        in[i] = len == kDctShort ? add(pSrc[i], tables::cnstAnalBias_G722[i]) : pSrc[i];
    }
    for (int s = 0; s < dctLevels(len); ++s) {
        down(
            in, out, len, len >> s,
            [](Qol16s a, Qol16s c, int) { return static_cast<Qol16s>((a + c) >> 1); },
            [](Qol16s a, Qol16s c, int) { return static_cast<Qol16s>((a - c) >> 1); });
        std::swap(in, out);
    }
    in = upward<false>(in, out, len, tables::dct_core_a.data(), kDctRotateFwd);
    std::memcpy(pDst, in, static_cast<std::size_t>(len) * sizeof(Qol16s));
}

void dctInvPlain(const Qol16s* pSrc, Qol16s* pDst, int len) {
    Qol16s buffers[2][kDctLong];
    Qol16s *in = buffers[0], *out = buffers[1];
    const Qol16s* dither =
        len == kDctShort ? tables::dct_s_dither_7kHz : tables::dct_s_dither_14kHz;
    down(
        pSrc, in, len, len,
        [dither](Qol16s a, Qol16s c, int i) {
            return static_cast<Qol16s>((add(a, dither[i]) + c) >> 1);
        },
        [dither](Qol16s a, Qol16s c, int i) {
            return static_cast<Qol16s>((add(a, dither[i]) - c) >> 1);
        });
    for (int s = 1; s < dctLevels(len); ++s) {
        down(
            in, out, len, len >> s, [](Qol16s a, Qol16s c, int) { return add(a, c); },
            [](Qol16s a, Qol16s c, int) { return add(a, negate(c)); });
        std::swap(in, out);
    }
    in = upward<true>(in, out, len, tables::dct_core_s.data(), kDctRotateInv);
    for (int i = 0; i < len; ++i) {
        pDst[i] = len == kDctShort ? add(in[i], tables::cnstSynthesisBias7khz_G722[i]) : in[i];
    }
}

} // namespace qolsc
