// SPDX-License-Identifier: Apache-2.0
// Correlation, convolution and LP filters beside the plain loops that define them. Items are
// multiply-adds, of the recursion samples. The bound: a core starts two multiply-add instructions
// of eight pairs a cycle; in the recursion a multiplication, an addition and a shift wait for each
// other from one sample to the next.
#include "qolsc/common.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using Words = std::vector<Qol16s>;

/// Quiet noise, so that nothing overflows.
Words noise(int count) {
    Words v(static_cast<std::size_t>(count));
    std::uint32_t state = 12345;
    for (Qol16s& x : v) {
        state = state * 1664525u + 1013904223u;
        x = static_cast<Qol16s>(static_cast<std::int32_t>(state) >> 22);
    }
    return v;
}

/// Runs work, so many multiply-adds (or samples) a call.
template <typename Work>
void measure(benchmark::State& state, double operations, Work work,
             const char* unit = "multiply-add", double bound = 1. / 16) {
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(
        static_cast<std::int64_t>(operations * static_cast<double>(state.iterations())));
    state.SetLabel(unit);
    state.counters["bound"] = bound;
}

// ---- plain loops ----

__attribute__((noinline)) void plainCorr(const Qol16s* x, const Qol16s* y, int len, Qol32s* pDst,
                                         int lags) {
    for (int k = 0; k < lags; ++k) {
        Qol32s s = 0;
        for (int i = 0; i < len; ++i) {
            s += x[i] * y[i + k];
        }
        pDst[k] = s;
    }
}

__attribute__((noinline)) void plainTriangle(const Qol16s* x, const Qol16s* y, int len,
                                             Qol32s* pDst, int lags) {
    for (int k = 0; k < lags; ++k) {
        Qol32s s = 0;
        for (int i = 0; i < len - k; ++i) {
            s += x[i] * y[i + k];
        }
        pDst[k] = s;
    }
}

__attribute__((noinline)) void plainConv(const Qol16s* a, const Qol16s* b, Qol16s* pDst, int len) {
    for (int n = 0; n < len; ++n) {
        Qol32s s = 0;
        for (int k = 0; k <= n; ++k) {
            s += a[k] * b[n - k];
        }
        pDst[n] = static_cast<Qol16s>(s >> 12);
    }
}

inline Qol16s clip(Qol32s v) {
    return static_cast<Qol16s>(v > 32767 ? 32767 : v < -32768 ? -32768 : v);
}

__attribute__((noinline)) void plainSynthesis(const Qol16s* a, const Qol16s* x, Qol16s* y,
                                              int len) {
    for (int n = 0; n < len; ++n) {
        Qol32u acc = static_cast<Qol32u>(a[0] * x[n]) + 2048;
        for (int k = 1; k <= 10; ++k) {
            acc -= static_cast<Qol32u>(a[k] * y[n - k]);
        }
        y[n] = clip(static_cast<Qol32s>(acc) >> 12);
    }
}

__attribute__((noinline)) void plainResidual(const Qol16s* a, const Qol16s* x, Qol16s* y, int len) {
    for (int n = 0; n < len; ++n) {
        Qol32s s = 2048;
        for (int k = 0; k <= 10; ++k) {
            s += a[k] * x[n - k];
        }
        y[n] = clip(s >> 12);
    }
}

constexpr Qol16s kLpc[11] = {4096, -6000, 3000, -500, 200, -100, 300, -200, 100, 50, -30};

// ---- rows ----

void corr(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0)), lags = static_cast<int>(state.range(1));
    const Words x = noise(len + 1), y = noise(len + lags);
    std::vector<Qol32s> out(static_cast<std::size_t>(lags));
    measure(state, double(len) * lags, [&] {
        plain ? plainCorr(x.data() + 1, y.data(), len, out.data(), lags)
              : void(qolsCrossCorr_NR_16s32s(x.data() + 1, y.data(), len, out.data(), lags));
    });
}

void autoCorr(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0)), lags = static_cast<int>(state.range(1));
    const Words x = noise(len + 1);
    std::vector<Qol32s> out(static_cast<std::size_t>(lags));
    measure(state, lags * (len - (lags - 1) / 2.0), [&] {
        plain ? plainTriangle(x.data() + 1, x.data() + 1, len, out.data(), lags)
              : void(qolsAutoCorr_16s32s(x.data() + 1, len, out.data(), lags));
    });
}

void lagSearch(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0)), lags = 124;
    const Words x = noise(len + 143);
    std::vector<Qol32s> out(lags);
    Qol32s max = 0, lag = 0;
    measure(state, double(len) * lags, [&] {
        plain ? plainCorr(x.data() + 143, x.data(), len, out.data(), lags)
              : void(qolsAutoCorrLagMax_Inv_16s(x.data() + 143, len, 20, 143, &max, &lag));
    });
}

void convolution(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0));
    const Words a = noise(len + 1), b = noise(len);
    Words out(static_cast<std::size_t>(len));
    measure(state, len * (len + 1) / 2.0, [&] {
        plain ? plainConv(a.data() + 1, b.data(), out.data(), len)
              : void(qolsConvPartial_16s_Sfs(a.data() + 1, b.data(), out.data(), len, 12));
    });
}

void synthesis(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0));
    const Words x = noise(len), memory = noise(10);
    Words out(static_cast<std::size_t>(len) + 10);
    measure(
        state, len,
        [&] {
            plain ? plainSynthesis(kLpc, x.data(), out.data() + 10, len)
                  : void(qolsSynthesisFilter_NR_16s_Sfs(kLpc, x.data(), out.data() + 10, len, 12,
                                                        memory.data()));
        },
        "sample", 5);
}

void residual(benchmark::State& state, bool plain) {
    const int len = static_cast<int>(state.range(0));
    const Words x = noise(len + 10);
    Words out(static_cast<std::size_t>(len));
    measure(state, 11.0 * len, [&] {
        plain ? plainResidual(kLpc, x.data() + 10, out.data(), len)
              : void(qolsResidualFilter_Low_16s_Sfs(kLpc, 10, x.data() + 10, out.data(), len, 12));
    });
}

} // namespace

#define ROWS(name, ...)                                                                            \
    BENCHMARK_CAPTURE(name, kernel, false) __VA_ARGS__;                                            \
    BENCHMARK_CAPTURE(name, plain, true) __VA_ARGS__

ROWS(corr, ->Args({40, 40})->Args({60, 7})->Args({160, 8})->Args({160, 128})->Args({16, 40}));
ROWS(autoCorr, ->Args({80, 11})->Args({160, 9})->Args({160, 11})->Args({240, 11})->Args({384, 17}));
ROWS(lagSearch, ->Arg(80)->Arg(160));
ROWS(convolution, ->Arg(40)->Arg(60)->Arg(64)->Arg(160));
ROWS(synthesis, ->Arg(40)->Arg(80)->Arg(160));
ROWS(residual, ->Arg(40)->Arg(160));

BENCHMARK_MAIN();
