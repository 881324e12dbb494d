// SPDX-License-Identifier: Apache-2.0
// Fills, copies, reversal and allocation of the vector layer: every length, any alignment,
// canaries.
#include "vector/elements.h"
#include "vector/vector.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace qolsc;
using namespace qolsc::test;

namespace {

template <typename T, typename Zero>
void checkZero(Zero zero) {
    for (const int len : {1, 2, 3, 15, 16, 17, 100, 1000}) {
        for (std::size_t skew = 0; skew < 4; ++skew) {
            auto g = guarded<T>(static_cast<std::size_t>(len), skew, 0xA5);
            ASSERT_EQ(zero(g.data, len), qolStsNoErr);
            ASSERT_TRUE(intact(g, 0xA5));
            const auto* bytes = reinterpret_cast<const Qol8u*>(g.data);
            ASSERT_TRUE(
                std::all_of(bytes, bytes + sizeof(T) * g.count, [](int b) { return b == 0; }));
        }
    }
    T one[1];
    EXPECT_EQ(zero(nullptr, 0), qolStsNullPtrErr);
    EXPECT_EQ(zero(one, 0), qolStsSizeErr);
}

template <typename T, typename Set>
void checkSet(Set set, T value, const std::vector<int>& sizes) {
    for (const int len : sizes) {
        for (std::size_t skew = 0; skew < 5; ++skew) {
            auto g = guarded<T>(static_cast<std::size_t>(len), skew);
            ASSERT_EQ(set(value, g.data, len), qolStsNoErr);
            ASSERT_TRUE(intact(g)) << len;
            ASSERT_EQ(std::count(g.data, g.data + len, value), len) << len;
        }
    }
    T one[1];
    EXPECT_EQ(set(value, nullptr, 0), qolStsNullPtrErr);
    EXPECT_EQ(set(value, one, 0), qolStsSizeErr);
}

template <typename T, typename Copy>
void checkCopy(Copy copy) {
    Random r;
    for (const int len : lengths()) {
        std::vector<T> x(static_cast<std::size_t>(len));
        auto* bytes = reinterpret_cast<Qol8u*>(x.data());
        std::generate(bytes, bytes + sizeof(T) * x.size(),
                      [&] { return static_cast<Qol8u>(next(r)); });
        const auto src = guarded(x, 1);
        auto dst = guarded<T>(x.size(), static_cast<std::size_t>(len) % 3);
        ASSERT_EQ(copy(src.data, dst.data, len), qolStsNoErr);
        ASSERT_TRUE(intact(dst));
        ASSERT_EQ(std::memcmp(dst.data, x.data(), x.size() * sizeof(T)), 0);
    }
    T one[1];
    EXPECT_EQ(copy(nullptr, one, 0), qolStsNullPtrErr);
    EXPECT_EQ(copy(one, nullptr, 0), qolStsNullPtrErr);
    EXPECT_EQ(copy(one, one, 0), qolStsSizeErr);
}

} // namespace

TEST(Vector, FillAndCopy) {
    checkZero<Qol8u>(qolsZero_8u);
    checkZero<Qol16s>(qolsZero_16s);
    checkZero<Qol32s>(qolsZero_32s);
    checkZero<Qol32f>(qolsZero_32f);
    checkZero<Qol64s>(qolsZero_64s);
    checkZero<Qol64f>(qolsZero_64f);
    checkZero<Qol16sc>(qolsZero_16sc);
    checkZero<Qol32fc>(qolsZero_32fc);
    checkZero<Qol64fc>(qolsZero_64fc);
    checkSet<Qol16s>(qolsSet_16s, 0x1234, lengths());
    checkSet<Qol32s>(qolsSet_32s, 0x12345678, lengths());
    checkSet<Qol32f>(qolsSet_32f, 1.5f, lengths());
    checkSet<Qol64f>(qolsSet_64f, -2.25, lengths());
    checkCopy<Qol8u>(qolsCopy_8u);
    checkCopy<Qol16s>(qolsCopy_16s);
    checkCopy<Qol32s>(qolsCopy_32s);
    checkCopy<Qol32f>(qolsCopy_32f);
    checkCopy<Qol32sc>(qolsCopy_32sc);
    checkCopy<Qol64f>(qolsCopy_64f);
    checkCopy<Qol16s>(qolsMove_16s);
    checkCopy<Qol32f>(qolsMove_32f);
}

// Above 2 MiB and, on most machines, above the caches (non-temporal stores).
TEST(Vector, LargeFills) {
    checkSet<Qol16s>(qolsSet_16s, 0x1234, {0x100000, 0x100001});
    checkSet<Qol16s>(qolsSet_16s, -2, {40 << 20});
    checkSet<Qol32s>(qolsSet_32s, 0x12345678, {(20 << 20) + 3});
    auto g = guarded<Qol8u>((80u << 20) + 13, 5);
    EXPECT_EQ(qolsZero_8u(g.data, (80 << 20) + 13), qolStsNoErr);
    EXPECT_TRUE(intact(g));
    EXPECT_EQ(std::count(g.data, g.data + g.count, 0), static_cast<std::ptrdiff_t>(g.count));
    // An address that isn't a multiple of the element.
    auto odd = guarded<Qol8u>(0x200000 + 8, 1);
    EXPECT_EQ(qolsSet_16s(0x0102, reinterpret_cast<Qol16s*>(odd.data), 0x100002), qolStsNoErr);
    EXPECT_TRUE(intact(odd, 0x5A));
    EXPECT_EQ(odd.data[0x200003], 1);
}

TEST(Vector, MoveAndFlip) {
    Random r;
    for (const int len : {1, 7, 64, 20000}) {
        for (const int shift : {-5, -1, 0, 1, 9}) {
            const auto x = noise16(r, len + 20);
            auto want = x, got = x;
            std::memmove(want.data() + 10 + shift, x.data() + 10,
                         sizeof(Qol16s) * static_cast<std::size_t>(len));
            EXPECT_EQ(qolsMove_16s(got.data() + 10, got.data() + 10 + shift, len), qolStsNoErr);
            EXPECT_EQ(got, want);
        }
    }
    for (const int len : lengths()) {
        auto x = noisef(r, len);
        auto g = guarded(x, 3);
        EXPECT_EQ(qolsFlip_32f_I(g.data, len), qolStsNoErr);
        std::reverse(x.begin(), x.end());
        EXPECT_EQ(values(g), x);
        EXPECT_TRUE(intact(g));
    }
}

TEST(Vector, Allocation) {
    EXPECT_EQ(qolsMalloc_8u(0), nullptr);
    EXPECT_EQ(qolsMalloc_32f(-1), nullptr);
    EXPECT_EQ(qolsMalloc_32f(0x20000000), nullptr);
    Qol32f* p = qolsMalloc_32f(100);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
    p[99] = 1;
    qolsFree(p);
    qolsFree(nullptr);
}
