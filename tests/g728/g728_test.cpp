// SPDX-License-Identifier: Apache-2.0
// G.728: the sequences of Annex G through the codec, kernels against their definitions, the trellis
// against itself.
#include "codecs/g728/g728.h"
#include "g728/filters.h"
#include "g728/levinson.h"
#include "g728/search.h"
#include "g728/trellis.h"
#include "g728/window.h"
#include "kit/data.h"
#include "qolsc.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace qolsc::test;
namespace g728 = qolsc::g728;
namespace codec = qolsc::tools::g728;

namespace {

const std::string kDir = "g728/sequences/";

struct Sequence {
    const char* input;
    const char* output;
    bool postFilter;
};

TEST(G728Sequences, encoder) {
    for (const Sequence& s :
         {Sequence{"in1.bin", "incw1g.bin", false}, Sequence{"in3.bin", "incw3g.bin", false},
          Sequence{"in5.bin", "incw5g.bin", false}}) {
        const auto in = readWords(kDir + s.input), out = readWords(kDir + s.output);
        ASSERT_EQ(in.size(), 5 * out.size());
        void* encoder = codec::openEncoder(codec::kRate16);
        for (std::size_t i = 0; i < out.size(); ++i) {
            ASSERT_EQ(codec::encodeVector(encoder, in.data() + 5 * i), out[i])
                << s.input << " vector " << i;
        }
        codec::closeEncoder(encoder);
    }
}

TEST(G728Sequences, decoder) {
    for (const Sequence& s :
         {Sequence{"cw1.bin", "outa1g.bin", false}, Sequence{"cw3.bin", "outa3g.bin", false},
          Sequence{"cw5.bin", "outa5g.bin", false}, Sequence{"cw5.bin", "cw5post.bin", true}}) {
        const auto in = readWords(kDir + s.input), out = readWords(kDir + s.output);
        ASSERT_EQ(5 * in.size(), out.size());
        void* decoder = codec::openDecoder(codec::kRate16, s.postFilter);
        for (std::size_t i = 0; i < in.size(); ++i) {
            Qol16s pcm[5];
            codec::decodeVector(decoder, in[i], pcm);
            for (std::size_t n = 0; n < 5; ++n) {
                ASSERT_EQ(pcm[n], out[5 * i + n]) << s.input << " vector " << i << " sample " << n;
            }
        }
        codec::closeDecoder(decoder);
    }
}

TEST(G728Search, groupsOfFourEqualTheDefinition) {
    Random r;
    for (int round = 0; round < 3000; ++round) {
        const int amplitude = 1 << uniform(r, 0, 15);
        auto corr = round % 5 == 0 ? extremes16(r, 5) : noise16(r, 5, std::min(amplitude, 32767));
        auto energy = round % 7 == 0 ? extremes16(r, 128) : noise16(r, 128);
        if (round % 3 != 0) {
            for (Qol16s& e : energy) {
                e = static_cast<Qol16s>(e & 0x7FFF);
            }
        }
        const auto same = [&](const g728::SearchRate& rate, const g728::SearchResult& fast) {
            const auto plain = g728::ownCodebookSearchPlain_G728(rate, corr.data(), energy.data());
            EXPECT_EQ(fast.position, plain.position) << round;
            EXPECT_EQ(fast.gain, plain.gain) << round;
        };
        same(g728::kRate160, g728::ownCodebookSearch_G728_16s_R160(corr.data(), energy.data()));
        same(g728::kRate128, g728::ownCodebookSearch_G728_16s_R128(corr.data(), energy.data()));
        same(g728::kRate96, g728::ownCodebookSearch_G728_16s_R96(corr.data(), energy.data()));
    }
}

TEST(G728Search, energiesEqualTheDefinition) {
    Random r;
    for (int round = 0; round < 300; ++round) {
        const auto h = round % 4 == 0 ? extremes16(r, 8) : noise16(r, 8);
        Qol16s fast[128], plain[128];
        ASSERT_EQ(qolsImpulseResponseEnergy_G728_16s(h.data(), fast), 0);
        g728::ownImpulseResponseEnergyPlain_G728(h.data(), plain);
        EXPECT_TRUE(std::equal(fast, fast + 128, plain)) << round;
    }
}

TEST(G728Numbers, quotientComparesStrictly) {
    Random r;
    for (int round = 0; round < 20000; ++round) {
        const auto den = static_cast<Qol16s>(uniform(r, 16384, 32767));
        auto num = static_cast<Qol16s>(round % 4 == 0 ? den - uniform(r, -1, 1)
                                                      : uniform(r, 16384, 32767));
        num = round % 50 == 0 ? Qol16s{0} : round % 50 == 1 ? Qol16s{-32768} : num;
        const auto sign = static_cast<Qol16s>(round % 3 == 0 ? -1 : 1);
        int a = num < 0 ? -num : num, exponent = 3 - 5 + 14, q = 0;
        if (a < den) {
            ++exponent;
            a *= 2;
        }
        for (int bit = 0; bit < 15; ++bit) {
            const bool one = a > den;
            q = 2 * q + one;
            a = 2 * (one ? a - den : a);
        }
        q += a > den;
        q = num < 0 ? -q : q;
        const auto quotient = qolsc::blockfloat::divide(num, 3, static_cast<Qol16s>(sign * den), 5);
        EXPECT_EQ(quotient.mantissa, qolsc::saturate16(sign * q)) << num << '/' << den;
        EXPECT_EQ(quotient.exponent, exponent);
    }
}

TEST(G728Filters, poleZeroInLanesEqualsTheDefinition) {
    Random r;
    for (int round = 0; round < 3000; ++round) {
        auto c = round % 3 == 0 ? extremes16(r, 20) : noise16(r, 20, 1 << uniform(r, 8, 14));
        const bool fits = std::count(c.begin(), c.end(), Qol16s{-32768}) == 0;
        if (round % 2 == 0) {
            std::replace(c.begin(), c.end(), Qol16s{-32768}, Qol16s{-32767});
        }
        const auto x = round % 5 == 0 ? extremes16(r, 5) : noise16(r, 5);
        const auto m = round % 7 == 0 ? extremes16(r, 20) : noise16(r, 20);
        g728::PoleZeroMemory a{}, b{};
        std::copy_n(m.begin(), 10, a.in);
        std::copy_n(m.begin() + 10, 10, a.out);
        b = a;
        Qol16s lanes[5] = {}, plain[5] = {};
        ASSERT_EQ(g728::ownIIRLanes_G728(c.data(), x.data(), lanes, a), fits || round % 2 == 0);
        if (fits || round % 2 == 0) {
            g728::ownIIRPlain_G728(c.data(), x.data(), plain, 5, b);
        }
        EXPECT_TRUE(std::equal(lanes, lanes + 5, plain)) << round;
        EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << round;
    }
}

TEST(G728Filters, zeroInputInLanesEqualsTheDefinition) {
    Random r;
    for (int round = 0; round < 2000; ++round) {
        const auto a = round % 4 == 0 ? extremes16(r, 50) : noise16(r, 50);
        const auto m = noise16(r, 50, round % 3 == 0 ? 13106 : 1 << uniform(r, 0, 13));
        g728::SynthesisMemory memory{};
        std::copy(m.begin(), m.end(), memory.mantissa);
        for (Qol16s& e : memory.exponent) {
            e = static_cast<Qol16s>(uniform(r, -2, round % 2 == 0 ? 16 : 40));
        }
        Qol64s plain[5], lanes[5];
        g728::ownZeroInputPlain_G728(a.data(), memory, plain);
        const bool fits = std::all_of(m.begin(), m.end(), [](Qol16s x) { return x >= -13106; });
        ASSERT_EQ(g728::ownZeroInputLanes_G728(a.data(), memory, lanes), fits);
        EXPECT_TRUE(!fits || std::equal(lanes, lanes + 5, plain)) << round;
    }
}

struct WindowForm {
    int order, fresh, rest, block;
    Qol16s attenuation;
};

TEST(G728Window, lagsInLanesEqualTheDefinition) {
    Random r;
    int left = 0;
    for (const WindowForm& f : {WindowForm{50, 20, 35, 5, 12288}, WindowForm{50, 20, 35, 0, 8192},
                                WindowForm{10, 20, 30, 0, 8192}, WindowForm{10, 4, 20, 0, 12288},
                                WindowForm{1, 1, 1, 0, 12288}, WindowForm{13, 7, 9, 0, 12288},
                                WindowForm{51, 30, 31, 3, 8192}}) {
        const int length = f.order + f.fresh + f.rest;
        const auto window = noise16(r, length);
        std::vector<Qol16s> history(static_cast<std::size_t>(length));
        std::vector<Qol16s> a(static_cast<std::size_t>(f.order + 2)), b;
        a.back() = 31;
        a.resize(a.size() + static_cast<std::size_t>(length)); // as in the record: the history
        b = a;
        QolsWinHybridState_G728 fast{}, plain{};
        fast.order = static_cast<Qol16s>(f.order);
        fast.frameLen = static_cast<Qol16s>(f.fresh);
        fast.nonRecLen = static_cast<Qol16s>(f.rest);
        fast.attShift = f.attenuation == 8192 ? 15 : 14;
        plain = fast;
        fast.pBuffer = a.data();
        plain.pBuffer = b.data();
        for (int call = 0; call < 60; ++call) {
            history = call % 9 == 8   ? std::vector<Qol16s>(history.size())
                      : call % 4 == 0 ? extremes16(r, length)
                                      : noise16(r, length, 1 + 32766 / (1 << uniform(r, 0, 14)));
            // Blocks come with 14-bit mantissas; the lanes leave others to the definition.
            const bool wide = call % 8 == 4;
            for (Qol16s& x : history) {
                x = static_cast<Qol16s>(f.block > 0 && !wide ? x >> 2 : x);
            }
            std::vector<Qol16s> exponents(
                static_cast<std::size_t>(f.block > 0 ? length / f.block : 0));
            for (Qol16s& e : exponents) {
                e = static_cast<Qol16s>(uniform(r, -3, 16));
            }
            g728::HybridSpan span{history.data(), window.data(), length, 0, nullptr, 0, 0};
            if (f.block > 0) {
                span = {history.data(),   window.data(),
                        length,           *std::min_element(exponents.begin(), exponents.end()),
                        exponents.data(), f.block,
                        length / f.block};
            } else {
                span.shift = qolsc::blockfloat::normVector(history.data(), length, 15);
            }
            std::vector<Qol16s> x(static_cast<std::size_t>(f.order + 1)), y(x);
            if (!g728::ownHybridFast_G728(fast, span, x.data())) {
                ASSERT_TRUE(length < 8 || (f.block > 0 && wide));
                ++left;
                g728::ownHybridPlain_G728(fast, span, x.data());
            }
            g728::ownHybridPlain_G728(plain, span, y.data());
            EXPECT_EQ(x, y) << f.order << " call " << call;
            EXPECT_EQ(a, b) << f.order << " call " << call;
        }
    }
    EXPECT_GT(left, 0);
}

TEST(G728Trellis, codesGiveBackTheValues) {
    Random r;
    for (int round = 0; round < 200; ++round) {
        const auto target = round % 5 == 0 ? extremes16(r, 5) : noise16(r, 5);
        const auto taps = noise16(r, 5, 16384);
        auto memories = noise16(r, 20, 8000);
        const auto before = memories;
        Qol32s metrics[4] = {0, 1000000, 1000000, 1000000};
        Qol8u codes[5];
        Qol16s values[5];
        const Qol64s gain = uniform(r, 1, 32767), shift = uniform(r, -3, 15);
        ASSERT_EQ(qolsCodebookSearchTCQ_G728_16s8u(target.data(), taps.data(), memories.data(),
                                                   codes, values, metrics, gain, shift),
                  0);
        EXPECT_EQ(*std::min_element(metrics, metrics + 4) >= 0, true);
        // From some state the codes' branches and levels must lead to the values reported.
        bool matches = false;
        for (int start = 0; start < 4; ++start) {
            int state = start;
            std::vector<Qol16s> memory(before.begin() + 5 * start, before.begin() + 5 * start + 5);
            bool same = true;
            for (int i = 0; i < 5; ++i) {
                Qol64s sum = 0;
                for (std::size_t k = 0; k < 5; ++k) {
                    sum += Qol32s{taps[k]} * memory[k];
                }
                const int branch = codes[i] >> 4;
                const int level = 4 * (codes[i] & 15) + g728::trellisSubset(state, branch);
                const Qol16s value =
                    qolsc::saturate16(Qol32s{qolsc::blockfloat::roundHigh(4 * sum)} +
                                      g728::scaledLevel(level, gain, shift));
                same = same && value == values[i];
                memory.insert(memory.begin(), value);
                memory.pop_back();
                state = g728::trellisNext(state, branch);
            }
            matches = matches || same;
        }
        EXPECT_TRUE(matches) << round;
    }
}

/// Normalised correlation of a tone mix in noise; the stronger the tones, the larger coefficients.
std::vector<Qol16s> correlationOf(Random& r, int order, double noise) {
    std::vector<double> c(static_cast<std::size_t>(order + 1));
    c[0] = noise;
    for (int tone = 0; tone < 3; ++tone) {
        const double power = uniformReal(r, 0, 1), w = uniformReal(r, 0, 3.14159),
                     decay = uniformReal(r, 0.9, 1);
        for (std::size_t k = 0; k < c.size(); ++k) {
            const auto lag = static_cast<double>(k);
            c[k] += power * std::pow(decay, lag) * std::cos(w * lag);
        }
    }
    std::vector<Qol16s> words(c.size());
    const double scale = uniformReal(r, 16384, 32767) / c[0];
    for (std::size_t k = 0; k < c.size(); ++k) {
        words[k] = static_cast<Qol16s>(std::lrint(c[k] * scale));
    }
    return words;
}

TEST(G728Levinson, lanesEqualTheDefinition) {
    Random r;
    int solved = 0, halved = 0, failed = 0;
    for (int round = 0; round < 4000; ++round) {
        const int end = static_cast<int>(uniform(r, 1, 50));
        const int start = static_cast<int>(uniform(r, 1, end));
        auto c = round % 8 == 0   ? extremes16(r, end + 1)
                 : round % 8 == 1 ? noise16(r, end + 1)
                                  : correlationOf(r, end, std::pow(10.0, -uniformReal(r, 0, 4)));
        std::replace(c.begin(), c.end(), Qol16s{-32768}, Qol16s{-32767});
        // From order 1 as the interface begins, or from any coefficients at all.
        auto a = round % 3 == 0 ? noise16(r, 50) : extremes16(r, 50);
        int begin = start;
        Qol16s energy = static_cast<Qol16s>(uniform(r, -1, 32767));
        Qol16s scale = static_cast<Qol16s>(uniform(r, 12, 15));
        if (round % 4 != 0) {
            Qol16s rc;
            begin = 1;
            if (qolsLevinsonDurbin_G728_16s_Sfs(c.data(), 1, a.data(), &rc, &energy, &scale) != 0) {
                continue;
            }
        }
        auto b = a;
        Qol16s otherEnergy = energy, otherScale = scale;
        const QolStatus plain =
            g728::ownLevinsonPlain_G728(c.data(), begin, end, a.data(), &energy, &scale);
        ASSERT_EQ(
            g728::ownLevinsonLanes_G728(c.data(), begin, end, b.data(), &otherEnergy, &otherScale),
            plain)
            << round;
        EXPECT_EQ(a, b) << round;
        EXPECT_EQ(energy, otherEnergy) << round;
        EXPECT_EQ(scale, otherScale) << round;
        solved += plain == 0 && end > 10;
        halved += plain == 0 && scale < 15 && begin == 1;
        failed += plain != 0;
    }
    EXPECT_GT(solved, 500);
    EXPECT_GT(halved, 100);
    EXPECT_GT(failed, 500);
}

TEST(G728Levinson, boundsAndFailures) {
    const Qol16s r[3] = {16384, 8000, 100};
    Qol16s a[2] = {1, 2}, rc = 3, energy = 4, scale = 5;
    EXPECT_EQ(qolsLevinsonDurbin_G728_16s_Sfs(r, 0, a, &rc, &energy, &scale), qolStsSizeErr);
    EXPECT_EQ(a[0], 1);
    EXPECT_EQ(qolsLevinsonDurbin_G728_16s_Sfs(r, 1, a, &rc, &energy, &scale), qolStsNoErr);
    EXPECT_EQ(scale, 15);
    EXPECT_EQ(a[1], 2);
    scale = 16;
    EXPECT_EQ(qolsLevinsonDurbin_G728_16s_ISfs(r, 1, 2, a, &energy, &scale), qolStsScaleRangeErr);
    scale = 12;
    EXPECT_EQ(qolsLevinsonDurbin_G728_16s_ISfs(r, 1, 2, a, &energy, &scale),
              qolStsLevinsonOrderErr);
    EXPECT_EQ(scale, 12);
}

} // namespace
