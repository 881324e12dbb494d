// SPDX-License-Identifier: Apache-2.0
// Argument checks shared by all implementations, so that a function opens with lines that read like
// its documentation.
#pragma once

#include "numeric/rules.h"
#include "qolsc/status.h"

#include <cstdint>

namespace qolsc {

/// True when any of the pointers is null.
template <typename... P>
constexpr bool anyNull(const P*... p) {
    return ((p == nullptr) || ...);
}

/// End of a size query: writes the bytes where the checks of its arguments passed.
inline QolStatus giveSize(QolStatus status, Qol64s bytes, Qol32s* pSize) {
    if (status == qolStsNoErr) {
        *pSize = saturate32(bytes);
    }
    return status;
}
/// A size query without other arguments.
inline QolStatus giveSize(Qol64s bytes, Qol32s* pSize) {
    return giveSize(anyNull(pSize) ? qolStsNullPtrErr : qolStsNoErr, bytes, pSize);
}

/// First address at or behind p that is a multiple of Bytes (a power of two); records with slack
/// begin there.
template <std::uintptr_t Bytes, typename T>
inline T* alignUp(T* p) {
    return reinterpret_cast<T*>((reinterpret_cast<std::uintptr_t>(p) + (Bytes - 1)) & ~(Bytes - 1));
}

} // namespace qolsc
