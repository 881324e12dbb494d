// SPDX-License-Identifier: Apache-2.0
// Coded forms of AMR-WB.
#pragma once

#include "codecs/codec.h"

namespace qolsc::tools::amrwb {

/// "file": the .awb storage format.
extern const StreamForm kFile;
/// "serial": the format of the standard's test sequences.
extern const StreamForm kSerialWideband;

} // namespace qolsc::tools::amrwb
