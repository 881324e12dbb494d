// SPDX-License-Identifier: Apache-2.0
// The echo canceller beside libspeexdsp's, the tone detector beside libspandsp's, and the sub-band
// filter against what the processor can do. Items are samples; of the kernels complex products.
#include "aec/engines.h"
#include "kit/data.h"

#include "qolsc.h"

#include "vector/simd.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_SPEEXDSP
#include <speex/speex_echo.h>
#endif
#ifdef QOLSC_HAVE_SPANDSP
extern "C" {
#include <spandsp.h>
}
#endif

#include <cmath>
#include <vector>

namespace {

using namespace qolsc::test;
using namespace qolsc::tools;

constexpr int kTailMs = 128, kSeconds = 2;

struct Ends {
    std::vector<Qol16s> far, near;
};
Ends ends(int rate) {
    Random r;
    Ends e{noise16(r, rate * kSeconds, 8000), {}};
    for (std::size_t n = 0; n < e.far.size(); ++n) {
        e.near.push_back(static_cast<Qol16s>(n < 50 ? 0 : e.far[n - 50] / 2 + uniform(r, -30, 30)));
    }
    return e;
}

void runEngine(benchmark::State& st, AecRunner (*make)(const AecSettings&), int rate, int tailMs) {
    const Ends e = ends(rate);
    std::vector<Qol16s> out(e.near.size());
    const AecRunner runner = make({.rate = rate, .tailMs = tailMs, .suppress = false});
    const auto size = static_cast<std::size_t>(runner.frameSize);
    std::size_t samples = 0;
    for (auto _ : st) {
        for (std::size_t n = 0; n + size <= e.far.size(); n += size) {
            runner.run(&e.far[n], &e.near[n], &out[n]);
            samples += size;
        }
    }
    st.SetItemsProcessed(static_cast<std::int64_t>(samples));
}
void subbandFloat(benchmark::State& st) {
    runEngine(st, makeSubbandFloat, static_cast<int>(st.range(0)), kTailMs);
}
BENCHMARK(subbandFloat)->Arg(8000)->Arg(16000);
void subbandFixed(benchmark::State& st) {
    runEngine(
        st, [](const AecSettings& s) { return makeSubbandFixed(s, false); },
        static_cast<int>(st.range(0)), kTailMs);
}
BENCHMARK(subbandFixed)->Arg(8000)->Arg(16000);
void fullbandFloat(benchmark::State& st) { runEngine(st, makeFullbandFloat, 8000, 32); }
BENCHMARK(fullbandFloat);
void fullbandFixed(benchmark::State& st) { runEngine(st, makeFullbandFixed, 8000, 32); }
BENCHMARK(fullbandFixed);

#ifdef QOLSC_HAVE_SPEEXDSP
/// Arguments: rate, tail in samples.
void speex(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0)), frame = rate / 100;
    const Ends e = ends(rate);
    std::vector<Qol16s> out(e.near.size());
    SpeexEchoState* s = speex_echo_state_init(frame, static_cast<int>(st.range(1)));
    int r = rate;
    speex_echo_ctl(s, SPEEX_ECHO_SET_SAMPLING_RATE, &r);
    const auto size = static_cast<std::size_t>(frame);
    std::size_t samples = 0;
    for (auto _ : st) {
        for (std::size_t n = 0; n + size <= e.far.size(); n += size) {
            speex_echo_cancellation(s, &e.near[n], &e.far[n], &out[n]);
            samples += size;
        }
    }
    speex_echo_state_destroy(s);
    st.SetItemsProcessed(static_cast<std::int64_t>(samples));
}
BENCHMARK(speex)->Args({8000, 1024})->Args({16000, 2048})->Args({8000, 256});
#endif

std::vector<Qol16s> tone() {
    std::vector<Qol16s> x(8000);
    for (std::size_t n = 0; n < x.size(); ++n) {
        x[n] = static_cast<Qol16s>((n / 3600 % 2 ? -8000 : 8000) *
                                   std::sin(0.525 * 3.141592653589793 * static_cast<double>(n)));
    }
    return x;
}

void toneFixed(benchmark::State& st) {
    const std::vector<Qol16s> x = tone();
    AecMemory memory(72);
    auto* s = memory.as<QolsToneDetectState_EC_16s>();
    aecCheck(qolsToneDetectInit_EC_16s(s, 8000));
    Qol32s result = 0;
    for (auto _ : st) {
        qolsToneDetect_EC_16s(x.data(), static_cast<Qol32s>(x.size()), &result, s);
        benchmark::DoNotOptimize(result);
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(x.size()));
}
BENCHMARK(toneFixed);

void toneFloat(benchmark::State& st) {
    const std::vector<Qol16s> x = tone();
    const std::vector<Qol32f> f(x.begin(), x.end());
    AecMemory memory(80);
    auto* s = memory.as<QolsToneDetectState_EC_32f>();
    aecCheck(qolsToneDetectInit_EC_32f(s, 8000));
    Qol32s result = 0;
    for (auto _ : st) {
        qolsToneDetect_EC_32f(f.data(), static_cast<Qol32s>(f.size()), &result, s);
        benchmark::DoNotOptimize(result);
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(x.size()));
}
BENCHMARK(toneFloat);

#ifdef QOLSC_HAVE_SPANDSP
void toneSpandsp(benchmark::State& st) {
    const std::vector<Qol16s> x = tone();
    modem_connect_tones_rx_state_t* s = modem_connect_tones_rx_init(
        nullptr, MODEM_CONNECT_TONES_ANS_PR, [](void*, int, int, int) {}, nullptr);
    for (auto _ : st) {
        modem_connect_tones_rx(s, x.data(), static_cast<int>(x.size()));
    }
    modem_connect_tones_rx_free(s);
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(x.size()));
}
BENCHMARK(toneSpandsp);
#endif

/// Rows in the first-level cache. Arguments: bands, taps.
void shapes(benchmark::internal::Benchmark* b) { b->Args({17, 43})->Args({33, 47})->Args({64, 8}); }

template <typename T>
struct Rows {
    std::vector<T> memory;
    std::vector<T*> rows;
    const T** in() const { return const_cast<const T**>(rows.data()); }
};
template <typename T>
Rows<T> rows(int taps, int bands, double amplitude) {
    using Part = decltype(T{}.re);
    Random r;
    Rows<T> m;
    for (int i = 0; i < taps * bands; ++i) {
        m.memory.push_back({static_cast<Part>(uniformReal(r, -amplitude, amplitude)),
                            static_cast<Part>(uniformReal(r, -amplitude, amplitude))});
    }
    for (int j = 0; j < taps; ++j) {
        m.rows.push_back(&m.memory[static_cast<std::size_t>(j * bands)]);
    }
    return m;
}

/// A kernel on far-end rows, coefficients and one more row, which is output or error.
template <typename T, typename Call>
void runKernel(benchmark::State& st, double farAmplitude, double coefAmplitude, Call call) {
    const int bands = static_cast<int>(st.range(0)), taps = static_cast<int>(st.range(1));
    const Rows<T> x = rows<T>(taps, bands, farAmplitude);
    Rows<T> c = rows<T>(taps, bands, coefAmplitude), y = rows<T>(1, bands, farAmplitude);
    for (auto _ : st) {
        call(x.in(), c, y.rows[0], taps, bands);
        benchmark::DoNotOptimize(c.memory.data());
        benchmark::DoNotOptimize(y.memory.data());
    }
    st.SetItemsProcessed(st.iterations() * taps * bands);
}

void filterKernel(benchmark::State& st) {
    runKernel<Qol32fc>(st, 30000, 1, [](auto x, auto& c, auto* y, int taps, int bands) {
        qolsFIRSubband_EC_32fc(x, c.in(), y, taps, bands);
    });
}
BENCHMARK(filterKernel)->Apply(shapes);

void updateKernel(benchmark::State& st) {
    const std::vector<Qol64f> steps(64, 1e-12);
    runKernel<Qol32fc>(st, 30000, 1, [&](auto x, auto& c, auto* e, int taps, int bands) {
        qolsFIRSubbandCoeffUpdate_EC_32fc_I(steps.data(), x, e, c.rows.data(), taps, bands);
    });
}
BENCHMARK(updateKernel)->Apply(shapes);

constexpr double kCoef_Q18 = 1 << 18;

void filterKernelFixed(benchmark::State& st) {
    runKernel<Qol32sc>(st, 30000, kCoef_Q18, [](auto x, auto& c, auto* y, int taps, int bands) {
        qolsFIRSubband_EC_32sc_Sfs(x, c.in(), y, taps, bands, 18);
    });
}
BENCHMARK(filterKernelFixed)->Apply(shapes);

void updateKernelFixed(benchmark::State& st) {
    const std::vector<QolStepSize_EC> steps(64, QolStepSize_EC{0x40000000, 79}); // shifts of 30
    runKernel<Qol32sc>(st, 30000, kCoef_Q18, [&](auto x, auto& c, auto* e, int taps, int bands) {
        qolsFIRSubbandCoeffUpdate_EC_32sc_I(steps.data(), x, e, c.rows.data(), taps, bands, 18);
    });
}
BENCHMARK(updateKernelFixed)->Apply(shapes);

/// Doubles multiplied and added in registers, four lanes of each a cycle at best: what a kernel
/// with products in double precision can reach. Items are complex products, eight operations.
void peakDouble(benchmark::State& st) {
    __m256d a[6], m = _mm256_set1_pd(0.999999), k = _mm256_set1_pd(1e-9), p[6];
    for (int v = 0; v < 6; ++v) {
        a[v] = p[v] = _mm256_set1_pd(v + 1);
    }
    for (auto _ : st) {
        for (int n = 0; n < 1000; ++n) {
            for (int v = 0; v < 6; ++v) {
                a[v] = _mm256_add_pd(a[v], k);
                p[v] = _mm256_mul_pd(p[v], m);
            }
        }
        for (int v = 0; v < 6; ++v) {
            benchmark::DoNotOptimize(a[v]);
            benchmark::DoNotOptimize(p[v]);
        }
    }
    st.SetItemsProcessed(st.iterations() * 1000 * 6 * 8 / 8);
}
BENCHMARK(peakDouble);

} // namespace

BENCHMARK_MAIN();
