// SPDX-License-Identifier: Apache-2.0
// G.726 beside libspandsp on the same speech-like input (the standard's own test signal).
#include "kit/data.h"
#include "qolsc.h"

#include <benchmark/benchmark.h>

#ifdef QOLSC_HAVE_SPANDSP
extern "C" {
#include <spandsp.h>
}
#endif

#include <cstring>
#include <vector>

namespace {

/// The benchmarks' argument: kbit/s.
QolSpchBitRate rateOf(const benchmark::State& st) {
    constexpr QolSpchBitRate rates[] = {QOL_SPCHBR_16000, QOL_SPCHBR_24000, QOL_SPCHBR_32000,
                                        QOL_SPCHBR_40000};
    return rates[st.range(0) / 8 - 2];
}

/// 16384 samples, 16 bits, of the standard's normal test signal (A-law bytes expanded).
const std::vector<Qol16s>& signal() {
    static const std::vector<Qol16s> pcm = [] {
        std::vector<Qol16s> words = qolsc::test::readWords("waveform/sequences/g726/nrm.a");
        for (Qol16s& w : words) {
            const int code = w ^ 0x55, segment = code >> 4 & 7, low = (code & 15) << 4;
            const int m = segment == 0 ? low + 8 : (low + 0x108) << (segment - 1);
            w = static_cast<Qol16s>(code & 0x80 ? m : -m);
        }
        return words;
    }();
    return pcm;
}

std::vector<Qol16s> linear14() {
    std::vector<Qol16s> v = signal();
    for (Qol16s& x : v) {
        x = static_cast<Qol16s>(x >> 2);
    }
    return v;
}

std::vector<Qol8u> codes(QolSpchBitRate rate) {
    const std::vector<Qol16s> in = linear14();
    std::vector<Qol8u> out(in.size()), state(88);
    auto* s = reinterpret_cast<QolsEncodeState_G726*>(state.data());
    qolsEncodeInit_G726_16s8u(s, rate);
    qolsEncode_G726_16s8u(s, in.data(), out.data(), static_cast<Qol32s>(in.size()));
    return out;
}

void encodeOurs(benchmark::State& st) {
    const std::vector<Qol16s> in = linear14();
    std::vector<Qol8u> out(in.size()), state(88);
    auto* s = reinterpret_cast<QolsEncodeState_G726*>(state.data());
    for (auto _ : st) {
        qolsEncodeInit_G726_16s8u(s, rateOf(st));
        qolsEncode_G726_16s8u(s, in.data(), out.data(), static_cast<Qol32s>(in.size()));
        benchmark::DoNotOptimize(out.data());
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(in.size()));
}
BENCHMARK(encodeOurs)->DenseRange(16, 40, 8);

void decodeOurs(benchmark::State& st) {
    const std::vector<Qol8u> in = codes(rateOf(st));
    std::vector<Qol16s> out(in.size());
    std::vector<Qol8u> state(92);
    auto* s = reinterpret_cast<QolsDecodeState_G726*>(state.data());
    for (auto _ : st) {
        qolsDecodeInit_G726_8u16s(s, rateOf(st), QOL_PCM_LINEAR);
        qolsDecode_G726_8u16s(s, in.data(), out.data(), static_cast<Qol32s>(in.size()));
        benchmark::DoNotOptimize(out.data());
    }
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(in.size()));
}
BENCHMARK(decodeOurs)->DenseRange(16, 40, 8);

#ifdef QOLSC_HAVE_SPANDSP
void encodeSpandsp(benchmark::State& st) {
    const std::vector<Qol16s>& in = signal();
    std::vector<std::uint8_t> out(in.size());
    g726_state_t* s = nullptr;
    const int rate = 1000 * static_cast<int>(st.range(0));
    for (auto _ : st) {
        s = g726_init(s, rate, G726_ENCODING_LINEAR, G726_PACKING_NONE);
        g726_encode(s, out.data(), in.data(), static_cast<int>(in.size()));
        benchmark::DoNotOptimize(out.data());
    }
    g726_free(s);
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(in.size()));
}
BENCHMARK(encodeSpandsp)->DenseRange(16, 40, 8);

void decodeSpandsp(benchmark::State& st) {
    const std::vector<Qol8u> in = codes(rateOf(st));
    std::vector<Qol16s> out(in.size());
    g726_state_t* s = nullptr;
    const int rate = 1000 * static_cast<int>(st.range(0));
    for (auto _ : st) {
        s = g726_init(s, rate, G726_ENCODING_LINEAR, G726_PACKING_NONE);
        g726_decode(s, out.data(), in.data(), static_cast<int>(in.size()));
        benchmark::DoNotOptimize(out.data());
    }
    g726_free(s);
    st.SetItemsProcessed(st.iterations() * static_cast<std::int64_t>(in.size()));
}
BENCHMARK(decodeSpandsp)->DenseRange(16, 40, 8);
#endif

} // namespace

BENCHMARK_MAIN();
