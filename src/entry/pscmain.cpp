// SPDX-License-Identifier: Apache-2.0
// Load-time initialiser: the only code that runs unbidden, and the only writer of the library's one
// variable.
#include "qolcore.h"
#include "qolsc/version.h"

extern "C" {
__attribute__((visibility("default"))) Qol32s qolJumpIndexForMergedDLL = 0;
}

namespace qolsc {

namespace {
constexpr Qol64u kFeatureBits = 0x30; // AVX by the processor and by the operating system
}

int initialiseLibrary() noexcept {
    qolGetCpuFeatures(nullptr, nullptr);
    qolJumpIndexForMergedDLL = (qolGetEnabledCpuFeatures() & kFeatureBits) == kFeatureBits ? 1 : 0;
    return 1;
}

__attribute__((constructor)) static void onLoad() { initialiseLibrary(); }

} // namespace qolsc
