// SPDX-License-Identifier: Apache-2.0
// Serial words of G.729 streams.
#include "codecs/g729/forms.h"

#include "codecs/streams.h"

#include <algorithm>
#include <iterator>

namespace qolsc::tools::g729 {

namespace {

constexpr int kSidBits[] = {15, 16};
constexpr int kSpeechBits[] = {64, 80, 118};

bool among(std::span<const int> sizes, int bits) {
    return std::find(sizes.begin(), sizes.end(), bits) != sizes.end();
}

void writeFrame(const Codec&, const Frame& frame, std::vector<std::uint8_t>& out) {
    writeSerial(frame, out);
}

std::ptrdiff_t readFrame(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame) {
    const std::ptrdiff_t taken = readSerial(in, frame);
    if (taken <= 0 || frame.kind == FrameKind::noData) {
        return taken;
    }
    if (frame.kind == FrameKind::lost) {
        if (!among(kSpeechBits, frame.bits)) { // lost with its size, or a SID
            frame.bits = codec.frameBits;
            frame.payload.assign(static_cast<std::size_t>(frame.bits + 7) / 8, 0);
        }
        return taken;
    }
    if (among(kSidBits, frame.bits)) {
        frame.kind = FrameKind::sid;
        return taken;
    }
    return among(kSpeechBits, frame.bits) ? taken : -1;
}

} // namespace

extern const StreamForm kSerialFrames;
const StreamForm kSerialFrames{"serial", nullptr, writeFrame, nullptr, readFrame};

} // namespace qolsc::tools::g729
