// SPDX-License-Identifier: Apache-2.0
// LP analysis and LSP conversions of G.729 in floating point (3.2.2, 3.2.3, 3.2.6, Annex C).
#include "common/lp_kernels.h"
#include "entry/checks.h"
#include "entry/entries.h"
#include "tables/g729_lp.h"

#include <array>
#include <cmath>

namespace qolsc {

namespace {

constexpr int kHalf = kLpOrder / 2;
constexpr Qol32f kLargestReflection = 0.999451F;
constexpr Qol32f kLeastError = 0.001F;

using Powers = std::array<Qol32f, kHalf>; // x, x^2 .. x^5

/// Rows of powers of the grid points, each formed in double and rounded once.
template <int N>
constexpr std::array<Powers, N> powersOf(const Qol32f (&grid)[N]) {
    std::array<Powers, N> rows{};
    for (int i = 0; i < N; ++i) {
        const double x = grid[i];
        double p = 1;
        for (int k = 0; k < kHalf; ++k) {
            p *= x;
            rows[i][k] = static_cast<Qol32f>(p);
        }
    }
    return rows;
}
constexpr auto tblGrid10 = powersOf(tables::g729::gridCos60);
constexpr auto tblGrid10_A = powersOf(tables::g729::gridCos50);

/// Coefficients of a polynomial in the power basis: constant term first.
using Poly = std::array<Qol32f, kHalf + 1>;

/// Power basis of 2 T5 + 2 f1 T4 + ... + f5 halved, from its Chebyshev coefficients f[1..5].
Poly expand(const Qol32f* f) {
    return {static_cast<Qol32f>(0.5 * f[5] - f[3] + f[1]),
            static_cast<Qol32f>(5.0 - 3.0 * f[2] + f[4]),
            2 * f[3] - 8 * f[1],
            4 * f[2] - 20,
            8 * f[1],
            16};
}

/// Sum and difference polynomials with the roots at z = -1 and z = 1 taken out.
std::array<Poly, 2> buildPolynomials(const Qol32f* a) {
    Qol32f f1[kHalf + 1], f2[kHalf + 1];
    f1[0] = f2[0] = 1;
    for (int i = 0; i < kHalf; ++i) {
        f1[i + 1] = a[i + 1] + a[kLpOrder - i] - f1[i];
        f2[i + 1] = a[i + 1] - a[kLpOrder - i] + f2[i];
    }
    return {expand(f1), expand(f2)};
}

Qol32f evaluate(const Poly& p, const Powers& x) {
    return p[0] + p[1] * x[0] + p[2] * x[1] + p[3] * x[2] + p[4] * x[3] + p[5] * x[4];
}
Qol32f evaluate(const Poly& p, Qol32f x) {
    return ((((p[5] * x + p[4]) * x + p[3]) * x + p[2]) * x + p[1]) * x + p[0];
}

struct Point {
    Qol32f x, y;
};

/// Halves the interval from low (the later point of the walk) to high, then one linear step.
Qol32f refine(const Poly& p, Point low, Point high, int bisections) {
    for (int i = 0; i < bisections; ++i) {
        Point mid{0.5F * (low.x + high.x), 0};
        mid.y = evaluate(p, mid.x);
        (0 >= low.y * mid.y ? high : low) = mid;
    }
    const Qol32f d = high.y - low.y;
    return d == 0 ? low.x : low.x - low.y * (high.x - low.x) / d;
}

/// Walks the grid with the given step and returns the count of roots found. A step of two looks at
/// the passed over point when a sign changes.
int searchRoots(const std::array<Poly, 2>& polys, const Powers* grid, int gridSize, int step,
                int bisections, Qol32f* lsp) {
    int roots = 0;
    Point low{grid[0][0], evaluate(polys[0], grid[0])};
    for (int k = 0; k < gridSize && roots < kLpOrder;) {
        const Poly& p = polys[static_cast<std::size_t>(roots & 1)];
        Point high = low;
        // The row behind the last one repeats it, so that an odd grid needs no end case.
        low = {grid[k + step][0], evaluate(p, grid[k + step])};
        if (low.y * high.y > 0) {
            k += step;
            continue;
        }
        int end = k + step;
        if (step == 2) {
            const Point middle{grid[k + 1][0], evaluate(p, grid[k + 1])};
            if (0 >= high.y * middle.y) {
                low = middle;
                end = k + 1;
            } else {
                high = middle;
            }
        }
        const Qol32f root = refine(p, low, high, bisections);
        lsp[roots++] = root;
        low = {root, evaluate(polys[static_cast<std::size_t>(roots & 1)], root)};
        k = end;
    }
    return roots;
}

QolStatus lpcToLsp(const Qol32f* pSrcLpc, const Qol32f* pSrcPrevLsp, Qol32f* pDstLsp,
                   const Powers* grid, int gridSize, int bisections) {
    if (anyNull(pSrcLpc, pSrcPrevLsp, pDstLsp)) {
        return qolStsNullPtrErr;
    }
    const auto polys = buildPolynomials(pSrcLpc);
    Qol32f lsp[kLpOrder];
    // A pair of roots inside two grid intervals is invisible to the fast walk.
    const bool found = searchRoots(polys, grid, gridSize, 2, bisections, lsp) == kLpOrder ||
                       searchRoots(polys, grid, gridSize, 1, bisections, lsp) == kLpOrder;
    for (int i = 0; i < kLpOrder; ++i) {
        pDstLsp[i] = found ? lsp[i] : pSrcPrevLsp[i];
    }
    return qolStsNoErr;
}

/// Product of (1 - 2 x z^-1 + z^-2) over every second LSP, up to the middle term.
void expandProduct(const Qol32f* lsp, Qol32f* f) {
    f[0] = 1;
    f[1] = -2 * lsp[0];
    for (int i = 2; i <= kHalf; ++i) {
        const Qol32f b = -2 * lsp[2 * (i - 1)];
        f[i] = b * f[i - 1] + 2 * f[i - 2];
        for (int k = i - 1; k > 1; --k) {
            f[k] += b * f[k - 1] + f[k - 2];
        }
        f[1] += b;
    }
}

} // namespace

QolStatus qolsLevinsonDurbin_G729_32f(const Qol32f* pSrcAutoCorr, int order, Qol32f* pDstLpc,
                                      Qol32f* pDstRc, Qol32f* pResultResidualEnergy) noexcept {
    if (anyNull(pSrcAutoCorr, pDstLpc, pDstRc, pResultResidualEnergy)) {
        return qolStsNullPtrErr;
    }
    if (order < 1) {
        return qolStsBadArgErr;
    }
    const Qol32f* r = pSrcAutoCorr;
    Qol32f* a = pDstLpc;
    a[0] = 1;
    a[1] = pDstRc[0] = -r[1] / r[0];
    Qol32f error = r[0] + r[1] * pDstRc[0];
    for (int i = 2; i <= order; ++i) {
        Qol32f s = 0;
        for (int j = 0; j < i; ++j) {
            s += a[j] * r[i - j];
        }
        const Qol32f k = std::fabs(error) < std::numeric_limits<Qol32f>::min() ? 1.0F : -s / error;
        pDstRc[i - 1] = k;
        if (std::fabs(k) > kLargestReflection) {
            *pResultResidualEnergy = kLeastError;
            return qolStsNoErr;
        }
        for (int lo = 1, hi = i - 1; lo <= hi; ++lo, --hi) {
            const Qol32f next = a[lo] + k * a[hi];
            a[hi] += k * a[lo];
            a[lo] = next;
        }
        a[i] = k;
        error += s * k;
        if (error <= 0) {
            error = kLeastError;
        }
    }
    *pResultResidualEnergy = error;
    return qolStsNoErr;
}

QolStatus qolsLPCToLSP_G729_32f(const Qol32f* pSrcLpc, const Qol32f* pSrcPrevLsp,
                                Qol32f* pDstLsp) noexcept {
    return lpcToLsp(pSrcLpc, pSrcPrevLsp, pDstLsp, tblGrid10.data(), 60, 4);
}

QolStatus qolsLPCToLSP_G729A_32f(const Qol32f* pSrcLpc, const Qol32f* pSrcPrevLsp,
                                 Qol32f* pDstLsp) noexcept {
    return lpcToLsp(pSrcLpc, pSrcPrevLsp, pDstLsp, tblGrid10_A.data(), 50, 2);
}

QolStatus qolsLSPToLPC_G729_32f(const Qol32f* pSrcLsp, Qol32f* pDstLpc) noexcept {
    if (anyNull(pSrcLsp, pDstLpc)) {
        return qolStsNullPtrErr;
    }
    Qol32f f1[kHalf + 1], f2[kHalf + 1];
    expandProduct(pSrcLsp, f1);
    expandProduct(pSrcLsp + 1, f2);
    pDstLpc[0] = 1;
    for (int i = 1; i <= kHalf; ++i) {
        const Qol32f g1 = f1[i] + f1[i - 1], g2 = f2[i] - f2[i - 1];
        pDstLpc[i] = 0.5F * (g1 + g2);
        pDstLpc[kLpOrder + 1 - i] = 0.5F * (g1 - g2);
    }
    return qolStsNoErr;
}

QolStatus qolsInterpolateC_G729_32f(const Qol32f* pSrc1, Qol32f val1, const Qol32f* pSrc2,
                                    Qol32f val2, Qol32f* pDst, int len) noexcept {
    if (anyNull(pSrc1, pSrc2, pDst)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    for (int i = 0; i < len; ++i) {
        pDst[i] = val1 * pSrc1[i] + val2 * pSrc2[i];
    }
    return qolStsNoErr;
}

} // namespace qolsc
