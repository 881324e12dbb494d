// SPDX-License-Identifier: Apache-2.0
// The RTA family's algebraic search: whole search, and a track of pairs beside its plain
// definition.
#include "kit/data.h"
#include "qolsc.h"
#include "rta/fcb_tracks.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace qolsc::test;

void wholeSearch(benchmark::State& st) {
    Random r;
    const std::vector<Qol32f> target = noisef(r, 80, 1000);
    std::vector<Qol32f> imp(80), exc(80);
    for (int i = 0; i < 80; ++i) {
        imp[static_cast<std::size_t>(i)] =
            static_cast<Qol32f>(std::pow(0.85, i) * std::cos(0.6 * i));
    }
    std::vector<Qol8u> buffer(33760);
    Qol32s index[5];
    Qol32f gain = 0;
    for (auto _ : st) {
        qolsFixedCodebookSearchBuffer_RTA_32f(target.data(), imp.data(), exc.data(), 80, index,
                                              &gain, 10, static_cast<Qol32s>(st.range(0)),
                                              buffer.data());
        benchmark::DoNotOptimize(gain);
    }
}
BENCHMARK(wholeSearch)->DenseRange(0, 3);

template <qolsc::rta::TrackPulses (*Search)(const qolsc::rta::Field&, int, qolsc::rta::Sums)>
void pairsOfTrack(benchmark::State& st) {
    using namespace qolsc::rta;
    Random r;
    std::vector<Qol32f> d = noisef(r, kRow, 100), diag(kRow, 5.0f), cross = noisef(r, kRow, 2),
                        matrix = noisef(r, kMostLength * kRow, 2);
    const Field f{16, d.data(), diag.data(), cross.data(), matrix.data()};
    for (auto _ : st) {
        for (int t = 0; t < kTracks; ++t) {
            benchmark::DoNotOptimize(Search(f, t, Sums{100, 30}));
        }
    }
}
BENCHMARK(pairsOfTrack<qolsc::rta::ownSearchTrackTwoPulsesSigns>);
BENCHMARK(pairsOfTrack<qolsc::rta::searchTrackTwoPlain>);

} // namespace

BENCHMARK_MAIN();
