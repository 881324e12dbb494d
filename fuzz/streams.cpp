// SPDX-License-Identifier: Apache-2.0
// libFuzzer target: every codec of the registry decodes arbitrary streams and frames, and encodes
// arbitrary samples. The sanitizers and the guards behind the output are the judges.
#include "codecs/codec.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using namespace qolsc::tools;
using Bytes = std::span<const std::uint8_t>;

std::uint8_t takeByte(Bytes& in) {
    if (in.empty()) {
        return 0;
    }
    const std::uint8_t b = in.front();
    in = in.subspan(1);
    return b;
}

/// Decodes a frame into a block of exactly the promised length, so that a sample too many is seen.
void decodeGuarded(const Codec& codec, void* decoder, const Frame& frame) {
    const auto room = static_cast<std::size_t>(codec.frameSamples);
    const std::unique_ptr<std::int16_t[]> pcm(new std::int16_t[room]);
    const int samples = codec.decode(decoder, frame, pcm.get());
    if (samples < 0 || samples > codec.frameSamples) {
        std::abort();
    }
}

/// The bytes as a stream in one of the codec's coded forms.
void decodeStream(const Codec& codec, void* decoder, Bytes in) {
    const StreamForm& form = *codec.forms[takeByte(in) % codec.forms.size()];
    for (int frames = 0; frames < 40; ++frames) {
        Frame frame;
        const std::ptrdiff_t taken = form.readFrame(codec, in, frame);
        if (taken <= 0) {
            return;
        }
        if (static_cast<std::size_t>(taken) > in.size()) {
            std::abort();
        }
        decodeGuarded(codec, decoder, frame);
        in = in.subspan(static_cast<std::size_t>(taken));
    }
}

/// Frames as the encoder makes them, with the bytes as their bits, some of them lost.
void decodeFrames(const Codec& codec, void* decoder, Bytes in) {
    void* const encoder = codec.openEncoder(codec, CodecSettings{});
    const std::vector<std::int16_t> silence(static_cast<std::size_t>(codec.frameSamples));
    Frame frame;
    codec.encode(encoder, silence.data(), codec.frameSamples, frame);
    codec.closeEncoder(encoder);
    for (int frames = 0; frames < 40 && !in.empty(); ++frames) {
        frame.kind = takeByte(in) % 8 == 0 ? FrameKind::lost : FrameKind::speech;
        const std::size_t n = std::min(frame.payload.size(), in.size());
        std::copy_n(in.begin(), n, frame.payload.begin());
        in = in.subspan(n);
        decodeGuarded(codec, decoder, frame);
    }
}

/// A few frames of samples made of the bytes: held, alternating or as they come, near full scale
/// among them.
void encodeSamples(const Codec& codec, const CodecSettings& settings, Bytes in) {
    void* const encoder = codec.openEncoder(codec, settings);
    if (encoder == nullptr) {
        return;
    }
    const auto room = static_cast<std::size_t>(codec.frameSamples);
    for (int frames = 0; frames < 6 && !in.empty(); ++frames) {
        const std::unique_ptr<std::int16_t[]> pcm(new std::int16_t[room]);
        const int hold = takeByte(in) % 24 + 1;
        std::int16_t value = 0;
        for (std::size_t i = 0; i < room; ++i) {
            if (i % static_cast<std::size_t>(hold) == 0) {
                value = static_cast<std::int16_t>(takeByte(in) << 8 | takeByte(in));
            }
            pcm[i] = value;
        }
        Frame frame;
        codec.encode(encoder, pcm.get(), codec.frameSamples, frame);
        if (frame.bits < 0 ||
            static_cast<std::size_t>((frame.bits + 7) / 8) > frame.payload.size()) {
            std::abort();
        }
    }
    codec.closeEncoder(encoder);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes in(data, size);
    const Codec& codec = *allCodecs()[takeByte(in) % allCodecs().size()];
    const std::uint8_t choice = takeByte(in);
    CodecSettings settings;
    settings.dtx = codec.hasDtx && choice % 2 != 0;
    if (choice / 2 % 3 == 0) {
        encodeSamples(codec, settings, in);
        return 0;
    }
    void* const decoder = codec.openDecoder(codec, CodecSettings{});
    if (decoder == nullptr) {
        std::abort();
    }
    (choice / 2 % 3 == 1 ? decodeStream : decodeFrames)(codec, decoder, in);
    codec.closeDecoder(decoder);
    return 0;
}
