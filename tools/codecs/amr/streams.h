// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR: the storage file (RFC 4867 5) and the words of the standard's test sequences
// (3GPP TS 26.074).
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::amr {

extern const StreamForm kFile;
/// A frame of 250 words: transmitter's frame type, 244 words of a bit each, mode.
extern const StreamForm kSerialWords;

} // namespace qolsc::tools::amr
