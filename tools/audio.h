// SPDX-License-Identifier: Apache-2.0
// Audio files as 16-bit samples: WAV, AU, FLAC and whatever else libsndfile reads, and headerless
// 16-bit little-endian samples.
#pragma once

#include "codecs/codec.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

struct Audio {
    int rate = 0; ///< Hz
    int channels = 1;
    std::vector<std::int16_t> samples; ///< channels interleaved
};

/// How headerless samples are to be taken.
struct RawFormat {
    int rate = 0;          ///< Hz; 0: the file has a header
    Law law = Law::linear; ///< other than linear: each word holds a companded octet
    bool octets = false;   ///< companded samples stand in octets, not in words
};

/// Reads a file or "-"; fails on what is missing, empty, cut short or no audio.
Audio readAudio(const std::string& path, const RawFormat& raw = {});

/// What to do with a file that isn't as its user wants it; without, it is refused.
struct Adaptation {
    bool mix = false;      ///< take the mean of several channels
    bool resample = false; ///< convert the sample rate
};

/// The same with the demands of a codec or filter: the rate (0: any) and one channel.
Audio readMono(const std::string& path, int rate, const Adaptation& adaptation,
               const RawFormat& raw, const std::string& user);

/// Writes one channel of 16-bit samples; the name's extension tells the format (.au, .flac, .raw),
/// WAV any other or none. With a raw format of its own: samples as they are, companded or
/// not.
void writeAudio(const std::string& path, std::span<const std::int16_t> samples, int rate,
                const RawFormat& raw = {});

/// A whole WAV file in memory.
std::vector<std::uint8_t> wavBytes(std::span<const std::int16_t> samples, int rate);

/// Expands a companded octet to a 16-bit sample (ITU-T G.711).
std::int16_t expand(Law law, std::uint8_t octet);

} // namespace qolsc::tools
