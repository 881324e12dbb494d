// SPDX-License-Identifier: Apache-2.0
// A block of bytes between canaries, for calls whose types are known at run time only.
#pragma once

#include "kit/data.h"

#include <memory>

namespace qolsc::test {

/// Zero-filled bytes, skew bytes behind a multiple of 64, between canaries; pointer lies offset
/// bytes inside.
struct Block {
    Guarded<std::uint8_t> bytes;
    std::size_t offset = 0;
};

inline Block makeBlock(std::size_t size, std::size_t offset = 0, std::size_t skew = 0) {
    return {guarded<std::uint8_t>(size, skew), offset};
}
inline void* pointerOf(Block& b) { return b.bytes.data + b.offset; }
inline void put(Block& b, std::size_t at, const void* data, std::size_t n) {
    if (n != 0) {
        std::memcpy(b.bytes.data + at, data, n);
    }
}
inline std::vector<std::uint8_t> get(const Block& b, std::size_t at, std::size_t n) {
    return {b.bytes.data + at, b.bytes.data + at + n};
}

} // namespace qolsc::test
