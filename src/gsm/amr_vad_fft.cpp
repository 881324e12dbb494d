// SPDX-License-Identifier: Apache-2.0
// 128-point real transform of AMR voice activity detection, option 2 (3GPP TS 26.094 §4.3).
#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"
#include "qolsc/amr.h"
#include "tables/gsm_vad.h"

#include <utility>

namespace qolsc {
namespace amr {
namespace {

using namespace basop;

constexpr int kWords = 128, kPairs = 64;

void ownBitRev(Qol16s* x) {
    for (int i = 1; i < kPairs; ++i) {
        int j = 0;
        for (int bit = 0; bit < 6; ++bit) {
            j |= (i >> bit & 1) << (5 - bit);
        }
        if (j > i) {
            std::swap(x[2 * i], x[2 * j]);
            std::swap(x[2 * i + 1], x[2 * j + 1]);
        }
    }
}

Qol16s half(Qol16s x) { return static_cast<Qol16s>(x >> 1); }

/// 64-point complex transform; each of the six stages halves.
void ownc_fft(Qol16s* x) {
    for (int wing = 2, step = 64; wing < kWords; wing *= 2, step /= 2) {
        for (int j = 0; j < wing; j += 2) {
            const Qol16s c = tables::twd_tbl[j / 2 * step][0], s = tables::twd_tbl[j / 2 * step][1];
            for (int k = j; k < kWords; k += 2 * wing) {
                const int m = k + wing;
                const Qol16s re = round_fx(L_msu(L_mult(x[m], c), x[m + 1], s));
                const Qol16s im = round_fx(L_mac(L_mult(x[m + 1], c), x[m], s));
                x[m] = half(sub(x[k], re));
                x[m + 1] = half(sub(x[k + 1], im));
                x[k] = half(add(x[k], re));
                x[k + 1] = half(add(x[k + 1], im));
            }
        }
    }
}

/// Spectrum of the real signal from that of its even and odd samples as a complex one. Word 0 is
/// the sum, word 1 the alternating sum.
void ownr_fft(Qol16s* x) {
    const Qol16s even = x[0], odd = x[1];
    x[0] = add(even, odd);
    x[1] = sub(even, odd);
    for (int i = 2; i <= kPairs; i += 2) {
        const int j = kWords - i;
        const Qol16s* w = tables::twd_tbl[i / 2];
        const Qol16s* v = tables::twd_tbl[j / 2];
        const Qol16s a = add(x[i], x[j]), b = sub(x[i + 1], x[j + 1]);
        const Qol16s c = add(x[i + 1], x[j + 1]), d = sub(x[j], x[i]);
        const Qol32s la = L_deposit_h(a), lb = L_deposit_h(b);
        x[i] = round_fx(L_msu(L_mac(la, c, w[0]), d, w[1]) >> 1);
        x[i + 1] = round_fx(L_mac(L_mac(lb, d, w[0]), c, w[1]) >> 1);
        x[j] = round_fx(L_mac(L_mac(la, c, v[0]), d, v[1]) >> 1);
        x[j + 1] = round_fx(L_mac(L_msu(L_negate(lb), d, v[0]), c, v[1]) >> 1);
    }
}

} // namespace
} // namespace amr

QolStatus qolsFFTFwd_RToPerm_GSMAMR_16s_I(Qol16s* pSrcDst) noexcept {
    if (anyNull(pSrcDst)) {
        return qolStsNullPtrErr;
    }
    amr::ownBitRev(pSrcDst);
    amr::ownc_fft(pSrcDst);
    amr::ownr_fft(pSrcDst);
    return qolStsNoErr;
}

} // namespace qolsc
