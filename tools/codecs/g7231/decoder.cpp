// SPDX-License-Identifier: Apache-2.0
// Decoder of G.723.1: speech frames, lost ones, comfort noise (ITU-T G.723.1 3, Annex A).
#include "codecs/g7231/decoder.h"

#include "codecs/g7231/filters.h"
#include "codecs/g7231/noise.h"
#include "codecs/g7231/tables.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::g7231 {

using namespace basop;

namespace {

constexpr int kMostLost = 3;
constexpr Qol16s kFade = 0x6000;

struct Decoder {
    bool postFilter;
    Qol16s past[kPast];
    Vector10 previousLsp;
    Vector10 synthesis; ///< past outputs, newest first
    Vector10 zeroPast, polePast;
    Qol16s tilt, gain; ///< Q15; Q12
    int lost;
    Qol16s lostGain;
    int voicedLag;
    Qol16s lostSeed;
    // comfort noise
    bool active;   ///< the frame before was speech
    Qol16s energy; ///< of the last good frame's end, and the shift of it
    int energyShift;
    Qol16s noiseLevel, noiseGain, noiseSeed;
    Vector10 noiseLsp;
};

/// Past samples of the filters' memories (newest first) in the order of time in front of a block.
void layOut(const Vector10& memory, Qol16s* line) {
    std::reverse_copy(memory.begin(), memory.end(), line);
}
void keepLast(const Qol16s* line, Vector10& memory) {
    std::reverse_copy(line + kSubframe, line + kSubframe + kOrder, memory.begin());
}

/// dotDoubled where nothing can saturate: at most 63 products of values with three bits of
/// headroom, 2 * 63 * 2^24 < 2^31.
Qol32s dotUnlimited(const Qol16s* x, const Qol16s* y, int n) {
    Qol32u sum = 0;
    for (int i = 0; i < n; ++i) {
        sum += static_cast<Qol32u>(x[i] * y[i]);
    }
    return static_cast<Qol32s>(2 * sum);
}
Qol32s dotLimited(const Qol16s* x, const Qol16s* y, int n) { return dotDoubled(x, y, n); }

/// Largest positive correlation of a block with that at a distance around `lag`; lag 0 for none.
using Dot = Qol32s (*)(const Qol16s*, const Qol16s*, int);
struct Match {
    int lag;
    Qol32s correlation;
};
template <Dot dot>
Match matchAround(const Qol16s* x, int n, int lag, int sign, int room) {
    Match best{0, 0};
    for (int l = lag - 3; l <= lag + 3; ++l) {
        if (l > room) {
            continue;
        }
        const Qol32s c = dot(x, x + sign * l, n);
        if (c > best.correlation) {
            best = {l, c};
        }
    }
    return best;
}

/// Voicing of the frame's last 120 samples, for erasures and noise to come. G.723.1 3.10.
void checkVoicing(Decoder& d, const Qol16s* buffer, int shift, int lag) {
    const Qol16s* x = buffer + kPast + kFrame - 120;
    const Match m = matchAround<dotLimited>(x, 120, std::min(lag, 142), -1, 1000);
    const Qol16s t = round_fx(dotDoubled(x, x, 120));
    d.voicedLag = 0;
    d.energy = t;
    d.energyShift = shift;
    if (m.correlation > 0) {
        const Qol16s c = round_fx(m.correlation),
                     e = round_fx(dotDoubled(x - m.lag, x - m.lag, 120));
        d.voicedLag = (L_mult(e, t) >> 3) < L_mult(c, c) ? m.lag : 0;
    }
}

/// Pitch post-filter of a subframe: own is the normalised excitation, raw the excitation itself.
/// G.723.1 3.6.
void pitchPostFilter(const Qol16s* own, const Qol16s* raw, int lag, int room, Qol16s weight,
                     Qol16s* out) {
    lag = std::min(lag, 142);
    const Match back = matchAround<dotUnlimited>(own, kSubframe, lag, -1, 1000);
    const Match ahead = matchAround<dotUnlimited>(own, kSubframe, lag, 1, room);
    std::copy_n(raw, kSubframe, out);
    if (back.lag == 0 && ahead.lag == 0) {
        return;
    }
    Qol32s v[5] = {dotUnlimited(own, own, kSubframe), back.correlation, 0, ahead.correlation, 0};
    if (back.lag != 0) {
        v[2] = dotUnlimited(own - back.lag, own - back.lag, kSubframe);
    }
    if (ahead.lag != 0) {
        v[4] = dotUnlimited(own + ahead.lag, own + ahead.lag, kSubframe);
    }
    const int n = norm_l(*std::max_element(v, v + 5));
    Qol16s w[5];
    for (int i = 0; i < 5; ++i) {
        w[i] = extract_h(L_shl(v[i], n));
    }
    const bool forward = back.lag == 0 || (ahead.lag != 0 && Qol64s{mult_r(w[1], w[1])} * w[4] <=
                                                                 Qol64s{mult_r(w[3], w[3])} * w[2]);
    const Qol16s c = forward ? w[3] : w[1], e = forward ? w[4] : w[2], t = w[0];
    const int shift = forward ? ahead.lag : -back.lag;
    Qol16s gain = 0, scale = 32767;
    if (L_mult(c, c) > (L_mult(t, e) >> 2)) {
        gain = c >= e ? weight : mult(div_s(c, e), weight);
        const Qol32s own15 = t * 32768;
        Qol32s sum = L_mac(own15, c, gain);
        sum = L_add(sum, L_mult(e, mult(gain, gain)) >> 1);
        const Qol16s d = round_fx(sum);
        scale = own15 >= L_deposit_h(d) ? Qol16s{32767} : div_l(own15, d);
        scale = rootOf(L_deposit_h(scale));
    }
    gain = mult(gain, scale);
    for (int i = 0; i < kSubframe; ++i) {
        out[i] = round_fx(L_mac(L_mult(raw[i], scale), raw[i + shift], gain));
    }
}

void speechExcitation(Decoder& d, const Fields& f, Qol16s* out) {
    Qol16s buffer[kPast + kFrame], scaled[kPast + kFrame];
    std::copy_n(d.past, kPast, buffer);
    for (int k = 0; k < kSubframes; ++k) {
        const Subframe& s = f.sub[static_cast<std::size_t>(k)];
        Qol16s fixed[kSubframe], adaptive[kSubframe];
        if (f.kind == Kind::high) {
            multipulseVector(s, k, fixed);
        } else {
            acelpVector(s, fixed);
        }
        qolsDecodeAdaptiveVector_G723_16s(static_cast<Qol16s>(s.lag), static_cast<Qol16s>(s.offset),
                                          static_cast<Qol16s>(s.gain), d.past, adaptive,
                                          f.kind == Kind::high ? 4 : 2);
        Qol16s* u = buffer + kPast + kSubframe * k;
        addExcitation(fixed, adaptive, u);
        pushHistory(d.past, u, kSubframe);
    }
    d.lostGain = tables::GainDBLvls[(f.sub[2].level + f.sub[3].level) >> 1];
    const int shift = normaliseThree(buffer, kPast + kFrame, scaled);
    checkVoicing(d, scaled, shift, f.sub[2].lag);
    std::copy_n(buffer + kPast, kFrame, out);
    for (int k = 0; d.postFilter && k < kSubframes; ++k) {
        const int at = kPast + kSubframe * k;
        pitchPostFilter(scaled + at, buffer + at, f.sub[static_cast<std::size_t>(k)].lag,
                        kFrame - kSubframe * (k + 1),
                        tables::kPitchPostWeight[f.kind == Kind::high ? 0 : 1],
                        out + kSubframe * k);
    }
}

void lostExcitation(Decoder& d, Qol16s* x) {
    d.lost = std::min(d.lost + 1, kMostLost);
    d.lostGain = mult_r(d.lostGain, kFade);
    std::fill_n(x, kFrame, Qol16s{0});
    if (d.lost == kMostLost) {
        std::fill_n(d.past, kPast, Qol16s{0});
        return;
    }
    if (d.voicedLag == 0) {
        for (int n = 0; n < kFrame; ++n) {
            x[n] = mult(d.lostGain, nextRandom(d.lostSeed));
        }
        std::fill_n(d.past, kPast, Qol16s{0});
        return;
    }
    for (int n = 0; n < kFrame; ++n) {
        const int at = n - d.voicedLag;
        x[n] = at < 0 ? d.past[kPast + at] : x[at];
    }
    for (int n = 0; n < kFrame; ++n) {
        x[n] = mult(x[n], kFade);
    }
    pushHistory(d.past, x + kFrame - kPast, kPast);
}

void synthesise(Decoder& d, const Vector10& a, const Qol16s* x, Qol16s* y) {
    Qol16s line[kLine];
    layOut(d.synthesis, line);
    synthesis(a, x, line);
    std::copy_n(line + kOrder, kSubframe, y);
    keepLast(line, d.synthesis);
}

/// w[n] = 4 (w[n] + sum of 2 pole[j] y[n - 1 - j]), y = w rounded, in line behind its past.
void allPole(const Vector10& pole, Qol16s* line, Qol32s* w) {
    for (int n = 0; n < kSubframe; ++n) {
        for (int j = 0; j < kOrder; ++j) {
            w[n] = L_mac(w[n], pole[static_cast<std::size_t>(j)], line[kOrder + n - 1 - j]);
        }
        w[n] = L_shl(w[n], 2);
        line[kOrder + n] = round_fx(w[n]);
    }
}

/// Formant post-filter with tilt compensation; the energy of the block before it is returned.
/// G.723.1 3.8.
Qol32s formantPostFilter(Decoder& d, const Vector10& a, Qol16s* x) {
    Vector10 zero, pole;
    for (std::size_t i = 0; i < kOrder; ++i) {
        zero[i] = mult_r(a[i], tables::kPostZero[i]);
        pole[i] = mult_r(a[i], tables::kPostPole[i]);
    }
    Qol16s v[kSubframe];
    const int shift = normaliseThree(x, kSubframe, v);
    const Qol32s a1 = dotUnlimited(v, v + 1, kSubframe - 1), a0 = dotUnlimited(v, v, kSubframe);
    Qol16s t = 0;
    if (extract_h(a0) != 0) {
        t = div_l(L_abs(a1 >> 1), extract_h(a0));
        t = a1 < 0 ? negate(t) : t;
    }
    d.tilt = round_fx(L_mac(L_msu(L_deposit_h(d.tilt), d.tilt, 0x2000), t, 0x2000));
    const auto k = static_cast<Qol16s>(mult(d.tilt, -0x4000) & ~3);
    Qol16s in[kLine], filtered[kLine];
    Qol32s w[kSubframe];
    layOut(d.zeroPast, in);
    std::copy_n(x, kSubframe, in + kOrder);
    layOut(d.polePast, filtered);
    allZero(zero, in, w);
    allPole(pole, filtered, w);
    for (int n = 0; n < kSubframe; ++n) {
        x[n] = round_fx(L_mac(w[n], filtered[kOrder + n - 1], k));
    }
    keepLast(in, d.zeroPast);
    keepLast(filtered, d.polePast);
    return L_shr(a0, 2 * shift + 4);
}

/// Brings the filtered block back to the energy of the one before the filter. G.723.1 3.9.
void controlGain(Decoder& d, Qol32s target, const Qol16s* x, std::int16_t* pcm) {
    Qol32s energy = 0;
    for (int n = 0; n < kSubframe; ++n) {
        const auto v = static_cast<Qol16s>(x[n] >> 2);
        energy = L_mac(energy, v, v);
    }
    Qol16s g = 0x1000;
    if (energy != 0 && target != 0) {
        const int a = norm_l(energy), b = norm_l(target);
        const Qol32s e = L_shl(energy, a), s = L_shl(target, b) >> 1;
        const int shift = std::max(0, 6 - (a - b + 1));
        g = rootOf(L_shr(L_deposit_h(div_l(s, extract_h(e))), shift));
    }
    for (int n = 0; n < kSubframe; ++n) {
        d.gain = round_fx(L_mac(L_msu(L_deposit_h(d.gain), d.gain, 0x800), g, 0x800));
        pcm[n] = round_fx(L_shl(L_mult(x[n], add(d.gain, static_cast<Qol16s>(d.gain >> 4))), 4));
    }
}

/// Noise level and filter of an inactive frame. G.723.1 A.5.
void updateNoise(Decoder& d, const Fields& f, bool described) {
    if (described) {
        d.noiseLevel = decodeNoiseGain(f.noiseGain);
        d.noiseLsp = decodeLsp(f.lsp, d.previousLsp, false);
    } else if (d.active) {
        const Qol32s x = L_mls(L_shl(d.energy, 16 - 2 * d.energyShift), tables::kSidGainFactors[0]);
        d.noiseLevel = decodeNoiseGain(quantiseNoiseGain(x));
        d.noiseLsp = d.previousLsp;
    }
    d.noiseGain = d.active ? d.noiseLevel
                           : extract_h(L_mac(L_mult(d.noiseGain, 0x7000), d.noiseLevel, 0x1000));
}

} // namespace

void* openDecoder(bool postFilter) {
    auto* d = new Decoder{};
    d->postFilter = postFilter;
    std::copy_n(tables::kLspMean, kOrder, d->previousLsp.begin());
    d->noiseLsp = d->previousLsp;
    d->gain = 0x1000;
    d->active = true;
    d->noiseSeed = kNoiseSeed;
    return d;
}

void closeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }

void decodeFrame(void* decoder, const Frame& frame, std::int16_t* pcm) {
    auto& d = *static_cast<Decoder*>(decoder);
    Fields f = unpackFrame(frame);
    if (frame.kind == FrameKind::noData) {
        f = {};
        f.kind = Kind::untransmitted;
    }
    const bool lost = frame.kind == FrameKind::lost || f.erased;
    const bool speech = lost ? d.active : f.kind == Kind::high || f.kind == Kind::low;
    Qol16s x[kFrame];
    Vector10 lsp;
    if (speech) {
        lsp = decodeLsp(f.lsp, d.previousLsp, lost);
        if (lost) {
            lostExcitation(d, x);
        } else {
            d.lost = 0;
            speechExcitation(d, f, x);
        }
        d.noiseSeed = kNoiseSeed;
    } else {
        updateNoise(d, f, !lost && f.kind == Kind::silence);
        d.lost = 0;
        lsp = d.noiseLsp;
        noiseExcitation(d.noiseGain, d.noiseSeed, d.past, f, x);
    }
    const auto predictors = interpolateLsp(lsp, d.previousLsp);
    d.previousLsp = lsp;
    d.active = speech;
    for (int k = 0; k < kSubframes; ++k) {
        const Vector10& a = predictors[static_cast<std::size_t>(k)];
        Qol16s y[kSubframe];
        synthesise(d, a, x + kSubframe * k, y);
        if (d.postFilter) {
            const Qol32s energy = formantPostFilter(d, a, y);
            controlGain(d, energy, y, pcm + kSubframe * k);
        } else {
            std::transform(y, y + kSubframe, pcm + kSubframe * k,
                           [](Qol16s v) { return shl(v, 1); });
        }
    }
}

} // namespace qolsc::tools::g7231
