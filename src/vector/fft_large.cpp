// SPDX-License-Identifier: Apache-2.0
// Orders 20 and up, in place and without a work buffer, which would be as large as the data: bit
// reversal, then radix 2, the halves one after the other so that small ones stay in the caches. The
// roots come from two short tables, whose product is exact enough in double.
#include "vector/fft_kernels.h"

#include <utility>

namespace qolsc::fft {
namespace {

/// Roots of N: root k is fine[k % 2^bits] times coarse[k >> bits].
struct RootTables {
    const Root *fine, *coarse;
    int bits;
};

int fineBits(int order) { return (order + 1) / 2; }

RootTables tablesOf(int order, const Qol8u* pTable) {
    const int bits = fineBits(order);
    const auto* fine = reinterpret_cast<const Root*>(pTable);
    return {fine, fine + (1LL << bits), bits};
}

Root rootAt(RootTables t, long long k) {
    const Root a = t.fine[k & ((1LL << t.bits) - 1)], b = t.coarse[k >> t.bits];
    return {a.c * b.c - a.s * b.s, a.c * b.s + a.s * b.c};
}

void reverseBits(Complex<Qol32f>* z, int bits) {
    const long long count = 1LL << bits;
    for (long long i = 0, j = 0; i < count; ++i) {
        if (i < j) {
            std::swap(z[i], z[j]);
        }
        long long bit = count >> 1; // the reversed counter
        for (; bit && (j & bit); bit >>= 1) {
            j ^= bit;
        }
        j |= bit;
    }
}

/// 2^bits numbers in bit-reversed order to their spectrum, e^(-j...) or the conjugate; N = 2^order
/// is what the roots are told for.
template <bool Inverse>
void transformReversed(Complex<Qol32f>* z, int bits, RootTables t, int order) {
    if (bits == 0) {
        return;
    }
    const long long half = 1LL << (bits - 1);
    transformReversed<Inverse>(z, bits - 1, t, order);
    transformReversed<Inverse>(z + half, bits - 1, t, order);
    for (long long k = 0; k < half; ++k) {
        const Root w = rootAt(t, k << (order - bits));
        const Complex<Qol32f> b = product(z[half + k], static_cast<Qol32f>(w.c),
                                          static_cast<Qol32f>(Inverse ? w.s : -w.s));
        const Complex<Qol32f> a = z[k];
        z[k] = a + b;
        z[half + k] = a - b;
    }
}

/// Recombination of bins k and H - k in place.
template <typename Recombine>
void recombineAll(Complex<Qol32f>* z, int order, RootTables t, Qol32f gain, Recombine recombine) {
    const long long half = 1LL << (order - 1);
    for (long long k = 1; k <= half / 2; ++k) {
        const Root w = rootAt(t, k);
        Complex<Qol32f> a = z[k], b = z[half - k];
        recombine(a, b, static_cast<Qol32f>(w.c), static_cast<Qol32f>(w.s), gain);
        z[half - k] = b;
        z[k] = a;
    }
}

} // namespace

int largeTableBytes(int order) {
    const int bits = fineBits(order);
    return static_cast<int>(sizeof(Root)) * ((1 << bits) + (1 << (order - bits)));
}

void buildLargeTables(int order, Qol8u* pTable) {
    const int bits = fineBits(order);
    const long long length = 1LL << order;
    auto* p = reinterpret_cast<Root*>(pTable);
    for (long long k = 0; k < 1LL << bits; ++k) {
        *p++ = root(k, length);
    }
    for (long long k = 0; k < 1LL << (order - bits); ++k) {
        *p++ = root(k << bits, length);
    }
}

void forwardLarge(int order, const Qol8u* pTable, Qol32f* pData, Qol32f factor) {
    const RootTables t = tablesOf(order, pTable);
    auto* z = reinterpret_cast<Complex<Qol32f>*>(pData);
    reverseBits(z, order - 1);
    transformReversed<false>(z, order - 1, t, order);
    recombineAll(z, order, t, 0.5f * factor, [](auto& a, auto& b, Qol32f c, Qol32f s, Qol32f g) {
        recombineForward(a, b, c, s, g);
    });
    z[0] = {(z[0].re + z[0].im) * factor, (z[0].re - z[0].im) * factor};
}

void inverseLarge(int order, const Qol8u* pTable, Qol32f* pData, Qol32f factor) {
    const RootTables t = tablesOf(order, pTable);
    auto* z = reinterpret_cast<Complex<Qol32f>*>(pData);
    z[0] = {(z[0].re + z[0].im) * factor, (z[0].re - z[0].im) * factor};
    recombineAll(z, order, t, factor, [](auto& a, auto& b, Qol32f c, Qol32f s, Qol32f g) {
        recombineInverse(a, b, c, s, g);
    });
    reverseBits(z, order - 1);
    transformReversed<true>(z, order - 1, t, order);
}

} // namespace qolsc::fft
