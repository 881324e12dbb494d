// SPDX-License-Identifier: Apache-2.0
// Detector and noise filter beside libspeexdsp's preprocessor with noise suppression alone, on the
// same signal; level control. Items are samples.
#include "kit/data.h"
#include "qolsc.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_SPEEXDSP
#include <speex/speex_preprocess.h>
#endif

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using namespace qolsc::test;

constexpr int kSeconds = 4;

/// Low-frequency noise of rms 200 with a second of it in every two 25 dB louder.
std::vector<Qol16s> noisySpeech(int rate) {
    Random r;
    std::vector<Qol16s> x;
    double low = 0;
    for (int n = 0; n < rate * kSeconds; ++n) {
        low = 0.9 * low + uniformReal(r, -1, 1);
        const double swell = std::max(0.0, std::sin(3.14159 * n / rate));
        x.push_back(static_cast<Qol16s>(low * (150 + 2700 * swell)));
    }
    return x;
}

void filter(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0));
    const std::vector<Qol16s> in = noisySpeech(rate);
    Qol32s size = 0, taken = 0;
    qolsFilterNoiseGetStateSize_EC_32f(rate, &size);
    std::vector<Qol64f> memory(static_cast<std::size_t>(size) / 8 + 1);
    auto* state = reinterpret_cast<QolsFilterNoiseState_EC_32f*>(memory.data());
    qolsFilterNoiseInit_EC_32f(rate, state);
    qolsFilterNoiseLevel_EC_32f(static_cast<Qol32s>(st.range(1)), state);
    for (auto _ : st) {
        for (std::size_t i = 0; i < in.size(); i += 16) {
            Qol32f x[16], dc;
            Qol64f power;
            std::copy_n(&in[i], 16, x);
            qolsFilterNoiseDetect_EC_32f64f(x, &power, &dc, &taken, state);
            qolsFilterNoise_EC_32f_I(x, -1, state);
            benchmark::DoNotOptimize(x[0]);
        }
    }
    st.SetItemsProcessed(static_cast<std::int64_t>(st.iterations() * in.size()));
}
BENCHMARK(filter)->ArgsProduct({{8000, 16000}, {2, 3, 4}});

#ifdef QOLSC_HAVE_SPEEXDSP
void speex(benchmark::State& st) {
    const int rate = static_cast<int>(st.range(0)), frame = rate / 50;
    const std::vector<Qol16s> in = noisySpeech(rate);
    SpeexPreprocessState* s = speex_preprocess_state_init(frame, rate);
    int on = 1, off = 0;
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_AGC, &off);
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_VAD, &off);
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_DEREVERB, &off);
    std::vector<Qol16s> x(static_cast<std::size_t>(frame));
    for (auto _ : st) {
        for (std::size_t i = 0; i < in.size(); i += x.size()) {
            std::copy_n(in.begin() + static_cast<std::ptrdiff_t>(i), frame, x.begin());
            speex_preprocess_run(s, x.data());
            benchmark::DoNotOptimize(x[0]);
        }
    }
    speex_preprocess_state_destroy(s);
    st.SetItemsProcessed(static_cast<std::int64_t>(st.iterations() * in.size()));
}
BENCHMARK(speex)->Arg(8000)->Arg(16000);
#endif

void levelControl(benchmark::State& st) {
    const std::vector<Qol16s> in = noisySpeech(8000);
    std::vector<Qol16s> out(in.size());
    std::vector<Qol8u> memory(124);
    auto* state = reinterpret_cast<QolsALCState_G169_16s*>(memory.data());
    qolsALCInit_G169_16s(state);
    for (auto _ : st) {
        qolsALC_G169_16s(in.data(), out.data(), static_cast<Qol32s>(in.size()), state);
        benchmark::DoNotOptimize(out[0]);
    }
    st.SetItemsProcessed(static_cast<std::int64_t>(st.iterations() * in.size()));
}
BENCHMARK(levelControl);

} // namespace

BENCHMARK_MAIN();
