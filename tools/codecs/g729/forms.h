// SPDX-License-Identifier: Apache-2.0
// Coded forms of the G.729 codecs: packed octets, and the serial words of the ITU-T sequences,
// whose frames may change their size.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::g729 {

/// "serial" of ITU-T G.192: frames of any G.729 rate, SID frames of 16 bits (15 and a zero), and
/// frames of nothing.
extern const StreamForm kSerialFrames;

} // namespace qolsc::tools::g729
