// SPDX-License-Identifier: Apache-2.0
// AMR analysis and pitch: vector forms against plain ones, decoding against coding, odd inputs.
#include "gsm/amr_lsf.h"
#include "gsm/amr_pitch.h"
#include "kit/data.h"
#include "qolsc/amr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace qolsc::test {
namespace {

using namespace amr;

constexpr Qol32s kSpeechRates[] = {0, 1, 3, 6, 7, 8, 11, 12};

std::vector<LsfBook> allBooks() {
    std::vector<LsfBook> books(matrixBooks(), matrixBooks() + 5);
    for (const Qol32s rate : {kRate475, kRate795, kRate102}) {
        const SplitBooks s = splitBooksOf(rate);
        books.insert(books.end(), {s.first, s.second, s.third});
    }
    return books;
}

TEST(AmrLsf, SearchesEqualThePlainOnes) {
    Random r;
    for (const LsfBook& book : allBooks()) {
        for (int n = 0; n < 300; ++n) {
            // Weights as LsfWeight makes them; residuals from small to beyond any frequency.
            const int level = n % 3 == 0 ? 32767 : n % 3 == 1 ? 400 : 3000;
            std::array<Qol16s, 4> x, w;
            for (std::size_t i = 0; i < 4; ++i) {
                x[i] = static_cast<Qol16s>(uniform(r, -level, level));
                w[i] = static_cast<Qol16s>(n % 5 == 0 ? 32767 : uniform(r, -7408, 32767));
            }
            ASSERT_EQ(nearestRow(book, x.data(), w.data()),
                      nearestRowPlain(book, x.data(), w.data()));
            if (book.step == 1) {
                ASSERT_EQ(nearestSignedRow(book, x.data(), w.data()),
                          nearestSignedRowPlain(book, x.data(), w.data()));
            }
        }
    }
}

TEST(AmrLsf, FirstOfEqualsAndOfSaturated) {
    const Qol16s rows[8][4] = {{5, 5, 5, 5}, {1, 2, 3, 4}, {7, 0, 0, 0}, {1, 2, 3, 4},
                               {1, 2, 3, 4}, {9, 9, 9, 9}, {2, 2, 2, 2}, {1, 2, 3, 4}};
    const LsfBook book = {rows, 8, 1};
    const Qol16s x[4] = {1, 2, 3, 4}, w[4] = {16384, 16384, 16384, 16384};
    EXPECT_EQ(nearestRow(book, x, w), 1);
    const Qol16s far[4] = {32767, 32767, 32767, 32767}, heavy[4] = {32767, 32767, 32767, 32767};
    EXPECT_EQ(nearestRow(book, far, heavy), 0) << "all distances saturate";
    EXPECT_EQ(nearestSignedRow(book, far, heavy), 0);
}

// The decoder follows the quantiser: same LSP at the end of the frame, same memory.
TEST(AmrLsf, DecoderRebuildsTheQuantisedPairs) {
    Random r;
    for (const Qol32s rate : kSpeechRates) {
        std::array<Qol16s, 10> memory{}, decoderMemory{}, prevLsf{}, prevLsp{};
        for (int n = 0; n < 50; ++n) {
            std::array<Qol16s, 20> lsf, lsp, quantised;
            for (std::size_t v = 0; v < 20; v += 10) {
                for (std::size_t i = 0; i < 10; ++i) {
                    lsf[v + i] = static_cast<Qol16s>(uniform(r, 300, 16000));
                }
                std::sort(lsf.begin() + v, lsf.begin() + v + 10);
                qolsLSFToLSP_GSMAMR_16s(&lsf[v], &lsp[v]);
            }
            std::array<Qol16s, 5> index{};
            std::array<Qol16s, 40> subframes;
            ASSERT_EQ(qolsLSPQuant_GSMAMR_16s(lsp.data(), memory.data(), quantised.data(),
                                              index.data(), rate),
                      qolStsNoErr);
            ASSERT_EQ(qolsQuantLSPDecode_GSMAMR_16s(index.data(), decoderMemory.data(),
                                                    prevLsf.data(), prevLsp.data(),
                                                    subframes.data(), 0, rate),
                      qolStsNoErr);
            const Qol16s* last = quantised.data() + (rate == kRate122 ? 10 : 0);
            ASSERT_TRUE(std::equal(last, last + 10, subframes.data() + 30));
            if (rate == kRate122) {
                ASSERT_TRUE(std::equal(last - 10, last, subframes.data() + 10));
            }
            ASSERT_EQ(memory, decoderMemory);
            ASSERT_TRUE(std::equal(last, last + 10, prevLsp.data()));
        }
    }
}

TEST(AmrLp, SilentFrame) {
    const std::vector<Qol16s> silence(240);
    std::array<Qol32s, 22> r;
    ASSERT_EQ(qolsAutoCorr_GSMAMR_16s32s(silence.data(), r.data(), 12), qolStsNoErr);
    for (std::size_t i = 0; i < 22; ++i) {
        EXPECT_EQ(r[i], i % 11 == 0 ? 0x40000000 : 0);
    }
}

TEST(AmrLp, LoudestFrameIsScaledDown) {
    const std::vector<Qol16s> loud(240, -32768);
    std::array<Qol32s, 11> r;
    ASSERT_EQ(qolsAutoCorr_GSMAMR_16s32s(loud.data(), r.data(), 7), qolStsNoErr);
    EXPECT_GE(r[0], 0x40000000);
    for (std::size_t i = 1; i < 11; ++i) {
        EXPECT_LT(r[i], r[i - 1]);
    }
}

TEST(AmrPitch, AdaptiveVectorEqualsThePlainOne) {
    Random r;
    for (const bool thirds : {false, true}) {
        for (int lag = 11; lag <= kMaxLag + 1; ++lag) {
            for (int frac = thirds ? -1 : -2; frac <= (thirds ? 1 : 3); ++frac) {
                const int level = 1 << uniform(r, 3, 15);
                auto past = lag % 9 == 0 ? extremes16(r, kExcPast + kSubframe)
                                         : noise16(r, kExcPast + kSubframe, level - 1);
                auto a = guarded(past, 1), b = guarded(past, 3);
                adaptiveVectorPlain(a.data + kExcPast, lag, frac, thirds);
                adaptiveVector(b.data + kExcPast, lag, frac, thirds);
                ASSERT_EQ(values(a), values(b)) << "lag " << lag << ", fraction " << frac;
                ASSERT_TRUE(intact(b));
            }
        }
    }
}

// What the closed-loop search codes the decoder finds again, at every rate and subframe.
TEST(AmrPitch, LagCodesDecodeToTheSearchedVector) {
    Random r;
    for (const Qol32s rate : kSpeechRates) {
        Qol16s prevLag = 60, decoderPrev = 60, ltpLag = 0, lag = 60;
        for (int n = 0; n < 2000; ++n) {
            const auto subFrame = static_cast<Qol16s>(n & 3);
            auto exc = noise16(r, kExcPast + kSubframe, 4000);
            auto decoderExc = exc;
            const auto target = noise16(r, kSubframe, 4000);
            auto h = noise16(r, kSubframe, 500);
            h[0] = 4096;
            const std::array<Qol16s, 2> open = {static_cast<Qol16s>(uniform(r, 18, 143)),
                                                static_cast<Qol16s>(uniform(r, 18, 143))};
            Qol16s frac, index;
            std::array<Qol16s, kSubframe> vector, decoded;
            ASSERT_EQ(qolsAdaptiveCodebookSearch_GSMAMR_16s(target.data(), h.data(), open.data(),
                                                            &prevLag, exc.data(), &frac, &index,
                                                            vector.data(), subFrame, rate),
                      qolStsNoErr);
            ASSERT_EQ(qolsAdaptiveCodebookDecode_GSMAMR_16s(index, &decoderPrev, &ltpLag,
                                                            decoderExc.data(), &lag, decoded.data(),
                                                            subFrame, 0, 0, 0, rate),
                      qolStsNoErr);
            ASSERT_EQ(lag, prevLag) << "rate " << rate << ", subframe " << subFrame;
            ASSERT_EQ(vector, decoded) << "rate " << rate << ", subframe " << subFrame;
            decoderPrev = lag;
        }
    }
}

TEST(AmrPitch, AnyLagCodeStaysInsideTheBuffer) {
    Random r;
    for (const Qol32s rate : kSpeechRates) {
        for (int n = 0; n < 3000; ++n) {
            auto exc = guarded(noise16(r, kExcPast + kSubframe), 1);
            const auto any = extremes16(r, 3);
            Qol16s prevLag = n & 1 ? any[0] : Qol16s{143}, ltpLag = any[1], lag = any[2];
            std::array<Qol16s, kSubframe> vector;
            const auto index = static_cast<Qol32s>(uniform(r, -600, 511));
            ASSERT_EQ(qolsAdaptiveCodebookDecode_GSMAMR_16s(
                          index, &prevLag, &ltpLag, exc.data, &lag, vector.data(),
                          static_cast<Qol16s>(n & 3), static_cast<Qol16s>(n >> 2 & 1), 1, 7, rate),
                      qolStsNoErr);
            ASSERT_TRUE(intact(exc));
            ASSERT_GE(lag, 11);
            ASSERT_LE(lag, kMaxLag + 1);
        }
    }
}

TEST(AmrPitch, OpenLoopFindsThePeriodOfPulses) {
    for (const Qol32s rate : kSpeechRates) {
        for (const int period : {25, 47, 90, 130}) {
            std::vector<Qol16s> speech(400);
            for (std::size_t i = 0; i < speech.size(); i += static_cast<std::size_t>(period)) {
                speech[i] = 8000;
            }
            std::array<Qol16s, 44> flat{};
            for (std::size_t i = 0; i < 44; i += 11) {
                flat[i] = 4096;
            }
            std::array<Qol16s, 143> wsp{};
            std::array<Qol16s, 5> history;
            history.fill(40);
            std::array<Qol16s, 2> lags, flags;
            Qol16s voicedLag = 40, voicedGain = 0;
            for (const std::size_t at : {10u, 170u}) {
                ASSERT_EQ(qolsOpenLoopPitchSearchNonDTX_GSMAMR_16s(
                              flat.data(), flat.data(), speech.data() + at, &voicedLag, &voicedGain,
                              history.data(), wsp.data(), lags.data(), flags.data(), rate),
                          qolStsNoErr);
            }
            // The last 80 or 160 samples hold at least one pulse of every period here.
            EXPECT_EQ(lags[1] % period, 0) << "rate " << rate << ", period " << period;
        }
    }
}

TEST(AmrPitch, OpenLoopWithAnyMemoriesStaysInItsTables) {
    Random r;
    for (int n = 0; n < 200; ++n) {
        const auto speech = n & 1 ? noise16(r, 170) : extremes16(r, 170);
        const auto filters = noise16(r, 88, n & 2 ? 32767 : 3000);
        auto memory = extremes16(r, 2);
        std::array<Qol16s, 143> wsp{};
        std::array<Qol16s, 5> history{};
        std::array<Qol16s, 2> lags, flags;
        Qol16s tone = 0, hp = 0;
        const Qol32s rate = kSpeechRates[n % 8];
        ASSERT_EQ(qolsOpenLoopPitchSearchDTXVAD1_GSMAMR_16s(
                      filters.data(), filters.data() + 44, speech.data() + 10, &tone, &memory[0],
                      &memory[1], history.data(), wsp.data(), &hp, lags.data(), flags.data(), rate),
                  qolStsNoErr);
        for (const Qol16s lag : lags) {
            ASSERT_TRUE(lag >= 18 && lag <= kMaxLag);
        }
    }
}

} // namespace
} // namespace qolsc::test
