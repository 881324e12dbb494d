// SPDX-License-Identifier: Apache-2.0
// G.722: the ITU-T sequences, fast kernels against the plain ones, calls cut into pieces, the loss
// tools' edges, concealment at work.
#include "codecs/bits.h"
#include "codecs/codec.h"
#include "kit/data.h"
#include "qolsc.h"
#include "waveform/g722pair.h"
#include "waveform/g722qmf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using namespace qolsc::test;
namespace g722 = qolsc::g722;

namespace {

using Words = std::vector<Qol16s>;
const std::string kDir = "waveform/sequences/g722/";

/// A record somewhere in a block of the reported size.
struct Record {
    std::vector<Qol8u> raw = std::vector<Qol8u>(144 + 64, 0xA5);
    std::size_t skew = 0;
};
QolsSBADPCMState_G722* stateOf(Record& r) {
    return reinterpret_cast<QolsSBADPCMState_G722*>(r.raw.data() + r.skew);
}
Record newRecord(std::size_t skew = 0) {
    Record r;
    r.skew = skew;
    EXPECT_EQ(qolsSBADPCMDecodeInit_G722_16s(stateOf(r)), 0);
    return r;
}
QolsSBADPCMState_G722 contents(Record& r) { return qolsc::g722Record(stateOf(r)); }

bool same(const QolsSBADPCMState_G722& a, const QolsSBADPCMState_G722& b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

/// ---- plain codec ----
void plainEncode(QolsSBADPCMState_G722& s, const Words& in, Words& out) {
    g722::Band low = g722::lowBand(s), high = g722::highBand(s);
    for (std::size_t i = 0; i < in.size(); i += 2) {
        g722::encodePair(low, high, &in[i], &out[i]);
    }
    g722::storeBands(low, high, s);
}
template <g722::LowBits N>
void plainDecode(QolsSBADPCMState_G722& s, const Words& in, Words& out) {
    g722::Band low = g722::lowBand(s), high = g722::highBand(s);
    for (std::size_t i = 0; i < in.size(); i += 2) {
        g722::decodePair<N>(low, high, &in[i], &out[i]);
    }
    g722::storeBands(low, high, s);
}
void plainDecode(int mode, QolsSBADPCMState_G722& s, const Words& in, Words& out) {
    mode == 1   ? plainDecode<g722::LowBits::six>(s, in, out)
    : mode == 2 ? plainDecode<g722::LowBits::five>(s, in, out)
                : plainDecode<g722::LowBits::four>(s, in, out);
}

/// Band pairs of every temper: noise of all levels, extremes, steps, silence.
Words bandSignal(Random& r, int count) {
    Words v;
    while (static_cast<int>(v.size()) < count) {
        const int amplitude = 1 << uniform(r, 0, 15);
        const auto kind = uniform(r, 0, 3);
        const Words part = kind == 0   ? extremes16(r, 60)
                           : kind == 1 ? Words(60, static_cast<Qol16s>(uniform(r, -32768, 32767)))
                                       : noise16(r, 60, std::min(amplitude, 32767));
        v.insert(v.end(), part.begin(), part.end());
    }
    v.resize(static_cast<std::size_t>(count));
    return v;
}

TEST(G722, fastCoderEqualsPlainOne) {
    Random r;
    Record fast = newRecord(3);
    QolsSBADPCMState_G722 plain = contents(fast);
    for (int turn = 0; turn < 300; ++turn) {
        const Words in = bandSignal(r, static_cast<int>(2 * uniform(r, 1, 200)));
        Words a(in.size()), b(in.size());
        ASSERT_EQ(qolsSBADPCMEncode_G722_16s(in.data(), a.data(), static_cast<Qol32s>(in.size()),
                                             stateOf(fast)),
                  0);
        plainEncode(plain, in, b);
        ASSERT_EQ(a, b) << turn;
        ASSERT_TRUE(same(contents(fast), plain)) << turn;
    }
}

TEST(G722, fastDecoderEqualsPlainOneInEveryModeAndAfterUpdates) {
    Random r;
    for (int mode = 0; mode <= 3; ++mode) {
        Record fast = newRecord(static_cast<std::size_t>(mode) * 2);
        QolsSBADPCMState_G722 plain = contents(fast);
        for (int turn = 0; turn < 200; ++turn) {
            // Codes with bits that don't count set, and long runs of one code.
            Words in = noise16(r, static_cast<int>(2 * uniform(r, 1, 200)));
            if (turn % 3 == 0) {
                std::fill(in.begin(), in.end(), in[0]);
            }
            Words a(in.size()), b(in.size());
            ASSERT_EQ(qolsSBADPCMDecode_G722_16s(in.data(), a.data(),
                                                 static_cast<Qol32s>(in.size()),
                                                 static_cast<Qol16s>(mode), stateOf(fast)),
                      0);
            plainDecode(mode, plain, in, b);
            ASSERT_EQ(a, b) << mode << " " << turn;
            ASSERT_TRUE(same(contents(fast), plain)) << mode << " " << turn;
            if (turn % 20 == 19) {
                const Words recon = noise16(r, 3);
                qolsSBADPCMDecodeStateUpdate_G722_16s(recon.data(), recon[2], turn % 40 == 39,
                                                      stateOf(fast));
                plain = contents(fast);
            }
        }
    }
}

TEST(G722, qmfKernelsEqualPlainOnesAtEveryLengthInPlaceAndCut) {
    Random r;
    for (int len = 2; len <= 1200; len += len < 80 ? 2 : 86) {
        const Words in = len % 4 == 0 ? extremes16(r, len) : noise16(r, len);
        Words memory = noise16(r, 24), memoryPlain = memory, memoryInPlace = memory;
        for (const bool decode : {false, true}) {
            auto out = guarded<Qol16s>(static_cast<std::size_t>(len), 1);
            Words plain(in.size()), inPlace = in;
            const auto fast = decode ? qolsQMFDecode_G722_16s : qolsQMFEncode_G722_16s;
            ASSERT_EQ(fast(in.data(), out.data, len, memory.data()), 0);
            fast(inPlace.data(), inPlace.data(), len, memoryInPlace.data());
            (decode ? g722::qmfDecodePlain : g722::qmfEncodePlain)(in.data(), plain.data(), len,
                                                                   memoryPlain.data());
            ASSERT_EQ(values(out), plain) << len << decode;
            ASSERT_EQ(inPlace, plain) << len << decode;
            ASSERT_EQ(memory, memoryPlain) << len << decode;
            ASSERT_TRUE(intact(out));
        }
    }
}

// ---- sequences of ITU-T G.722 Appendix II and of the software tool library ----

TEST(G722, overloadSequenceOfTheStandard) {
    const Words xmt = readWords(kDir + "bt1c2.xmt"), cod = readWords(kDir + "bt2r2.cod");
    const Words low = readWords(kDir + "bt3l2.rc1"), high = readWords(kDir + "bt3h2.rc0");
    Record encoder = newRecord(), decoder = newRecord();
    for (std::size_t i = 0; i < xmt.size(); ++i) {
        if (xmt[i] & 1) { // the reset bit
            encoder = newRecord();
            ASSERT_EQ(cod[i], 1);
        } else {
            Qol16s pair[2] = {static_cast<Qol16s>(xmt[i] >> 1), static_cast<Qol16s>(xmt[i] >> 1)};
            qolsSBADPCMEncode_G722_16s(pair, pair, 2, stateOf(encoder));
            ASSERT_EQ(static_cast<Qol16s>((pair[1] << 6 | pair[0]) << 8), cod[i]) << i;
        }
        if (cod[i] & 1) {
            decoder = newRecord();
            ASSERT_EQ(low[i], 1);
            ASSERT_EQ(high[i], 1);
        } else {
            Qol16s pair[2] = {static_cast<Qol16s>(cod[i] >> 8 & 63),
                              static_cast<Qol16s>(cod[i] >> 14 & 3)};
            qolsSBADPCMDecode_G722_16s(pair, pair, 2, 1, stateOf(decoder));
            ASSERT_EQ(static_cast<Qol16s>(pair[0] * 2), low[i]) << i;
            ASSERT_EQ(static_cast<Qol16s>(pair[1] * 2), high[i]) << i;
        }
    }
}

using qolsc::tools::Codec;
using qolsc::tools::Frame;
using qolsc::tools::FrameKind;

std::vector<Frame> encodeWith(const Codec& codec, const Words& pcm) {
    std::unique_ptr<void, void (*)(void*)> encoder(codec.openEncoder(codec, {}),
                                                   codec.closeEncoder);
    std::vector<Frame> frames;
    const auto step = static_cast<std::size_t>(codec.frameSamples);
    for (std::size_t i = 0; i < pcm.size(); i += step) {
        Frame frame;
        codec.encode(encoder.get(), &pcm[i], static_cast<int>(std::min(step, pcm.size() - i)),
                     frame);
        frames.push_back(frame);
    }
    return frames;
}
Words decodeWith(const Codec& codec, const std::vector<Frame>& frames) {
    std::unique_ptr<void, void (*)(void*)> decoder(codec.openDecoder(codec, {}),
                                                   codec.closeDecoder);
    Words out, pcm(static_cast<std::size_t>(codec.frameSamples));
    for (const Frame& frame : frames) {
        const int n = codec.decode(decoder.get(), frame, pcm.data());
        out.insert(out.end(), pcm.begin(), pcm.begin() + n);
    }
    return out;
}

TEST(G722, speechSequenceThroughTheCodec) {
    const Codec& codec = *qolsc::tools::findCodec("g722-64");
    const Words in = readWords(kDir + "inpsp.bin"), cod = readWords(kDir + "codspw.cod");
    const std::vector<Frame> frames = encodeWith(codec, in);
    Words octets;
    for (const Frame& frame : frames) {
        octets.insert(octets.end(), frame.payload.begin(), frame.payload.end());
    }
    ASSERT_EQ(octets, cod);
    ASSERT_EQ(decodeWith(codec, frames), readWords(kDir + "outsp1.bin"));
}

/// 16-bit samples pass the filter pair with gain 1 and 22 samples late: the alignment that the
/// header tells.
TEST(G722, qmfPairKeepsSixteenBitLevel) {
    Words in(960), pairs(960), out(960), a(24), b(24);
    for (std::size_t i = 0; i < in.size(); ++i) {
        in[i] = static_cast<Qol16s>(std::lround(20000 * std::sin(0.05 * static_cast<double>(i))));
    }
    qolsQMFEncode_G722_16s(in.data(), pairs.data(), 960, a.data());
    qolsQMFDecode_G722_16s(pairs.data(), out.data(), 960, b.data());
    for (std::size_t i = 100; i < in.size(); ++i) {
        ASSERT_NEAR(out[i], in[i - 22], 40) << i;
    }
    EXPECT_NEAR(*std::max_element(pairs.begin(), pairs.end()), 10000, 60) << "bands have 15 bits";
}

// ---- loss tools ----

TEST(G722, classifierEdges) {
    Record record = newRecord();
    QolsSBADPCMState_G722& s = qolsc::g722Record(stateOf(record));
    Words buffer(2 + 2 * 143, 100);
    Qol16s* x = buffer.data() + 2;
    Qol32s c = 0;
    const auto classify = [&](int lag) {
        return qolsClassifyFrame_G722_16s_I(x, lag, &c, stateOf(record));
    };
    EXPECT_EQ(classify(144), qolStsRangeErr);
    EXPECT_EQ(classify(-1), qolStsRangeErr);
    EXPECT_EQ(classify(143), 0);
    EXPECT_EQ(c, 0) << "equal logarithms leave the class";
    s.nbh = 1;
    EXPECT_EQ(classify(65536), 0) << "a lag of 0 in its low 16 bits";
    EXPECT_EQ(c, 3);
    c = 1;
    classify(0);
    EXPECT_EQ(c, 4);

    // Eight times the neighbourhood counts, one less is only limited.
    s.nbh = 0;
    for (const int loud : {799, 800, -32768}) {
        std::fill(buffer.begin(), buffer.end(), Qol16s{100});
        x[20 + 10] = static_cast<Qol16s>(loud);
        c = 3;
        classify(20);
        EXPECT_EQ(c, loud == 799 ? 3 : 2) << loud;
        EXPECT_EQ(x[30], loud < 0 ? -100 : 100);
    }
}

TEST(G722, filterAndDecimatorCounts) {
    Words x(10, 1000), y = x;
    QolsFilterHighbandMem_G722 memory{};
    EXPECT_EQ(qolsFilterHighband_G722_16s_I(x.data(), 3, &memory), 0);
    EXPECT_NE(x[1], y[1]);
    EXPECT_NE(x[3], y[3]) << "the count rounds up";
    EXPECT_EQ(x[0], y[0]);
    EXPECT_EQ(x[5], y[5]);

    const Words loud(20, 32767);
    Words out(4, 7);
    EXPECT_EQ(qolsDownsampleFilter_G722_16s(loud.data() + 5, 3, out.data()), 0);
    EXPECT_EQ(out[0], 7);
    EXPECT_EQ(qolsDownsampleFilter_G722_16s(loud.data() + 5, 6, out.data()), 0);
    EXPECT_EQ(out, (Words{32767, 7, 7, 7})) << "a gain of a little more than 1 saturates";
}

TEST(G722, updateRefusesAForgedScale) {
    Record record = newRecord();
    QolsSBADPCMState_G722& s = qolsc::g722Record(stateOf(record));
    s.nbh = 0x7FFF; // index 255 fits
    const Qol16s recon[2] = {10, 20};
    EXPECT_EQ(qolsSBADPCMDecodeStateUpdate_G722_16s(recon, 5, 0, stateOf(record)), 0);
    s.nbh = -128; // index 511 doesn't
    EXPECT_EQ(qolsSBADPCMDecodeStateUpdate_G722_16s(recon, 5, 0, stateOf(record)),
              qolStsOutOfRangeErr);
    EXPECT_EQ(s.nbh, -64);
    EXPECT_EQ(s.plt1, 10);
    EXPECT_EQ(s.rlt2, 10);
}

/// Energy of the error inside lost frames, concealed against muted, on a steady tone complex: what
/// concealment is for.
TEST(G722, concealmentBeatsMutingOnVoicedSound) {
    const Codec& codec = *qolsc::tools::findCodec("g722-64");
    Words in(32000);
    for (std::size_t i = 0; i < in.size(); ++i) {
        const double t = 2 * M_PI * 160 * static_cast<double>(i) / 16000;
        in[i] = static_cast<Qol16s>(std::lround(6000 * std::sin(t) + 3000 * std::sin(2 * t + 1) +
                                                1500 * std::sin(9 * t + 2)));
    }
    std::vector<Frame> frames = encodeWith(codec, in);
    for (std::size_t k = 10; k < frames.size(); k += 20) {
        qolsc::tools::eraseFrame(frames[k]);
    }
    const Words out = decodeWith(codec, frames);
    double signal = 0, error = 0;
    for (std::size_t k = 10; k < frames.size(); k += 20) {
        for (std::size_t i = 320 * k + 22; i < 320 * (k + 1); ++i) {
            const double x = in[i - 22], e = x - out[i];
            signal += x * x;
            error += e * e;
        }
    }
    EXPECT_GT(10 * std::log10(signal / error), 12) << "muting gives 0 dB";
}

} // namespace
