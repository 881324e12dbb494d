// SPDX-License-Identifier: Apache-2.0
// Reading of coded frames of all G.729 rates (Tables 8, B.2, D.1, Annex E).
#include "codecs/g729/synthesis.h"

#include "codecs/bits.h"

namespace qolsc::tools::g729 {

namespace {

Qol16s take(const Frame& frame, int& position, int bits) {
    return static_cast<Qol16s>(takeBits(frame, position, bits));
}

void setLsp(FrameInput& in, int first, int second) {
    in.lsp[0] = static_cast<Qol16s>(first >> 7);
    in.lsp[1] = static_cast<Qol16s>(first & 127);
    in.lsp[2] = static_cast<Qol16s>(second >> 5);
    in.lsp[3] = static_cast<Qol16s>(second & 31);
}

void read8000(const Frame& frame, FrameInput& in) {
    const FrameCodes codes = unpackFrame(frame);
    setLsp(in, codes.lsp[0], codes.lsp[1]);
    in.badParity = lagParity(codes.sub[0].lag) != codes.parity;
    for (int i = 0; i < 2; ++i) {
        const SubframeCodes& sub = codes.sub[i];
        in.sub[i].lag = sub.lag;
        in.sub[i].code = {sub.position, sub.sign};
        in.sub[i].gain[0] = sub.gain[0];
        in.sub[i].gain[1] = sub.gain[1];
    }
}

void read6400(const Frame& frame, FrameInput& in) {
    int at = 0;
    const int first = take(frame, at, 8);
    setLsp(in, first, take(frame, at, 10));
    for (int i = 0; i < 2; ++i) {
        SubframeInput& sub = in.sub[i];
        sub.lag = take(frame, at, i == 0 ? 8 : 4);
        sub.code[0] = take(frame, at, 9);
        sub.code[1] = take(frame, at, 2);
        sub.gain[0] = take(frame, at, 3);
        sub.gain[1] = take(frame, at, 3);
    }
}

void read11800(const Frame& frame, FrameInput& in) {
    constexpr int kForward[5] = {7, 7, 7, 7, 7}, kBackward[5] = {13, 10, 7, 7, 7};
    int at = 0;
    // Sent twice; where the two differ the frame counts as lost.
    const int mode = take(frame, at, 2);
    in.backward = mode == 3;
    in.bad = in.bad || mode == 1 || mode == 2;
    if (!in.backward) {
        const int first = take(frame, at, 8);
        setLsp(in, first, take(frame, at, 10));
    }
    for (int i = 0; i < 2; ++i) {
        SubframeInput& sub = in.sub[i];
        sub.lag = take(frame, at, i == 0 ? 8 : 5);
        if (i == 0) {
            in.badParity = (lagParity(sub.lag) ^ (sub.lag >> 1 & 1)) != take(frame, at, 1);
        }
        for (std::size_t k = 0; k < 5; ++k) {
            sub.code[k] = take(frame, at, in.backward ? kBackward[k] : kForward[k]);
        }
        sub.gain[0] = take(frame, at, 3);
        sub.gain[1] = take(frame, at, 4);
    }
}

void readSid(const Frame& frame, FrameInput& in) {
    int at = 0;
    in.sid.lsf[0] = take(frame, at, 1);
    in.sid.lsf[1] = take(frame, at, 5);
    in.sid.lsf[2] = take(frame, at, 4);
    in.sid.gain = take(frame, at, 5);
}

} // namespace

FrameInput readFrame(const Frame& frame) {
    FrameInput in;
    in.bad = frame.kind == FrameKind::lost;
    in.bits = frame.bits;
    if (in.bad) {
        return in;
    }
    if (frame.bits == kBits6400) {
        read6400(frame, in);
    } else if (frame.bits == kFrameBits) {
        read8000(frame, in);
    } else if (frame.bits == kBits11800) {
        read11800(frame, in);
    } else if (frame.bits >= kBitsSid) {
        in.kind = FrameClass::sid;
        readSid(frame, in);
    } else {
        in.kind = FrameClass::silent;
    }
    return in;
}

} // namespace qolsc::tools::g729
