// SPDX-License-Identifier: Apache-2.0
// Whole streams through the assembled AMR codec.
#pragma once

#include "codecs/codec.h"
#include "codecs/streams.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace qolsc::test {

inline constexpr std::size_t kAmrFrame = 160;

inline const tools::StreamForm& formOf(const tools::Codec& codec, const char* name) {
    return *tools::findForm(codec, name);
}

/// The storage file.
inline std::vector<std::uint8_t> encodeAll(const tools::Codec& codec,
                                           const std::vector<Qol16s>& pcm,
                                           const tools::CodecSettings& settings) {
    const tools::StreamForm& file = formOf(codec, "file");
    std::vector<std::uint8_t> out;
    file.writeHeader(codec, out);
    void* encoder = codec.openEncoder(codec, settings);
    for (std::size_t i = 0; i + kAmrFrame <= pcm.size(); i += kAmrFrame) {
        tools::Frame frame;
        codec.encode(encoder, pcm.data() + i, kAmrFrame, frame);
        file.writeFrame(codec, frame, out);
    }
    codec.closeEncoder(encoder);
    return out;
}

inline std::vector<Qol16s> decodeAll(const tools::Codec& codec, std::span<const std::uint8_t> coded,
                                     const char* formName) {
    const tools::StreamForm& form = formOf(codec, formName);
    if (form.readHeader != nullptr) {
        coded = coded.subspan(static_cast<std::size_t>(form.readHeader(codec, coded)));
    }
    std::vector<Qol16s> out;
    void* decoder = codec.openDecoder(codec, {});
    tools::Frame frame;
    for (std::ptrdiff_t n; (n = form.readFrame(codec, coded, frame)) != 0;) {
        if (n < 0) {
            ADD_FAILURE() << "malformed";
            break;
        }
        coded = coded.subspan(static_cast<std::size_t>(n));
        out.resize(out.size() + kAmrFrame);
        codec.decode(decoder, frame, out.data() + out.size() - kAmrFrame);
    }
    codec.closeDecoder(decoder);
    return out;
}

/// Index of the first element that differs, -1 where there is none.
template <typename T>
std::ptrdiff_t firstDifference(const std::vector<T>& a, const std::vector<T>& b) {
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return x == a.end() && y == b.end() ? -1 : x - a.begin();
}

} // namespace qolsc::test
