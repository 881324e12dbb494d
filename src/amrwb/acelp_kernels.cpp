// SPDX-License-Identifier: Apache-2.0
// Kernels of the algebraic codebook search (TS 26.190 5.8.3): the definitions, with the standard's
// saturation at every step.
#include "amrwb/acelp.h"

#include <algorithm>

namespace qolsc::acelp {

using namespace basop;

void correlateTarget(const Qol16s* target, const Qol16s* h, Qol32s* y) {
    for (int i = 0; i < kLength; ++i) {
        y[i] = 1;
        for (int j = i; j < kLength; ++j) {
            y[i] = L_mac(y[i], target[j], h[j - i]);
        }
    }
}

template <int Tracks>
void correlationTables(Work& w) {
    constexpr int places = kLength / Tracks;
    const Qol16s* h = w.response + kLength;
    const auto at = [](int p) { return (p % Tracks) * places + p / Tracks; };

    // The 12-bit search has no headroom in its 16-bit energies and halves them.
    Qol32s sum = Tracks == 2 ? 0x10000 : 0x8000;
    for (int p = kLength - 1; p >= 0; --p) {
        sum = L_mac(sum, h[kLength - 1 - p], h[kLength - 1 - p]);
        w.xx[at(p)] = static_cast<Qol16s>(extract_h(sum) >> (Tracks == 2 ? 1 : 0));
    }
    // Positions of neighbouring tracks lie an odd distance apart; the sums of one distance grow by
    // one product a step.
    for (int d = 1; d < kLength; d += 2) {
        sum = 0x8000;
        for (int p = kLength - 1; p >= d; --p) {
            const int n = kLength - 1 - p, q = p - d;
            sum = L_mac(sum, h[n], h[n + d]);
            const bool forward = Tracks == 2 ? p % 2 == 0 : (p + 1) % Tracks == q % Tracks;
            const int x = forward ? p : q, y = forward ? q : p;
            w.xy[at(x) * places + y / Tracks] =
                signedProduct(extract_h(sum), w.sign[at(x)] != w.sign[at(y)]);
        }
    }
}
template void correlationTables<2>(Work&);
template void correlationTables<4>(Work&);

void selectPlaces(Work& w, Qol16s* posMax) {
    for (int t = 0; t < kTracks; ++t) {
        Qol16s* mark = w.mark + t * kPlaces;
        for (int k = 0; k < 8; ++k) {
            int best = 0;
            Qol16s most = -1;
            for (int i = 0; i < kPlaces; ++i) {
                if (mark[i] > most) {
                    most = mark[i];
                    best = i;
                }
            }
            mark[best] = static_cast<Qol16s>(k - 8);
            if (k == 0) {
                posMax[t] = static_cast<Qol16s>(best * kTracks + t);
            }
        }
    }
}

void stageCorrelation(const Work& w, int track, Qol16s* cor) {
    const Qol16s* h = w.response + kLength;
    for (int i = 0; i < kPlaces; ++i) {
        const int p = i * kTracks + track, at = track * kPlaces + i;
        Qol32s sum = 0;
        for (int n = p; n < kLength; ++n) {
            sum = L_mac(sum, h[n - p], w.vec[n]);
        }
        cor[i] = add(signedProduct(round_fx(L_shl(sum, 1)), w.sign[at] != 0), w.xx[at]);
    }
}

void searchPair(const Work& w, const Stage& stage, const Qol16s* corX, const Qol16s* corY,
                Best& best) {
    const Qol16s* dnX = w.dn + stage.trackX * kPlaces;
    const Qol16s* dnY = w.dn + stage.trackY * kPlaces;
    const Qol32s start = L_add(L_deposit_h(stage.alp), 0x8000);
    for (int x = 0; x < kPlaces; ++x) {
        if (w.mark[stage.trackX * kPlaces + x] >= stage.count - 8) {
            continue;
        }
        const Qol16s* xy = w.xy + (stage.trackX * kPlaces + x) * kPlaces;
        const Qol16s one = add(stage.ps, dnX[x]);
        const Qol32s energyX = L_mac(start, corX[x], 4096);
        for (int y = 0; y < kPlaces; ++y) {
            const Qol16s both = add(one, dnY[y]);
            const Qol16s square = mult(both, both);
            const Qol16s energy = extract_h(L_mac(L_mac(energyX, corY[y], 4096), xy[y], 8192));
            if (L_msu(L_mult(best.energy, square), best.square, energy) > 0) {
                best = {square, energy, x, y};
            }
        }
    }
}

void searchTwoTracks(const Work& w, Best& best) {
    constexpr int places = kLength / 2;
    for (int x = 0; x < places; ++x) {
        for (int y = 0; y < places; ++y) {
            const Qol16s both = add(w.dn[x], w.dn[places + y]);
            const Qol16s square = mult(both, both);
            const Qol16s energy = add(w.xx[x], add(w.xx[places + y], w.xy[x * places + y]));
            if (L_msu(L_mult(best.energy, square), best.square, energy) > 0) {
                best = {square, energy, x, y};
            }
        }
    }
}

} // namespace qolsc::acelp
