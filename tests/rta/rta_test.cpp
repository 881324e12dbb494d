// SPDX-License-Identifier: Apache-2.0
// RTA family: filters against their definitions, filter bank there and back, both codebook searches
// against plain and exhaustive ones.
#include "kit/data.h"
#include "qolsc.h"
#include "rta/fcb_tracks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

using namespace qolsc::test;

namespace {

using Floats = std::vector<Qol32f>;

/// Real speech, 8 kHz, in pieces of n samples.
Floats speech(int n, int piece) {
    static const std::vector<Qol16s> words = readWords("waveform/sequences/g726/nrm.a");
    static const Floats all = [] {
        Floats v;
        for (const Qol16s w : words) {
            const int code = w ^ 0x55, segment = code >> 4 & 7, low = (code & 15) << 4;
            const int m = segment == 0 ? low + 8 : (low + 0x108) << (segment - 1);
            v.push_back(static_cast<Qol32f>(code & 0x80 ? m : -m));
        }
        return v;
    }();
    const auto at =
        static_cast<std::size_t>(n * piece) % (all.size() - static_cast<std::size_t>(n));
    return {all.begin() + static_cast<std::ptrdiff_t>(at),
            all.begin() + static_cast<std::ptrdiff_t>(at) + n};
}

/// A decaying resonance: what a weighted synthesis filter answers to an impulse.
Floats impulse(Random& r, int n) {
    const double radius = uniformReal(r, 0.5, 0.92), angle = uniformReal(r, 0.1, 2.5);
    Floats h;
    for (int i = 0; i < n; ++i) {
        h.push_back(static_cast<Qol32f>(std::pow(radius, i) * std::cos(angle * i)));
    }
    return h;
}

struct Found {
    Floats exc;
    std::vector<Qol32s> index = std::vector<Qol32s>(5);
    Qol32f gain = -1;
};

Found search(const Floats& target, const Floats& imp, int pulses, int mode, std::size_t skew = 0) {
    const int n = static_cast<int>(target.size());
    Found f{Floats(target.size())};
    auto buffer = guarded<Qol8u>(33760, skew);
    EXPECT_EQ(qolsFixedCodebookSearchBuffer_RTA_32f(target.data(), imp.data(), f.exc.data(), n,
                                                    f.index.data(), &f.gain, pulses, mode,
                                                    buffer.data),
              0);
    EXPECT_TRUE(intact(buffer));
    return f;
}

/// (x . y)^2 / (y . y) of the filtered excitation, in double.
double criterion(const Floats& target, const Floats& imp, const Floats& exc) {
    double num = 0, den = 0;
    for (std::size_t i = 0; i < exc.size(); ++i) {
        double y = 0;
        for (std::size_t k = 0; k <= i; ++k) {
            y += static_cast<double>(exc[k]) * imp[i - k];
        }
        num += y * target[i];
        den += y * y;
    }
    return den > 0 ? num * num / den : 0;
}

/// The excitation that the indices stand for.
Floats decode(const std::vector<Qol32s>& index, int len, int pulses) {
    const int n = len / 5;
    Floats exc(static_cast<std::size_t>(len));
    const auto add = [&](int t, int rank, int bit) {
        exc[static_cast<std::size_t>(t + 5 * rank)] += bit ? 1.0f : -1.0f;
    };
    for (int t = 0; t < 5; ++t) {
        const int v = index[static_cast<std::size_t>(t)];
        if (t >= pulses - 5) {
            add(t, v % n, v / n);
            continue;
        }
        const int second = v % n, first = v / n % n, bit = v / n / n;
        add(t, first, bit);
        add(t, second, first >= second ? bit : 1 - bit);
    }
    return exc;
}

/// The greatest criterion over all pulse sets.
double exhaustive(const Floats& target, const Floats& imp, int pulses) {
    const int len = static_cast<int>(target.size()), n = len / 5;
    std::vector<Qol32s> index(5);
    double best = 0;
    const std::function<void(int)> walk = [&](int t) {
        if (t == 5) {
            best = std::max(best, criterion(target, imp, decode(index, len, pulses)));
            return;
        }
        const int count = t < pulses - 5 ? 2 * n * n : 2 * n;
        for (int v = 0; v < count; ++v) {
            index[static_cast<std::size_t>(t)] = v;
            walk(t + 1);
        }
    };
    walk(0);
    return best;
}

TEST(RtaAlgebraic, NearTheExhaustiveSearchAndModesInOrder) {
    Random r;
    double ratio = 0;
    int count = 0;
    for (const auto& [len, pulses, runs] :
         {std::tuple{15, 5, 60}, std::tuple{10, 6, 60}, std::tuple{10, 7, 20}}) {
        for (int run = 0; run < runs; ++run) {
            const Floats target = speech(len, 37 * run + 11), imp = impulse(r, len);
            const double best = exhaustive(target, imp, pulses);
            double above = best * 1.0001;
            for (int mode = 0; mode < 4; ++mode) {
                const double c = criterion(target, imp, search(target, imp, pulses, mode).exc);
                EXPECT_LE(c, above * 1.0001) << "mode " << mode;
                above = c;
                if (mode == 0 && best > 0) {
                    ratio += c / best;
                    ++count;
                }
            }
        }
    }
    RecordProperty("mode0_over_best", std::to_string(ratio / count));
    EXPECT_GE(ratio / count, 0.98);
}

TEST(RtaAlgebraic, IndicesDecodeToTheExcitationAndGainIsTheBest) {
    Random r;
    for (int run = 0; run < 300; ++run) {
        const int len = static_cast<int>(uniform(r, 5, 80)),
                  pulses = static_cast<int>(uniform(r, 5, 10));
        const Floats target = run % 2 ? speech(len, run) : noisef(r, len, 1000),
                     imp = impulse(r, len);
        const Found f = search(target, imp, pulses, run % 4, static_cast<std::size_t>(run % 32));
        EXPECT_EQ(decode(f.index, len, pulses), f.exc);
        EXPECT_GE(f.gain, 0.0f);
        double num = 0, den = 0;
        for (std::size_t i = 0; i < f.exc.size(); ++i) {
            double y = 0;
            for (std::size_t k = 0; k <= i; ++k) {
                y += static_cast<double>(f.exc[k]) * imp[i - k];
            }
            num += y * target[i];
            den += y * y;
        }
        EXPECT_NEAR(f.gain, num / den, 1e-3 * std::fabs(num / den) + 1e-3);
    }
}

bool isSame(const qolsc::rta::TrackPulses& a, const qolsc::rta::TrackPulses& b) {
    return a.count == b.count && std::equal(a.rank, a.rank + 2, b.rank) &&
           std::equal(a.sign, a.sign + 2, b.sign);
}

TEST(RtaAlgebraic, TrackSearchesEqualPlainOnes) {
    using namespace qolsc::rta;
    Random r;
    const auto f = std::make_unique<Field>();
    for (int run = 0; run < 500; ++run) {
        const auto fill = [&r](Qol32f* p, int count, double amplitude) {
            const Floats v = noisef(r, count, amplitude);
            std::copy(v.begin(), v.end(), p);
        };
        f->n = static_cast<int>(uniform(r, 1, kRanks));
        fill(f->d, kRow, 100);
        fill(f->diag, kRow, 4);
        fill(f->cross, kRow, run % 3 ? 2.0 : 8.0);
        fill(f->matrix, kMostLength * kRow, 4);
        if (run % 5 == 0) { // many ties
            std::fill_n(f->d, kRow, 1.0f);
            std::fill_n(f->diag, kRow, 1.0f);
            std::fill_n(f->cross, kRow, 0.0f);
            std::fill_n(f->matrix, kMostLength * kRow, 0.0f);
        }
        for (Qol32f& e : f->diag) {
            e = std::fabs(e);
        }
        const Sums placed{f->d[0], run % 4 ? 10.0f : 0.0f};
        for (int t = 0; t < kTracks; ++t) {
            EXPECT_TRUE(isSame(ownSearchTrackOnePulseSigns(*f, t, placed),
                               searchTrackOnePlain(*f, t, placed)));
            EXPECT_TRUE(isSame(ownSearchTrackTwoPulsesSigns(*f, t, placed),
                               searchTrackTwoPlain(*f, t, placed)));
        }
    }
}

TEST(RtaAlgebraic, WholeSearchesEqualPlainOnes) {
    using namespace qolsc::rta;
    Random r;
    const auto fast = std::make_unique<Field>(), plain = std::make_unique<Field>();
    for (int run = 0; run < 320; ++run) {
        const int len = run % 2 ? 80 : static_cast<int>(uniform(r, 1, 80)),
                  count = static_cast<int>(uniform(r, 5, 10));
        const Floats target = run % 3 ? speech(len, 7 * run) : noisef(r, len, 1000),
                     imp = impulse(r, len);
        // What the buffer held before makes no difference.
        std::memset(static_cast<void*>(fast.get()), run % 4 ? 0xFF : 0x11, sizeof *fast);
        std::memset(static_cast<void*>(plain.get()), 0, sizeof *plain);
        fast->len = plain->len = len;
        fast->n = plain->n = len / kTracks;
        Pulses a, b;
        const Sums x = searchPulses(kFast, *fast, target.data(), imp.data(), count, run % 4, a);
        const Sums y = searchPulses(kPlain, *plain, target.data(), imp.data(), count, run % 4, b);
        EXPECT_EQ(x.num, y.num) << len;
        EXPECT_EQ(x.den, y.den) << len;
        for (int t = 0; t < kTracks; ++t) {
            EXPECT_TRUE(isSame(a[t], b[t])) << len << ", track " << t;
        }
        for (int i = 0; i < len; ++i) {
            for (int j = 0; j < len; ++j) {
                ASSERT_EQ(fast->matrix[kRow * i + placeOf(j)], plain->matrix[kRow * i + placeOf(j)])
                    << len << ", " << i << ", " << j;
            }
        }
    }
}

TEST(RtaRandom, FindsTheBestEntry) {
    Random r;
    for (const int len : {1, 7, 16, 40, 80, 300}) {
        for (int set = 0; set < 3; ++set) {
            const Floats target = speech(len, 3 * set + 1), imp = impulse(r, len);
            // Every entry by a search of its own: numEntries e + 1 begins with entry e; the best of
            // all must come out.
            Floats exc(target.size());
            Qol32s index = -1;
            Qol32f gain = 0;
            ASSERT_EQ(qolsFixedCodebookSearchRandom_RTA_32f(target.data(), imp.data(), exc.data(),
                                                            len, &index, &gain, 256, set, 0),
                      0);
            const double found = criterion(target, imp, exc);
            for (int e = 0; e < 256; e += 17) {
                Floats other(target.size());
                Qol32s i = -1;
                Qol32f g = 0;
                ASSERT_EQ(qolsFixedCodebookSearchRandom_RTA_32f(
                              target.data(), imp.data(), other.data(), len, &i, &g, e + 1, set, 0),
                          0);
                EXPECT_LE(criterion(target, imp, other), found * 1.001 + 1e-6);
                EXPECT_LE(i, e);
            }
        }
    }
}

TEST(RtaQmf, ThereAndBack) {
    for (const int taps : {24, 48}) {
        auto enc = guarded<Qol8u>(208), dec = guarded<Qol8u>(208);
        auto* e = reinterpret_cast<QolsQMFState_RTA*>(enc.data);
        auto* d = reinterpret_cast<QolsQMFState_RTA*>(dec.data);
        ASSERT_EQ(qolsQMFInit_RTA_32f(e, taps), 0);
        ASSERT_EQ(qolsQMFInit_RTA_32f(d, taps), 0);
        const Floats in = speech(16000, 0);
        Floats out(in.size()), low(320), high(320);
        for (std::size_t at = 0, n = 2; at + n <= in.size();
             at += n, n = n % 638 + 2) { // all even lengths
            ASSERT_EQ(qolsQMFEncode_RTA_32f(in.data() + at, static_cast<Qol32s>(n), low.data(),
                                            high.data(), e),
                      0);
            ASSERT_EQ(qolsQMFDecode_RTA_32f(low.data(), high.data(), static_cast<Qol32s>(n / 2),
                                            out.data() + at, d),
                      0);
        }
        EXPECT_TRUE(intact(enc) && intact(dec));
        double signal = 0, error = 0; // the chain delays by taps samples
        for (std::size_t i = 200; i < 15000; ++i) {
            const double x = in[i - static_cast<std::size_t>(taps)];
            signal += x * x;
            error += (x - out[i]) * (x - out[i]);
        }
        const double snr = 10 * std::log10(signal / error);
        RecordProperty("snr_" + std::to_string(taps), std::to_string(snr));
        EXPECT_GE(snr, taps == 48 ? 70 : 60); // what the prototypes allow
        EXPECT_EQ(qolsQMFEncode_RTA_32f(in.data(), 641, low.data(), high.data(), e),
                  qolStsRangeErr);
    }
}

TEST(RtaHighPass, RemovesDcAndGoesOnAcrossCalls) {
    for (const int rate : {8000, 16000, 22050, 32000}) {
        for (const int order : {4, 5}) {
            Floats in(8000, 1000.0f), whole(in.size()), cut(in.size());
            for (std::size_t i = 0; i < in.size(); ++i) {
                in[i] += 500 * std::sin(0.7f * static_cast<Qol32f>(i));
            }
            Floats mem(6), memCut(6);
            ASSERT_EQ(
                qolsHighPassFilter_RTA_32f(in.data(), whole.data(), 8000, order, rate, mem.data()),
                0);
            for (std::size_t at = 0, n = 2; at < in.size();
                 at += n, n = std::min(in.size() - at, n % 50 + 2)) {
                ASSERT_EQ(qolsHighPassFilter_RTA_32f(in.data() + at, cut.data() + at,
                                                     static_cast<Qol32s>(n), order, rate,
                                                     memCut.data()),
                          0);
            }
            double mean = 0, difference = 0;
            for (std::size_t i = 4000; i < 8000; ++i) {
                mean += whole[i] / 4000;
                difference =
                    std::max(difference, std::fabs(static_cast<double>(whole[i]) - cut[i]));
            }
            EXPECT_LT(std::fabs(mean), 60) << rate << " order " << order;
            // The memory between calls is single precision, the poles next to the unit circle.
            EXPECT_LT(difference, 30) << rate << " order " << order;
        }
    }
    Qol32f x[3] = {1, 2, 3}, y[3] = {7, 7, 7}, mem[6] = {};
    EXPECT_EQ(qolsHighPassFilter_RTA_32f(x, y, 3, 4, 8000, mem), qolStsNoOperation);
    EXPECT_TRUE(y[0] == 7 && y[2] == 7 && mem[0] == 0);
}

TEST(RtaBandPass, SilenceLetsTheGainDecay) {
    Floats x(80), mem{0, 0, 1};
    ASSERT_EQ(qolsBandPassFilter_RTA_32f_I(x.data(), 80, mem.data()), 0);
    EXPECT_NEAR(mem[2], std::pow(0.99, 80), 1e-5);
}

TEST(RtaPostFilter, AnyLengthEqualsItsDefinitionInPieces) {
    Qol32s size = 0;
    ASSERT_EQ(qolsPostFilterGetStateSize_RTA_32f(&size), 0);
    EXPECT_EQ(size, 800);
    auto block = guarded<Qol8u>(static_cast<std::size_t>(size));
    auto* state = reinterpret_cast<QolsPostFilterState_RTA*>(block.data);
    ASSERT_EQ(qolsPostFilterInit_RTA_32f(state), 0);
    // The taps depend on the coefficients alone: filtering a long frame equals a direct sum with
    // the taps it leaves.
    Random r;
    const Floats lpc{-1.2f, 0.7f, -0.2f, 0.1f};
    for (const int len : {1, 16, 80, 321, 1000}) {
        const Floats in = noisef(r, len, 3000);
        Floats out = in, mem(35);
        mem[33] = 1;
        ASSERT_EQ(qolsPostFilter_RTA_32f_I(lpc.data(), 4, out.data(), len, 2, mem.data(), state),
                  0);
        EXPECT_TRUE(intact(block));
        double before = 0, after = 0;
        std::vector<double> y(in.size());
        for (std::size_t i = 0; i < in.size(); ++i) {
            for (std::size_t j = 0; j < 17 && j <= i; ++j) {
                y[i] += static_cast<double>(mem[16 + j]) * in[i - j];
            }
            before += std::fabs(in[i]);
            after += std::fabs(y[i]);
        }
        double agc = 1;
        for (std::size_t i = 0; i < in.size(); ++i) {
            agc = 0.99 * agc + 0.01 * before / after;
            EXPECT_NEAR(out[i], y[i] * agc, 0.05) << len << " sample " << i;
        }
    }
}

} // namespace
