// SPDX-License-Identifier: Apache-2.0
// Kernels of the vector layer on data in the first-level cache. Items are elements. The bound is
// the least cycles that the scarcest unit leaves for one: a core starts two loads, a store of 32
// bytes or two of 16, two additions and two products of 32 bytes and two conversions of floats to
// doubles a cycle, and a division of four doubles in 4.5.
#include "vector/vector.h"

#include <benchmark/benchmark.h>

#include <vector>

using namespace qolsc;

namespace {

constexpr int kLength = 1024;

struct Data {
    std::vector<Qol16s> a16 = std::vector<Qol16s>(kLength, 3), b16 = a16, d16 = a16;
    std::vector<Qol32s> a32 = std::vector<Qol32s>(kLength, 5), b32 = a32, d32 = a32;
    std::vector<Qol32f> af = std::vector<Qol32f>(kLength, 1.5f), bf = af, df = af;
    std::vector<Qol64f> ad = std::vector<Qol64f>(kLength, 2.5), dd = ad;
};

template <typename Run>
void row(benchmark::State& state, double bound, Run run) {
    Data d;
    for (auto _ : state) {
        run(d);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kLength);
    state.SetLabel("element");
    if (bound > 0) {
        state.counters["bound"] = bound;
    }
}

#define ROW(name, bound, call)                                                                     \
    BENCHMARK_CAPTURE(row, name, bound, [](Data& d) {                                              \
        benchmark::DoNotOptimize(call);                                                            \
    })->Name(#name)

Qol64s sum64;
Qol32f sumf;
Qol64f sumd;
Qol32s index32;

ROW(Zero_32f, 1. / 8, qolsZero_32f(d.df.data(), kLength));
ROW(Set_16s, 1. / 16, qolsSet_16s(7, d.d16.data(), kLength));
ROW(Copy_16s, 1. / 16, qolsCopy_16s(d.a16.data(), d.d16.data(), kLength));
ROW(Add_32f, 1. / 8, qolsAdd_32f(d.af.data(), d.bf.data(), d.df.data(), kLength));
ROW(Mul_32f, 1. / 8, qolsMul_32f(d.af.data(), d.bf.data(), d.df.data(), kLength));
ROW(Add_16s, 1. / 8, qolsAdd_16s(d.a16.data(), d.b16.data(), d.d16.data(), kLength));
ROW(Add_32s_Sfs, 1. / 4, qolsAdd_32s_Sfs(d.a32.data(), d.b32.data(), d.d32.data(), kLength, 2));
ROW(Mul_16s32s_Sfs, 1. / 8,
    qolsMul_16s32s_Sfs(d.a16.data(), d.b16.data(), d.d32.data(), kLength, 3));
ROW(SubC_16s_Sfs, 1. / 16, qolsSubC_16s_Sfs(d.a16.data(), 9, d.d16.data(), kLength, 3));
ROW(DotProd_32f, 1. / 8, qolsDotProd_32f(d.af.data(), d.bf.data(), kLength, &sumf));
ROW(DotProd_32f64f, 1. / 4, qolsDotProd_32f64f(d.af.data(), d.bf.data(), kLength, &sumd));
ROW(DotProd_16s64s, 1. / 8, qolsDotProd_16s64s(d.a16.data(), d.b16.data(), kLength, &sum64));
ROW(Norm_L2Sqr_16s64s, 1. / 16, qolsNorm_L2Sqr_16s64s_Sfs(d.a16.data(), kLength, &sum64, 0));
ROW(MaxIndx_32s, 1. / 8, qolsMaxIndx_32s(d.a32.data(), kLength, &d.d32[0], &index32));
ROW(Convert_32f16s_Sfs, 1. / 16, qolsConvert_32f16s_Sfs(d.af.data(), d.d16.data(), kLength, 1, 0));
ROW(Threshold_LTInv_64f, 4.5 / 4, qolsThreshold_LTInv_64f(d.ad.data(), d.dd.data(), kLength, 1));
ROW(LinToMuLaw_16s8u, 0,
    qolsLinToMuLaw_16s8u(d.a16.data(), reinterpret_cast<Qol8u*>(d.d16.data()), kLength));
ROW(Exp_32f, 0, qolsExp_32f(d.af.data(), d.df.data(), kLength));
ROW(Ln_32f, 0, qolsLn_32f(d.af.data(), d.df.data(), kLength));

} // namespace

BENCHMARK_MAIN();
