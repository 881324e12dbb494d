// SPDX-License-Identifier: Apache-2.0
// Bit stream and excitation of G.723.1 (ITU-T G.723.1 4, 2.6, 2.7, 2.15, 2.16).
#include "codecs/g7231/frame.h"

#include "codecs/g7231/tables.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace qolsc::tools::g7231 {

using namespace basop;

// ---- bit stream: every field from its lowest bit on, octets filled from the lowest bit ----

namespace {

constexpr int kOctets[] = {24, 20, 4, 1};
constexpr int kLowBits[] = {16, 14, 16, 14}, kSignBits[] = {6, 5, 6, 5};
constexpr int kMostLagCode = 123;

struct Writer {
    Frame& frame;
};
void put(Writer& w, std::int64_t value, int count) {
    for (int i = 0; i < count; ++i) {
        const auto octet = static_cast<std::size_t>(w.frame.bits / 8);
        if (octet == w.frame.payload.size()) {
            w.frame.payload.push_back(0);
        }
        w.frame.payload[octet] |=
            static_cast<std::uint8_t>(((value >> i) & 1) << (w.frame.bits % 8));
        ++w.frame.bits;
    }
}

struct Reader {
    const Frame& frame;
    int position;
};
int take(Reader& r, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i, ++r.position) {
        const auto octet = static_cast<std::size_t>(r.position / 8);
        if (octet < r.frame.payload.size()) {
            value |= ((r.frame.payload[octet] >> (r.position % 8)) & 1) << i;
        }
    }
    return value;
}

/// The two 6.3 kbit/s subframes of either parity share a code for the upper parts of their
/// positions.
int upperCode(const Fields& f) {
    const auto& s = f.sub;
    return ((s[0].position >> 16) * 9 + (s[1].position >> 14)) * 90 + (s[2].position >> 16) * 9 +
           (s[3].position >> 14);
}

void takePositions(Reader& r, Fields& f) {
    take(r, 1);
    int upper = take(r, 13);
    const int parts[] = {upper / 90 / 9, upper / 90 % 9, upper % 90 / 9, upper % 90 % 9};
    for (std::size_t i = 0; i < 4; ++i) {
        f.sub[i].position = (parts[i] << kLowBits[i]) + take(r, kLowBits[i]);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        f.sub[i].signs = take(r, kSignBits[i]);
    }
}

void takeExcitation(Reader& r, Fields& f) {
    for (std::size_t half = 0; half < 4; half += 2) {
        const int code = take(r, 7);
        f.erased = f.erased || code > kMostLagCode;
        f.sub[half].lag = f.sub[half + 1].lag = code + 18;
        f.sub[half].offset = 1;
        f.sub[half + 1].offset = take(r, 2);
    }
    for (Subframe& s : f.sub) {
        int code = take(r, 12);
        const bool shortLag = f.kind == Kind::high && s.lag < kShortLag;
        s.train = shortLag ? code >> 11 : 0;
        code = shortLag ? code & 0x7FF : code;
        s.gain = code / 24;
        s.level = code % 24;
        f.erased = f.erased || s.gain >= (shortLag ? 85 : 170);
    }
    for (Subframe& s : f.sub) {
        s.grid = take(r, 1);
    }
    if (f.kind == Kind::high) {
        takePositions(r, f);
        return;
    }
    for (Subframe& s : f.sub) {
        s.position = take(r, 12);
    }
    for (Subframe& s : f.sub) {
        s.signs = take(r, 4);
    }
}

} // namespace

int octetsOf(Kind kind) { return kOctets[static_cast<int>(kind)]; }

void packFrame(const Fields& f, Frame& frame) {
    Writer w{frame};
    put(w, static_cast<int>(f.kind), 2);
    if (f.kind == Kind::untransmitted) {
        frame.bits = 8;
        return;
    }
    put(w, f.lsp[0] * 65536 + f.lsp[1] * 256 + f.lsp[2], 24);
    if (f.kind == Kind::silence) {
        return put(w, f.noiseGain, 6);
    }
    for (std::size_t half = 0; half < 4; half += 2) {
        put(w, f.sub[half].lag - 18, 7);
        put(w, f.sub[half + 1].offset, 2);
    }
    for (const Subframe& s : f.sub) {
        put(w, 24 * s.gain + s.level + 2048 * s.train, 12);
    }
    for (const Subframe& s : f.sub) {
        put(w, s.grid, 1);
    }
    if (f.kind == Kind::high) {
        put(w, 0, 1);
        put(w, upperCode(f), 13);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        put(w, f.sub[i].position, f.kind == Kind::high ? kLowBits[i] : 12);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        put(w, f.sub[i].signs, f.kind == Kind::high ? kSignBits[i] : 4);
    }
}

Fields unpackFrame(const Frame& frame) {
    Fields f{};
    Reader r{frame, 0};
    f.kind = static_cast<Kind>(take(r, 2));
    if (f.kind == Kind::untransmitted) {
        return f;
    }
    const int lsp = take(r, 24);
    f.lsp = {lsp >> 16, lsp >> 8 & 255, lsp & 255};
    if (f.kind == Kind::silence) {
        f.noiseGain = take(r, 6);
    } else {
        takeExcitation(r, f);
    }
    return f;
}

int normaliseThree(const Qol16s* src, int n, Qol16s* dst) {
    Qol16s most = 0;
    for (int i = 0; i < n; ++i) {
        most = std::max(most, abs_s(src[i]));
    }
    const int shift = norm_s(most) - 3;
    for (int i = 0; i < n; ++i) {
        dst[i] = shl(src[i], shift);
    }
    return shift;
}

// ---- LSP ----

namespace {

constexpr Qol16s kPrediction = 12288, kErasedPrediction = 23552;
constexpr int kGap = 0x100, kErasedGap = 0x200, kPasses = 10;

const Qol16s* bandRow(int band, int index) {
    return band == 0   ? tables::kLspBand0[index]
           : band == 1 ? tables::kLspBand1[index]
                       : tables::kLspBand2[index];
}

/// Brings neighbours apart; false when ten passes weren't enough.
bool separate(Vector10& l, int gap) {
    for (int pass = 0; pass < kPasses; ++pass) {
        l[0] = std::max<Qol16s>(l[0], 0x180);
        l[9] = std::min<Qol16s>(l[9], 0x7E00);
        for (std::size_t j = 1; j < kOrder; ++j) {
            const Qol16s t = sub(add(static_cast<Qol16s>(gap), l[j - 1]), l[j]);
            if (t > 0) {
                l[j - 1] = sub(l[j - 1], static_cast<Qol16s>(t >> 1));
                l[j] = add(l[j], static_cast<Qol16s>(t >> 1));
            }
        }
        bool good = true;
        for (std::size_t j = 1; j < kOrder; ++j) {
            good = good && sub(add(l[j - 1], static_cast<Qol16s>(gap - 4)), l[j]) <= 0;
        }
        if (good) {
            return true;
        }
    }
    return false;
}

/// Polynomial of the even or odd LSPs' cosines, in the standard's shrinking scale.
void lspPolynomial(const Vector10& c, std::size_t odd, Qol32s (&p)[6]) {
    p[0] = 0x10000000;
    p[1] = L_mult(0x2000, c[odd]);
    p[1] = L_mac(p[1], 0x2000, c[odd + 2]);
    p[2] = L_add(L_mult0(c[odd], c[odd + 2]), 0x20000000);
    for (int i = 2; i <= 4; ++i) {
        const Qol16s x = c[static_cast<std::size_t>(2 * i) + odd];
        p[i + 1] = L_add(L_mls(p[i], x), p[i - 1]);
        for (int j = i; j >= 2; --j) {
            p[j] = L_add(L_add(L_mls(p[j - 1], x), p[j] >> 1), p[j - 2] >> 1);
        }
        p[0] >>= 1;
        p[1] = L_add(L_deposit_h(x) >> i, p[1]) >> 1;
    }
}

Vector10 lspToPredictor(const Vector10& lsp) {
    Vector10 c;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const int at = lsp[i] >> 7, next = (at + 1) & 511;
        const auto rest = static_cast<Qol16s>((lsp[i] & 127) * 256 + 128);
        const Qol16s slope = sub(tables::kCosine[next], tables::kCosine[at]);
        c[i] = negate(round_fx(L_shl(L_mac(L_deposit_h(tables::kCosine[at]), slope, rest), 1)));
    }
    Qol32s p[6], q[6];
    lspPolynomial(c, 0, p);
    lspPolynomial(c, 1, q);
    Vector10 a;
    for (std::size_t i = 0; i < 5; ++i) {
        const Qol32s even = L_add(p[i], p[i + 1]), odd = L_sub(q[i + 1], q[i]);
        a[i] = negate(round_fx(L_shl(L_add(even, odd), 3)));
        a[9 - i] = negate(round_fx(L_shl(L_sub(even, odd), 3)));
    }
    return a;
}

} // namespace

Vector10 decodeLsp(const std::array<int, 3>& indices, const Vector10& previous, bool erased) {
    Vector10 l;
    const Qol16s weight = erased ? kErasedPrediction : kPrediction;
    for (std::size_t i = 0; i < kOrder; ++i) {
        const std::size_t band = std::min<std::size_t>(i / 3, 2);
        const Qol16s v = bandRow(static_cast<int>(band), erased ? 0 : indices[band])[i - 3 * band];
        const Qol16s mean = tables::kLspMean[i];
        l[i] = add(add(v, mult_r(sub(previous[i], mean), weight)), mean);
    }
    return separate(l, erased ? kErasedGap : kGap) ? l : previous;
}

std::array<Vector10, kSubframes> interpolateLsp(const Vector10& current, const Vector10& previous) {
    std::array<Vector10, kSubframes> a;
    for (int k = 0; k < kSubframes; ++k) {
        const auto t = static_cast<Qol16s>(-8192 * (k + 1));
        Vector10 l;
        for (std::size_t i = 0; i < kOrder; ++i) {
            l[i] = round_fx(L_msu(L_mac(L_deposit_h(previous[i]), t, previous[i]), t, current[i]));
        }
        a[static_cast<std::size_t>(k)] = lspToPredictor(l);
    }
    return a;
}

// ---- excitation ----

Sharpening sharpeningOf(const Subframe& s) {
    return {s.lag - 1 + s.offset + tables::kPitchSharpLag[s.gain], tables::kPitchSharpGain[s.gain]};
}

void sharpen(const Sharpening& s, Qol16s* vector) {
    if (s.lag >= kShortLag) {
        return;
    }
    for (int n = s.lag; n < kSubframe; ++n) {
        vector[n] = add(vector[n], mult(vector[n - s.lag], s.gain));
    }
}

void acelpVector(const Subframe& s, Qol16s* vector) {
    std::fill_n(vector, kSubframe, Qol16s{0});
    for (int t = 0; t < 4; ++t) {
        const int at = 8 * (s.position >> (3 * t) & 7) + 2 * t + s.grid;
        if (at < kSubframe) {
            const Qol16s level = tables::GainDBLvls[s.level];
            vector[at] = s.signs >> t & 1 ? level : static_cast<Qol16s>(-level);
        }
    }
    sharpen(sharpeningOf(s), vector);
}

void multipulseVector(const Subframe& s, int subframe, Qol16s* vector) {
    std::fill_n(vector, kSubframe, Qol16s{0});
    if (s.position >= tables::kPositionCodeCounts[subframe]) {
        return;
    }
    int row = 6 - tables::PulsesPerSbfr[subframe];
    Qol32s code = s.position;
    const Qol16s level = tables::GainDBLvls[s.level];
    for (int j = 0; j < 30 && row < 6; ++j) {
        code -= tables::CombTbl[row][j];
        if (code < 0) {
            code += tables::CombTbl[row][j];
            ++row;
            vector[s.grid + 2 * j] = s.signs >> (6 - row) & 1 ? static_cast<Qol16s>(-level) : level;
        }
    }
    if (s.train != 0) {
        Qol16s pulses[kSubframe];
        std::copy_n(vector, kSubframe, pulses);
        for (int m = s.lag; m < kSubframe; m += s.lag) {
            for (int n = m; n < kSubframe; ++n) {
                vector[n] = add(vector[n], pulses[n - m]);
            }
        }
    }
}

void addExcitation(const Qol16s* fixed, const Qol16s* adaptive, Qol16s* excitation) {
    for (int n = 0; n < kSubframe; ++n) {
        excitation[n] = add(shl(fixed[n], 1), adaptive[n]);
    }
}

} // namespace qolsc::tools::g7231
