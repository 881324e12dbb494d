// SPDX-License-Identifier: Apache-2.0
// The RTA family's algebraic search of 10 pulses on 80 samples and its steps beside their plain
// definitions.
#include "kit/data.h"
#include "qolsc.h"
#include "rta/fcb_tracks.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {

using namespace qolsc::test;

using namespace qolsc::rta;

struct Subframe {
    std::vector<Qol32f> target, imp = std::vector<Qol32f>(kMostLength);
};
Subframe subframe() {
    Random r;
    Subframe s{noisef(r, kMostLength, 1000)};
    for (int i = 0; i < kMostLength; ++i) {
        s.imp[static_cast<std::size_t>(i)] =
            static_cast<Qol32f>(std::pow(0.85, i) * std::cos(0.6 * i));
    }
    return s;
}

void wholeSearch(benchmark::State& st, const Steps& steps) {
    const Subframe s = subframe();
    const auto f = std::make_unique<Field>();
    f->len = kMostLength;
    f->n = kRanks;
    Pulses pulses;
    for (auto _ : st) {
        const Sums sums = searchPulses(steps, *f, s.target.data(), s.imp.data(), kMostPulses,
                                       static_cast<int>(st.range(0)), pulses);
        benchmark::DoNotOptimize(sums.num);
    }
}
BENCHMARK_CAPTURE(wholeSearch, fast, kFast)->DenseRange(0, 3);
BENCHMARK_CAPTURE(wholeSearch, plain, kPlain)->DenseRange(0, 3);

void pairsOfTracks(benchmark::State& st, const Steps& steps) {
    const Subframe s = subframe();
    const auto f = std::make_unique<Field>();
    f->len = kMostLength;
    f->n = kRanks;
    Pulses pulses;
    searchPulses(steps, *f, s.target.data(), s.imp.data(), kMostPulses, 3, pulses);
    const Sums placed = steps.sumsWithout(*f, pulses, 0);
    for (auto _ : st) {
        for (int t = 0; t < kTracks; ++t) {
            benchmark::DoNotOptimize(steps.two(*f, t, placed));
        }
    }
}
BENCHMARK_CAPTURE(pairsOfTracks, fast, kFast);
BENCHMARK_CAPTURE(pairsOfTracks, plain, kPlain);

void correlations(benchmark::State& st, const Steps& steps) {
    const Subframe s = subframe();
    const auto f = std::make_unique<Field>();
    f->len = kMostLength;
    f->n = kRanks;
    for (auto _ : st) {
        steps.correlate(*f, s.imp.data());
        benchmark::DoNotOptimize(f->matrix[0]);
    }
}
BENCHMARK_CAPTURE(correlations, fast, kFast);
BENCHMARK_CAPTURE(correlations, plain, kPlain);

} // namespace

BENCHMARK_MAIN();
