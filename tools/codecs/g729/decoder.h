// SPDX-License-Identifier: Apache-2.0
// Decoder of the G.729 main body with Annexes B, D and E.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729 {

void* openDecoder(const Codec& codec, const CodecSettings& settings);
void closeDecoder(void* decoder);
int decode(void* decoder, const Frame& frame, std::int16_t* pcm);

} // namespace qolsc::tools::g729
