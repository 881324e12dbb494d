// SPDX-License-Identifier: Apache-2.0
// The callable list of exports, made from the one list.
#include "kit/exports.h"

namespace qolsc::test {

std::span<const Export> allExports() {
    static const std::vector<Export> all = {
#define QOLSC_ENTRY(name) {#name, Caller<&::name>::kinds(), Caller<&::name>::call},
#include "entry/entries.def"
#undef QOLSC_ENTRY
    };
    return all;
}

const Export* findExport(std::string_view name) {
    for (const Export& e : allExports()) {
        if (e.name == name) {
            return &e;
        }
    }
    return nullptr;
}

} // namespace qolsc::test
