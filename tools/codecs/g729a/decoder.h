// SPDX-License-Identifier: Apache-2.0
// Decoder of G.729 Annex A with Annex B.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729a {

void* openDecoder(const Codec& codec, const CodecSettings& settings);
void closeDecoder(void* decoder);
int decode(void* decoder, const Frame& frame, std::int16_t* pcm);

} // namespace qolsc::tools::g729a
