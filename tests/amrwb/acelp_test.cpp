// SPDX-License-Identifier: Apache-2.0
// Algebraic codebook of AMR-WB: vector kernels against their definitions, packing against the
// decoder, whole searches.
#include "amrwb/acelp.h"
#include "kit/data.h"
#include "qolsc/amrwb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace {

using namespace qolsc;
using namespace qolsc::acelp;
using test::Random;
using test::uniform;

const int kRateCodes[] = {5, 9, 13, 15, 16, 18, 19, 20, 21, 22, 25, 26, 27, 28, 29, 30, 31, 32};

int wordsOf(int bits) { return bits == 12 ? 1 : bits < 64 ? 4 : 8; }

/// A decaying response like that of a weighted synthesis filter, of the given first sample.
std::vector<Qol16s> response(Random& r, int first, double decay) {
    std::vector<Qol16s> h(64);
    double size = first;
    for (Qol16s& x : h) {
        x = static_cast<Qol16s>(size * test::uniformReal(r, -1, 1));
        size *= decay;
    }
    h[0] = static_cast<Qol16s>(first);
    return h;
}

/// Work tables with a response and random signs, ranks and correlations.
std::unique_ptr<Work> makeWork(Random& r, const std::vector<Qol16s>& h, int vecAmplitude) {
    auto w = std::make_unique<Work>();
    std::memset(w.get(), 0, sizeof(Work));
    for (int i = 0; i < 64; ++i) {
        w->response[64 + i] = h[i];
        w->negated[64 + i] = basop::negate(h[i]);
        w->sign[i] = uniform(r, 0, 1) != 0 ? Qol16s{-1} : Qol16s{0};
        w->mark[i] = static_cast<Qol16s>(uniform(r, 0, uniform(r, 0, 9) == 0 ? 3 : 32767));
        w->dn[i] = static_cast<Qol16s>(uniform(r, -32768, 32767));
        w->vec[i] = static_cast<Qol16s>(uniform(r, -vecAmplitude, vecAmplitude));
    }
    return w;
}

template <int Tracks>
void compareTables(Work& w) {
    auto plain = std::make_unique<Work>(w), fast = std::make_unique<Work>(w);
    correlationTables<Tracks>(*plain);
    correlationTables_noOverflow<Tracks>(*fast);
    ASSERT_EQ(std::memcmp(plain->xx, fast->xx, sizeof w.xx), 0);
    ASSERT_EQ(std::memcmp(plain->xy, fast->xy, sizeof w.xy), 0);
}

TEST(AmrWbSearch, VectorKernelsEqualTheirDefinitions) {
    Random r;
    for (int round = 0; round < 400; ++round) {
        // Up to the energy of 2^24 less one that the vector forms serve.
        const auto h =
            response(r, static_cast<int>(uniform(r, 1, 1500)), test::uniformReal(r, 0.5, 0.94));
        auto w = makeWork(r, h, static_cast<int>(uniform(r, 1, 20000)));
        compareTables<2>(*w);
        compareTables<4>(*w);
        correlationTables<4>(*w);

        auto plain = std::make_unique<Work>(*w), fast = std::make_unique<Work>(*w);
        Qol16s posPlain[4], posFast[4];
        selectPlaces(*plain, posPlain);
        selectPlaces_vector(*fast, posFast);
        ASSERT_EQ(std::memcmp(plain->mark, fast->mark, sizeof w->mark), 0);
        ASSERT_EQ(std::memcmp(posPlain, posFast, sizeof posPlain), 0);

        Qol16s cor[4][16];
        for (int t = 0; t < 4; ++t) {
            Qol16s other[16];
            stageCorrelation(*plain, t, cor[t]);
            stageCorrelation_noOverflow(*plain, t, other);
            ASSERT_EQ(std::memcmp(cor[t], other, sizeof other), 0);
        }
        for (int t = 0; t < 4; ++t) {
            const Stage stage{t, (t + 1) % 4, static_cast<int>(uniform(r, 1, 8)),
                              static_cast<Qol16s>(uniform(r, -32768, 32767)),
                              static_cast<Qol16s>(uniform(r, -24574, 24574))};
            Best a, b;
            searchPair(*plain, stage, cor[t], cor[(t + 1) % 4], a);
            searchPair_alpBelow24575(*plain, stage, cor[t], cor[(t + 1) % 4], b);
            ASSERT_TRUE(a.x == b.x && a.y == b.y && a.square == b.square && a.energy == b.energy);
        }
        correlationTables<2>(*w);
        Best a, b;
        searchTwoTracks(*w, a);
        searchTwoTracks_vector(*w, b);
        ASSERT_TRUE(a.x == b.x && a.y == b.y);
    }
}

TEST(AmrWbSearch, PairSearchOnExtremes) {
    Random r;
    for (int round = 0; round < 2000; ++round) {
        auto w = makeWork(r, std::vector<Qol16s>(64), 0);
        const auto fill = [&r](Qol16s* p, int count) {
            const auto v = test::extremes16(r, count);
            std::copy(v.begin(), v.end(), p);
        };
        fill(w->xy, 1024);
        fill(w->dn, 64);
        Qol16s cor[2][16];
        fill(cor[0], 32);
        for (Qol16s& m : w->mark) {
            m = -8;
        }
        const Stage stage{1, 2, 8, static_cast<Qol16s>(uniform(r, -32768, 32767)),
                          static_cast<Qol16s>(uniform(r, -24574, 24574))};
        Best a, b;
        searchPair(*w, stage, cor[0], cor[1], a);
        searchPair_alpBelow24575(*w, stage, cor[0], cor[1], b);
        ASSERT_TRUE(a.x == b.x && a.y == b.y && a.square == b.square && a.energy == b.energy);
    }
}

TEST(AmrWbSearch, TargetCorrelation) {
    Random r;
    for (int round = 0; round < 200; ++round) {
        const auto t = test::noise16(r, 64, 1000), h = test::noise16(r, 64, 8000);
        Qol32s a[64], b[64];
        correlateTarget(t.data(), h.data(), a);
        correlateTarget_noOverflow(t.data(), h.data(), b);
        ASSERT_EQ(std::memcmp(a, b, sizeof a), 0);
    }
}

struct Result {
    Qol16s code[64], filtered[64], indices[8];
};
bool operator==(const Result& a, const Result& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

Result searchBy(int form, int rate, const Qol16s* target, const Qol16s* ltp, const Qol16s* h) {
    Result x{};
    if (form == 0) {
        EXPECT_EQ(qolsAlgebraicCodebookSearch_AMRWB_16s(target, ltp, h, x.code, x.filtered, rate,
                                                        x.indices),
                  qolStsNoErr);
    } else if (form == 1) {
        auto buffer = test::guarded<Qol8u>(8192, static_cast<std::size_t>(rate));
        EXPECT_EQ(qolsAlgebraicCodebookSearchEX_AMRWB_16s(target, ltp, h, x.code, x.filtered, rate,
                                                          x.indices, buffer.data),
                  qolStsNoErr);
        EXPECT_TRUE(test::intact(buffer));
    } else {
        Work w;
        acelp::search<true>(*rateOf(rate), target, ltp, h, x.code, x.filtered, x.indices, w);
    }
    return x;
}

/// Both entries and the plain search agree; decoding gives the code vector back, twice as high
/// where the response was halved.
void checkSearch(int rate, const Qol16s* target, const Qol16s* ltp, const Qol16s* h) {
    const Result x = searchBy(0, rate, target, ltp, h);
    ASSERT_TRUE(x == searchBy(1, rate, target, ltp, h)) << "rate code " << rate;
    ASSERT_TRUE(x == searchBy(2, rate, target, ltp, h)) << "rate code " << rate;
    Qol64s energy = 0;
    for (int i = 0; i < 64; ++i) {
        energy += h[i] * h[i];
    }
    const bool halved = rateOf(rate)->pulses >= 12 && saturate32(2 * energy) >> 16 > 1024;
    Qol16s decoded[64];
    ASSERT_EQ(qolsAlgebraicCodebookDecode_AMRWB_16s(x.indices, decoded, rate), qolStsNoErr);
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(decoded[i], x.code[i] * (halved ? 2 : 1)) << "rate code " << rate << " at " << i;
    }
    for (int k = 0; k < wordsOf(rateOf(rate)->bits); ++k) {
        ASSERT_GE(x.indices[k], 0);
    }
}

TEST(AmrWbSearch, DecodeOfSearchIsTheCodeVector) {
    Random r;
    for (const int rate : kRateCodes) {
        for (int round = 0; round < 60; ++round) {
            // From weak to so strong that the response is halved and the definitions take over.
            const int first = 1 << uniform(r, 8, 14);
            const auto h = response(r, first, test::uniformReal(r, 0.5, 0.97));
            const auto target = test::noise16(r, 64, 1 << uniform(r, 3, 13));
            const auto ltp = test::noise16(r, 64, 1 << uniform(r, 3, 13));
            checkSearch(rate, target.data(), ltp.data(), h.data());
        }
    }
}

TEST(AmrWbSearch, FullScaleInputsTakeTheSamePath) {
    Random r;
    for (const int rate : kRateCodes) {
        for (int round = 0; round < 20; ++round) {
            const auto h = test::extremes16(r, 64), target = test::extremes16(r, 64),
                       ltp = test::extremes16(r, 64);
            const Result x = searchBy(0, rate, target.data(), ltp.data(), h.data());
            ASSERT_TRUE(x == searchBy(2, rate, target.data(), ltp.data(), h.data()));
        }
    }
}

TEST(AmrWbSearch, SilentTargetGivesAPair) {
    const std::vector<Qol16s> zero(64);
    std::vector<Qol16s> h(64);
    h[0] = 1024;
    for (const int rate : kRateCodes) {
        checkSearch(rate, zero.data(), zero.data(), h.data());
    }
}

TEST(AmrWbSearch, HighestRatesDifferInIterationsOnly) {
    EXPECT_EQ(rateOf(20)->iterations, 2);
    EXPECT_EQ(rateOf(21)->iterations, 1);
    EXPECT_EQ(rateOf(20)->pulses, rateOf(21)->pulses);
    EXPECT_EQ(rateOf(20), rateOf(22));
}

/// Any pulse set comes back as a set, coinciding pulses of one sign included. Two pulses that
/// cancel each other at one place come back with signs in another order, so that the sum stays
/// right only where the format can hold them: the search never makes them.
TEST(AmrWbPacking, UnpackIsTheInverse) {
    Random r;
    for (const int code : kRateCodes) {
        const Rate& rate = *rateOf(code);
        if (rate.bits == 12) {
            continue;
        }
        const int counts[4] = {(rate.pulses + 2) / 4, (rate.pulses + 2) / 4, rate.pulses / 4,
                               rate.pulses / 4};
        for (int round = 0; round < 3000; ++round) {
            Qol16s codes[4][kMostPulses] = {}, back[4][kMostPulses] = {};
            for (int t = 0; t < 4; ++t) {
                Qol16s signs[16];
                for (Qol16s& s : signs) {
                    s = static_cast<Qol16s>(16 * uniform(r, 0, 1));
                }
                // Few places in some rounds, so that pulses coincide often.
                const auto last = uniform(r, 0, 15);
                for (int k = 0; k < counts[t]; ++k) {
                    const auto place = uniform(r, 0, last);
                    codes[t][k] = static_cast<Qol16s>(place + signs[place]);
                }
            }
            Qol16s words[8] = {};
            int found[4];
            pack(rate, codes, words);
            unpack(rate, words, back, found);
            for (int t = 0; t < 4; ++t) {
                ASSERT_EQ(found[t], counts[t]);
                std::sort(codes[t], codes[t] + counts[t]);
                std::sort(back[t], back[t] + counts[t]);
                ASSERT_TRUE(std::equal(codes[t], codes[t] + counts[t], back[t]))
                    << "rate code " << code << " track " << t;
            }
        }
    }
}

TEST(AmrWbPacking, AnyWordsDecodeInsideTheSubframe) {
    Random r;
    for (const int code : kRateCodes) {
        for (int round = 0; round < 300; ++round) {
            auto words = test::guarded(test::noise16(r, wordsOf(rateOf(code)->bits)));
            auto vec = test::guarded<Qol16s>(64);
            ASSERT_EQ(qolsAlgebraicCodebookDecode_AMRWB_16s(words.data, vec.data, code),
                      qolStsNoErr);
            ASSERT_TRUE(test::intact(vec));
            int height = 0;
            for (int i = 0; i < 64; ++i) {
                height += std::abs(vec.data[i]);
            }
            ASSERT_LE(height, 512 * rateOf(code)->pulses);
        }
    }
}

TEST(AmrWbPacking, TwoTrackWord) {
    // Places in bits 6..10 and 0..4, signs in bits 11 and 5.
    const Qol16s word = static_cast<Qol16s>(0x800 | 31 << 6 | 7);
    Qol16s vec[64];
    ASSERT_EQ(qolsAlgebraicCodebookDecode_AMRWB_16s(&word, vec, 25), qolStsNoErr);
    EXPECT_EQ(vec[62], -512);
    EXPECT_EQ(vec[15], 512);
}

TEST(AmrWbSearch, UnknownRatesAreRefused) {
    for (int code = -2; code < 40; ++code) {
        const bool known =
            std::find(std::begin(kRateCodes), std::end(kRateCodes), code) != std::end(kRateCodes);
        Qol16s words[8] = {}, vec[64];
        EXPECT_EQ(qolsAlgebraicCodebookDecode_AMRWB_16s(words, vec, code),
                  known ? qolStsNoErr : qolStsRangeErr);
    }
}

} // namespace
