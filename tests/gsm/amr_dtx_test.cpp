// SPDX-License-Identifier: Apache-2.0
// Discontinuous transmission of AMR: hangover at its edges, histories, comfort-noise parameters;
// the post-filter's gain control at its edges.
#include "kit/data.h"
#include "qolsc/amr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace qolsc::test {
namespace {

constexpr int kFrame = 160;

struct Handler {
    Qol16s hang, elapsed, mode, update;
    bool operator==(const Handler&) const = default;
};
Handler handled(Qol16s hang, Qol16s elapsed, Qol16s flag) {
    Handler h{hang, elapsed, 12, 77};
    EXPECT_EQ(qolsEncDTXHandler_GSMAMR_16s(&h.hang, &h.elapsed, &h.mode, &h.update, flag),
              qolStsNoErr);
    return h;
}

TEST(AmrDtx, HangoverAtItsEdges) {
    EXPECT_EQ(handled(3, 100, 1), (Handler{7, 101, 12, 0})) << "speech";
    EXPECT_EQ(handled(0, 100, -5), (Handler{7, 101, 12, 0})) << "any flag but 0";
    EXPECT_EQ(handled(7, 32767, 0), (Handler{6, 32767, 12, 0})) << "the count stays";
    EXPECT_EQ(handled(0, 100, 0), (Handler{0, 0, 25, 1})) << "the hangover is over";
    // Noise at once where the last update is less than 30 frames old.
    EXPECT_EQ(handled(1, 28, 0), (Handler{0, 29, 25, 0}));
    EXPECT_EQ(handled(1, 29, 0), (Handler{0, 30, 12, 0}));
    EXPECT_EQ(handled(7, 22, 0), (Handler{6, 23, 25, 0}));
    EXPECT_EQ(handled(7, 23, 0), (Handler{6, 24, 12, 0}));
}

TEST(AmrDtx, FirstPauseHasAWholeHangoverAShortBurstNone) {
    Qol16s hang = 7, elapsed = 32767;
    const auto isSpeech = [&](Qol16s flag) {
        Qol16s mode = 12, update;
        qolsEncDTXHandler_GSMAMR_16s(&hang, &elapsed, &mode, &update, flag);
        return mode == 12;
    };
    for (int n = 0; n < 7; ++n) {
        EXPECT_TRUE(isSpeech(0)) << n;
    }
    for (int n = 0; n < 50; ++n) {
        EXPECT_FALSE(isSpeech(0)) << n;
    }
    for (int n = 0; n < 5; ++n) {
        EXPECT_TRUE(isSpeech(1)) << n;
    }
    EXPECT_FALSE(isSpeech(0)) << "parameters are fresh";
}

/// Histories after one frame into the row behind `index`.
struct Histories {
    Qol16s index;
    std::array<Qol16s, 80> rows;
    std::array<Qol16s, 8> energies;
};
using Enter = QolStatus (*)(const Qol16s*, const Qol16s*, Qol16s*, Qol16s*, Qol16s*);
Histories entered(Enter enter, const std::vector<Qol16s>& pcm, Qol16s index) {
    Histories h{};
    h.index = index;
    h.rows.fill(1234);
    h.energies.fill(1234);
    std::array<Qol16s, 10> lsp;
    for (std::size_t i = 0; i < 10; ++i) {
        lsp[i] = static_cast<Qol16s>(100 * i);
    }
    EXPECT_EQ(enter(pcm.data(), lsp.data(), &h.index, h.rows.data(), h.energies.data()),
              qolStsNoErr);
    return h;
}

// The encoder keeps half the logarithm, the decoder all of it.
TEST(AmrDtx, EncoderHalvesTheEnergyOfTheDecoder) {
    Random r;
    for (int n = 0; n < 200; ++n) {
        const auto pcm = n == 0 ? std::vector<Qol16s>(kFrame)
                                : noise16(r, kFrame, static_cast<int>(1 << uniform(r, 0, 15)) - 1);
        const auto index = static_cast<Qol16s>(n & 7);
        const Histories e = entered(qolsEncDTXBuffer_GSMAMR_16s, pcm, index),
                        d = entered(qolsDecDTXBuffer_GSMAMR_16s, pcm, index);
        const int row = (index + 1) & 7; // 7 goes round to 0
        ASSERT_EQ(e.index, row);
        ASSERT_EQ(d.index, row);
        const auto at = static_cast<std::size_t>(row);
        ASSERT_EQ(e.energies[at], d.energies[at] >> 1);
        ASSERT_EQ(e.rows, d.rows);
        for (std::size_t i = 0; i < 8; ++i) {
            ASSERT_TRUE(i == at || e.energies[i] == 1234);
        }
        for (std::size_t i = 0; i < 80; ++i) {
            ASSERT_EQ(e.rows[i], i / 10 == at ? 100 * (i % 10) : 1234);
        }
    }
    const Histories silent = entered(qolsDecDTXBuffer_GSMAMR_16s, std::vector<Qol16s>(kFrame), 3);
    EXPECT_EQ(silent.energies[4], -8521);
    EXPECT_EQ(entered(qolsEncDTXBuffer_GSMAMR_16s, std::vector<Qol16s>(kFrame), 3).energies[4],
              -4261)
        << "rounded down";
    // Full scale: the doubled energy saturates, just below 2^31.
    const Histories loud =
        entered(qolsDecDTXBuffer_GSMAMR_16s, std::vector<Qol16s>(kFrame, -32768), 3);
    EXPECT_NEAR(loud.energies[4], 31 * 1024 - 8521, 1);
}

struct Sid {
    Qol16s energy = 99;
    std::array<Qol16s, 4> indices{99, 99, 99, 99};
    std::array<Qol16s, 10> residual;
    std::array<Qol16s, 4> past{99, 99, 99, 99}, past122{99, 99, 99, 99};
    bool operator==(const Sid&) const = default;
};
Sid sidOf(Qol16s logEnergy, Qol16s update) {
    constexpr Qol16s kLsp[10] = {30000, 26000, 21000,  15000,  8000,
                                 0,     -8000, -15000, -21000, -26000};
    std::array<Qol16s, 80> rows;
    for (std::size_t i = 0; i < 80; ++i) {
        rows[i] = kLsp[i % 10];
    }
    std::array<Qol16s, 8> energies;
    energies.fill(logEnergy);
    Sid s;
    s.residual.fill(99);
    EXPECT_EQ(qolsEncDTXSID_GSMAMR_16s(rows.data(), energies.data(), &s.energy, s.indices.data(),
                                       s.residual.data(), s.past.data(), s.past122.data(), update),
              qolStsNoErr);
    return s;
}

TEST(AmrDtx, WithoutUpdateNothingIsWritten) {
    Sid untouched;
    untouched.residual.fill(99);
    EXPECT_EQ(sidOf(3000, 0), untouched);
}

TEST(AmrDtx, EnergyIndexFollowsTheMeanInHalfBits) {
    EXPECT_EQ(sidOf(-16000, 1).energy, 0);
    EXPECT_EQ(sidOf(16000, 1).energy, 63);
    EXPECT_EQ(sidOf(-32768, 1).energy, 10) << "the sum keeps 16 bits";
    int last = 0;
    for (int log = -4261; log <= 12000; log += 4) {
        const Sid s = sidOf(static_cast<Qol16s>(log), 1);
        // Half the logarithm, Q10, is twice as fine as the index's steps of 3 dB over 2.
        ASSERT_EQ(s.energy, std::clamp((((log >> 2) * 8 >> 1) + 2688) >> 8, 0, 63)) << log;
        ASSERT_GE(s.energy, last);
        last = s.energy;
        const int error = std::min(256 * s.energy - 11560, 0);
        for (std::size_t i = 0; i < 4; ++i) {
            ASSERT_EQ(s.past[i], error);
            ASSERT_EQ(s.past122[i], (error * 5443) >> 15);
        }
    }
}

TEST(AmrPostFilter, GainControlSaturates) {
    std::array<Qol16s, 44> flat{};
    for (std::size_t i = 0; i < 44; i += 11) {
        flat[i] = 4096;
    }
    const auto filteredBy8 = [&](Qol16s level) { // which a gain of 8 from the frame before scales
        const std::vector<Qol16s> pcm(kFrame, level);
        Qol16s tilt = 0, gain = 32767;
        std::array<Qol16s, 10> history{}, memory{};
        std::vector<Qol16s> out(kFrame);
        EXPECT_EQ(qolsPostFilter_GSMAMR_16s(flat.data(), pcm.data(), &tilt, &gain, history.data(),
                                            memory.data(), out.data(), 12),
                  qolStsNoErr);
        return out;
    };
    const auto small = filteredBy8(500), large = filteredBy8(8000);
    int beyond = 0;
    for (std::size_t i = 0; i < 40; ++i) {
        const int scaled = 16 * small[i], most = std::min(scaled + 15, 32767);
        beyond += scaled > 32767;
        EXPECT_LE(large[i], most) << i;
        EXPECT_GE(large[i], most - 15) << i;
    }
    EXPECT_GE(beyond, 5);
}

TEST(AmrPostFilter, SilentSubframeLeavesItsSamplesAndNoGain) {
    std::array<Qol16s, 44> flat{};
    for (std::size_t i = 0; i < 44; i += 11) {
        flat[i] = 4096;
    }
    Random r;
    auto pcm = noise16(r, kFrame, 5000);
    std::fill(pcm.begin() + 120, pcm.end(), Qol16s{0}); // the last of four
    Qol16s tilt = 0, gain = 4096;
    std::array<Qol16s, 10> history{}, memory{};
    std::vector<Qol16s> out(kFrame, 7);
    ASSERT_EQ(qolsPostFilter_GSMAMR_16s(flat.data(), pcm.data(), &tilt, &gain, history.data(),
                                        memory.data(), out.data(), 7),
              qolStsNoErr);
    EXPECT_EQ(gain, 0);
    EXPECT_TRUE(std::all_of(out.begin() + 120, out.end(), [](Qol16s x) { return x == 0; }));
    EXPECT_EQ(history, (std::array<Qol16s, 10>{}));
}

} // namespace
} // namespace qolsc::test
