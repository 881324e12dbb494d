// SPDX-License-Identifier: Apache-2.0
// Whole streams through an assembled codec of frames.
#pragma once

#include "codecs/bits.h"
#include "codecs/codec.h"
#include "codecs/streams.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace qolsc::test {

inline const tools::StreamForm& formOf(const tools::Codec& codec, const std::string& name) {
    const tools::StreamForm* form = tools::findForm(codec, name);
    EXPECT_NE(form, nullptr) << "no form " << name;
    return form != nullptr ? *form : *codec.forms[0];
}

/// The stream in the form of that name; samples behind the last full frame are left out.
inline std::vector<std::uint8_t> encodeAll(const tools::Codec& codec,
                                           const std::vector<Qol16s>& pcm, const char* formName,
                                           const tools::CodecSettings& settings = {}) {
    const tools::StreamForm& form = formOf(codec, formName);
    const auto samples = static_cast<std::size_t>(codec.frameSamples);
    std::vector<std::uint8_t> out;
    if (form.writeHeader != nullptr) {
        form.writeHeader(codec, out);
    }
    void* encoder = codec.openEncoder(codec, settings);
    for (std::size_t i = 0; i + samples <= pcm.size(); i += samples) {
        tools::Frame frame;
        codec.encode(encoder, pcm.data() + i, codec.frameSamples, frame);
        form.writeFrame(codec, frame, out);
    }
    codec.closeEncoder(encoder);
    return out;
}

inline std::vector<Qol16s> decodeAll(const tools::Codec& codec,
                                     std::span<const std::uint8_t> stream, const char* formName) {
    const tools::StreamForm& form = formOf(codec, formName);
    std::vector<Qol16s> out;
    if (form.readHeader != nullptr) {
        const std::ptrdiff_t header = form.readHeader(codec, stream);
        EXPECT_GT(header, 0);
        stream = stream.subspan(static_cast<std::size_t>(std::max<std::ptrdiff_t>(header, 0)));
    }
    void* decoder = codec.openDecoder(codec, {});
    std::vector<Qol16s> pcm(static_cast<std::size_t>(codec.frameSamples));
    tools::Frame frame;
    for (std::ptrdiff_t taken; (taken = form.readFrame(codec, stream, frame)) != 0;) {
        if (taken < 0) {
            ADD_FAILURE() << "malformed";
            break;
        }
        stream = stream.subspan(static_cast<std::size_t>(taken));
        EXPECT_EQ(codec.decode(decoder, frame, pcm.data()), codec.frameSamples);
        out.insert(out.end(), pcm.begin(), pcm.end());
    }
    codec.closeDecoder(decoder);
    return out;
}

/// Settings of an encoder that may pause.
inline tools::CodecSettings withDtx(bool dtx = true) {
    tools::CodecSettings settings;
    settings.dtx = dtx;
    return settings;
}

/// Damaged frames of every kind among good ones: whatever arrives, a full frame of samples comes
/// out and nothing is written behind it. The frame type stands in bits 4..6 of Frame::mode.
inline void takesAnyFrame(const tools::Codec& codec, const std::vector<Qol16s>& pcm, Random& r) {
    void* encoder = codec.openEncoder(codec, {});
    void* decoder = codec.openDecoder(codec, {});
    const auto samples = static_cast<std::size_t>(codec.frameSamples);
    for (std::size_t n = 0; n < 300 && (n + 1) * samples <= pcm.size(); ++n) {
        tools::Frame frame;
        codec.encode(encoder, pcm.data() + n * samples, codec.frameSamples, frame);
        switch (uniform(r, 0, 6)) {
        case 0:
            tools::eraseFrame(frame);
            break;
        case 1:
            frame.kind = tools::FrameKind::noData;
            break;
        case 2: // random bits under a random type
            for (std::uint8_t& octet : frame.payload) {
                octet = static_cast<std::uint8_t>(uniform(r, 0, 255));
            }
            frame.mode = (frame.mode & 15) | static_cast<int>(uniform(r, 0, 7)) << 4;
            break;
        case 3: // shorter than its mode
            frame.bits = static_cast<int>(uniform(r, 0, frame.bits));
            break;
        default:
            break;
        }
        const auto out = guarded<Qol16s>(samples);
        EXPECT_EQ(codec.decode(decoder, frame, out.data), codec.frameSamples);
        EXPECT_TRUE(intact(out)) << codec.name;
    }
    codec.closeEncoder(encoder);
    codec.closeDecoder(decoder);
}

/// Index of the first element that differs, -1 where there is none.
template <typename T>
std::ptrdiff_t firstDifference(const std::vector<T>& a, const std::vector<T>& b) {
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return x == a.end() && y == b.end() ? -1 : x - a.begin();
}

} // namespace qolsc::test
