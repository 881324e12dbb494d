// SPDX-License-Identifier: Apache-2.0
// Whole streams through the assembled AMR-WB codec.
#pragma once

#include "codecs/codec.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace qolsc::test {

inline constexpr int kSamples = 320;

inline const tools::StreamForm& formOf(const tools::Codec& codec, const std::string& name) {
    for (const tools::StreamForm* form : codec.forms) {
        if (name == form->name) {
            return *form;
        }
    }
    ADD_FAILURE() << "no form " << name;
    return *codec.forms[0];
}

inline std::vector<std::uint8_t> encodeAll(const tools::Codec& codec,
                                           const std::vector<Qol16s>& pcm, bool dtx,
                                           const tools::StreamForm& form) {
    tools::CodecSettings settings;
    settings.dtx = dtx;
    void* encoder = codec.openEncoder(codec, settings);
    std::vector<std::uint8_t> out;
    if (form.writeHeader != nullptr) {
        form.writeHeader(codec, out);
    }
    for (std::size_t i = 0; i + kSamples <= pcm.size(); i += kSamples) {
        tools::Frame frame;
        codec.encode(encoder, pcm.data() + i, kSamples, frame);
        form.writeFrame(codec, frame, out);
    }
    codec.closeEncoder(encoder);
    return out;
}

inline std::vector<Qol16s> decodeAll(const tools::Codec& codec,
                                     std::span<const std::uint8_t> stream,
                                     const tools::StreamForm& form) {
    void* decoder = codec.openDecoder(codec, {});
    std::vector<Qol16s> pcm;
    if (form.readHeader != nullptr) {
        const std::ptrdiff_t header = form.readHeader(codec, stream);
        EXPECT_GT(header, 0);
        stream = stream.subspan(static_cast<std::size_t>(header));
    }
    for (tools::Frame frame;;) {
        const std::ptrdiff_t taken = form.readFrame(codec, stream, frame);
        EXPECT_GE(taken, 0) << "malformed";
        if (taken <= 0) {
            break;
        }
        stream = stream.subspan(static_cast<std::size_t>(taken));
        Qol16s out[kSamples];
        EXPECT_EQ(codec.decode(decoder, frame, out), kSamples);
        pcm.insert(pcm.end(), out, out + kSamples);
    }
    codec.closeDecoder(decoder);
    return pcm;
}

/// First difference, -1 for none.
template <typename T>
std::ptrdiff_t firstDifference(const std::vector<T>& a, const std::vector<T>& b) {
    const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return x == a.end() && y == b.end() ? -1 : x - a.begin();
}

inline constexpr const char* kNames[] = {"amrwb-6.60",  "amrwb-8.85",  "amrwb-12.65",
                                         "amrwb-14.25", "amrwb-15.85", "amrwb-18.25",
                                         "amrwb-19.85", "amrwb-23.05", "amrwb-23.85"};

/// Speech, then silence long enough for comfort noise, then speech again.
inline std::vector<Qol16s> speechWithPause() {
    const auto speech = readWords("amrwb/sequences/speech.inp");
    std::vector<Qol16s> pcm(speech.begin(), speech.begin() + 60 * kSamples);
    Random r;
    const auto pause = noise16(r, 60 * kSamples, 20);
    pcm.insert(pcm.end(), pause.begin(), pause.end());
    pcm.insert(pcm.end(), speech.begin() + 60 * kSamples, speech.begin() + 100 * kSamples);
    return pcm;
}

} // namespace qolsc::test
