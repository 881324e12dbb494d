// SPDX-License-Identifier: Apache-2.0
// Encoder of G.729 Annex A.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729a {

void* openEncoder(const Codec& codec, const CodecSettings& settings);
void closeEncoder(void* encoder);
void encode(void* encoder, const std::int16_t* pcm, int samples, Frame& frame);

} // namespace qolsc::tools::g729a
