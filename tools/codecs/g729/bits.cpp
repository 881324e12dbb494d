// SPDX-License-Identifier: Apache-2.0
// Bit allocation and lag codes of G.729 at 8 kbit/s (Table 8, 3.7.2, 4.1.3).
#include "codecs/g729/bits.h"

#include "codecs/bits.h"

#include <algorithm>
#include <bit>

namespace qolsc::tools::g729 {

namespace {

/// Calls visit(value, bits) for every parameter in the order of transmission.
template <typename Codes, typename Visit>
void forEachParameter(Codes& codes, Visit visit) {
    visit(codes.lsp[0], 8);
    visit(codes.lsp[1], 10);
    for (int i = 0; i < 2; ++i) {
        auto& sub = codes.sub[i];
        visit(sub.lag, i == 0 ? 8 : 5);
        if (i == 0) {
            visit(codes.parity, 1);
        }
        visit(sub.position, 13);
        visit(sub.sign, 4);
        visit(sub.gain[0], 3);
        visit(sub.gain[1], 4);
    }
}

} // namespace

int lagParity(int p1) { return (1 + std::popcount(static_cast<unsigned>(p1 >> 2 & 0x3F))) & 1; }

void packFrame(const FrameCodes& codes, Frame& frame) {
    clearFrame(frame);
    std::uint64_t pending = 0; // bits that make no octet yet, the last one lowest
    int count = 0;
    forEachParameter(codes, [&frame, &pending, &count](Qol16s value, int bits) {
        pending = pending << bits | static_cast<std::uint16_t>(value);
        for (count += bits; count >= 8; count -= 8) {
            frame.payload.push_back(static_cast<std::uint8_t>(pending >> (count - 8)));
        }
    });
    frame.bits = kFrameBits;
}

void packFrame6400(const FrameCodes& codes, Frame& frame) {
    clearFrame(frame);
    const auto put = [&frame](Qol16s value, int bits) {
        putBits(frame, static_cast<std::uint16_t>(value), bits);
    };
    put(codes.lsp[0], 8);
    put(codes.lsp[1], 10);
    for (int i = 0; i < 2; ++i) {
        const SubframeCodes& sub = codes.sub[i];
        put(sub.lag, i == 0 ? 8 : 4);
        put(sub.position, 9);
        put(sub.sign, 2);
        put(sub.gain[0], 3);
        put(sub.gain[1], 3);
    }
}

FrameCodes unpackFrame(const Frame& frame) {
    FrameCodes codes{};
    int position = 0;
    forEachParameter(codes, [&frame, &position](Qol16s& value, int bits) {
        value = static_cast<Qol16s>(takeBits(frame, position, bits));
    });
    return codes;
}

int secondWindow(int lag0) { return std::clamp(lag0 - 5, 20, 134); }

int encodeLag0(Lag lag) {
    return lag.integer <= 85 ? 3 * lag.integer - 58 + lag.fraction : lag.integer + 112;
}

int encodeLag1(Lag lag, int window) { return 3 * (lag.integer - window) + 2 + lag.fraction; }

int encodeLag1Short(Lag lag, int window) {
    const int i = lag.integer - window;
    // Near the middle of the window the thirds count from code 3 on, the lag before it included.
    if (i < 3) {
        return i;
    }
    return i < 7 ? 3 * (i - 3) + lag.fraction + 3 : i + 6;
}

Lag decodeLag1Short(int code, int window) {
    if (code < 4) {
        return {window + code, 0};
    }
    if (code >= 12) {
        return {window + code - 6, 0};
    }
    const int fraction = (code - 3) % 3;
    const Lag lag{((code - fraction) * 10923 >> 15) + window + 2, fraction};
    return fraction == 2 ? Lag{lag.integer + 1, -1} : lag;
}

Lag decodeLag0(int p1) {
    if (p1 >= 197) {
        return {p1 - 112, 0};
    }
    const int lag = ((p1 + 2) * 10923 >> 15) + 19; // a third, Q15
    return {lag, p1 - 3 * lag + 58};
}

Lag decodeLag1(int p2, int window) {
    const int i = ((p2 + 2) * 10923 >> 15) - 1;
    return {i + window, p2 - 2 - 3 * i};
}

} // namespace qolsc::tools::g729
