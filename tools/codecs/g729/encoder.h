// SPDX-License-Identifier: Apache-2.0
// Encoder of the G.729 main body at 8 kbit/s.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729 {

void* openEncoder(const Codec& codec, const CodecSettings& settings);
void closeEncoder(void* encoder);
void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame);

} // namespace qolsc::tools::g729
