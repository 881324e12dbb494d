// SPDX-License-Identifier: Apache-2.0
// G.728: the search of 128 shapes against its definition, both coders against real time.
#include "codecs/g728/g728.h"
#include "g728/search.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace qolsc::test;
namespace g728 = qolsc::g728;
namespace codec = qolsc::tools::g728;

template <typename Search>
void searchShapes(benchmark::State& state, Search search) {
    Random r;
    const auto corr = noise16(r, 5, 8000);
    auto energy = noise16(r, 128);
    for (Qol16s& e : energy) {
        e = static_cast<Qol16s>(e & 0x3FFF);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(corr.data(), energy.data()));
    }
}
void searchLanes(benchmark::State& state) {
    searchShapes(state, g728::ownCodebookSearch_G728_16s_R160);
}
void searchPlain(benchmark::State& state) {
    searchShapes(state, [](const Qol16s* c, const Qol16s* e) {
        return g728::ownCodebookSearchPlain_G728(g728::kRate160, c, e);
    });
}
BENCHMARK(searchLanes);
BENCHMARK(searchPlain);

/// The long recursion of a decaying correlation, and the short one.
template <int Start, int End>
void recursion(benchmark::State& state) {
    Qol16s r[End + 1], rc, energy, scale;
    for (int k = 0; k <= End; ++k) {
        const double lag = k;
        r[k] = static_cast<Qol16s>(20000 * std::exp(-0.03 * lag) * std::cos(0.4 * lag) +
                                   (k == 0 ? 200 : 0));
    }
    Qol16s first[End];
    qolsLevinsonDurbin_G728_16s_Sfs(r, Start, first, &rc, &energy, &scale);
    for (auto _ : state) {
        Qol16s a[End], e = energy, s = scale;
        std::copy_n(first, Start, a);
        benchmark::DoNotOptimize(qolsLevinsonDurbin_G728_16s_ISfs(r, Start, End, a, &e, &s));
        benchmark::DoNotOptimize(a);
    }
}
BENCHMARK(recursion<10, 50>)->Name("recursion10to50");
BENCHMARK(recursion<1, 10>)->Name("recursion1to10");

/// The hybrid window of the synthesis filter (50) and of the weighting filter (10).
template <int Order, int Rest, int Block>
void hybridWindow(benchmark::State& state) {
    constexpr int kFresh = 20;
    Random r;
    const auto window = noise16(r, Order + kFresh + Rest);
    int size = 0;
    qolsWinHybridGetStateSize_G728_16s(Order, kFresh, Rest, Block, &size);
    std::vector<Qol8u> record(static_cast<std::size_t>(size));
    qolsWinHybridInit_G728_16s(window.data(), Order, kFresh, Rest, Block, 12288, record.data());
    const auto pcm = noise16(r, 1000, 8191);
    Qol16s exponents[] = {2, 1, 3, 2}, correlation[Order + 1];
    std::size_t at = 0;
    for (auto _ : state) {
        qolsWinHybridBlock_G728_16s(0, pcm.data() + at, exponents, correlation, record.data());
        benchmark::DoNotOptimize(correlation);
        at = at + 2 * kFresh <= pcm.size() ? at + kFresh : 0;
    }
}
BENCHMARK(hybridWindow<50, 35, 5>)->Name("window50");
BENCHMARK(hybridWindow<10, 30, 0>)->Name("window10");

/// Items are samples: items a second over 8000 is the factor of real time.
void encoder(benchmark::State& state) {
    const auto pcm = readWords("g728/sequences/in5.bin");
    void* coder = codec::openEncoder(codec::kRate16);
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(codec::encodeVector(coder, pcm.data() + at));
        at = at + 10 <= pcm.size() ? at + 5 : 0;
    }
    codec::closeEncoder(coder);
    state.SetItemsProcessed(state.iterations() * codec::kVector);
}
BENCHMARK(encoder);

/// With the post-filter.
void decoder(benchmark::State& state) {
    const auto codes = readWords("g728/sequences/cw5.bin");
    void* coder = codec::openDecoder(codec::kRate16, true);
    std::size_t at = 0;
    for (auto _ : state) {
        Qol16s pcm[codec::kVector];
        codec::decodeVector(coder, codes[at], pcm);
        benchmark::DoNotOptimize(pcm);
        at = at + 1 < codes.size() ? at + 1 : 0;
    }
    codec::closeDecoder(coder);
    state.SetItemsProcessed(state.iterations() * codec::kVector);
}
BENCHMARK(decoder);

} // namespace

BENCHMARK_MAIN();
