// SPDX-License-Identifier: Apache-2.0
// Hybrid window of the backward LP analysis (ITU-T G.729 Annex E §E.3.2.6): the autocorrelation of
// the last 145 samples, whose older part decays by 3/4 to the fourth power a frame.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_annex.h"
#include "vector/simd.h"

namespace {
constexpr int kLags = 31;
}

/// One word a lag; floats in the float form.
struct QolsWinHybridState_G729E {
    Qol32s recursive[kLags];
};
static_assert(sizeof(QolsWinHybridState_G729E) == 124);

namespace qolsc {
namespace {

constexpr int kSamples = 145;
constexpr int kRecursiveStart = 30, kRecursiveLen = 80; // leaves the recursive part for good
constexpr int kRecentStart = 110, kRecentLen = 35;      // taken anew in every frame
constexpr Qol16s kDecay = 10368;                        // 0.31640625, Q15
constexpr Qol32s kLimit = 0x3FFFFFFF;

constexpr int kPaddedSamples = kRecentStart + 40; // the recent part in whole vectors

/// Exact sum of count products, count a multiple of 8. No value is -32768.
Qol64s correlate(const Qol16s* x, int start, int count, int lag) {
    using namespace simd;
    i128 s = zero();
    for (int i = start; i < start + count; i += 8) {
        const i128 pairs = maddPairs(load(x + i), load(x + i - lag));
        s = add64(s, add64(widenLow64(pairs), widenHigh64(pairs)));
    }
    return sum64(s);
}

Qol32f correlate(const Qol32f* x, int start, int count, int lag) {
    Qol32f s = 0;
    for (int i = start; i < start + count; ++i) {
        s += x[i] * x[i - lag];
    }
    return s;
}

} // namespace

QolStatus qolsWinHybridGetStateSize_G729E_16s(int* pSize) noexcept {
    return giveSize(sizeof(QolsWinHybridState_G729E), pSize);
}

QolStatus qolsWinHybridGetStateSize_G729E_32f(int* pSize) noexcept {
    return qolsc::qolsWinHybridGetStateSize_G729E_16s(pSize);
}

QolStatus qolsWinHybridInit_G729E_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    std::memset(pState, 0, sizeof(QolsWinHybridState_G729E)); // also a float 0 in every word
    return qolStsNoErr;
}

QolStatus qolsWinHybridInit_G729E_32f(Qol8u* pState) noexcept {
    return qolsc::qolsWinHybridInit_G729E_16s(pState);
}

QolStatus qolsWinHybrid_G729E_16s32s(const Qol16s* pSrc, Qol32s* pDst, Qol8u* pState) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    Qol16s w[kPaddedSamples] = {};
    for (int i = 0; i < kSamples; ++i) {
        w[i] = static_cast<Qol16s>(pSrc[i] * tables::g729::hw[i] >> 15);
    }
    auto st = g729::readRecord<QolsWinHybridState_G729E>(pState);
    for (int k = 0; k < kLags; ++k) {
        const Qol32s decayed = basop::Mpy_32_16(basop::L_Extract(st.recursive[k]), kDecay);
        st.recursive[k] = saturate32(correlate(w, kRecursiveStart, kRecursiveLen, k) + decayed);
        const Qol32s r = saturate32(correlate(w, kRecentStart, kPaddedSamples - kRecentStart, k) +
                                    st.recursive[k]);
        pDst[k] = r > kLimit ? kLimit : r;
    }
    g729::writeRecord(pState, st);
    return qolStsNoErr;
}

QolStatus qolsWinHybrid_G729E_32f(const Qol32f* pSrc, Qol32f* pDst, Qol8u* pState) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    Qol32f w[kSamples], recursive[kLags];
    for (int i = 0; i < kSamples; ++i) {
        w[i] = pSrc[i] * tables::g729::hybridWindowInverse[i];
    }
    std::memcpy(recursive, pState, sizeof(recursive));
    for (int k = 0; k < kLags; ++k) {
        recursive[k] = correlate(w, kRecursiveStart, kRecursiveLen, k) + recursive[k] * 0.31640625f;
        pDst[k] = recursive[k] + correlate(w, kRecentStart, kRecentLen, k);
    }
    std::memcpy(pState, recursive, sizeof(recursive));
    return qolStsNoErr;
}

} // namespace qolsc
