// SPDX-License-Identifier: Apache-2.0
// High-pass filters in front of the coder and behind the decoder (ITU-T G.729 §3.1, §4.2.5).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/rules.h"

struct QolsHighPassState_G729 {
    Qol32s y1, y2;     // past outputs, Q16 above the sample
    Qol16s x1, x2;     // past inputs
    Qol16s a0, a1, a2; // feedback with positive sign; a0 is kept only
    Qol16s b0, b1, b2;
};
static_assert(sizeof(QolsHighPassState_G729) == 24);

namespace qolsc {
namespace {

using State = QolsHighPassState_G729;

/// One past output times its coefficient: upper half and 15 bits below it, each product
/// truncated. Both halves together are y >> 1, so one truncation does.
Qol64s feedback(Qol16s a, Qol32s y) { return (Qol64s{a} * (y >> 1)) >> 15; }

/// Scale is the Q format of the coefficients. The new memory is the sum brought to Q16 above the
/// sample; it saturates one step before the shift would.
template <int Scale>
void highPass(Qol16s* x, int len, State& st) {
    constexpr Qol32s top = Scale == 12 ? 0x7FFFFFF : 0xFFFFFFF;
    for (int n = 0; n < len; ++n) {
        const Qol32s s =
            wrap32(Qol64s{st.b0} * x[n] + Qol64s{st.b1} * st.x1 + Qol64s{st.b2} * st.x2 +
                   feedback(st.a1, st.y1) + feedback(st.a2, st.y2));
        st.y2 = st.y1;
        st.y1 = s >= top        ? std::numeric_limits<Qol32s>::max()
                : s <= -top - 1 ? std::numeric_limits<Qol32s>::min()
                                : s * (Scale == 12 ? 16 : 8);
        st.x2 = st.x1;
        st.x1 = x[n];
        if constexpr (Scale == 12) {
            x[n] = saturate16((Qol64s{st.y1} + 0x8000) >> 16);
        } else {
            x[n] = s >= 0x7FFF7FF    ? Qol16s{32767}
                   : s <= -0x8000000 ? Qol16s{-32768}
                                     : static_cast<Qol16s>((s + 2048) >> 12);
        }
    }
}

constexpr int kBlock = 80;

/// The same for a block in which no memory saturates: the memory is then the sum times a power of
/// two, so the recursion runs on the sums themselves. Needs feed-forward coefficients whose
/// magnitudes stay below 65536 together. False, with nothing changed, when a sum is out of bounds.
template <int Scale>
bool highPassUnsaturated(Qol16s* x, int len, State& st) {
    constexpr int up = 16 - Scale; // from the sum to the memory
    constexpr Qol32s bound = Scale == 12 ? 0x7FFFFFF : 0xFFFFFFF;
    constexpr Qol32s low = (1 << up) - 1;
    if ((st.y1 & low) != 0 || (st.y2 & low) != 0) {
        return false; // a memory that did saturate
    }
    Qol16s in[2 + kBlock];
    Qol32s sums[kBlock];
    in[0] = st.x2;
    in[1] = st.x1;
    std::memcpy(in + 2, x, static_cast<std::size_t>(len) * sizeof(*x));
    for (int n = 0; n < len; ++n) {
        sums[n] = st.b0 * in[n + 2] + st.b1 * in[n + 1] + st.b2 * in[n];
    }
    const Qol64s a1 = st.a1, a2 = st.a2;
    Qol64s s1 = st.y1 >> up, s2 = st.y2 >> up;
    for (int n = 0; n < len; ++n) {
        const Qol64s s = wrap32(sums[n] + (a1 * s1 >> Scale) + (a2 * s2 >> Scale));
        sums[n] = static_cast<Qol32s>(s);
        s2 = s1;
        s1 = s;
    }
    Qol32s least = 0, most = 0;
    for (int n = 0; n < len; ++n) {
        least = sums[n] < least ? sums[n] : least;
        most = sums[n] > most ? sums[n] : most;
    }
    if (most >= bound || least <= -bound - 1) {
        return false;
    }
    for (int n = 0; n < len; ++n) {
        x[n] = saturate16((sums[n] + 0x800) >> 12);
    }
    st.x1 = in[len + 1];
    st.x2 = in[len];
    st.y1 = static_cast<Qol32s>(s1) * (1 << up);
    st.y2 = static_cast<Qol32s>(s2) * (1 << up);
    return true;
}

template <int Scale>
void filterBlocks(Qol16s* x, int len, State& st) {
    const auto magnitude = [](Qol16s v) { return v < 0 ? -v : +v; };
    const bool bounded = magnitude(st.b0) + magnitude(st.b1) + magnitude(st.b2) < 65536;
    for (; len > 0; len -= kBlock, x += kBlock) {
        const int count = len < kBlock ? len : kBlock;
        if (!bounded || !highPassUnsaturated<Scale>(x, count, st)) {
            highPass<Scale>(x, count, st);
        }
    }
}

} // namespace

QolStatus qolsHighPassFilterSize_G729(int* pSize) noexcept {
    return giveSize(sizeof(State), pSize);
}

QolStatus qolsHighPassFilterInit_G729(const Qol16s* pCoeffs, Qol8u* pState) noexcept {
    if (anyNull(pCoeffs, pState)) {
        return qolStsNullPtrErr;
    }
    const State st{0,          0,          0,          0,          pCoeffs[0],
                   pCoeffs[1], pCoeffs[2], pCoeffs[3], pCoeffs[4], pCoeffs[5]};
    g729::writeRecord(pState, st);
    return qolStsNoErr;
}

QolStatus qolsHighPassFilter_G729_16s_ISfs(Qol16s* pSrcDst, int len, int scaleFactor,
                                           Qol8u* pState) noexcept {
    if (anyNull(pSrcDst, pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1) {
        return qolStsBadArgErr;
    }
    if (scaleFactor != 12 && scaleFactor != 13) {
        return qolStsScaleRangeErr;
    }
    State st = g729::readRecord<State>(pState);
    if (scaleFactor == 12) {
        filterBlocks<12>(pSrcDst, len, st);
    } else {
        filterBlocks<13>(pSrcDst, len, st);
    }
    g729::writeRecord(pState, st);
    return qolStsNoErr;
}

} // namespace qolsc
