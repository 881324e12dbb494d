// SPDX-License-Identifier: Apache-2.0
// Whole signals through a codec: samples to frames, frames to octets, and back.
#pragma once

#include "codecs/codec.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

/// Codes all samples; a last frame that isn't full is filled up with silence to the codec's
/// granule.
std::vector<Frame> encodeAll(const Codec& codec, const CodecSettings& settings,
                             std::span<const std::int16_t> samples);
/// What stands for a lost frame: the decoder's concealment, or silence and a decoder that hears
/// nothing of it.
enum class LostFrames { conceal, mute };
std::vector<std::int16_t> decodeAll(const Codec& codec, const CodecSettings& settings,
                                    const std::vector<Frame>& frames,
                                    LostFrames lost = LostFrames::conceal);

std::vector<std::uint8_t> writeStream(const Codec& codec, const StreamForm& form,
                                      const std::vector<Frame>& frames);
/// Fails with the name and the place where the stream is cut or damaged.
std::vector<Frame> readStream(const Codec& codec, const StreamForm& form,
                              std::span<const std::uint8_t> stream, const std::string& name);

/// Marks each frame as lost with the given probability; the same seed loses the same frames on
/// every machine. Returns the count of lost ones.
std::size_t loseFrames(std::vector<Frame>& frames, double probability, std::uint32_t seed);

/// The codec, or a failure that names those with a similar name.
const Codec& codecNamed(const std::string& name);
/// The codec's form of that name, its first for "", or a failure that lists those it has.
const StreamForm& formNamed(const Codec& codec, const std::string& name);
/// The same for a stream with pauses, for which not every form has a place.
const StreamForm& formOfPauses(const Codec& codec, const std::string& name);

} // namespace qolsc::tools
