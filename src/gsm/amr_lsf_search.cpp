// SPDX-License-Identifier: Apache-2.0
// Codebook searches of the AMR LSF quantisers.
// 3GPP TS 26.090 §5.2.5.
#include "gsm/amr_lsf.h"

#include "numeric/basop.h"
#include "vector/simd.h"

namespace qolsc::amr {

using namespace basop;
using simd::i128;

namespace {

Qol32s distance(const Qol16s* r, const Qol16s* w, const Qol16s* row, bool negated) {
    Qol32s d = 0;
    for (int i = 0; i < 4; ++i) {
        const Qol16s t = mult(w[i], negated ? add(r[i], row[i]) : sub(r[i], row[i]));
        d = L_mac(d, t, t);
    }
    return d;
}

template <bool Signed>
int nearestPlain(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    Qol32s least = MAX_32;
    int best = 0;
    for (int k = 0; k < book.count; ++k) {
        for (int negated = 0; negated < (Signed ? 2 : 1); ++negated) {
            const Qol32s d = distance(r, w, book.rows[k * book.step], negated != 0);
            if (d < least) {
                least = d;
                best = Signed ? 2 * k + negated : k;
            }
        }
    }
    return best;
}

// Four values twice over.
i128 twice4(const Qol16s* p) { return _mm_unpacklo_epi64(simd::loadLow64(p), simd::loadLow64(p)); }

/// Residual and weights of a search, for two rows at once.
struct Weighting {
    i128 r;
    i128 w2;    ///< twice the weight, low 16 bits
    i128 above; ///< all ones where twice the weight leaves 16 bits
};

// Sums of squares of two rows' weighted differences, in halves. The upper half of a product with
// 2w is the Q15 product with w; where 2w - 65536 stands for 2w, the factor itself is added back.
// Weights lie above -16384, so nothing is below.
i128 squares(const Weighting& g, i128 difference) {
    const i128 t =
        _mm_add_epi16(_mm_mulhi_epi16(g.w2, difference), _mm_and_si128(difference, g.above));
    return simd::maddPairs(t, t);
}

// A doubled distance saturates at 2^31, so a plain one of 2^30 or more counts as 2^30; four
// squares stay below 2^32.
i128 capped(i128 pairs01, i128 pairs23) {
    return _mm_min_epu32(_mm_hadd_epi32(pairs01, pairs23), simd::splat32(0x40000000));
}

struct Lanes {
    i128 least = simd::splat32(0x40000000);
    i128 index = simd::zero();
};

void keepLess(Lanes& lanes, i128 d, i128 index) {
    const i128 less = _mm_cmplt_epi32(d, lanes.least);
    lanes.least = _mm_blendv_epi8(lanes.least, d, less);
    lanes.index = _mm_blendv_epi8(lanes.index, index, less);
}

// Each lane has its first smallest; of equal lanes the lowest index is the first.
int firstOfLeast(const Lanes& lanes) {
    alignas(16) Qol32s d[4], index[4];
    simd::store(d, lanes.least);
    simd::store(index, lanes.index);
    int best = 0;
    for (int i = 1; i < 4; ++i) {
        if (d[i] < d[best] || (d[i] == d[best] && index[i] < index[best])) {
            best = i;
        }
    }
    return d[best] == 0x40000000 ? 0 : index[best];
}

template <int Step, bool Signed>
int nearestLanes(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    const i128 weight = twice4(w);
    const Weighting g = {twice4(r), _mm_add_epi16(weight, weight),
                         _mm_cmpgt_epi16(weight, simd::splat16(0x3FFF))};
    const auto rows = [&](int k) {
        return Step == 1 ? simd::load(book.rows[k])
                         : _mm_unpacklo_epi64(simd::loadLow64(book.rows[Step * k]),
                                              simd::loadLow64(book.rows[Step * (k + 1)]));
    };
    Lanes lanes;
    i128 index = _mm_setr_epi32(0, 1, 2, 3);
    if (Signed) {
        index = simd::add32(index, index);
    }
    for (int k = 0; k < book.count; k += 4) {
        const i128 a = rows(k), b = rows(k + 2);
        keepLess(lanes,
                 capped(squares(g, simd::subSat16(g.r, a)), squares(g, simd::subSat16(g.r, b))),
                 index);
        if (Signed) {
            keepLess(lanes,
                     capped(squares(g, simd::addSat16(g.r, a)), squares(g, simd::addSat16(g.r, b))),
                     _mm_or_si128(index, simd::splat32(1)));
        }
        index = simd::add32(index, simd::splat32(Signed ? 8 : 4));
    }
    return firstOfLeast(lanes);
}

} // namespace

int nearestRowPlain(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    return nearestPlain<false>(book, r, w);
}

int nearestSignedRowPlain(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    return nearestPlain<true>(book, r, w);
}

int nearestRow(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    return book.step == 1 ? nearestLanes<1, false>(book, r, w) : nearestLanes<2, false>(book, r, w);
}

int nearestSignedRow(const LsfBook& book, const Qol16s* r, const Qol16s* w) {
    return nearestLanes<1, true>(book, r, w);
}

} // namespace qolsc::amr
