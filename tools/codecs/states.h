// SPDX-License-Identifier: Apache-2.0
// Functions of a codec's record whose states are plain structs: they only name the struct.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools {

template <typename State>
void closeState(void* state) {
    delete static_cast<State*>(state);
}

/// For coders of whole frames: `encodeFrame(Encoder&, pcm, frame)` stands beside the struct.
template <typename Encoder>
void encodeState(void* encoder, const std::int16_t* pcm, int, Frame& frame) {
    encodeFrame(*static_cast<Encoder*>(encoder), pcm, frame);
}
/// The same of `decodeFrame(Decoder&, frame, pcm)`, which returns the count of samples.
template <typename Decoder>
int decodeState(void* decoder, const Frame& frame, std::int16_t* pcm) {
    return decodeFrame(*static_cast<Decoder*>(decoder), frame, pcm);
}

} // namespace qolsc::tools
