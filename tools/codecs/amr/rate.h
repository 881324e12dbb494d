// SPDX-License-Identifier: Apache-2.0
// The rate of an AMR encoder may change with every frame.
#pragma once

namespace qolsc::tools::amr {

/// Rate of the next frames of an encoder of the registry: 0 (4.75 kbit/s) to 7 (12.2 kbit/s).
void setRate(void* encoder, int mode);

} // namespace qolsc::tools::amr
