// SPDX-License-Identifier: Apache-2.0
// Gain quantisers of the AMR encoder (3GPP TS 26.090 5.8).
#include "codecs/amr/encoder.h"

#include <algorithm>
#include <cstdlib>

namespace qolsc::tools::amr {

using namespace basop;

namespace {

Qol32s Mac32(Qol32s sum, Dpf a, Dpf b) {
    return L_mac(L_mac(L_mac(sum, a.hi, b.hi), mult(a.hi, b.lo), 1), mult(a.lo, b.hi), 1);
}
Qol32s Mac32_16(Qol32s sum, Dpf a, Qol16s n) {
    return L_mac(L_mac(sum, a.hi, n), mult(a.lo, n), 1);
}

/// Nearest entry not above the limit, the first of equals.
int nearestPitch(Qol16s gain, Qol16s limit) {
    int best = 0;
    for (int i = 1; i < 16; ++i) {
        if (kPitchGains[i] <= limit &&
            abs_s(sub(gain, kPitchGains[i])) < abs_s(sub(gain, kPitchGains[best]))) {
            best = i;
        }
    }
    return best;
}

/// Products of target and both filtered vectors, each with its exponent.
Terms filteredEnergies(const Subframe& s, int mode) {
    const bool own = mode == k795 || mode == k475;
    const Qol32s start = own ? 0 : 1;
    Qol16s y2[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        y2[i] = static_cast<Qol16s>(s.filteredCode[i] >> 3);
    }
    Terms t{};
    const auto set = [&t](int i, Qol16s m, int e) {
        t.mantissa[i] = m;
        t.exponent[i] = static_cast<Qol16s>(e);
    };
    set(0, s.terms[0], s.terms[1]);
    set(1, negate(s.terms[2]), s.terms[3] + 1);
    Qol32s sum = macSum(start, y2, y2, kSubframe);
    set(2, mantissa(sum), -3 - norm_l(sum));
    sum = macSum(start, s.target, y2, kSubframe);
    set(3, negate(mantissa(sum)), 7 - norm_l(sum));
    sum = macSum(start, s.filteredAdaptive, y2, kSubframe);
    set(4, mantissa(sum), 7 - norm_l(sum));
    if (own) {
        sum = macSum(start, s.target2, y2, kSubframe);
        const Qol16s m = mantissa(sum);
        if (m > 0) {
            t.optimum = div_s(static_cast<Qol16s>(m >> 1), t.mantissa[2]);
            t.optimumExponent = static_cast<Qol16s>(6 - norm_l(sum) - t.exponent[2] - 14);
        }
    }
    return t;
}

/// Exponents of the five terms of the distance; x is the code gain's.
void alignExponents(const Terms& t, int x, int* exponent) {
    exponent[0] = t.exponent[0] - 13;
    exponent[1] = t.exponent[1] - 14;
    exponent[2] = t.exponent[2] + 15 + 2 * x;
    exponent[3] = t.exponent[3] + x;
    exponent[4] = t.exponent[4] + 1 + x;
}

/// The terms at one exponent.
struct AlignedTerms {
    Dpf c[5];
    Qol64s whole[5]; ///< both parts in one
    bool isSmall;    ///< no sum of theirs saturates
};

AlignedTerms alignTerms(const Terms& t, const int* exponent, int most) {
    AlignedTerms a{};
    Qol64s sum = 0;
    for (int i = 0; i < 5; ++i) {
        a.c[i] = L_Extract(L_shr(L_deposit_h(t.mantissa[i]), most - exponent[i]));
        a.whole[i] = Qol64s{a.c[i].hi} * 32768 + a.c[i].lo;
        sum += std::abs(a.whole[i]) + 1;
    }
    a.isSmall = sum < 1 << 30;
    return a;
}

Qol32s distance(const AlignedTerms& a, Qol16s p, Qol16s g) {
    const Qol16s factors[5] = {mult(p, p), p, mult(g, g), g, mult(g, p)};
    Qol32s d = 0;
    if (a.isSmall) {
        for (int i = 0; i < 5; ++i) {
            d += static_cast<Qol32s>((a.whole[i] * factors[i]) >> 15);
        }
        return 2 * d;
    }
    for (int i = 0; i < 5; ++i) {
        d = L_add(d, Mpy_32_16(a.c[i], factors[i]));
    }
    return d;
}

struct Scaled16 {
    Qol16s mantissa;
    int exponent;
};
Scaled16 normalised(Qol32s sum, int base) { return {mantissa(sum), base - norm_l(sum)}; }

/// Energies of the unfiltered signals at 7.95.
struct Unfiltered {
    Scaled16 residual, adaptive, cross;
    Qol16s predictionGain; ///< of the long-term predictor, base 2, Q13
};

Unfiltered unfilteredEnergies(const Subframe& s) {
    Unfiltered u{};
    const Qol32s energy = macSum(0, s.residual, s.residual, kSubframe);
    u.residual = energy < 400 ? Scaled16{0, -15} : normalised(energy, 15);
    u.adaptive = normalised(macSum(0, s.adaptive, s.adaptive, kSubframe), 15);
    u.cross = normalised(macSum(0, s.adaptive, s.code, kSubframe), 2);
    Qol32s rest = 0;
    for (int i = 0; i < kSubframe; ++i) {
        const Qol16s d = sub(s.residual[i], round_fx(L_shl(L_mult(s.adaptive[i], s.pitchGain), 1)));
        rest = L_mac(rest, d, d);
    }
    const Scaled16 r = normalised(rest, 15);
    if (r.mantissa > 0 && u.residual.mantissa != 0) {
        const Qol16s q = div_s(static_cast<Qol16s>(u.residual.mantissa >> 1), r.mantissa);
        Qol16s e, f;
        ownLog2(L_shr(L_deposit_h(q), r.exponent - u.residual.exponent + 3), &e, &f);
        u.predictionGain =
            round_fx(L_shl(L_mac(L_deposit_h(static_cast<Qol16s>(e - 27)), f, 1), 13));
    }
    return u;
}

/// Share of the residual's energy in the criterion, Q15.
Qol16s adaptAlpha(GainAdaptation& a, Qol16s predictionGain, Qol16s gain) {
    int t = predictionGain <= 2721 ? 0 : predictionGain <= 5443 ? 1 : 2;
    if (shr_r(gain, 1) > a.previousGain && gain > 200) {
        a.onset = 8;
    } else if (a.onset != 0) {
        --a.onset;
    }
    if (a.onset != 0 && t < 2) {
        ++t;
    }
    a.predictionGains[0] = predictionGain;
    const Qol16s f = median5(a.predictionGains);
    Qol16s alpha = 0;
    if (t == 0 && f <= 5443) {
        alpha = f < 0 ? Qol16s{16384} : sub(16384, mult(24660, shl(f, 2)));
    }
    if (a.previousAlpha == 0) {
        alpha = shr(alpha, 1);
    }
    a.previousAlpha = alpha;
    a.previousGain = gain;
    for (int i = 4; i > 0; --i) {
        a.predictionGains[i] = a.predictionGains[i - 1];
    }
    return alpha;
}

/// Second search of the code gain at 7.95, which may lower it.
int lowerCode795(const Subframe& s, const Unfiltered& u, const Terms& t, const PredictedGain& g,
                 Qol16s alpha) {
    const Qol16s p = s.pitchGain;
    const int ge = g.exponent;
    const Qol16s wanted = shl(t.optimum, t.optimumExponent - ge + 10);
    const Qol16s most = shl(s.codeGain, 10 - ge);
    const auto part = [alpha](Qol16s m) { return scaled(m, alpha, 1); };
    const Qol16s k2 = mult(part(u.cross.mantissa), p), k3 = part(g.energy),
                 k4 = mult(static_cast<Qol16s>(32768 - alpha), g.energy);
    const int x1 = u.adaptive.exponent - 15, x2 = u.cross.exponent + ge - 10,
              x3 = g.energyExponent + 2 * ge - 7, x4 = x3 + 1;
    int shift = 0;
    Qol32s root = squareRoot(L_mult(alpha, u.residual.mantissa), &shift);
    const int y0 = u.residual.exponent - shift - 47;
    const int m = std::max({y0 + 31, x1, x2, x3, x4});
    const Qol32s l1 = L_shr(L_mult(part(u.adaptive.mantissa), mult(p, p)), m - x1);
    const Dpf c2 = L_Extract(L_shr(L_deposit_h(k2), m - x2)),
              c3 = L_Extract(L_shr(L_deposit_h(k3), m - x3)),
              c4 = L_Extract(L_shr(L_deposit_h(k4), m - x4));
    const int down = m - 31 - y0;
    root = L_shr(root, down >> 1);
    if (down & 1) {
        root = Mpy_32_16(L_Extract(root), 23170);
    }
    const Qol16s G = predictedMantissa(g);
    Qol32s least = MAX_32;
    int best = 0;
    for (int i = 0; i < 32; ++i) {
        const Qol16s gain = mult(kCodeGains[i][0], G);
        if (gain >= most) {
            break;
        }
        Qol32s energy = Mac32_16(l1, c2, gain);
        energy = Mac32(energy, c3, L_Extract(L_mult(gain, gain)));
        const Qol32s r = squareRoot(energy, &shift);
        const Qol16s w = round_fx(L_sub(L_shr(r, shift >> 1), root));
        const Qol16s d = sub(gain, wanted);
        const Qol32s cost = Mac32(L_mult(w, w), c4, L_Extract(L_mult(d, d)));
        if (cost < least) {
            least = cost;
            best = i;
        }
    }
    return best;
}

} // namespace

int quantisePitch122(Subframe& s) {
    const int index = nearestPitch(s.pitchGain, s.limit);
    s.pitchGain = static_cast<Qol16s>(kPitchGains[index] & ~3);
    return index;
}

int quantiseCode122(GainPredictor& p, Subframe& s) {
    const PredictedGain g = predictGain(p, k122, s.code);
    const Qol16s G = shl(extract_l(ownPow2(g.exponent, g.fraction)), 4);
    Qol16s y2[kSubframe];
    for (int i = 0; i < kSubframe; ++i) {
        y2[i] = static_cast<Qol16s>(s.filteredCode[i] >> 1);
    }
    const Qol32s cross = macSum(1, s.target2, y2, kSubframe);
    Qol16s wanted = 0;
    if (mantissa(cross) > 0) {
        const Qol32s energy = macSum(0, y2, y2, kSubframe);
        wanted = shl(shr(div_s(static_cast<Qol16s>(mantissa(cross) >> 1), mantissa(energy)),
                         norm_l(cross) + 5 - norm_l(energy)),
                     1);
    }
    wanted = static_cast<Qol16s>(wanted >> 1);
    int best = 0;
    Qol16s least = MAX_16;
    for (int i = 0; i < 32; ++i) {
        const Qol16s d = abs_s(sub(wanted, mult(G, kCodeGains[i][0])));
        if (d < least || i == 0) {
            least = d;
            best = i;
        }
    }
    s.codeGain = codeGain(k122, g, kCodeGains[best][0]);
    update(p, kCodeGains[best][1], kCodeGains[best][2]);
    return best;
}

int quantiseJoint(GainPredictor& p, int mode, Subframe& s) {
    const PredictedGain g = predictGain(p, mode, s.code);
    const Terms t = filteredEnergies(s, mode);
    int exponent[5];
    alignExponents(t, g.exponent - 11, exponent);
    const AlignedTerms c = alignTerms(t, exponent, *std::max_element(exponent, exponent + 5) + 1);
    const bool low = mode == k515 || mode == k59;
    const Qol16s(*rows)[4] = low ? kGainsLow : kGainsHigh;
    const Qol16s G = predictedMantissa(g);
    Qol32s least = MAX_32;
    int best = 0;
    for (int i = 0; i < (low ? 64 : 128); ++i) {
        if (rows[i][0] <= s.limit) {
            const Qol32s d = distance(c, rows[i][0], mult(rows[i][1], G));
            if (d < least) {
                least = d;
                best = i;
            }
        }
    }
    s.pitchGain = rows[best][0];
    s.codeGain = codeGain(mode, g, rows[best][1]);
    update(p, rows[best][2], rows[best][3]);
    return best;
}

PitchAndCode quantise795(GainPredictor& p, GainAdaptation& a, Subframe& s) {
    const PredictedGain g = predictGain(p, k795, s.code);
    const Terms t = filteredEnergies(s, k795);
    int exponent[5];
    alignExponents(t, g.exponent - 10, exponent);
    const AlignedTerms aligned =
        alignTerms(t, exponent, *std::max_element(exponent, exponent + 5) + 1);
    const Dpf* c = aligned.c;
    const Qol16s G = predictedMantissa(g);
    const int nearest = nearestPitch(s.pitchGain, s.limit);
    const int first = nearest == 0 ? 0
                      : nearest == 15 || kPitchGains[nearest + 1] > s.limit
                          ? std::max(nearest - 2, 0)
                          : nearest - 1;
    PitchAndCode best{first, 0};
    Qol32s least = MAX_32;
    for (int k = first; k < first + 3; ++k) {
        const Qol16s pitch = kPitchGains[k];
        const Qol32s d0 = Mac32_16(Mpy_32_16(c[0], mult(pitch, pitch)), c[1], pitch);
        for (int i = 0; i < 32; ++i) {
            const Qol16s gain = mult(kCodeGains[i][0], G);
            Qol32s d = Mac32(d0, c[2], L_Extract(L_mult(gain, gain)));
            d = Mac32_16(d, c[3], gain);
            d = Mac32(d, c[4], L_Extract(L_mult(gain, pitch)));
            if (d < least) {
                least = d;
                best = {k, i};
            }
        }
    }
    s.pitchGain = kPitchGains[best.pitch];
    s.codeGain = codeGain(k795, g, kCodeGains[best.code][0]);
    const Unfiltered u = unfilteredEnergies(s);
    const Qol16s alpha = adaptAlpha(a, u.predictionGain, s.codeGain);
    if (u.residual.mantissa != 0 && alpha > 0) {
        best.code = lowerCode795(s, u, t, g, alpha);
        s.codeGain = codeGain(k795, g, kCodeGains[best.code][0]);
    }
    update(p, kCodeGains[best.code][1], kCodeGains[best.code][2]);
    return best;
}

FirstOfPair prepare475(const GainPredictor& p, Subframe& s) {
    FirstOfPair f{};
    f.predicted = predictGain(p, k475, s.code);
    f.terms = filteredEnergies(s, k475);
    const Qol32s energy = macSum(0, s.target, s.target, kSubframe);
    f.targetEnergy = mantissa(energy);
    f.targetExponent = static_cast<Qol16s>(16 - norm_l(energy));
    Qol16s gain = f.terms.optimum;
    int exponent = f.terms.optimumExponent;
    s.codeGain = shl(gain, exponent + 1);
    f.unquantised = p;
    // The standard's program has the limits of both logarithms the other way round.
    Qol16s log122 = MIN_16, log = -5443;
    if (gain > 0) {
        const Qol16s G = predictedMantissa(f.predicted);
        if (gain >= G) {
            gain = static_cast<Qol16s>(gain >> 1);
            ++exponent;
        }
        Dpf l;
        ownLog2(div_s(gain, G), &l.hi, &l.lo);
        l.hi = static_cast<Qol16s>(l.hi + exponent - f.predicted.exponent - 1);
        log122 = add(shr_r(l.lo, 5), shl(l.hi, 10));
        log = log122 > 18284 ? Qol16s{3037} : round_fx(L_shl(Mpy_32_16(l, 24660), 13));
    }
    update(f.unquantised, log122, log);
    return f;
}

int quantise475(GainPredictor& p, const FirstOfPair& f, Subframe& first, Subframe& second) {
    PredictedGain g = predictGain(f.unquantised, k475, second.code);
    const Terms t = filteredEnergies(second, k475);
    const Qol32s energy = macSum(0, second.target, second.target, kSubframe);
    Qol16s en0 = f.targetEnergy, en1 = mantissa(energy);
    const int ahead = f.targetExponent - (16 - norm_l(energy));
    if (ahead > 0) {
        en1 = shr(en1, ahead);
    } else {
        en0 = shl(en0, ahead);
    }
    const int weight = shr_r(en1, 1) > en0 ? 1 : shr(add(en0, 3), 2) > en1 ? -1 : 0;
    int exponent[10];
    alignExponents(f.terms, f.predicted.exponent - 11, exponent);
    alignExponents(t, g.exponent - 11, exponent + 5);
    for (int i = 0; i < 5; ++i) {
        exponent[i] += weight;
    }
    const int most = *std::max_element(exponent, exponent + 10) + 1;
    const AlignedTerms c0 = alignTerms(f.terms, exponent, most),
                       c1 = alignTerms(t, exponent + 5, most);
    const Qol16s G0 = predictedMantissa(f.predicted), G1 = predictedMantissa(g);
    Qol32s least = MAX_32;
    int best = 0;
    for (int i = 0; i < 256; ++i) {
        const Qol16s* row = kGains475[i];
        if (row[0] <= second.limit && row[2] <= second.limit) {
            const Qol32s d = L_add(distance(c0, row[0], mult(row[1], G0)),
                                   distance(c1, row[2], mult(row[3], G1)));
            if (d < least) {
                least = d;
                best = i;
            }
        }
    }
    const Qol16s* row = kGains475[best];
    first.pitchGain = row[0];
    first.codeGain = codeGain(k475, f.predicted, row[1]);
    update475(p, row[1]);
    g = predictGain(p, k475, second.code);
    second.pitchGain = row[2];
    second.codeGain = codeGain(k475, g, row[3]);
    update475(p, row[3]);
    return best;
}

} // namespace qolsc::tools::amr
