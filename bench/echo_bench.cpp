// SPDX-License-Identifier: Apache-2.0
// The echo canceller beside libspeexdsp's, the tone detector beside libspandsp's, and the sub-band
// filter against what the processor can do. Items are samples; of the kernels complex products.
#include "aec/engines.h"
#include "kit/data.h"
#include "kit/subband.h"

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

#include <algorithm>
#include <cmath>
#include <type_traits>
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

/// Runs both ends through run(far, near, out), so many samples a call.
template <typename Run>
void runFrames(benchmark::State& st, const Ends& e, int frameSize, Run run) {
    std::vector<Qol16s> out(e.near.size());
    const auto size = static_cast<std::size_t>(frameSize);
    std::size_t samples = 0;
    for (auto _ : st) {
        for (std::size_t n = 0; n + size <= e.far.size(); n += size) {
            run(&e.far[n], &e.near[n], &out[n]);
            samples += size;
        }
    }
    st.SetItemsProcessed(static_cast<std::int64_t>(samples));
}

void runEngine(benchmark::State& st, AecRunner (*make)(const AecSettings&),
               const AecSettings& settings) {
    const AecRunner runner = make(settings);
    runFrames(st, ends(settings.rate), runner.frameSize, runner.run);
}

/// Arguments: rate, whether with low delay.
AecSettings subbandSettings(const benchmark::State& st) {
    return {.rate = static_cast<int>(st.range(0)),
            .tailMs = kTailMs,
            .suppress = false,
            .lowDelay = st.range(1) != 0};
}
void forms(benchmark::internal::Benchmark* b) {
    b->Args({8000, 1})->Args({16000, 1})->Args({8000, 0})->Args({16000, 0});
}
void subbandFloat(benchmark::State& st) { runEngine(st, makeSubbandFloat, subbandSettings(st)); }
BENCHMARK(subbandFloat)->Apply(forms);
void subbandFixed(benchmark::State& st) {
    runEngine(
        st, [](const AecSettings& s) { return makeSubbandFixed(s, false); }, subbandSettings(st));
}
BENCHMARK(subbandFixed)->Apply(forms);

constexpr AecSettings kFullband{.rate = 8000, .tailMs = 32, .suppress = false};
void fullbandFloat(benchmark::State& st) { runEngine(st, makeFullbandFloat, kFullband); }
BENCHMARK(fullbandFloat);
void fullbandFixed(benchmark::State& st) { runEngine(st, makeFullbandFixed, kFullband); }
BENCHMARK(fullbandFixed);

template <typename T>
struct Rows {
    std::vector<T> memory;
    std::vector<T*> rows;
    const T** in() const { return const_cast<const T**>(rows.data()); }
    /// Lets the pointers show into this copy's memory.
    void point(int bands) {
        for (std::size_t j = 0; j < rows.size(); ++j) {
            rows[j] = &memory[j * static_cast<std::size_t>(bands)];
        }
    }
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

/// The exports in their order and nothing else but the subtractions: what a canceller costs before
/// anybody adds to it. Argument: rate.
template <typename C>
void exportsOnly(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0)), low = rate == 8000;
    const int order = low ? 5 : 6, hop = low ? 24 : 44, window = low ? 128 : 256;
    const int bands = (1 << order) / 2 + 1, taps = (kTailMs * rate / 1000 + hop - 1) / hop;
    Qol32s size = 0, init = 0, work = 0;
    aecCheck(C::bankSize(order, window, &size, &init, &work));
    AecMemory memory[3] = {AecMemory(size), AecMemory(size), AecMemory(size)}, scratch(work);
    for (AecMemory& m : memory) {
        aecCheck(C::bankInit(m.as<typename C::Bank>(), order, hop, window, nullptr, nullptr));
    }
    const auto bank = [&](int k) { return memory[k].as<typename C::Bank>(); };
    auto* const b = scratch.as<Qol8u>();
    aecCheck(C::controllerSize(bands, hop, taps, rate, &size));
    AecMemory controllerMemory(size);
    auto* const controller = controllerMemory.as<typename C::Controller>();
    aecCheck(C::controllerInit(controller, bands, hop, taps, rate));

    auto far = rows<typename C::Number>(taps, bands, 0), adaptive = far, fixed = far;
    auto lines = rows<typename C::Number>(3, bands, 0);
    adaptive.point(bands);
    fixed.point(bands);
    far.point(bands);
    lines.point(bands);
    auto *const near = lines.rows[0], *const adaptiveErr = lines.rows[1],
                *const fixedErr = lines.rows[2];
    std::vector<typename C::Step> steps(static_cast<std::size_t>(bands));
    const Ends e = ends(rate);
    const std::vector<typename C::Sample> x(e.far.begin(), e.far.end()),
        d(e.near.begin(), e.near.end());
    std::vector<typename C::Sample> y(x.size());
    typename C::Gain gain = 0;
    std::size_t samples = 0;
    for (auto _ : st) {
        for (std::size_t n = 0; n + static_cast<std::size_t>(hop) <= x.size();
             n += static_cast<std::size_t>(hop)) {
            std::rotate(far.rows.begin(), far.rows.end() - 1, far.rows.end());
            C::analysis(&x[n], far.rows[0], bank(0), b);
            C::analysis(&d[n], near, bank(1), b);
            C::filter(far.in(), adaptive.in(), adaptiveErr, taps, bands);
            C::filter(far.in(), fixed.in(), fixedErr, taps, bands);
            for (int i = 0; i < bands; ++i) {
                adaptiveErr[i] = {near[i].re - adaptiveErr[i].re, near[i].im - adaptiveErr[i].im};
                fixedErr[i] = {near[i].re - fixedErr[i].re, near[i].im - fixedErr[i].im};
            }
            C::steps(far.rows[0], near, far.in(), fixedErr, steps.data(), controller);
            C::update(steps.data(), far.in(), adaptiveErr, adaptive.rows.data(), taps, bands);
            C::control(adaptiveErr, fixedErr, adaptive.rows.data(), fixed.rows.data(), &gain,
                       controller);
            C::synthesis(fixedErr, &y[n], bank(2), b);
            samples += static_cast<std::size_t>(hop);
        }
        benchmark::DoNotOptimize(y.data());
    }
    st.SetItemsProcessed(static_cast<std::int64_t>(samples));
}
BENCHMARK(exportsOnly<SubbandFloat>)->Arg(8000)->Arg(16000);
BENCHMARK(exportsOnly<SubbandFixed>)->Arg(8000)->Arg(16000);

#ifdef QOLSC_HAVE_SPEEXDSP
/// Arguments: rate, tail in samples.
void speex(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0)), frame = rate / 100;
    SpeexEchoState* s = speex_echo_state_init(frame, static_cast<int>(st.range(1)));
    int r = rate;
    speex_echo_ctl(s, SPEEX_ECHO_SET_SAMPLING_RATE, &r);
    runFrames(st, ends(rate), frame, [s](const Qol16s* far, const Qol16s* near, Qol16s* out) {
        speex_echo_cancellation(s, near, far, out);
    });
    speex_echo_state_destroy(s);
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

template <typename Sample, typename State>
void runTone(benchmark::State& st, QolStatus (*sizeOf)(Qol32s, Qol32s*),
             QolStatus (*init)(State*, Qol32s),
             QolStatus (*detect)(const Sample*, Qol32s, Qol32s*, State*)) {
    const std::vector<Qol16s> words = tone();
    const std::vector<Sample> x(words.begin(), words.end());
    Qol32s size = 0, result = 0;
    aecCheck(sizeOf(8000, &size));
    AecMemory memory(size);
    auto* s = memory.as<State>();
    aecCheck(init(s, 8000));
    for (auto _ : st) {
        detect(x.data(), static_cast<Qol32s>(x.size()), &result, s);
        benchmark::DoNotOptimize(result);
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(x.size()));
}
void toneFixed(benchmark::State& st) {
    runTone(st, qolsToneDetectGetStateSize_EC_16s, qolsToneDetectInit_EC_16s,
            qolsToneDetect_EC_16s);
}
BENCHMARK(toneFixed);
void toneFloat(benchmark::State& st) {
    runTone(st, qolsToneDetectGetStateSize_EC_32f, qolsToneDetectInit_EC_32f,
            qolsToneDetect_EC_32f);
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

/// Bounds: of the eight operations in double precision a core starts sixteen a cycle; of the four
/// products of 32-bit integers four.
void perProduct(benchmark::State& st, int products, double bound) {
    st.SetItemsProcessed(st.iterations() * products);
    st.SetLabel("product");
    st.counters["bound"] = bound;
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
    perProduct(st, taps * bands, std::is_same_v<T, Qol32fc> ? 0.5 : 1);
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

/// Items are products: two for a coefficient.
void updateOverTwoFrames(benchmark::State& st) {
    const int bands = static_cast<int>(st.range(0)), taps = static_cast<int>(st.range(1));
    const auto x = rows<Qol32fc>(taps + 1, bands, 30000), e = rows<Qol32fc>(2, bands, 30000);
    auto c = rows<Qol32fc>(taps, bands, 1);
    const std::vector<Qol64f> steps(64, 1e-12);
    const Qol64f* stepRows[2] = {steps.data(), steps.data()};
    for (auto _ : st) {
        qolsFIRSubbandAPCoeffUpdate_EC_32fc_I(stepRows, x.in(), e.in(), c.rows.data(),
                                              static_cast<Qol32u>(taps), static_cast<Qol32u>(bands),
                                              2);
        benchmark::DoNotOptimize(c.memory.data());
    }
    perProduct(st, taps * bands * 2, 0.5);
}
BENCHMARK(updateOverTwoFrames)->Apply(shapes);

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
    perProduct(st, 1000 * 6 * 8 / 8, 0.5);
}
BENCHMARK(peakDouble);

} // namespace

BENCHMARK_MAIN();
