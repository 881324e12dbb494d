// SPDX-License-Identifier: Apache-2.0
// Lag window, Levinson-Durbin recursion and LSP conversions (G.729 3.2.1 to 3.2.4, TS 26.090 5.2).
#include "common/lp_kernels.h"

#include "numeric/helpers.h"
#include "tables/lp.h"
#include "vector/simd.h"

#include <bit>
#include <utility>

namespace qolsc {

namespace {

using namespace basop;

constexpr int kMaxLevinsonOrder = 30;
constexpr int kLanes = 4;
constexpr Qol32s kLeastConditioned = 0x10000; // below it the high word is empty
constexpr Qol16s kLargestReflection = 32750;  // Q15; beyond it the filter counts as unstable

/// Q31 quotient of a magnitude and a denominator by one Newton step. The denominator is normalised
/// but for the first step of the recursion, where the approximation keeps 16 bits as they come.
Qol32s divide(Qol32s magnitude, Qol32s denominator) {
    const Dpf d = L_Extract(denominator);
    const Qol16s q = wrap16(0x1FFF8000 / d.hi);
    const Dpf e = L_Extract(L_sub(MAX_32, Mpy_32_16(d, q)));
    return L_shl(Mpy_32(L_Extract(magnitude), L_Extract(Mpy_32_16(e, q))), 2);
}

/// -t/alpha for a positive alpha.
Qol32s reflection(Qol32s t, Qol32s alpha) {
    const Qol32s k = divide(L_abs(t), alpha);
    return t > 0 ? L_negate(k) : k;
}

/// alpha (1 - k^2), normalised; the count of left shifts is added to *pExp.
Qol32s reduceError(Qol32s alpha, Qol32s k, int* pExp) {
    const Qol32s next = mul32Wrap(alpha, MAX_32 - L_abs(mul32Wrap(k, k)));
    const int n = norm(next);
    *pExp += n;
    return L_shl(next, n);
}

/// Four double-precision values: 16 upper bits, 15 lower ones, each in the low word of its lane.
struct Dpf4 {
    simd::i128 hi, lo;
};
Dpf4 split(simd::i128 x) {
    return {_mm_srli_epi32(x, 16), _mm_srli_epi32(_mm_slli_epi32(x, 16), 17)};
}
/// mul32Wrap in four lanes.
simd::i128 multiply(const Dpf4& x, const Dpf4& y) {
    using namespace simd;
    const i128 low =
        add32(_mm_srai_epi32(maddPairs(x.hi, y.lo), 15), _mm_srai_epi32(maddPairs(x.lo, y.hi), 15));
    return _mm_slli_epi32(add32(maddPairs(x.hi, y.hi), low), 1);
}
simd::i128 reverse32(simd::i128 v) { return _mm_shuffle_epi32(v, 0x1B); }

/// Coefficients A[1..] of the predictor, Q27, with zeros in front so that whole vectors run over
/// either end.
struct Predictor {
    Qol32s word[kLanes + kMaxLevinsonOrder + 1 + kLanes] = {};
};
Qol32s* coefficients(Predictor& p) { return p.word + kLanes; }

/// Sum of r[j] A[i - j], j = 1 to i - 1.
Qol32s predictionSum(const Qol32s* r, const Qol32s* A, int i) {
    simd::i128 sum = simd::zero();
    for (int j = 1; j < i; j += kLanes) {
        const simd::i128 a = reverse32(simd::load(A + i - j - (kLanes - 1)));
        sum = simd::add32(sum, multiply(split(simd::load(r + j)), split(a)));
    }
    return simd::sum32(sum);
}

/// next[j] = A[j] + k A[i - j], j = 1 to i - 1.
void lift(const Qol32s* A, Qol32s* next, Qol32s k, int i) {
    const Dpf4 factor = split(simd::splat32(k));
    for (int j = 1; j < i; j += kLanes) {
        const simd::i128 mirrored = reverse32(simd::load(A + i - j - (kLanes - 1)));
        simd::store(next + j, simd::add32(simd::load(A + j), multiply(factor, split(mirrored))));
    }
}

} // namespace

void ownLagWindow_32s_I(const Qol32s* pWindow, Qol32s* pSrcDst, int len) {
    ownMul_32s16s(pSrcDst, pWindow, pSrcDst, len);
}

bool ownLevinsonDurbin_32s16s(const Qol32s* pSrcAutoCorr, int order, Qol16s* a, Qol16s* rc,
                              Qol16s* pResidualEnergy) {
    if (L_abs(pSrcAutoCorr[0]) < kLeastConditioned) {
        return false;
    }
    Qol32s r[kMaxLevinsonOrder + kLanes];
    for (int i = 0; i <= order; ++i) {
        r[i] = pSrcAutoCorr[i];
    }
    for (int i = order + 1; i < order + kLanes; ++i) {
        r[i] = 0;
    }
    Predictor predictors[2];
    Qol32s *A = coefficients(predictors[0]), *next = coefficients(predictors[1]);
    Qol16s refl[kMaxLevinsonOrder];
    Qol32s k = reflection(r[1], r[0]);
    refl[0] = extract_h(k);
    A[1] = k >> 4;
    int alphaExp = 0;
    Qol32s alpha = reduceError(r[0], k, &alphaExp);

    for (int i = 2; i <= order; ++i) {
        if (L_abs(alpha) < kLeastConditioned) {
            return false;
        }
        const Qol32s t = wrapAdd32(wrapMul32(predictionSum(r, A, i), 16), r[i]);
        k = L_shl(reflection(t, alpha), alphaExp);
        refl[i - 1] = extract_h(k);
        if (abs_s(refl[i - 1]) > kLargestReflection) {
            return false;
        }
        lift(A, next, k, i);
        next[i] = k >> 4;
        std::swap(A, next);
        alpha = reduceError(alpha, k, &alphaExp);
    }

    a[0] = 4096;
    for (int i = 1; i <= order; ++i) {
        a[i] = scaleNear<Qol16s>(A[i], 15);
    }
    for (int i = 0; i < order; ++i) {
        rc[i] = refl[i];
    }
    *pResidualEnergy = extract_l(alpha >> ((alphaExp + 16) & 31)); // count modulo 32, as it is told
    return true;
}

// ---- LPC to LSP ----

namespace {

constexpr int kHalfOrder = kLpOrder / 2;

/// Scaling of a sum or difference polynomial and of its evaluation.
struct PolyScale {
    int leading;   // f[0]
    int lpcShift;  // sum of two LPC coefficients to f
    int termShift; // f to the accumulator
    int xShift;    // x to the accumulator
    int outShift;  // accumulator to the 16-bit value
};
constexpr PolyScale kScaleQ11{2048, 1, 13, 10, 10};
constexpr PolyScale kScaleHalf{1024, 2, 13, 9, 9};
constexpr PolyScale kScaleAmr{1024, 2, 14, 10, 10};

/// Sum (f1) and difference (f2) polynomials with the roots at z = -1 and z = 1 taken out. False
/// when a term leaves 16 bits; the terms are saturated.
bool buildPolynomials(const Qol16s* a, const PolyScale& s, Qol16s* f1, Qol16s* f2) {
    bool fits = true;
    f1[0] = f2[0] = static_cast<Qol16s>(s.leading);
    for (int i = 0; i < kHalfOrder; ++i) {
        const int sum = ((a[i + 1] + a[kLpOrder - i]) >> s.lpcShift) - f1[i];
        const int difference = ((a[i + 1] - a[kLpOrder - i]) >> s.lpcShift) + f2[i];
        f1[i + 1] = saturate16(sum);
        f2[i + 1] = saturate16(difference);
        fits = fits && f1[i + 1] == sum && f2[i + 1] == difference;
    }
    return fits;
}

using simd::i128;

/// A polynomial ready for evaluation: f[1..5] in the scale of the accumulator, in all lanes.
struct Series {
    i128 f[kHalfOrder + 1];
};

Series prepare(const Qol16s* f, const PolyScale& s) {
    Series r;
    for (int i = 1; i <= kHalfOrder; ++i) {
        const int shift = i < kHalfOrder ? s.termShift : s.termShift - 1;
        r.f[i] = simd::splat32(wrapMul32(f[i], 1 << shift));
    }
    return r;
}

/// Chebyshev series at four values of x (32 bits, Q15) by Clenshaw's recursion, in 32 bits that
/// wrap. A step takes the double-precision product 2 (hi x + (lo x >> 15)).
i128 ownChebyshev(const Series& p, i128 x, const PolyScale& s) {
    using namespace simd;
    const i128 xHigh = _mm_slli_epi32(x, 16), xLow = _mm_srli_epi32(xHigh, 16);
    const i128 lowWord = splat32(0x7FFF);
    const auto product = [xHigh, xLow, lowWord](i128 b) {
        const i128 low = _mm_and_si128(_mm_srli_epi32(b, 1), lowWord);
        return add32(maddPairs(b, xHigh), _mm_srai_epi32(maddPairs(low, xLow), 15));
    };
    i128 b2 = splat32(1 << (14 + s.xShift));
    i128 b1 = add32(p.f[1], _mm_slli_epi32(x, s.xShift));
    for (int i = 2; i < kHalfOrder; ++i) {
        const i128 b0 = add32(sub32(_mm_slli_epi32(product(b1), 2), b2), p.f[i]);
        b2 = b1;
        b1 = b0;
    }
    const i128 y = add32(sub32(_mm_slli_epi32(product(b1), 1), b2), p.f[kHalfOrder]);
    const i128 value = _mm_srai_epi32(y, s.outShift);
    return packSat16(value, value);
}

/// Values at four points, in the low lanes of a vector of 16-bit values.
struct Values4 {
    Qol16s y[8];
};
Values4 evaluate4(const Series& p, Qol16s x0, Qol16s x1, Qol16s x2, const PolyScale& s) {
    Values4 v;
    simd::store(v.y, ownChebyshev(p, _mm_setr_epi32(x0, x1, x2, x2), s));
    return v;
}

constexpr int kMostGridPoints = 64;

/// Values of a polynomial on the whole grid, four points at a time.
void evaluateGrid(const Series& p, const Qol16s* x, int count, const PolyScale& s, Qol16s* y) {
    for (int k = 0; k < count; k += 4) {
        const i128 points = simd::widenLow(simd::loadLow64(x + k));
        simd::storeLow64(y + k, ownChebyshev(p, points, s));
    }
}

/// Bit k is set where the values k - 1 and k have not the same sign; k from 1 on.
Qol64u signChanges(const Qol16s* y) {
    Qol64u above = 0, below = 0;
    for (int k = 0; k < kMostGridPoints; k += 16) {
        const i128 a = simd::load(y + k), b = simd::load(y + k + 8), none = simd::zero();
        const auto bits = [k](i128 first, i128 second) {
            const int mask = _mm_movemask_epi8(_mm_packs_epi16(first, second));
            return static_cast<Qol64u>(static_cast<Qol32u>(mask)) << k;
        };
        above |= bits(_mm_cmpgt_epi16(a, none), _mm_cmpgt_epi16(b, none));
        below |= bits(_mm_cmpgt_epi16(none, a), _mm_cmpgt_epi16(none, b));
    }
    return ~((above & above << 1) | (below & below << 1));
}

struct Point {
    Qol16s x, y;
};

Qol16s middle(Qol16s a, Qol16s b) { return static_cast<Qol16s>((a >> 1) + (b >> 1)); }

/// Keeps the half of an interval where the sign changes; true when that is the lower one.
bool halve(Point& low, Point& high, Point mid) {
    const bool lower = low.y * mid.y <= 0;
    (lower ? high : low) = mid;
    return lower;
}

/// Root between two points by one linear step; x falls along the walk, so high is the point before.
Qol16s interpolateRoot(Qol16s xLow, Qol16s yLow, Qol16s xHigh, Qol16s yHigh) {
    const Qol16s d = sub(yHigh, yLow);
    if (d == 0) {
        return xLow;
    }
    const Qol16s magnitude = abs_s(d);
    const int e = norm_s(magnitude);
    const int q = 0x1FFF8000 / (magnitude << e);
    Qol16s t = wrap16(((xHigh - xLow) * q) >> (19 - e));
    if (d < 0) {
        t = negate(t);
    }
    return wrap16(xLow - ((yLow * t) >> 10));
}

} // namespace

int ownLPCToLSP_G729_16s(int gridSize, int bisections, LspGrid grid, const Qol16s* pSrcLpc,
                         Qol16s* pDstLsp, int lpcQ) {
    const Qol16s* x = grid == lspGrid60 ? tables::w_eval_60 : tables::w_eval_50;
    Qol16s f[2][kHalfOrder + 1];
    const PolyScale* s = lpcQ == 13 ? &kScaleAmr : &kScaleQ11;
    if (!buildPolynomials(pSrcLpc, *s, f[0], f[1]) && lpcQ != 13) {
        s = &kScaleHalf;
        buildPolynomials(pSrcLpc, *s, f[0], f[1]);
    }
    const Series series[2] = {prepare(f[0], *s), prepare(f[1], *s)};
    Qol16s y[2][kMostGridPoints] = {};
    Qol64u changes[2];
    for (int i = 0; i < 2; ++i) {
        evaluateGrid(series[i], x, gridSize + 1, *s, y[i]);
        changes[i] = signChanges(y[i]) & ((Qol64u{2} << gridSize) - 1);
    }

    int roots = 0;
    Point high{x[0], y[0][0]};
    for (int k = 1; k <= gridSize && roots < kLpOrder; ++k) {
        const Qol16s* values = y[roots & 1];
        Point low{x[k], values[k]};
        if (low.y * high.y > 0) { // on to the next change between points of the grid
            const Qol64u later = changes[roots & 1] >> (k + 1) << (k + 1);
            if (later == 0) {
                break;
            }
            k = std::countr_zero(later);
            high = {x[k - 1], values[k - 1]};
            low = {x[k], values[k]};
        }
        // Two bisections at once: whichever half the first one leaves, its middle is at hand.
        for (int i = 0; i < bisections; i += 2) {
            const Qol16s mid = middle(low.x, high.x), lower = middle(low.x, mid),
                         upper = middle(mid, high.x);
            const Values4 v = evaluate4(series[roots & 1], mid, lower, upper, *s);
            const bool down = halve(low, high, {mid, v.y[0]});
            if (i + 1 < bisections) {
                halve(low, high, down ? Point{lower, v.y[1]} : Point{upper, v.y[2]});
            }
        }
        const Qol16s root = pDstLsp[roots++] = interpolateRoot(low.x, low.y, high.x, high.y);
        high = {root, evaluate4(series[roots & 1], root, root, root, *s).y[0]};
    }
    return roots;
}

QolStatus ownLSFToLSP_16s(const Qol16s* pSrcFreq, Qol16s* pDstLsp, const Qol16s* pSlope,
                          int shift) {
    for (int i = 0; i < kLpOrder; ++i) {
        int index = pSrcFreq[i] >> 8;
        if (index < 0) {
            return qolStsLsfRangeErr;
        }
        index = index > 63 ? 63 : index;
        const int offset = pSrcFreq[i] & 255;
        pDstLsp[i] = wrap16(tables::cos15[index] + ((offset * pSlope[index]) >> shift));
    }
    return qolStsNoErr;
}

} // namespace qolsc
