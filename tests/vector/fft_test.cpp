// SPDX-License-Identifier: Apache-2.0
// Transforms against the defining sum (small orders) or a double-precision radix-2 transform, all
// layouts, flags, in place, at any alignment of record, buffer and data.
#include "vector/fft.h"

#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

using namespace qolsc;
using namespace qolsc::test;

namespace {

using Bins = std::vector<std::complex<double>>;

/// Spectrum in double by decimation in frequency (checked by the defining sum below).
Bins exactSpectrum(Bins x) {
    const std::size_t n = x.size();
    Bins roots(n / 2 + 1);
    for (std::size_t k = 0; k < n / 2; ++k) {
        roots[k] = std::polar(1.0, -2 * std::numbers::pi * double(k) / double(n));
    }
    for (std::size_t half = n / 2; half > 0; half /= 2) {
        for (std::size_t i = 0; i < n; ++i) {
            if ((i & half) == 0) {
                const auto a = x[i], b = x[i + half], w = roots[(i % half) * (n / 2 / half)];
                const auto d = a - b;
                x[i] = a + b;
                x[i + half] = {d.real() * w.real() - d.imag() * w.imag(),
                               d.real() * w.imag() + d.imag() * w.real()};
            }
        }
    }
    for (std::size_t i = 1, j = 0; i < n; ++i) { // bit-reversed to natural order
        std::size_t bit = n / 2;
        for (; j & bit; bit /= 2) {
            j ^= bit;
        }
        j |= bit;
        if (i < j) {
            std::swap(x[i], x[j]);
        }
    }
    return x;
}
Bins definingSum(const std::vector<std::complex<double>>& x) {
    const std::size_t n = x.size();
    Bins out(n);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t i = 0; i < n; ++i) {
            out[k] += x[i] * std::polar(1.0, -2 * std::numbers::pi * double(k * i % n) / double(n));
        }
    }
    return out;
}

/// Record and buffer with the sizes that GetSize tells, skewed, between canaries.
struct Engine {
    Guarded<Qol8u> record, buffer;
    QolsFFTSpec_R_32f* spec;
};
Engine engine(int order, int flag, std::size_t skew) {
    Qol32s specSize = 0, initSize = 0, workSize = 0, bufSize = 0;
    EXPECT_EQ(qolsFFTGetSize_R_32f(order, flag, 0, &specSize, &initSize, &workSize), qolStsNoErr);
    Engine e{guarded<Qol8u>(std::size_t(specSize), skew), guarded<Qol8u>(0), nullptr};
    std::vector<Qol8u> init(std::size_t(initSize) + 1);
    EXPECT_EQ(qolsFFTInit_R_32f(&e.spec, order, flag, 7, e.record.data, init.data()), qolStsNoErr);
    EXPECT_TRUE(intact(e.record)) << order;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(e.spec) % 64, 0u);
    EXPECT_EQ(qolsFFTGetBufSize_R_32f(e.spec, &bufSize), qolStsNoErr);
    EXPECT_EQ(bufSize, workSize > 0 ? workSize + 64 : 0);
    e.buffer = guarded<Qol8u>(std::size_t(bufSize), skew);
    return e;
}

using Transform = QolStatus (*)(const Qol32f*, Qol32f*, const QolsFFTSpec_R_32f*, Qol8u*);
struct LayoutCase {
    const char* name;
    Transform forward, inverse;
};
const LayoutCase kLayouts[] = {
    {"Perm", qolsFFTFwd_RToPerm_32f, qolsFFTInv_PermToR_32f},
    {"Pack", qolsFFTFwd_RToPack_32f, qolsFFTInv_PackToR_32f},
    {"CCS", qolsFFTFwd_RToCCS_32f, qolsFFTInv_CCSToR_32f},
};

/// The elements of a spectrum in a layout.
std::vector<double> laidOut(const std::string& layout, const Bins& x) {
    const std::size_t n = x.size();
    if (n == 1) {
        return layout == "CCS" ? std::vector<double>{x[0].real(), 0}
                               : std::vector<double>{x[0].real()};
    }
    std::vector<double> v{x[0].real()};
    if (layout != "Pack") {
        v.push_back(layout == "Perm" ? x[n / 2].real() : 0);
    }
    for (std::size_t k = 1; k < n / 2; ++k) {
        v.push_back(x[k].real());
        v.push_back(x[k].imag());
    }
    if (layout != "Perm") {
        v.push_back(x[n / 2].real());
    }
    if (layout == "CCS") {
        v.push_back(0);
    }
    return v;
}

/// Error relative to the whole spectrum's size; float rounding grows with the root of the order.
double relativeError(const Qol32f* got, const std::vector<double>& want, double factor) {
    double error = 0, size = 1e-300;
    for (std::size_t i = 0; i < want.size(); ++i) {
        error += std::pow(got[i] - want[i] * factor, 2);
        size += std::pow(want[i] * factor, 2);
    }
    return std::sqrt(error / size);
}
double bound(int order) { return 0x1p-24 * (1 + 0.8 * std::sqrt(double(order))); }

} // namespace

TEST(Fft, ReferenceAgreesWithTheDefiningSum) {
    Random r;
    const auto x = noisef(r, 256);
    const Bins a = exactSpectrum({x.begin(), x.end()}), b = definingSum({x.begin(), x.end()});
    for (std::size_t k = 0; k < a.size(); ++k) {
        EXPECT_LE(std::abs(a[k] - b[k]), 1e-11) << k;
    }
}

TEST(Fft, AllOrdersLayoutsFlags) {
    Random r;
    for (int order = 0; order <= 21; ++order) {
        if (order > 15 && order != 19 && order != 21) {
            continue;
        }
        const std::size_t n = std::size_t{1} << order;
        const auto x = noisef(r, static_cast<int>(n));
        const std::vector<std::complex<double>> wide(x.begin(), x.end());
        const Bins bins = order <= 9 ? definingSum(wide) : exactSpectrum(wide);
        for (const int flag : {8, 1, 2, 4}) {
            if (order > 15 && flag != 4) {
                continue;
            }
            const std::size_t skew = std::size_t(order * 5 + flag) % 64;
            Engine e = engine(order, flag, skew);
            const double root = std::sqrt(double(n));
            const double fwd = flag == 1 ? 1.0 / double(n) : flag == 4 ? 1 / root : 1;
            const double inv = flag == 2 ? 1.0 / double(n) : flag == 4 ? 1 / root : 1;
            for (const LayoutCase& layout : kLayouts) {
                SCOPED_TRACE(testing::Message()
                             << layout.name << " order " << order << " flag " << flag);
                const auto want = laidOut(layout.name, bins);
                const auto src = guarded(x, skew % 9);
                auto dst = guarded<Qol32f>(want.size(), skew % 5);
                ASSERT_EQ(layout.forward(src.data, dst.data, e.spec, e.buffer.data), qolStsNoErr);
                ASSERT_TRUE(intact(dst) && intact(e.buffer) && intact(e.record));
                EXPECT_LE(relativeError(dst.data, want, fwd), bound(order));
                if (std::string(layout.name) == "CCS") {
                    EXPECT_EQ(dst.data[1], 0);
                    EXPECT_EQ(dst.data[want.size() - 1], order ? 0 : dst.data[1]);
                }
                // In place, and the allocated work buffer.
                auto both = guarded<Qol32f>(want.size(), skew % 7);
                std::copy(x.begin(), x.end(), both.data);
                ASSERT_EQ(layout.forward(both.data, both.data, e.spec, nullptr), qolStsNoErr);
                EXPECT_EQ(std::memcmp(both.data, dst.data, want.size() * 4), 0) << "in place";
                // Back again, out of place and in place.
                auto back = guarded<Qol32f>(n, skew % 3);
                ASSERT_EQ(layout.inverse(dst.data, back.data, e.spec, e.buffer.data), qolStsNoErr);
                ASSERT_TRUE(intact(back) && intact(e.buffer));
                const std::vector<double> again(x.begin(), x.end());
                EXPECT_LE(relativeError(back.data, again, double(n) * fwd * inv), 2 * bound(order));
                ASSERT_EQ(layout.inverse(both.data, both.data, e.spec, nullptr), qolStsNoErr);
                EXPECT_EQ(std::memcmp(both.data, back.data, n * 4), 0) << "inverse in place";
            }
        }
    }
}

// An inverse alone: one line of the spectrum gives a cosine of known phase.
TEST(Fft, InverseOfOneLine) {
    for (int order = 1; order <= 12; ++order) {
        const int n = 1 << order;
        Engine e = engine(order, 8, 0);
        for (int k = 0; k <= n / 2; k += n > 64 ? 37 : 1) {
            std::vector<Qol32f> ccs(std::size_t(n) + 2), x(std::size_t(n), 0);
            const bool real = k == 0 || k == n / 2;
            ccs[2 * std::size_t(k)] = 3;
            ccs[2 * std::size_t(k) + 1] = real ? 0 : 4;
            ASSERT_EQ(qolsFFTInv_CCSToR_32f(ccs.data(), x.data(), e.spec, e.buffer.data),
                      qolStsNoErr);
            for (int i = 0; i < n; ++i) {
                const double a = 2 * std::numbers::pi * double(k * Qol64s{i} % n) / n;
                const double want =
                    real ? 3 * std::cos(a) : 2 * (3 * std::cos(a) - 4 * std::sin(a));
                ASSERT_NEAR(x[std::size_t(i)], want, 1e-5) << order << ' ' << k << ' ' << i;
            }
        }
    }
}

TEST(Fft, ConstantHasOnlyTheFirstBin) {
    for (const int order : {5, 8, 10}) {
        const std::size_t n = std::size_t{1} << order;
        Engine e = engine(order, 8, 1);
        const std::vector<Qol32f> x(n, 1);
        std::vector<Qol32f> y(n + 2, -1);
        ASSERT_EQ(qolsFFTFwd_RToCCS_32f(x.data(), y.data(), e.spec, e.buffer.data), qolStsNoErr);
        EXPECT_EQ(y[0], float(n));
        for (std::size_t i = 1; i < n + 2; ++i) {
            EXPECT_EQ(y[i], 0) << i;
        }
    }
}

TEST(Fft, Sizes) {
    struct {
        int order, spec, init, work;
    } const known[] = {{0, 208, 0, 0},
                       {4, 208, 0, 0},
                       {5, 384, 0, 0},
                       {7, 768, 0, 0},
                       {8, 1024 + 64 + 192 + 1024 + 256, 0, 1088},
                       {10, 4096 + 64 + 576 + 4096 + 256, 0, 4160},
                       {11, 8192 + 64 + 1088 + 8192 + 256, 2112 + 64, 8256}};
    for (const auto& k : known) {
        Qol32s spec, init, work;
        ASSERT_EQ(qolsFFTGetSize_R_32f(k.order, 2, 0, &spec, &init, &work), qolStsNoErr);
        EXPECT_EQ(spec, k.spec) << k.order;
        EXPECT_EQ(init, k.init) << k.order;
        EXPECT_EQ(work, k.work) << k.order;
        ASSERT_EQ(qolsFFTGetSize_R_16s32s(k.order, 2, 0, &spec, &init, &work), qolStsNoErr);
        EXPECT_GE(spec, k.spec + 128);
        EXPECT_GE(work, k.work + (4 << k.order) + 8);
    }
}

TEST(Fft, ChecksOfSizesAndInit) {
    Qol32s a, b, c;
    for (const auto size : {qolsFFTGetSize_R_32f, qolsFFTGetSize_R_16s32s}) {
        EXPECT_EQ(size(31, 3, 0, nullptr, &b, &c), qolStsFftOrderErr);
        EXPECT_EQ(size(-1, 3, 0, nullptr, &b, &c), qolStsFftOrderErr);
        EXPECT_EQ(size(30, 3, 0, &a, nullptr, &c), qolStsNullPtrErr);
        EXPECT_EQ(size(30, 3, 0, &a, &b, &c), qolStsFftFlagErr);
        EXPECT_EQ(size(30, 8, 0, &a, &b, &c), qolStsFftOrderErr);
        EXPECT_EQ(size(29, 8, 0, &a, &b, &c), qolStsNoErr);
    }
    alignas(64) Qol8u memory[32768];
    QolsFFTSpec_R_32f* spec = nullptr;
    EXPECT_EQ(qolsFFTInit_R_32f(nullptr, 31, 3, 0, nullptr, nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 30, 3, 0, nullptr, nullptr), qolStsFftOrderErr);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 5, 3, 0, nullptr, nullptr), qolStsNullPtrErr);
    std::memset(memory, 0xFF, sizeof memory);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 5, 3, 0, memory, nullptr), qolStsFftFlagErr);
    EXPECT_EQ(reinterpret_cast<QolsFFTSpec_R_32f*>(memory)->id, 0);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 11, 8, 0, memory, nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 10, 8, 0, memory, nullptr), qolStsNoErr);
    EXPECT_EQ(spec->id, 6);

    Qol32f x[2048] = {};
    Qol32s size = 5;
    EXPECT_EQ(qolsFFTFwd_RToCCS_32f(nullptr, x, nullptr, nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTFwd_RToCCS_32f(nullptr, x, spec, nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTGetBufSize_R_32f(spec, nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTFree_R_32f(nullptr), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTFree_R_32f(spec), qolStsNoErr);
    EXPECT_EQ(qolsFFTFree_R_32f(spec), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTFwd_RToPerm_32f(nullptr, x, spec, nullptr), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTInv_PackToR_32f(x, x, spec, nullptr), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTGetBufSize_R_32f(spec, &size), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTInit_R_32f(&spec, 4, 8, 0, memory, nullptr), qolStsNoErr);
    EXPECT_EQ(qolsFFTGetBufSize_R_32f(spec, &size), qolStsNoErr);
    EXPECT_EQ(size, 0);
}

TEST(Fft, AllocatedRecord) {
    QolsFFTSpec_R_32f* spec = nullptr;
    EXPECT_EQ(qolsFFTInitAlloc_R_32f(nullptr, 5, 8, 0), qolStsNullPtrErr);
    EXPECT_EQ(qolsFFTInitAlloc_R_32f(&spec, 30, 8, 0), qolStsFftOrderErr);
    EXPECT_EQ(qolsFFTInitAlloc_R_32f(&spec, 5, 3, 0), qolStsFftFlagErr);
    for (const int order : {3, 7, 9, 13, 20}) {
        ASSERT_EQ(qolsFFTInitAlloc_R_32f(&spec, order, 2, 0), qolStsNoErr);
        EXPECT_EQ(spec->allocated, 1);
        std::vector<Qol32f> x(std::size_t{1} << order), y(x.size());
        x[1] = 1;
        ASSERT_EQ(qolsFFTFwd_RToPack_32f(x.data(), y.data(), spec, nullptr), qolStsNoErr);
        ASSERT_EQ(qolsFFTInv_PackToR_32f(y.data(), y.data(), spec, nullptr), qolStsNoErr);
        EXPECT_NEAR(y[1], 1, 1e-6);
        EXPECT_NEAR(y[0], 0, 1e-6);
        EXPECT_EQ(qolsFFTFree_R_32f(spec), qolStsNoErr);
    }
}

TEST(Fft, SixteenBitFrontEnd) {
    Random r;
    for (int order = 0; order <= 12; ++order) {
        const std::size_t n = std::size_t{1} << order;
        for (const bool ownBuffer : {true, false}) {
            Qol32s specSize, initSize, workSize;
            ASSERT_EQ(qolsFFTGetSize_R_16s32s(order, 2, 0, &specSize, &initSize, &workSize),
                      qolStsNoErr);
            const std::size_t skew = std::size_t(order * 7) % 64;
            auto record = guarded<Qol8u>(std::size_t(specSize), skew);
            auto work = guarded<Qol8u>(std::size_t(workSize) + 64, skew);
            std::vector<Qol8u> init(std::size_t(initSize) + 1);
            QolsFFTSpec_R_16s32s* spec = nullptr;
            ASSERT_EQ(qolsFFTInit_R_16s32s(&spec, order, 2, 0, record.data, init.data()),
                      qolStsNoErr);
            ASSERT_EQ(spec->id, 0x434D414F);
            const auto x = noise16(r, static_cast<int>(n));
            const auto want = laidOut("CCS", exactSpectrum({x.begin(), x.end()}));
            auto ccs = guarded<Qol32s>(order ? n + 2 : 1, 1);
            const int scale = 3;
            ASSERT_EQ(qolsFFTFwd_RToCCS_16s32s_Sfs(x.data(), ccs.data, spec, scale,
                                                   ownBuffer ? work.data : nullptr),
                      qolStsNoErr);
            ASSERT_TRUE(intact(ccs) && intact(work) && intact(record));
            const double unit = 0.51 + 32768 * std::sqrt(double(n)) / 8 * 0x1p-20;
            for (std::size_t i = 0; i < ccs.count; ++i) {
                ASSERT_NEAR(ccs.data[i], want[i] / 8, unit) << order << ' ' << i;
            }
            auto back = guarded<Qol16s>(n, 1);
            ASSERT_EQ(qolsFFTInv_CCSToR_32s16s_Sfs(ccs.data, back.data, spec, -scale,
                                                   ownBuffer ? work.data : nullptr),
                      qolStsNoErr);
            ASSERT_TRUE(intact(back) && intact(work));
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_NEAR(back.data[i], x[i], 8) << order << ' ' << i; // a spectrum in units of 8
            }
        }
    }
    alignas(64) Qol8u memory[1024] = {};
    QolsFFTSpec_R_16s32s* spec = nullptr;
    Qol16s x[64] = {};
    Qol32s y[66] = {};
    EXPECT_EQ(qolsFFTInit_R_16s32s(&spec, 31, 2, 0, memory, nullptr), qolStsFftOrderErr);
    EXPECT_EQ(qolsFFTInit_R_16s32s(&spec, 30, 2, 0, memory, nullptr), qolStsFftOrderErr);
    ASSERT_EQ(qolsFFTInit_R_16s32s(&spec, 5, 2, 0, memory, nullptr), qolStsNoErr);
    EXPECT_EQ(qolsFFTFwd_RToCCS_16s32s_Sfs(nullptr, y, spec, 0, nullptr), qolStsNullPtrErr);
    QolsFFTSpec_R_16s32s* again = spec;
    EXPECT_EQ(qolsFFTInit_R_16s32s(&again, 5, 3, 0, memory, nullptr), qolStsFftFlagErr);
    EXPECT_EQ(qolsFFTFwd_RToCCS_16s32s_Sfs(x, y, spec, 0, nullptr), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTInv_CCSToR_32s16s_Sfs(y, x, spec, 0, nullptr), qolStsContextMatchErr);
    EXPECT_EQ(qolsFFTInv_CCSToR_32s16s_Sfs(y, x, nullptr, 0, nullptr), qolStsNullPtrErr);
}
