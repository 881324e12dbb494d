// SPDX-License-Identifier: Apache-2.0
// G.723.1: pulse searches of both rates against their definitions.
#include "g723/acelp.h"
#include "g723/multipulse.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

namespace {

using namespace qolsc::test;
namespace g723 = qolsc::g723;

template <typename Search>
void acelp(benchmark::State& state, Search search) {
    Random r;
    const auto correlation = noise16(r, 60, 4000);
    auto matrix = noise16(r, 416, 4000);
    for (std::size_t i = 0; i < 32; ++i) {
        matrix[i] = 16000;
    }
    g723::AcelpField field;
    g723::prepareAcelp_G723(correlation.data(), matrix.data(), field);
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(field, 240));
    }
}
void acelpLanes(benchmark::State& state) { acelp(state, g723::ownAcelpSearch_G723); }
void acelpPlain(benchmark::State& state) { acelp(state, g723::ownAcelpSearchPlain_G723); }
BENCHMARK(acelpLanes);
BENCHMARK(acelpPlain);

template <typename Place>
void pulses(benchmark::State& state, Place place) {
    Random r;
    g723::PulseField field{};
    const auto correlation = noise32(r, 30, 1 << 26);
    const auto response = noise16(r, 30, 16000);
    for (int k = 0; k < 30; ++k) {
        field.correlation[k] = correlation[static_cast<std::size_t>(k)];
        field.response[32 + k] = field.response[32 - k] = 2 * response[static_cast<std::size_t>(k)];
    }
    field.most = 1 << 26;
    Qol16s places[6], amplitudes[6];
    for (auto _ : state) {
        place(field, Qol16s{240}, 6, places, amplitudes);
        benchmark::DoNotOptimize(places);
    }
}
void pulsesLanes(benchmark::State& state) { pulses(state, g723::ownQuantGain_G723_BestPulse); }
void pulsesPlain(benchmark::State& state) { pulses(state, g723::ownPlacePulsesPlain_G723); }
BENCHMARK(pulsesLanes);
BENCHMARK(pulsesPlain);

} // namespace

BENCHMARK_MAIN();
