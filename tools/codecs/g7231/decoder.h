// SPDX-License-Identifier: Apache-2.0
// Decoder of G.723.1 with Annex A.
#pragma once

#include "codecs/g7231/frame.h"

namespace qolsc::tools::g7231 {

void* openDecoder(bool postFilter);
void closeDecoder(void* decoder);
/// 240 samples of a frame of any kind.
void decodeFrame(void* decoder, const Frame& frame, std::int16_t* pcm);

} // namespace qolsc::tools::g7231
