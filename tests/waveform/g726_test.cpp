// SPDX-License-Identifier: Apache-2.0
// G.726: the ITU-T sequences, the fast coder against the plain one, calls cut into pieces, records
// at any address.
#include "kit/data.h"
#include "qolsc.h"
#include "waveform/g726_plain.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

using namespace qolsc::test;
namespace tables = qolsc::tables;

namespace {

constexpr QolSpchBitRate kRates[] = {QOL_SPCHBR_16000, QOL_SPCHBR_24000, QOL_SPCHBR_32000,
                                     QOL_SPCHBR_40000};
const std::string kDir = "waveform/sequences/g726/";

/// A record of Bytes bytes at any address.
template <typename State, std::size_t Bytes>
struct Record {
    std::vector<Qol8u> raw = std::vector<Qol8u>(Bytes + 16, 0xA5);
    std::size_t skew = 0;
};
using Encoder = Record<QolsEncodeState_G726, 88>;
using Decoder = Record<QolsDecodeState_G726, 92>;

template <typename State, std::size_t Bytes>
State* stateOf(Record<State, Bytes>& r) {
    return reinterpret_cast<State*>(r.raw.data() + r.skew);
}

std::vector<Qol16s> encodeWords(Encoder& e, const std::vector<Qol16s>& in) {
    std::vector<Qol8u> out(in.size());
    EXPECT_EQ(
        qolsEncode_G726_16s8u(stateOf(e), in.data(), out.data(), static_cast<Qol32s>(in.size())),
        0);
    return {out.begin(), out.end()};
}

std::vector<Qol16s> decodeWords(Decoder& d, const std::vector<Qol16s>& in) {
    const std::vector<Qol8u> codes(in.begin(), in.end());
    std::vector<Qol16s> out(in.size());
    EXPECT_EQ(
        qolsDecode_G726_8u16s(stateOf(d), codes.data(), out.data(), static_cast<Qol32s>(in.size())),
        0);
    return out;
}

/// PCM bytes of a sequence as the encoder's 14-bit samples.
std::vector<Qol16s> expand(const std::string& file, char law) {
    std::vector<Qol16s> words = readWords(kDir + file);
    for (Qol16s& w : words) {
        w = static_cast<Qol16s>((law == 'a' ? tables::_a2l : tables::_u2l)[w & 255] >> 2);
    }
    return words;
}

/// What a file's name says: r or h (reset, homing), n, v or i (normal, overload, codes), rate, f,
/// laws.
struct Sequence {
    std::string name;
    bool homing;
    char kind;
    int rate;
    char encoderLaw, outputLaw;
};

Sequence parse(const std::string& name) {
    const char last = name[5]; // x: A-law encoder, mu-law output; c: the reverse
    const char encoderLaw = last == 'x' ? 'a' : last == 'c' ? 'm' : last;
    const char outputLaw = last == 'x' ? 'm' : last == 'c' ? 'a' : last;
    return {name,       name[0] == 'h', name[1], (std::stoi(name.substr(2, 2)) - 16) / 8,
            encoderLaw, outputLaw};
}

void checkEncoder(const Sequence& q) {
    Encoder e;
    ASSERT_EQ(qolsEncodeInit_G726_16s8u(stateOf(e), kRates[q.rate]), 0);
    const std::string law(1, q.encoderLaw);
    if (q.homing) {
        encodeWords(e, expand("pcm_init." + law, q.encoderLaw));
    }
    const std::string input = (q.kind == 'n' ? "nrm." : "ovr.") + law;
    EXPECT_EQ(encodeWords(e, expand(input, q.encoderLaw)), readWords(kDir + q.name));
}

void checkDecoder(const Sequence& q) {
    Decoder d;
    const std::string rate = q.name.substr(2, 2);
    const QolPCMLaw law = q.outputLaw == 'a' ? QOL_PCM_ALAW : QOL_PCM_MULAW;
    ASSERT_EQ(qolsDecodeInit_G726_8u16s(stateOf(d), kRates[q.rate], law), 0);
    if (q.homing) {
        decodeWords(d, readWords(kDir + "i_ini_" + rate + "." + q.outputLaw));
    }
    const std::string codes =
        q.kind == 'i' ? "i" + rate : q.name.substr(0, 5) + q.encoderLaw + ".i";
    EXPECT_EQ(decodeWords(d, readWords(kDir + codes)), readWords(kDir + q.name));
}

TEST(G726, EverySequenceOfTheRecommendation) {
    int encoders = 0, decoders = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dataPath(kDir))) {
        const std::string name = entry.path().filename();
        SCOPED_TRACE(name);
        if (name.size() != 8 || (name[0] != 'r' && name[0] != 'h')) {
            continue;
        }
        const bool codes = name.ends_with(".i");
        (codes ? checkEncoder : checkDecoder)(parse(name));
        (codes ? encoders : decoders) += 1;
    }
    RecordProperty("encoders", encoders);
    RecordProperty("decoders", decoders);
    EXPECT_GE(encoders, 16);
    EXPECT_GE(decoders, 32);
}

/// Full 16-bit range, near silence, extremes, tones: everything that the interface lets in.
std::vector<Qol16s> roughSignal(Random& r, int count) {
    std::vector<Qol16s> v;
    while (static_cast<int>(v.size()) < count) {
        const int run = static_cast<int>(uniform(r, 1, 400)), amplitude = 1 << uniform(r, 0, 15);
        const double step = uniformReal(r, 0.01, 3.0);
        std::vector<Qol16s> part = noise16(r, run, amplitude - 1);
        switch (uniform(r, 0, 3)) {
        case 0:
            part = extremes16(r, run);
            break;
        case 1:
            for (int i = 0; i < run; ++i) {
                part[static_cast<std::size_t>(i)] =
                    static_cast<Qol16s>((amplitude - 1) * std::sin(step * i));
            }
            break;
        default:
            break;
        }
        v.insert(v.end(), part.begin(), part.end());
    }
    v.resize(static_cast<std::size_t>(count));
    return v;
}

TEST(G726, FastCoderEqualsPlainCoder) {
    Random r;
    for (int rate = 0; rate < 4; ++rate) {
        const std::vector<Qol16s> in = roughSignal(r, 60000);
        Encoder e;
        qolsEncodeInit_G726_16s8u(stateOf(e), kRates[rate]);
        PlainG726 plain{rate};
        std::vector<Qol16s> codes = encodeWords(e, in);
        for (std::size_t i = 0; i < in.size(); ++i) {
            ASSERT_EQ(codes[i], plainEncode(plain, in[i])) << "rate " << rate << " sample " << i;
        }
        for (std::size_t i = 20000; i < codes.size(); ++i) {
            codes[i] = static_cast<Qol16s>(uniform(r, 0, (4 << rate) - 1));
        }
        for (const QolPCMLaw law : {QOL_PCM_MULAW, QOL_PCM_ALAW, QOL_PCM_LINEAR}) {
            Decoder d;
            qolsDecodeInit_G726_8u16s(stateOf(d), kRates[rate], law);
            PlainG726 model{rate};
            const std::vector<Qol16s> out = decodeWords(d, codes);
            for (std::size_t i = 0; i < out.size(); ++i) {
                ASSERT_EQ(out[i], plainDecode(model, codes[i], law))
                    << "rate " << rate << " law " << law << " code " << i;
            }
        }
    }
}

TEST(G726, CallsCutIntoPiecesAtAnyAddressGiveTheSame) {
    Random r;
    const std::vector<Qol16s> in = roughSignal(r, 2000);
    for (int rate = 0; rate < 4; ++rate) {
        Encoder whole;
        Decoder wholeDecoder;
        qolsEncodeInit_G726_16s8u(stateOf(whole), kRates[rate]);
        qolsDecodeInit_G726_8u16s(stateOf(wholeDecoder), kRates[rate], QOL_PCM_ALAW);
        const std::vector<Qol16s> codes = encodeWords(whole, in),
                                  pcm = decodeWords(wholeDecoder, codes);
        for (std::size_t skew = 0; skew < 8; ++skew) {
            Encoder e;
            Decoder d;
            e.skew = d.skew = skew;
            qolsEncodeInit_G726_16s8u(stateOf(e), kRates[rate]);
            qolsDecodeInit_G726_8u16s(stateOf(d), kRates[rate], QOL_PCM_ALAW);
            std::vector<Qol16s> codesCut, pcmCut;
            for (std::size_t at = 0, n = 1; at < in.size(); at += n, n = n % 61 + 1 + skew) {
                const auto begin = in.begin() + static_cast<std::ptrdiff_t>(at);
                const std::vector<Qol16s> piece(
                    begin, begin + static_cast<std::ptrdiff_t>(std::min(n, in.size() - at)));
                const std::vector<Qol16s> part = encodeWords(e, piece), back = decodeWords(d, part);
                codesCut.insert(codesCut.end(), part.begin(), part.end());
                pcmCut.insert(pcmCut.end(), back.begin(), back.end());
            }
            EXPECT_EQ(codesCut, codes);
            EXPECT_EQ(pcmCut, pcm);
            EXPECT_EQ(e.raw[88 + skew], 0xA5) << "written behind the record";
            EXPECT_EQ(d.raw[92 + skew], 0xA5) << "written behind the record";
        }
    }
}

TEST(G726, LengthsThatAreNoWork) {
    Encoder e;
    Decoder d;
    qolsEncodeInit_G726_16s8u(stateOf(e), QOL_SPCHBR_32000);
    qolsDecodeInit_G726_8u16s(stateOf(d), QOL_SPCHBR_32000, QOL_PCM_LINEAR);
    const std::vector<Qol8u> before = e.raw, beforeDecoder = d.raw;
    Qol16s pcm = 7;
    Qol8u code = 7;
    EXPECT_EQ(qolsEncode_G726_16s8u(stateOf(e), &pcm, &code, 0), qolStsSizeErr);
    EXPECT_EQ(qolsEncode_G726_16s8u(stateOf(e), &pcm, &code, -1), qolStsNoErr);
    EXPECT_EQ(qolsDecode_G726_8u16s(stateOf(d), &code, &pcm, 0), qolStsSizeErr);
    EXPECT_EQ(qolsDecode_G726_8u16s(stateOf(d), &code, &pcm, -1), qolStsNoErr);
    EXPECT_EQ(e.raw, before);
    EXPECT_EQ(d.raw, beforeDecoder);
    EXPECT_TRUE(pcm == 7 && code == 7);
}

TEST(G726, NeighbourTablesStepByLinearValue) {
    for (int p = 0; p < 256; ++p) {
        const int up = tables::a2GT[p], down = tables::a2LT[p];
        for (int q = 0; q < 256; ++q) {
            const int v = tables::_a2l[q];
            EXPECT_FALSE(v > tables::_a2l[p] && v < tables::_a2l[up]) << p;
            EXPECT_FALSE(v < tables::_a2l[p] && v > tables::_a2l[down]) << p;
        }
        EXPECT_EQ(qolsc::aLawByte(tables::_a2l[p]), p);
    }
    // At the two zeroes of the mu law the standard fixes the steps.
    EXPECT_EQ(tables::u2GT[127], 253);
    EXPECT_EQ(tables::u2LT[127], 125);
    EXPECT_EQ(tables::u2GT[126], 127);
    EXPECT_EQ(tables::_u2l[0], -32124);
    EXPECT_EQ(tables::_a2l[0], -5504);
}

} // namespace
