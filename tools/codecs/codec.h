// SPDX-License-Identifier: Apache-2.0
// The one plain interface of all assembled codecs. A codec is a small directory that fills one or
// more `Codec` records and names them in codecs/registry.cpp; program, tests and benchmarks know
// nothing else of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

/// What a coded frame is.
enum class FrameKind : std::uint8_t {
    speech, ///< a full frame of the codec's rate
    sid,    ///< a comfort-noise update
    noData, ///< nothing was sent (discontinuous transmission)
    lost    ///< the frame was lost or marked bad by the channel
};

/// One coded frame between encoder, stream and decoder.
struct Frame {
    std::vector<std::uint8_t>
        payload;  ///< bits in the order of transmission, the first in the top bit of payload[0]
    int bits = 0; ///< count of valid bits in payload
    int mode = 0; ///< rate or frame type where a codec has several; the codec's header tells
    /// A lost frame keeps its bit count (the decoder learns how much to conceal); its payload is
    /// whatever arrived, all zero bits when nothing did.
    FrameKind kind = FrameKind::speech;
};

/// Companding of 16-bit linear samples to octets (ITU-T G.711).
enum class Law : std::uint8_t { linear, alaw, mulaw };

/// Choices of the user that some codecs look at. A codec's record tells which it knows; the program
/// refuses the others.
struct CodecSettings {
    bool dtx = false; ///< discontinuous transmission
    /// Companding law of the decoder's output where the standard has one: but for linear, a decoded
    /// sample is the companded octet in the low 8 bits. Encoders always take linear samples.
    Law law = Law::linear;
    std::string detector; ///< activity detector where there are several
    /// False: no high-pass filter in front of the encoder and no post filter behind the decoder, as
    /// some test sequences of G.723.1 and G.728 want it. Not a choice of the program's users.
    bool filters = true;
};

struct Codec;

/// A coded form of the stream. Writers append; readers take one frame from the front.
struct StreamForm {
    const char* name; ///< "packed", "serial", "codes", "words" or "file"
    /// What stands before the first frame (the storage file's magic); null when nothing does.
    void (*writeHeader)(const Codec& codec, std::vector<std::uint8_t>& out);
    void (*writeFrame)(const Codec& codec, const Frame& frame, std::vector<std::uint8_t>& out);
    /// Count of octets that the header takes, or -1 when it isn't there; null when there is no
    /// header.
    std::ptrdiff_t (*readHeader)(const Codec& codec, std::span<const std::uint8_t> in);
    /// Count of octets that the frame takes; 0 at the end of the stream; -1 when it is malformed or
    /// truncated.
    std::ptrdiff_t (*readFrame)(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame);
    bool fixedSize = false; ///< frames are told apart by their size only: no pauses
};

/// One codec at one rate.
struct Codec {
    const char* name;  ///< what --codec takes, e.g. "g726-32"
    const char* title; ///< e.g. "ITU-T G.726 ADPCM, 32 kbit/s"
    int sampleRate;    ///< Hz
    int frameSamples;  ///< most samples that one encode call takes
    int granule;   ///< a call takes any multiple of this up to frameSamples; equal to it for frame
                   ///< codecs
    int frameBits; ///< bits of a full speech frame, for fixed-size packing and for the bit rate
    std::span<const StreamForm* const> forms; ///< the first is the default

    void* (*openEncoder)(const Codec& codec,
                         const CodecSettings& settings); ///< null when the settings don't fit
    void (*closeEncoder)(void* encoder);
    void (*encode)(void* encoder, const std::int16_t* pcm, int samples, Frame& frame);

    void* (*openDecoder)(const Codec& codec, const CodecSettings& settings);
    void (*closeDecoder)(void* decoder);
    /// Writes the frame's samples, frameSamples at most, and returns their count.
    int (*decode)(void* decoder, const Frame& frame, std::int16_t* pcm);

    int delay = 0;             ///< samples by which the decoded signal lags behind the input
    bool hasDtx = false;       ///< looks at settings.dtx
    bool hasLaw = false;       ///< looks at settings.law
    bool hasDetectors = false; ///< looks at settings.detector
};

/// A codec that takes any multiple of a granule below the frame makes one code of each granule.
inline int bitsPerCode(const Codec& codec) {
    return codec.frameBits * codec.granule / codec.frameSamples;
}

/// All codecs, in the order of the registry.
std::span<const Codec* const> allCodecs();
/// The codec of that name, or null.
const Codec* findCodec(const std::string& name);

} // namespace qolsc::tools
