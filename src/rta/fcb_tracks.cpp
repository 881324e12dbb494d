// SPDX-License-Identifier: Apache-2.0
// One track's pulses beside those already placed: every position, or pair of positions, with every
// combination of signs is scored straight from the correlation matrix.
#include "rta/fcb_tracks.h"

#include "vector/simd.h"

namespace qolsc::rta {

using namespace simd;

namespace {

constexpr Qol32f kNone = -2.0f, kNoEnergy = -1.0f;
constexpr Qol32f kSigns[2] = {1.0f, -1.0f};

/// Candidates are numbered in the order of the search: ranks, then signs.
constexpr int numberOf(int k0, int k1, int s0, int s1) {
    return (k0 * kRanks + k1) * 4 + s0 * 2 + s1;
}

TrackPulses pulsesOf(int number, int count) {
    const int k0 = number >> 6, k1 = number >> 2 & 15, s0 = number >> 1 & 1, s1 = number & 1;
    if (count == 1) {
        return {1, {k1, -1}, {kSigns[s1], 0}};
    }
    return {2, {k0, k1}, {kSigns[s0], kSigns[s1]}};
}

TrackPulses nothing(int count) { return {count, {-1, -1}, {0, 0}}; }

Qol32f criterion(Qol32f num, Qol32f den) { return den > 0 ? num * num / den : kNoEnergy; }

/// What each rank's pulse of either sign brings: its share of the correlation, its energy with its
/// share in what is placed.
struct Shares {
    alignas(32) Qol32f num[2][kRanks], den[2][kRanks];
};
Shares sharesOf(const Field& f, int t) {
    Shares s;
    for (int k = 0; k < kRanks; k += 8) {
        const f256 d = loadf(f.d + placeOf(t, k)), diag = loadf(f.diag + placeOf(t, k));
        const f256 cross = loadf(f.cross + k);
        storef(s.num[0] + k, d);
        storef(s.num[1] + k, _mm256_xor_ps(splatf(-0.0f), d));
        storef(s.den[0] + k, addf(diag, cross));
        storef(s.den[1] + k, subf(diag, cross));
    }
    return s;
}

/// Best candidate so far of each lane.
struct Best {
    f256 value, number;
};

/// num^2 / den, or kNoEnergy where the energy isn't above 0, of the lanes that are allowed.
void offer(Best& best, f256 num, f256 den, f256 allowed, f256 number) {
    const f256 positive = _mm256_and_ps(_mm256_cmp_ps(den, zerof(), _CMP_GT_OQ), allowed);
    const f256 other = selectf(allowed, splatf(kNone), splatf(kNoEnergy));
    const f256 value = selectf(positive, other, _mm256_div_ps(mulf(num, num), den));
    const f256 better = _mm256_cmp_ps(value, best.value, _CMP_GT_OQ);
    best.value = selectf(better, best.value, value);
    best.number = selectf(better, best.number, number);
}

/// The greatest lane, or the least, in all lanes.
f256 greatest(f256 v) {
    v = maxf(v, _mm256_permute2f128_ps(v, v, 1));
    v = maxf(v, _mm256_permute_ps(v, 0x4E));
    return maxf(v, _mm256_permute_ps(v, 0xB1));
}
f256 least(f256 v) {
    v = minf(v, _mm256_permute2f128_ps(v, v, 1));
    v = minf(v, _mm256_permute_ps(v, 0x4E));
    return minf(v, _mm256_permute_ps(v, 0xB1));
}

/// Number of the best candidate over all lanes, the lowest on a tie; -1 when none was allowed.
int winner(const Best& best) {
    const f256 most = greatest(best.value), beyond = splatf(1e9f);
    const f256 first = selectf(_mm256_cmp_ps(best.value, most, _CMP_EQ_OQ), beyond, best.number);
    const int number = static_cast<int>(_mm256_cvtss_f32(least(first)));
    return _mm256_cvtss_f32(most) == kNone ? -1 : number;
}

f256 splat(int v) { return splatf(static_cast<Qol32f>(v)); }
/// Ranks k to k + 7.
f256 ranks(int k) { return addf(splat(k), _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7)); }
f256 below(f256 rank, int n) { return _mm256_cmp_ps(rank, splat(n), _CMP_LT_OQ); }

} // namespace

TrackPulses searchTrackOnePlain(const Field& f, int t, Sums placed) {
    int best = -1;
    Qol32f most = kNone;
    for (int k = 0; k < f.n; ++k) {
        for (int s = 0; s < 2; ++s) {
            const Qol32f num = placed.num + kSigns[s] * f.d[placeOf(t, k)];
            const Qol32f den = placed.den + (f.diag[placeOf(t, k)] + kSigns[s] * f.cross[k]);
            if (criterion(num, den) > most) {
                most = criterion(num, den);
                best = numberOf(0, k, 0, s);
            }
        }
    }
    return best < 0 ? nothing(1) : pulsesOf(best, 1);
}

TrackPulses ownSearchTrackOnePulseSigns(const Field& f, int t, Sums placed) {
    const Shares shares = sharesOf(f, t);
    Best best{splatf(kNone), zerof()};
    for (int k = 0; k < f.n; k += 8) {
        const f256 rank = ranks(k), allowed = below(rank, f.n);
        const f256 number = mulf(rank, splatf(4));
        for (int s = 0; s < 2; ++s) {
            offer(best, addf(splatf(placed.num), loadf(shares.num[s] + k)),
                  addf(splatf(placed.den), loadf(shares.den[s] + k)), allowed,
                  addf(number, splat(s)));
        }
    }
    const int number = winner(best);
    return number < 0 ? nothing(1) : pulsesOf(number, 1);
}

TrackPulses searchTrackTwoPlain(const Field& f, int t, Sums placed) {
    int best = -1;
    Qol32f most = kNone;
    const Qol32f *d = f.d + placeOf(t, 0), *diag = f.diag + placeOf(t, 0);
    for (int k0 = 0; k0 < f.n; ++k0) {
        for (int k1 = k0; k1 < f.n; ++k1) {
            const Qol32f pair = f.matrix[kRow * (t + kTracks * k0) + placeOf(t, k1)];
            for (int signs = 0; signs < 4; ++signs) {
                const Qol32f s0 = kSigns[signs >> 1], s1 = kSigns[signs & 1];
                if (k0 == k1 && s0 != s1) {
                    continue; // they cancel
                }
                const Qol32f num = placed.num + s0 * d[k0] + s1 * d[k1];
                const Qol32f den = placed.den + (diag[k0] + s0 * f.cross[k0]) +
                                   (diag[k1] + s1 * f.cross[k1]) + s0 * s1 * pair;
                if (criterion(num, den) > most) {
                    most = criterion(num, den);
                    best = numberOf(k0, k1, signs >> 1, signs & 1);
                }
            }
        }
    }
    return best < 0 ? nothing(2) : pulsesOf(best, 2);
}

namespace {

/// A group of pairs: one rank k0, eight ranks k1 from k on, all signs.
struct Group {
    f256 num[2][2], den[2][2];
    f256 alike, unlike; // lanes allowed with like signs, with unlike ones
};

/// Lanes of the group that may be better than `most`: rounding is monotonic, so that
/// num^2 / den > most implies num^2 >= most den as rounded.
f256 mayBeBetter(const Group& g, f256 most) {
    const auto passes = [&g, most](int s0, int s1) {
        return _mm256_cmp_ps(mulf(g.num[s0][s1], g.num[s0][s1]), mulf(most, g.den[s0][s1]),
                             _CMP_GE_OQ);
    };
    const f256 like = _mm256_and_ps(_mm256_or_ps(passes(0, 0), passes(1, 1)), g.alike);
    const f256 other = _mm256_and_ps(_mm256_or_ps(passes(0, 1), passes(1, 0)), g.unlike);
    return _mm256_or_ps(like, other);
}

void offerGroup(Best& best, const Group& g, f256 number) {
    for (int s0 = 0; s0 < 2; ++s0) {
        for (int s1 = 0; s1 < 2; ++s1) {
            offer(best, g.num[s0][s1], g.den[s0][s1], s0 == s1 ? g.alike : g.unlike,
                  addf(number, splat(2 * s0 + s1)));
        }
    }
}

/// Lanes from n on, n from 0 to 8.
f256 lanesFrom(int n) {
    static constexpr Qol32s kMasks[16] = {0, 0, 0, 0, 0, 0, 0, 0, -1, -1, -1, -1, -1, -1, -1, -1};
    return loadf(reinterpret_cast<const Qol32f*>(kMasks + 8 - n));
}

/// Shares of eight second ranks.
struct Seconds {
    f256 num, den[2], exist;
};
Seconds secondsFrom(const Shares& shares, int k, int n) {
    return {loadf(shares.num[0] + k),
            {loadf(shares.den[0] + k), loadf(shares.den[1] + k)},
            below(ranks(k), n)};
}

/// Shares of one first rank, with what is placed.
struct First {
    f256 num[2], den[2];
};

Group groupOf(const First& a, const Seconds& b, f256 pair, f256 alike, f256 unlike) {
    return {{{addf(a.num[0], b.num), subf(a.num[0], b.num)},
             {addf(a.num[1], b.num), subf(a.num[1], b.num)}},
            {{addf(addf(a.den[0], b.den[0]), pair), subf(addf(a.den[0], b.den[1]), pair)},
             {subf(addf(a.den[1], b.den[0]), pair), addf(addf(a.den[1], b.den[1]), pair)}},
            _mm256_and_ps(alike, b.exist),
            _mm256_and_ps(unlike, b.exist)};
}

bool any(f256 lanes) { return _mm256_movemask_ps(lanes) != 0; }

} // namespace

// Only what may beat the best of all so far is divided out. The first pair counts without energy
// too, when there is no other.
TrackPulses ownSearchTrackTwoPulsesSigns(const Field& f, int t, Sums placed) {
    const Shares shares = sharesOf(f, t);
    Shares firsts;
    for (int s = 0; s < 2; ++s) {
        for (int k = 0; k < kRanks; k += 8) {
            storef(firsts.num[s] + k, addf(splatf(placed.num), loadf(shares.num[s] + k)));
            storef(firsts.den[s] + k, addf(splatf(placed.den), loadf(shares.den[s] + k)));
        }
    }
    const auto first = [&firsts](int k) {
        return First{{splatf(firsts.num[0][k]), splatf(firsts.num[1][k])},
                     {splatf(firsts.den[0][k]), splatf(firsts.den[1][k])}};
    };
    const Seconds low = secondsFrom(shares, 0, f.n), high = secondsFrom(shares, 8, f.n);
    const f256 all = lanesFrom(0), number = mulf(ranks(0), splatf(4));
    f256 most = splatf(kNone);
    Best best{most, zerof()};
    const auto offered = [&](const Group& g, int k0, int k) {
        offerGroup(best, g, addf(number, splat(numberOf(k0, k, 0, 0))));
        most = greatest(best.value);
    };
    const Qol32f* pairs = f.matrix + kRow * t + placeOf(t, 0);
    int k0 = 0;
    for (; k0 < 8 && k0 < f.n; ++k0, pairs += kRow * kTracks) {
        const First a = first(k0);
        const Group near = groupOf(a, low, loadf(pairs), lanesFrom(k0), lanesFrom(k0 + 1)),
                    far = groupOf(a, high, loadf(pairs + 8), all, all);
        const f256 nearer = mayBeBetter(near, most), farther = mayBeBetter(far, most);
        if (k0 == 0 || any(_mm256_or_ps(nearer, farther))) {
            if (k0 == 0 || any(nearer)) {
                offered(near, k0, 0);
            }
            if (any(farther)) {
                offered(far, k0, 8);
            }
        }
    }
    for (; k0 < f.n; ++k0, pairs += kRow * kTracks) {
        const Group near =
            groupOf(first(k0), high, loadf(pairs + 8), lanesFrom(k0 - 8), lanesFrom(k0 - 7));
        if (any(mayBeBetter(near, most))) {
            offered(near, k0, 8);
        }
    }
    const int found = winner(best);
    return found < 0 ? nothing(2) : pulsesOf(found, 2);
}

} // namespace qolsc::rta
