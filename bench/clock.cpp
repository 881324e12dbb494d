// SPDX-License-Identifier: Apache-2.0
// The processor's clock while a program's benchmarks run, linked into each of them: multiplications
// that wait three cycles for one another. Items are cycles.
#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

void cycles(benchmark::State& st) {
    std::uint64_t x = 3;
    for (auto _ : st) {
        for (int i = 0; i < 1000; ++i) {
            asm volatile("imul %0, %0" : "+r"(x));
        }
    }
    st.SetItemsProcessed(st.iterations() * 3000);
    st.SetLabel("cycle");
}
BENCHMARK(cycles)->Name("clock");

} // namespace
