// SPDX-License-Identifier: Apache-2.0
// Real transforms beside FFTW planned with FFTW_MEASURE, forward and inverse, natural order. Items
// are samples; the bound is 2.5 n log2 n operations at sixteen a cycle, as usual in this field.
#include "vector/fft.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#ifdef QOLSC_HAVE_FFTW3F
#include <fftw3.h>
#endif

using namespace qolsc;

namespace {

std::vector<Qol32f> signal(std::size_t n) {
    std::vector<Qol32f> x(n + 16);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = static_cast<Qol32f>(std::sin(0.7 * static_cast<double>(i * i % 1009)));
    }
    return x;
}

void perSample(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() << state.range(0));
    state.counters["bound"] = 2.5 * static_cast<double>(state.range(0)) / 16;
}

using Transform = QolStatus (*)(const Qol32f*, Qol32f*, const QolsFFTSpec_R_32f*, Qol8u*);

void ours(benchmark::State& state, Transform transform) {
    const int order = static_cast<int>(state.range(0));
    QolsFFTSpec_R_32f* spec = nullptr;
    Qol32s size = 0;
    qolsFFTInitAlloc_R_32f(&spec, order, fftNoDiv, 0);
    qolsFFTGetBufSize_R_32f(spec, &size);
    std::vector<Qol8u> buffer(static_cast<std::size_t>(size) + 1);
    const auto x = signal(std::size_t{1} << order);
    std::vector<Qol32f> y(x.size());
    for (auto _ : state) {
        transform(x.data(), y.data(), spec, buffer.data());
        benchmark::ClobberMemory();
    }
    qolsFFTFree_R_32f(spec);
    perSample(state);
}
BENCHMARK_CAPTURE(ours, forward, qolsFFTFwd_RToCCS_32f)->DenseRange(5, 19);
BENCHMARK_CAPTURE(ours, inverse, qolsFFTInv_CCSToR_32f)->DenseRange(5, 19);

#ifdef QOLSC_HAVE_FFTW3F
/// The inverse keeps FFTW's default, which may destroy its input (a spectrum of zeros here, so that
/// repeated runs stay finite).
void fftw(benchmark::State& state, bool forward) {
    const int n = 1 << state.range(0);
    auto* x = fftwf_alloc_real(static_cast<std::size_t>(n) + 2);
    auto* y = fftwf_alloc_complex(static_cast<std::size_t>(n) / 2 + 1);
    fftwf_plan plan = forward ? fftwf_plan_dft_r2c_1d(n, x, y, FFTW_MEASURE)
                              : fftwf_plan_dft_c2r_1d(n, y, x, FFTW_MEASURE);
    const auto s = signal(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        x[i] = s[static_cast<std::size_t>(i)];
    }
    for (int i = 0; i <= n / 2; ++i) {
        y[i][0] = y[i][1] = 0;
    }
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
    fftwf_free(x);
    fftwf_free(y);
    perSample(state);
}
BENCHMARK_CAPTURE(fftw, forward, true)->DenseRange(5, 19);
BENCHMARK_CAPTURE(fftw, inverse, false)->DenseRange(5, 19);
#endif

} // namespace

BENCHMARK_MAIN();
