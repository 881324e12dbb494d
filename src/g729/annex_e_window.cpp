// SPDX-License-Identifier: Apache-2.0
// Hybrid window of the backward LP analysis (ITU-T G.729 Annex E §E.3.2.6): the autocorrelation of
// the last 145 samples, whose older part decays by 3/4 to the fourth power a frame.
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_annex.h"

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

template <typename Sum, typename T>
Sum correlate(const T* x, int start, int len, int lag) {
    Sum s = 0;
    for (int i = start; i < start + len; ++i) {
        s += static_cast<Sum>(x[i]) * static_cast<Sum>(x[i - lag]);
    }
    return s;
}

} // namespace

QolStatus qolsWinHybridGetStateSize_G729E_16s(int* pSize) noexcept {
    if (anyNull(pSize)) {
        return qolStsNullPtrErr;
    }
    *pSize = sizeof(QolsWinHybridState_G729E);
    return qolStsNoErr;
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
    Qol16s w[kSamples];
    for (int i = 0; i < kSamples; ++i) {
        w[i] = static_cast<Qol16s>(pSrc[i] * tables::g729::hw[i] >> 15);
    }
    auto st = g729::readRecord<QolsWinHybridState_G729E>(pState);
    for (int k = 0; k < kLags; ++k) {
        const Qol32s decayed = basop::Mpy_32_16(basop::L_Extract(st.recursive[k]), kDecay);
        st.recursive[k] =
            saturate32(correlate<Qol64s>(w, kRecursiveStart, kRecursiveLen, k) + decayed);
        const Qol32s r =
            saturate32(correlate<Qol64s>(w, kRecentStart, kRecentLen, k) + st.recursive[k]);
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
        recursive[k] =
            correlate<Qol32f>(w, kRecursiveStart, kRecursiveLen, k) + recursive[k] * 0.31640625f;
        pDst[k] = recursive[k] + correlate<Qol32f>(w, kRecentStart, kRecentLen, k);
    }
    std::memcpy(pState, recursive, sizeof(recursive));
    return qolStsNoErr;
}

} // namespace qolsc
