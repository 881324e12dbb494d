// SPDX-License-Identifier: Apache-2.0
// G.711 companding of 16-bit linear samples.
#pragma once

#include "qolsc/status.h"

#include <bit>

namespace qolsc {

/// One sample to mu-law (ITU-T G.711 table 2, even bits not inverted twice: the byte as it goes on
/// the line). 0 gives 0xFF, -1 gives 0x7F.
constexpr Qol8u muLawByte(Qol16s sample) {
    const int magnitude = ((sample < 0 ? ~sample : sample) >> 2) + 33;
    const int m = magnitude > 8191 ? 8191 : magnitude;
    const int segment = std::bit_width(static_cast<unsigned>(m >> 6)) + 1;
    const int byte = (8 - segment) << 4 | (15 - (m >> segment & 15));
    return static_cast<Qol8u>(sample < 0 ? byte : byte | 0x80);
}

/// One sample to A-law (ITU-T G.711 table 1, even bits inverted).
constexpr Qol8u aLawByte(Qol16s sample) {
    const int v = sample >> 3;
    const int m = v < 0 ? ~v : v;
    const int segment =
        std::bit_width(static_cast<unsigned>(m >> 5)); // segment s ends at 2^(s+5)-1
    const int byte = (m >> (segment < 2 ? 1 : segment) & 15) | segment << 4;
    return static_cast<Qol8u>(byte ^ (sample < 0 ? 0x55 : 0xD5));
}

/// len samples of 16-bit linear to mu-law bytes.
QolStatus qolsLinToMuLaw_16s8u(const Qol16s* pSrc, Qol8u* pDst, int len) noexcept;
/// len samples of 16-bit linear to A-law bytes.
QolStatus qolsLinToALaw_16s8u(const Qol16s* pSrc, Qol8u* pDst, int len) noexcept;

} // namespace qolsc
