// SPDX-License-Identifier: Apache-2.0
// The program as its user sees it: exit codes, one-line errors, pipes, forms, the report page.
#include "audio.h"
#include "files.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>

namespace {

using namespace qolsc::tools;
using Octets = std::vector<std::uint8_t>;

struct Result {
    int code;
    std::string out;
    std::string err;
};

class Program : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = std::filesystem::temp_directory_path() / "qolsc-test-XXXXXX";
        folder = mkdtemp(pattern.data());
        for (int i = 0; i < 8000; ++i) {
            speech.push_back(static_cast<std::int16_t>(
                8000 * std::sin(i * 0.1) * std::sin(i * 0.001) + 500 * std::sin(i * 0.9)));
        }
        writeAudio(at("in.wav"), speech, 8000);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string at(const std::string& name) const { return folder + "/" + name; }

    /// Runs a shell command in the test's folder; "qolsc" is the program.
    Result run(const std::string& command) const {
        const std::string line = "cd '" + folder +
                                 "' && qolsc() { '" QOLSC_PROGRAM "' \"$@\"; } && { " + command +
                                 "; } >.out 2>.err";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(".out"), text(".err")};
    }
    std::string text(const std::string& name) const {
        const Octets bytes = readFile(at(name));
        return {bytes.begin(), bytes.end()};
    }

    /// The command fails with one line on standard error that holds all of the words.
    void expectError(const std::string& command, const std::vector<std::string>& words,
                     int code = 1) const {
        const Result result = run(command);
        EXPECT_EQ(result.code, code) << command;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(result.err.rfind("qolsc: ", 0), 0u) << result.err;
        EXPECT_EQ(result.out, "") << command;
        for (const std::string& word : words) {
            EXPECT_NE(result.err.find(word), std::string::npos) << word << " in: " << result.err;
        }
    }
    void expectSilentSuccess(const std::string& command) const {
        const Result result = run(command);
        EXPECT_EQ(result.code, 0) << command;
        EXPECT_EQ(result.out + result.err, "") << command;
    }

    std::string folder;
    std::vector<std::int16_t> speech;
};

TEST_F(Program, listsCodecs) {
    const Result result = run("qolsc codecs");
    EXPECT_EQ(result.code, 0);
    for (const char* name : {"g726-16", "g726-24", "g726-32", "g726-40"}) {
        EXPECT_NE(result.out.find(name), std::string::npos) << name;
    }
}

TEST_F(Program, badInputIsOneLineAndNonZero) {
    const std::string encode = "qolsc encode --codec g726-32 ";
    expectError(encode + "missing.wav out", {"missing.wav", "No such file"});
    expectError(encode + ". out", {"directory"});
    writeFile(at("empty.wav"), {});
    expectError(encode + "empty.wav out", {"empty.wav", "empty"});
    writeFile(at("text.wav"), {'h', 'e', 'l', 'l', 'o', '\n'});
    expectError(encode + "text.wav out", {"text.wav", "--raw"});
    writeFile(at("nosamples.wav"), wavBytes({}, 8000));
    expectError(encode + "nosamples.wav out", {"no samples"});
    Octets cut = readFile(at("in.wav"));
    cut.resize(cut.size() / 2);
    writeFile(at("cut.wav"), cut);
    expectError(encode + "cut.wav out", {"cut.wav", "truncated"});
    writeFile(at("odd.raw"), {1, 2, 3});
    expectError(encode + "--raw 8000 odd.raw out", {"odd.raw", "truncated"});
    EXPECT_FALSE(std::filesystem::exists(at("out"))) << "an error leaves no output";
}

TEST_F(Program, cancellerAndScene) {
    expectSilentSuccess("qolsc aec-scene --talk in.wav --talk-from 0.4 --change-at 0.7 --noise -60 "
                        "--echo echo.wav in.wav near.wav");
    EXPECT_EQ(readAudio(at("near.wav")).samples.size(), speech.size());
    EXPECT_EQ(readAudio(at("echo.wav")).samples.size(), speech.size());
    const Result result = run("qolsc aec in.wav near.wav out.wav --low-delay --report page.html");
    EXPECT_EQ(result.code, 0);
    EXPECT_NE(result.out.find("near over output"), std::string::npos);
    EXPECT_EQ(readAudio(at("out.wav")).samples.size(), speech.size());
    const std::string page = text("page.html");
    for (const char* part :
         {"Far end", "Near end with echo", "Output", "Echo return loss enhancement", "Step size",
          "factor of the controller", "double talk", "disabled by a tone"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    expectError("qolsc aec --engine best in.wav near.wav x.wav", {"best", "subband-dt"});
    expectError("qolsc aec --rate 11025 in.wav near.wav x.wav", {"--rate", "16000"});
    expectError("qolsc aec --tail 0 in.wav near.wav x.wav", {"--tail", "700"});
    expectError("qolsc aec --rate 16000 in.wav near.wav x.wav", {"in.wav", "8000 Hz"});
    expectError("qolsc aec in.wav missing.wav x.wav", {"missing.wav"});
    expectError("qolsc aec in.wav near.wav nowhere/x.wav", {"nowhere/x.wav"});
    expectError("qolsc aec-scene --room 0 in.wav x.wav", {"--room"});
    expectError("qolsc aec-scene --rate 7 in.wav x.wav", {"--rate"});
    expectError("qolsc aec-scene --noise nan in.wav x.wav", {"--noise"});
    expectError("qolsc aec-scene --talk-from -1 in.wav x.wav", {"--talk-from"});
    expectError("qolsc aec-scene --change-at -1 in.wav x.wav", {"--change-at"});
    EXPECT_FALSE(std::filesystem::exists(at("x.wav")));
}

TEST_F(Program, wrongRateTellsHowToConvert) {
    writeAudio(at("wide.wav"), speech, 16000);
    expectError("qolsc encode --codec g726-32 wide.wav out",
                {"16000 Hz", "8000 Hz", "--resample", "sox wide.wav -r 8000"});
    expectSilentSuccess("qolsc encode --codec g726-32 --resample wide.wav out");
    EXPECT_EQ(readFile(at("out")).size(), speech.size() / 2 / 2) << "half the rate, half an octet";
    expectError("qolsc decode --codec g726-32 --raw 16000 in.wav out", {"16000", "8000 Hz"});
}

TEST_F(Program, stereoNeedsMix) {
    // The header of a mono file of left and right samples in turn, changed to two channels.
    std::vector<std::int16_t> both;
    for (const std::int16_t sample : speech) {
        both.push_back(sample);
        both.push_back(static_cast<std::int16_t>(sample / 2));
    }
    Octets stereo = wavBytes(both, 8000);
    stereo[22] = 2; // channels
    stereo[32] = 4; // octets a block
    writeFile(at("stereo.wav"), stereo);
    expectError("qolsc encode --codec g726-32 stereo.wav out", {"2 channels", "--mix"});
    expectSilentSuccess("qolsc encode --codec g726-32 --mix stereo.wav mixed");
    std::vector<std::int16_t> mean;
    for (const std::int16_t sample : speech) {
        mean.push_back(static_cast<std::int16_t>((sample + sample / 2) / 2));
    }
    writeAudio(at("mean.wav"), mean, 8000);
    expectSilentSuccess("qolsc encode --codec g726-32 mean.wav expected");
    EXPECT_EQ(readFile(at("mixed")), readFile(at("expected")));
}

TEST_F(Program, wrongChoicesAreExplained) {
    expectError("qolsc encode --codec g726-23 in.wav out", {"no codec 'g726-23'", "g726-24"});
    expectError("qolsc encode --codec g726-32 --stream file in.wav out", {"'file'", "packed"});
    expectError("qolsc encode --codec g726-32 --dtx in.wav out", {"--dtx"});
    expectError("qolsc encode --codec g729a --dtx --stream packed in.wav out",
                {"packed", "--stream serial"});
    expectSilentSuccess("qolsc encode --codec g729a --dtx in.wav out && "
                        "qolsc decode --codec g729a --stream serial out out.wav");
    expectError("qolsc encode --codec g726-32 --law alaw in.wav out", {"--raw 8000"});
    expectError("qolsc roundtrip --codec g726-32 --loss much in.wav out", {"--loss"});
    expectError("qolsc roundtrip --codec g726-32 --loss 101% in.wav out", {"--loss"});
    expectError("qolsc encode --codec g726-32 in.wav /nowhere/out",
                {"/nowhere/out", "cannot write"});
}

TEST_F(Program, misuseExitsWithTwo) {
    expectError("qolsc", {"subcommand"}, 2);
    expectError("qolsc recode in.wav", {"'recode'", "qolsc --help"}, 2);
    expectError("qolsc encode in.wav out", {"--codec", "qolsc encode --help"}, 2);
    expectError("qolsc encode --codex g726-32 in.wav", {"no option '--codex'"}, 2);
    expectError("qolsc vad in.wav more.wav", {"'more.wav'"}, 2);
    expectError("qolsc encode --codec g726-32 in.wav", {"OUT"}, 2);
    expectError("qolsc encode --codec g726-32 --law blaw in.wav out", {"blaw"}, 2);
    expectError("qolsc encode --codec g726-32 --raw -5 in.wav out", {"--raw", "1 to "}, 2);
    expectError("qolsc encode --codec amr-12.2 --dtx --detector g729 in.wav out", {"amr2"}, 2);
    EXPECT_EQ(run("qolsc --help").code, 0);
    EXPECT_EQ(run("qolsc roundtrip --help").code, 0);
}

TEST_F(Program, pipesAndFilesAreTheSame) {
    expectSilentSuccess("qolsc encode --codec g726-24 in.wav a.bin");
    expectSilentSuccess("qolsc decode --codec g726-24 a.bin a.wav");
    expectSilentSuccess("cat in.wav | qolsc encode --codec g726-24 - - | tee b.bin | "
                        "qolsc decode --codec g726-24 - - | cat >b.wav");
    EXPECT_EQ(readFile(at("a.bin")), readFile(at("b.bin")));
    EXPECT_EQ(readFile(at("a.wav")), readFile(at("b.wav")));
    EXPECT_EQ(readFile(at("a.bin")).size(), 8000u * 3 / 8);
    EXPECT_EQ(readAudio(at("a.wav")).samples.size(), 8000u);
}

TEST_F(Program, rawSamplesAreTheSameAsThoseWithHeader) {
    writeAudio(at("in.raw"), speech, 8000);
    expectSilentSuccess("qolsc encode --codec g726-40 in.wav a.bin && "
                        "qolsc encode --codec g726-40 --raw 8000 in.raw b.bin");
    EXPECT_EQ(readFile(at("a.bin")), readFile(at("b.bin")));
    expectSilentSuccess("qolsc decode --codec g726-40 a.bin a.flac && "
                        "qolsc decode --codec g726-40 --raw 8000 a.bin b.pcm");
    EXPECT_EQ(readAudio(at("a.flac")).samples, readAudio(at("b.pcm"), RawFormat{8000}).samples);
}

TEST_F(Program, allFormsCarryTheSameCodes) {
    std::vector<std::int16_t> first;
    for (const std::string form : {"packed", "serial", "codes", "words"}) {
        const std::string options = " --codec g726-16 --stream " + form + " ";
        expectSilentSuccess("qolsc encode" + options + "in.wav coded");
        expectSilentSuccess("qolsc decode" + options + "coded out.wav");
        const auto samples = readAudio(at("out.wav")).samples;
        if (first.empty()) {
            first = samples;
        }
        EXPECT_EQ(samples, first) << form;
    }
}

TEST_F(Program, sequencesOfTheRecommendationGoStraightIn) {
    const std::string data = qolsc::test::dataPath("waveform/sequences/g726/");
    for (const std::string rate : {"16", "40"}) {
        const std::string options =
            " --codec g726-" + rate + " --raw 8000 --law alaw --stream words '" + data;
        expectSilentSuccess("qolsc encode" + options + "nrm.a' codes");
        EXPECT_EQ(readFile(at("codes")), readFile(data + "rn" + rate + "fa.i")) << rate;
        expectSilentSuccess("qolsc decode" + options + "rn" + rate + "fa.i' samples");
        EXPECT_EQ(readFile(at("samples")), readFile(data + "rn" + rate + "fa.o")) << rate;
    }
}

TEST_F(Program, cutStreamsAreRefused) {
    expectSilentSuccess("qolsc encode --codec g726-32 --stream serial in.wav coded");
    Octets coded = readFile(at("coded"));
    coded.resize(coded.size() - 3);
    writeFile(at("coded"), coded);
    expectError("qolsc decode --codec g726-32 --stream serial coded out.wav",
                {"coded", "truncated", "frame 49"});
    expectError("qolsc decode --codec g726-32 --stream serial in.wav out.wav",
                {"frame 0 at octet 0"});
    writeFile(at("none"), {});
    expectError("qolsc decode --codec g726-32 none out.wav", {"none", "empty"});
}

TEST_F(Program, lossFollowsTheSeed) {
    expectSilentSuccess("qolsc encode --codec g726-32 in.wav coded");
    const std::string decode = "qolsc decode --codec g726-32 coded ";
    expectSilentSuccess(decode + "clean.wav && " + decode + "a.wav --loss 20% && " + decode +
                        "b.wav --loss 20% --seed 1 && " + decode + "c.wav --loss 20% --seed 2");
    EXPECT_EQ(readFile(at("a.wav")), readFile(at("b.wav")));
    EXPECT_NE(readFile(at("a.wav")), readFile(at("c.wav")));
    EXPECT_NE(readFile(at("a.wav")), readFile(at("clean.wav")));
}

TEST_F(Program, roundtripTellsFigures) {
    const Result result = run("qolsc roundtrip --codec g726-32 --loss 10 in.wav out.wav");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    for (const char* figure : {"bit rate               32.00 kbit/s", "segmental SNR",
                               "log-spectral distance", "x real time", "lost frames"}) {
        EXPECT_NE(result.out.find(figure), std::string::npos) << figure;
    }
    EXPECT_EQ(readAudio(at("out.wav")).samples.size(), speech.size());
    const Result piped = run("qolsc roundtrip --codec g726-32 in.wav -");
    EXPECT_EQ(piped.out.rfind("RIFF", 0), 0u) << "figures stay out of the audio";
    EXPECT_NE(piped.err.find("segmental SNR"), std::string::npos);
}

TEST_F(Program, reportStandsAlone) {
    EXPECT_EQ(run("qolsc roundtrip --codec g726-32 in.wav out.wav --report page.html").code, 0);
    const std::string page = text("page.html");
    for (const char* part : {"<!DOCTYPE html>", "segmental SNR", "data:audio/wav;base64,UklGR",
                             "data:image/png;base64,iVBOR", "<svg", "</html>"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    for (const char* outside : {"http:", "https:", "src='/", "href='/"}) {
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    }
}

TEST_F(Program, denoiseTakesAllFourRates) {
    for (const int rate : {8000, 16000, 22050, 32000}) {
        writeAudio(at("noisy.wav"), speech, rate);
        expectSilentSuccess("qolsc denoise noisy.wav off.wav --level 0 --report page.html");
        EXPECT_EQ(readAudio(at("off.wav")).rate, rate);
        expectSilentSuccess("qolsc denoise noisy.wav out.wav --level 3 --report page.html");
        EXPECT_EQ(readAudio(at("out.wav")).samples.size(), speech.size());
        EXPECT_NE(readAudio(at("out.wav")).samples, speech);
        EXPECT_NE(text("page.html").find("Power of the noise known"), std::string::npos);
    }
    writeAudio(at("odd.wav"), speech, 11025);
    expectError("qolsc denoise odd.wav none.wav", {"odd.wav", "11025", "22050"});
    expectError("qolsc denoise in.wav none.wav --level 6", {"--level 6", "0 to 5"});
    expectError("qolsc denoise missing.wav none.wav", {"missing.wav", "No such file"});
    EXPECT_FALSE(std::filesystem::exists(at("none.wav")));
}

TEST_F(Program, levelControlKeepsTheClipLevel) {
    expectSilentSuccess("qolsc alc in.wav out.wav --target 10 --max-gain 20 --clip 12 --report "
                        "page.html");
    const std::vector<std::int16_t> out = readAudio(at("out.wav")).samples;
    EXPECT_EQ(out.size(), speech.size());
    int most = 0;
    for (const std::int16_t y : out) {
        most = std::max(most, std::abs(static_cast<int>(y)));
    }
    EXPECT_LE(most, 8231) << "12 dB below full scale";
    EXPECT_GT(most, 4000);
    EXPECT_NE(text("page.html").find("Gain of each 20 ms"), std::string::npos);
    expectError("qolsc alc in.wav none.wav --clip -1", {"--clip", "0 to 96"});
    writeAudio(at("wide.wav"), speech, 16000);
    expectError("qolsc alc wide.wav none.wav", {"16000 Hz", "--resample"});
}

TEST_F(Program, vadTellsWhereSpeechIs) {
    std::vector<std::int16_t> scene(8000, 0);
    const auto recorded = qolsc::test::readWords("gsm/sequences/speech_a.inp");
    scene.insert(scene.end(), recorded.begin() + 2000, recorded.begin() + 11000); // one phrase
    scene.resize(scene.size() + 8000, 0);
    writeAudio(at("scene.wav"), scene, 8000);
    for (const std::string detector : {"amr1", "amr2", "amrwb --resample"}) {
        const Result result =
            run("qolsc vad --detector " + detector + " scene.wav --report page.html");
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.err, "");
        for (const char* part : {"3.12 s at ", "157 frames", "1 stretch\n", "\n    1.0"}) {
            EXPECT_NE(result.out.find(part), std::string::npos) << part << " in: " << result.out;
        }
        const std::string page = text("page.html");
        EXPECT_NE(page.find("class='mark'"), std::string::npos);
        EXPECT_NE(page.find("Speech only"), std::string::npos);
    }
    writeAudio(at("silence.wav"), std::vector<std::int16_t>(4000, 0), 8000);
    const Result silence = run("qolsc vad silence.wav");
    EXPECT_NE(silence.out.find("0.0 % of the frames, 0 stretches"), std::string::npos);
    expectError("qolsc vad --detector amrwb scene.wav", {"8000 Hz", "16000 Hz", "--resample"});
    writeAudio(at("wide.wav"), speech, 16000);
    expectError("qolsc vad --detector amr2 wide.wav", {"16000 Hz", "8000 Hz", "--resample"});
    expectError("qolsc vad --detector g729 in.wav", {"'g729'", "amr1, amr2, amrwb"});
    expectError("qolsc vad missing.wav", {"missing.wav", "No such file"});
}

// The files of Annex A under the standard's own names, in a folder that tells the annex.
TEST_F(Program, conformanceTakesTheUsersOwnCopy) {
    const std::string data = qolsc::test::dataPath("g729/sequences/annexa_fixed");
    const std::string own = at("Software/G729AnnexA/vectors");
    std::filesystem::create_directories(own);
    for (const auto& [ours, theirs] :
         {std::pair{".in", "FIXED.IN"}, std::pair{".bit", "FIXED.BIT"}}) {
        std::filesystem::copy_file(data + ours, own + "/" + theirs);
    }
    Octets output = readFile(data + ".pst");
    writeFile(own + "/FIXED.PST", output);
    const Result good = run("qolsc conformance --data Software --standard G.729");
    EXPECT_EQ(good.code, 0) << good.err;
    for (const char* part : {"FIXED.IN -> FIXED.BIT ", "FIXED.BIT -> FIXED.PST ", "bit-exact"}) {
        EXPECT_NE(good.out.find(part), std::string::npos) << part;
    }

    output[2 * (80 * 7 + 5)] ^= 1; // frame 7, sample 5
    writeFile(own + "/FIXED.PST", output);
    const Result bad = run("qolsc conformance --data Software");
    EXPECT_EQ(bad.code, 1);
    EXPECT_EQ(bad.err, "qolsc: not bit-exact\n");
    EXPECT_NE(bad.out.find("DIFFERS from frame 7, sample 5\n"), std::string::npos) << bad.out;
}

TEST_F(Program, conformanceCountsBySequence) {
    const Result result = run("qolsc conformance --standard G.726 --standard G.722.1 --data '" +
                              qolsc::test::dataPath("waveform") + "'");
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_NE(result.out.find("\nG.726                 56        56       0\n"), std::string::npos)
        << result.out;
    EXPECT_EQ(result.out.find("G.722 "), std::string::npos);
    expectError("qolsc conformance --data .", {"no test sequences", "--names"});
    expectError("qolsc conformance --data nowhere", {"nowhere", "No such file"});
    expectError("qolsc conformance", {"--data DIR"});
    expectError("qolsc conformance --standard G.711", {"G.711", "G.722.1"});
}

} // namespace
