// SPDX-License-Identifier: Apache-2.0
// Algebraic codebooks of AMR: lanes against the plain search, packing against decoding, what a
// search writes.
#include "gsm/amr_fcb.h"
#include "kit/data.h"
#include "qolsc/amr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace qolsc::test {
namespace {

using namespace amr;
using Words = std::array<Qol16s, kSubframe>;

constexpr Qol32s kRates[] = {0, 1, 3, 6, 7, 8, 11, 12, 25};

Words words(Random& r, int amplitude) {
    Words w;
    for (Qol16s& x : w) {
        x = static_cast<Qol16s>(uniform(r, -amplitude, amplitude));
    }
    return w;
}

// A decaying response as weighted synthesis filters have it; decay and resonance at random.
Words response(Random& r) {
    Words h{};
    const double a = uniformReal(r, 0.3, 0.99), b = uniformReal(r, 0, 3.1);
    for (int i = 0; i < kSubframe; ++i) {
        h[static_cast<std::size_t>(i)] =
            static_cast<Qol16s>(4096 * std::pow(a, i) * std::cos(b * i));
    }
    return h;
}

/// One search from the same problem in both forms; true when the lanes gave a result.
bool bothAgree(const Words& target, const Words& residual, const Words& h, Qol32s rate,
               int subFrame) {
    static FixedSearchWork work;
    const Codebook book = codebookOf(rate);
    PulseProblem problem;
    preparePulses(target.data(), residual.data(), h.data(), book, problem);
    PulseSet plain, lanes;
    searchPlain(problem, book, subFrame, work, plain);
    if (!searchLanes(problem, book, subFrame, work, lanes)) {
        return false;
    }
    for (int n = 0; n < pulseCount(book); ++n) {
        EXPECT_EQ(lanes.pos[n], plain.pos[n]) << "rate " << rate << ", pulse " << n;
    }
    return true;
}

class EveryRate : public testing::TestWithParam<Qol32s> {};
INSTANTIATE_TEST_SUITE_P(AmrFixedCodebook, EveryRate, testing::ValuesIn(kRates));

TEST_P(EveryRate, LanesEqualThePlainSearch) {
    Random r{static_cast<std::uint64_t>(GetParam()) + 1};
    int served = 0;
    for (int n = 0; n < 400; ++n) {
        const int level = 1 << uniform(r, 2, 15);
        served +=
            bothAgree(words(r, level - 1), words(r, level - 1), response(r), GetParam(), n & 3);
    }
    EXPECT_EQ(served, 400) << "ordinary responses must not fall back";
}

TEST_P(EveryRate, LanesEqualThePlainSearchAtTheEdges) {
    Random r{static_cast<std::uint64_t>(GetParam()) + 77};
    const Words zero{};
    Words flat, impulse{}, growing;
    flat.fill(1500);
    impulse[0] = 4096;
    for (std::size_t i = 0; i < growing.size(); ++i) {
        growing[i] = static_cast<Qol16s>(i * 100);
    }
    Words few{}; // long runs of equal scores
    for (std::size_t i = 0; i < few.size(); i += 7) {
        few[i] = 256;
    }
    Words loud;
    for (Qol16s& x : loud) {
        x = static_cast<Qol16s>(uniform(r, 0, 1) ? 32767 : -32768);
    }
    for (int subFrame = 0; subFrame < 4; ++subFrame) {
        for (const Words& h : {flat, impulse, growing, zero, loud, response(r), few}) {
            for (const Words& x : {zero, flat, few, loud, growing}) {
                bothAgree(x, x, h, GetParam(), subFrame);
                bothAgree(x, zero, h, GetParam(), subFrame);
            }
        }
    }
    EXPECT_TRUE(bothAgree(few, few, impulse, GetParam(), 0));
    EXPECT_FALSE(bothAgree(loud, loud, loud, GetParam(), 0)) << "a matrix that saturates";
}

// Random pulses on the tracks of the rate, packed and decoded again.
TEST_P(EveryRate, PackingAndDecodingAreInverse) {
    Random r{static_cast<std::uint64_t>(GetParam()) + 5};
    const Codebook book = codebookOf(GetParam());
    const Words h = response(r);
    for (int n = 0; n < 3000; ++n) {
        const Qol16s subFrame = static_cast<Qol16s>(n & 3);
        std::array<int, 10> track{};
        const auto one = [&](std::initializer_list<int> choice) {
            return *(choice.begin() + uniform(r, 0, static_cast<std::int64_t>(choice.size()) - 1));
        };
        switch (book) {
        case Codebook::pulses2of9: {
            constexpr int kPairs[2][4][2] = {{{0, 2}, {0, 3}, {0, 2}, {0, 3}},
                                             {{1, 3}, {2, 4}, {1, 4}, {1, 4}}};
            const auto& pair = kPairs[uniform(r, 0, 1)][subFrame];
            track = {pair[0], pair[1]};
            break;
        }
        case Codebook::pulses2of11:
            track = {one({1, 3}), one({0, 1, 2, 4})};
            break;
        case Codebook::pulses3:
            track = {0, one({1, 3}), one({2, 4})};
            break;
        case Codebook::pulses4:
            track = {0, 1, 2, one({3, 4})};
            break;
        default:
            for (int k = 0; k < pulseCount(book); ++k) {
                track[static_cast<std::size_t>(k)] = k % trackCount(book);
            }
        }
        Words sign;
        for (Qol16s& s : sign) {
            s = static_cast<Qol16s>(uniform(r, 0, 1) ? 32767 : -32767);
        }
        PulseSet set{};
        for (int k = 0; k < pulseCount(book); ++k) {
            const int places = kSubframe / trackCount(book);
            set.pos[k] = static_cast<Qol16s>(track[static_cast<std::size_t>(k)] +
                                             trackCount(book) * uniform(r, 0, places - 1));
        }
        Words code, filtered, decoded;
        std::array<Qol16s, 10> index{};
        packPulses(set, sign.data(), h.data(), book, subFrame, code.data(), filtered.data(),
                   index.data());
        ASSERT_EQ(
            qolsFixedCodebookDecode_GSMAMR_16s(index.data(), decoded.data(), subFrame, GetParam()),
            qolStsNoErr);
        ASSERT_EQ(decoded, code) << "case " << n;
        // The filtered vector is the response to the pulses, computed from the code itself.
        const double unit = book == Codebook::pulses10 ? 4096.0 * 4 : 8192.0;
        for (int i = 0; i < kSubframe; ++i) {
            double sum = 0;
            for (int k = 0; k <= i; ++k) {
                sum += code[static_cast<std::size_t>(k)] * double{1} *
                       h[static_cast<std::size_t>(i - k)];
            }
            if (book != Codebook::pulses2of11) { // where pulses may coincide without adding up
                ASSERT_NEAR(filtered[static_cast<std::size_t>(i)], sum / unit, 5) << i;
            }
        }
    }
}

// The filtered vector against the standard's saturating sum, for responses of every level.
TEST_P(EveryRate, FilteredVectorSaturatesTermByTerm) {
    Random r{static_cast<std::uint64_t>(GetParam()) + 9};
    const Codebook book = codebookOf(GetParam());
    const int height = book == Codebook::pulses10 ? 8192 : 32768;
    for (int n = 0; n < 500; ++n) {
        const Words h = n % 5 == 0 ? Words{} : words(r, (1 << uniform(r, 8, 15)) - 1);
        const Words sign = words(r, 32767);
        PulseSet set{};
        for (int k = 0; k < pulseCount(book); ++k) {
            // Tracks that every rate's packing knows.
            const int track = trackCount(book) == 4 ? k % 4 : k % 5;
            set.pos[k] = static_cast<Qol16s>(
                track + trackCount(book) * uniform(r, 0, kSubframe / trackCount(book) - 1));
        }
        Words code, filtered;
        std::array<Qol16s, 10> index{};
        packPulses(set, sign.data(), h.data(), book, 0, code.data(), filtered.data(), index.data());
        for (int i = 0; i < kSubframe; ++i) {
            std::int64_t sum = 0;
            for (int k = 0; k < pulseCount(book); ++k) {
                const bool positive = sign[static_cast<std::size_t>(set.pos[k])] > 0;
                const int factor = !positive ? -height : height == 32768 ? 32767 : height;
                const int d = i - set.pos[k];
                const int x = d < 0 ? 0 : h[static_cast<std::size_t>(d)];
                sum = std::clamp<std::int64_t>(sum + 2 * x * std::int64_t{factor}, INT32_MIN,
                                               INT32_MAX);
            }
            const std::int64_t rounded =
                std::clamp<std::int64_t>(sum + 0x8000, INT32_MIN, INT32_MAX) >> 16;
            ASSERT_EQ(filtered[static_cast<std::size_t>(i)], rounded) << "sample " << i;
        }
    }
}

TEST_P(EveryRate, SearchResultDecodesToItsVector) {
    const auto speech = readWords("gsm/sequences/speech_a.inp");
    Random r;
    for (std::size_t at = 1600; at + 80 < speech.size(); at += 80) {
        Words target, residual, h = response(r), code, filtered, decoded;
        std::copy_n(speech.data() + at, kSubframe, target.begin());
        std::copy_n(speech.data() + at + kSubframe, kSubframe, residual.begin());
        std::array<Qol16s, 10> index{};
        const auto subFrame = static_cast<Qol16s>(at / 80 % 4);
        ASSERT_EQ(qolsAlgebraicCodebookSearch_GSMAMR_16s(40, 9000, target.data(), residual.data(),
                                                         h.data(), code.data(), filtered.data(),
                                                         index.data(), subFrame, GetParam()),
                  qolStsNoErr);
        qolsFixedCodebookDecode_GSMAMR_16s(index.data(), decoded.data(), subFrame, GetParam());
        ASSERT_EQ(decoded, code) << "sample " << at;
    }
}

TEST_P(EveryRate, WritesOnlyItsOutputs) {
    Random r;
    const Words target = words(r, 2000), residual = words(r, 500), h = response(r);
    const int indices = GetParam() <= 8 ? 2 : GetParam() == 11 ? 7 : 10;
    auto impulse = guarded(std::vector<Qol16s>(h.begin(), h.end()), 1);
    auto code = guarded<Qol16s>(kSubframe, 3), filtered = guarded<Qol16s>(kSubframe, 5);
    auto index = guarded<Qol16s>(static_cast<std::size_t>(indices), 1);
    auto buffer = guarded<Qol8u>(16384, 7);
    ASSERT_EQ(qolsAlgebraicCodebookSearchEX_GSMAMR_16s(25, 12000, target.data(), residual.data(),
                                                       impulse.data, code.data, filtered.data,
                                                       index.data, 2, GetParam(), buffer.data),
              qolStsNoErr);
    EXPECT_TRUE(intact(impulse) && intact(code) && intact(filtered) && intact(index) &&
                intact(buffer));
    // Below the lag the response is as it was, from there on sharpened.
    EXPECT_TRUE(std::equal(h.begin(), h.begin() + 25, impulse.data));
    EXPECT_FALSE(std::equal(h.begin() + 25, h.end(), impulse.data + 25));
    Words plain = h, code2, filtered2;
    std::array<Qol16s, 10> index2{};
    qolsAlgebraicCodebookSearch_GSMAMR_16s(25, 12000, target.data(), residual.data(), plain.data(),
                                           code2.data(), filtered2.data(), index2.data(), 2,
                                           GetParam());
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), impulse.data));
    EXPECT_TRUE(std::equal(code2.begin(), code2.end(), code.data));
    EXPECT_TRUE(std::equal(filtered2.begin(), filtered2.end(), filtered.data));
    EXPECT_TRUE(std::equal(index2.begin(), index2.begin() + indices, index.data));
}

TEST_P(EveryRate, AnyIndexWordsStayInsideTheVector) {
    Random r;
    for (int n = 0; n < 2000; ++n) {
        const auto index = extremes16(r, 10), noise = noise16(r, 10);
        auto code = guarded<Qol16s>(kSubframe);
        for (const auto* words : {&index, &noise}) {
            qolsFixedCodebookDecode_GSMAMR_16s(words->data(), code.data, static_cast<Qol16s>(n & 3),
                                               GetParam());
            ASSERT_TRUE(intact(code));
        }
    }
}

} // namespace
} // namespace qolsc::test
