// SPDX-License-Identifier: Apache-2.0
// Declares, for every export of the list, the implementation of the same name and signature in
// namespace qolsc.
#pragma once

#include "qolsc.h"

namespace qolsc {
#define QOLSC_ENTRY(name) decltype(::name) name;
#include "entry/entries.def"
#undef QOLSC_ENTRY
} // namespace qolsc
