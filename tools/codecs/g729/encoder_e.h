// SPDX-License-Identifier: Apache-2.0
// Encoder of G.729 Annex E at 11.8 kbit/s.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729e {

void* openEncoder(const Codec& codec, const CodecSettings& settings);
void closeEncoder(void* encoder);
void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame);
/// The same for one frame at 8 kbit/s: an encoder may change its rate with every frame.
void encode8000(void* encoder, const std::int16_t* pcm, int samples, Frame& frame);

} // namespace qolsc::tools::g729e
