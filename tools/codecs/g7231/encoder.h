// SPDX-License-Identifier: Apache-2.0
// Encoder of G.723.1 with Annex A.
#pragma once

#include "codecs/g7231/frame.h"

namespace qolsc::tools::g7231 {

/// highRate: 6.3 kbit/s, else 5.3; highPass: the input filter; dtx: Annex A.
void* openEncoder(bool highRate, bool highPass, bool dtx);
void closeEncoder(void* encoder);
/// Frame of 240 samples; its kind tells what was sent.
void encodeFrame(void* encoder, const std::int16_t* pcm, Frame& frame);

} // namespace qolsc::tools::g7231
