// SPDX-License-Identifier: Apache-2.0
// Phase dispersion of the innovation at 6.4 kbit/s (ITU-T G.729 Annex D §D.6.2).
#include "entry/checks.h"
#include "entry/entries.h"
#include "g729/post.h"
#include "numeric/basop.h"
#include "tables/g729_post.h"

namespace {
constexpr int kGainHistory = 6;
}

struct QolsPhaseDispersionState_G729D {
    Qol16s gainHist[kGainHistory]; // pitch gains, Q14, newest first
    Qol16s prevDispState;          // last choice of impulse: 0 strong, 1 middle, 2 none
    Qol16s prevFixedGain;
    Qol16s onset; // counts subframes down after a rise of the fixed gain
    Qol16s reserved;
};
static_assert(sizeof(QolsPhaseDispersionState_G729D) == 20);

namespace qolsc {
namespace {

using namespace basop;
using g729::kSubframe;
using State = QolsPhaseDispersionState_G729D;

constexpr Qol16s kLowGain = 9830, kHighGain = 14745; // 0.6 and 0.9, Q14
constexpr int kNoDispersion = 2;

void pushGain(State& st, Qol16s gain) {
    std::memmove(st.gainHist + 1, st.gainHist, (kGainHistory - 1) * sizeof(Qol16s));
    st.gainHist[0] = gain;
}

/// Choice of the impulse for this subframe.
int nextImpulse(State& st, Qol16s pitchGain, Qol16s fixedGain) {
    int impulse = pitchGain >= kHighGain ? 2 : pitchGain > kLowGain ? 1 : 0;
    pushGain(st, pitchGain);
    const bool rise = (fixedGain >> 1) > st.prevFixedGain;
    st.onset = static_cast<Qol16s>(rise ? 2 : st.onset > 0 ? st.onset - 1 : 0);
    int low = 0;
    for (const Qol16s gain : st.gainHist) {
        low += gain < kLowGain;
    }
    if (low > 2 && st.onset == 0) {
        impulse = 0;
    }
    if (impulse > st.prevDispState + 1 && st.onset == 0) {
        --impulse;
    }
    if (impulse < kNoDispersion && st.onset != 0) {
        ++impulse;
    }
    st.prevDispState = static_cast<Qol16s>(impulse);
    st.prevFixedGain = fixedGain;
    return impulse;
}

/// Circular convolution of the pulses in x with the impulse h, in place.
void disperse(const Qol16s* h, Qol16s* x) {
    Qol16s pulses[kSubframe];
    std::memcpy(pulses, x, sizeof(pulses));
    std::memset(x, 0, sizeof(pulses));
    for (int p = 0; p < kSubframe; ++p) {
        const Qol16s a = pulses[p];
        if (a == 0) {
            continue;
        }
        for (int i = p; i < kSubframe; ++i) {
            x[i] = add(x[i], mult(a, h[i - p]));
        }
        for (int i = 0; i < p; ++i) {
            x[i] = add(x[i], mult(a, h[kSubframe + i - p]));
        }
    }
}

/// The unit impulse is 32767 in Q15: each pulse loses what the product truncates.
void keepPulses(Qol16s* x) {
    for (int i = 0; i < kSubframe; ++i) {
        x[i] = mult(x[i], 32767);
    }
}

Qol16s scaled(Qol16s innovation, Qol16s gain) {
    return saturate16((innovation * gain + 0x2000) >> 14);
}

} // namespace

QolStatus qolsPhaseDispersionGetStateSize_G729D_16s(int* pSize) noexcept {
    return giveSize(sizeof(State), pSize);
}

QolStatus qolsPhaseDispersionInit_G729D_16s(Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    g729::writeRecord(pState, State{});
    return qolStsNoErr;
}

QolStatus qolsPhaseDispersionUpdate_G729D_16s(Qol16s valPitchGain, Qol16s valFixedGain,
                                              Qol8u* pState) noexcept {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    State st = g729::readRecord<State>(pState);
    pushGain(st, valPitchGain);
    st.prevDispState = kNoDispersion;
    st.prevFixedGain = valFixedGain;
    st.onset = 0;
    g729::writeRecord(pState, st);
    return qolStsNoErr;
}

QolStatus qolsPhaseDispersion_G729D_16s(const Qol16s* pSrcExcSignal, Qol16s* pDstFltExcSignal,
                                        Qol16s valFixedGain, Qol16s valPitchGain,
                                        Qol16s* pSrcDstInnovation, Qol8u* pState) noexcept {
    if (anyNull(pSrcExcSignal, pDstFltExcSignal, pSrcDstInnovation, pState)) {
        return qolStsNullPtrErr;
    }
    Qol16s base[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        base[i] = sub(pSrcExcSignal[i], scaled(pSrcDstInnovation[i], valFixedGain));
    }
    State st = g729::readRecord<State>(pState);
    const int impulse = nextImpulse(st, valPitchGain, valFixedGain);
    g729::writeRecord(pState, st);
    if (impulse == kNoDispersion) {
        keepPulses(pSrcDstInnovation);
    } else {
        disperse(impulse == 0 ? tables::g729::phImpLow : tables::g729::phImpMid, pSrcDstInnovation);
    }
    for (int i = 0; i < kSubframe; ++i) {
        pDstFltExcSignal[i] = add(base[i], scaled(pSrcDstInnovation[i], valFixedGain));
    }
    return qolStsNoErr;
}

} // namespace qolsc
