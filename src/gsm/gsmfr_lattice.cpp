// SPDX-License-Identifier: Apache-2.0
// Short-term analysis and synthesis lattices of GSM full rate.
// GSM 06.10 §5.2.10, §5.3.4.
#include "gsm/gsmfr_filters.h"

#include "entry/checks.h"
#include "entry/entries.h"
#include "numeric/basop.h"
#include "vector/simd.h"

namespace qolsc {

namespace gsmfr {

using namespace basop;
using simd::i128;

void analysisLattice(const Qol16s* pRC, Qol16s* pSrcDst, int len, Qol16s* pMem) {
    for (int k = 0; k < len; ++k) {
        Qol16s d = pSrcDst[k], u = d;
        for (int i = 0; i < kOrder; ++i) {
            const Qol16s m = pMem[i];
            pMem[i] = u;
            u = add(m, mult_r(pRC[i], d));
            d = add(d, mult_r(pRC[i], m));
        }
        pSrcDst[k] = d;
    }
}

void synthesisLattice(const Qol16s* pRC, const Qol16s* pSrc, Qol16s* pDst, int len, Qol16s* pMem) {
    for (int k = 0; k < len; ++k) {
        Qol16s s = pSrc[k];
        for (int i = kOrder - 1; i >= 0; --i) {
            s = sub(s, mult_r(pRC[i], pMem[i]));
            if (i < kOrder - 1) {
                pMem[i + 1] = add(pMem[i], mult_r(pRC[i], s));
            }
        }
        pDst[k] = pMem[0] = s;
    }
}

// All eight stages at once, lane i holding stage i of the sample that entered i steps ago: a step
// takes one sample in and gives one out, and its latency is one product and one sum instead of
// eight. No product is of two least values, which alone would wrap. During the first and last seven
// steps some stages have no sample yet or any more and keep their memory.
void analysisLattice_noMinimum(const Qol16s* pRC, Qol16s* pSrcDst, int len, Qol16s* pMem) {
    const i128 rc = simd::load(pRC);
    const i128 lane = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
    i128 mem = simd::load(pMem);
    i128 d = simd::zero(), u = simd::zero();
    const auto step = [&](Qol16s x, i128 busy) {
        d = _mm_insert_epi16(_mm_slli_si128(d, 2), x, 0);
        u = _mm_insert_epi16(_mm_slli_si128(u, 2), x, 0);
        const i128 old = mem;
        mem = _mm_blendv_epi8(mem, u, busy);
        u = simd::addSat16(old, simd::mulRound15(rc, d));
        d = simd::addSat16(d, simd::mulRound15(rc, old));
    };
    const i128 all = _mm_set1_epi16(-1);
    for (int t = 0; t < len + kOrder - 1; ++t) {
        // Stage i is busy with sample t - i.
        const bool inside = t >= kOrder - 1 && t < len;
        const i128 first = simd::splat16(static_cast<Qol16s>(t < len ? -1 : t - len));
        const i128 last = simd::splat16(static_cast<Qol16s>(t < kOrder ? t : kOrder));
        const i128 busy =
            inside ? all
                   : _mm_andnot_si128(_mm_cmpgt_epi16(lane, last), _mm_cmpgt_epi16(lane, first));
        step(t < len ? pSrcDst[t] : Qol16s{0}, busy);
        if (t >= kOrder - 1) {
            pSrcDst[t - (kOrder - 1)] = static_cast<Qol16s>(_mm_extract_epi16(d, kOrder - 1));
        }
    }
    simd::store(pMem, mem);
}

// Stage i of a sample needs stage i - 1 of the one before, so the stages can't march abreast;
// each value has a register of its own, of which only the low lane counts: product, rounding and
// saturation are two instructions there, and neighbouring samples overlap.
void synthesisLattice_noMinimum(const Qol16s* pRC, const Qol16s* pSrc, Qol16s* pDst, int len,
                                Qol16s* pMem) {
    i128 rc[kOrder], v[kOrder];
    for (int i = 0; i < kOrder; ++i) {
        rc[i] = _mm_cvtsi32_si128(pRC[i]);
        v[i] = _mm_cvtsi32_si128(pMem[i]);
    }
    for (int k = 0; k < len; ++k) {
        i128 s = simd::subSat16(_mm_cvtsi32_si128(pSrc[k]), simd::mulRound15(rc[7], v[7]));
#pragma GCC unroll 7
        for (int i = kOrder - 2; i >= 0; --i) {
            s = simd::subSat16(s, simd::mulRound15(rc[i], v[i]));
            v[i + 1] = simd::addSat16(v[i], simd::mulRound15(rc[i], s));
        }
        v[0] = s;
        pDst[k] = static_cast<Qol16s>(_mm_cvtsi128_si32(s));
    }
    for (int i = 0; i < kOrder; ++i) {
        pMem[i] = static_cast<Qol16s>(_mm_cvtsi128_si32(v[i]));
    }
}

static bool hasMinimum(const Qol16s* pRC) {
    return _mm_movemask_epi8(_mm_cmpeq_epi16(simd::load(pRC), simd::splat16(MIN_16))) != 0;
}

} // namespace gsmfr

QolStatus qolsShortTermAnalysisFilter_GSMFR_16s_I(const Qol16s* pRC, Qol16s* pSrcDst, Qol32s len,
                                                  Qol16s* pMem) noexcept {
    if (anyNull(pRC, pSrcDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (gsmfr::hasMinimum(pRC)) {
        gsmfr::analysisLattice(pRC, pSrcDst, len, pMem);
    } else {
        gsmfr::analysisLattice_noMinimum(pRC, pSrcDst, len, pMem);
    }
    return qolStsNoErr;
}

QolStatus qolsShortTermSynthesisFilter_GSMFR_16s(const Qol16s* pRC, const Qol16s* pSrc,
                                                 Qol16s* pDst, Qol32s len, Qol16s* pMem) noexcept {
    if (anyNull(pRC, pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsSizeErr;
    }
    if (gsmfr::hasMinimum(pRC)) {
        gsmfr::synthesisLattice(pRC, pSrc, pDst, len, pMem);
    } else {
        gsmfr::synthesisLattice_noMinimum(pRC, pSrc, pDst, len, pMem);
    }
    return qolStsNoErr;
}

} // namespace qolsc
