// SPDX-License-Identifier: Apache-2.0
// The version record.
#include "entry/entries.h"

namespace qolsc {

static constexpr QolLibraryVersion kVersion{
    8, 2, 1, 44077, {'e', '9', 0, 0}, "qolSC AVX (e9 threaded)", "8.2.1 (r44077)", "Oct  9 2014"};

const QolLibraryVersion* qolscGetLibVersion() noexcept { return &kVersion; }

} // namespace qolsc
