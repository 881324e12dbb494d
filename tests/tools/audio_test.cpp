// SPDX-License-Identifier: Apache-2.0
// Audio files come back as written; companded octets expand as ITU-T G.711 says.
#include "audio.h"
#include "failure.h"
#include "files.h"
#include "kit/data.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace {

using namespace qolsc::tools;

struct Folder {
    Folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "qolsc-audio-XXXXXX";
        path = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string operator/(const char* name) const { return path + "/" + name; }
    std::string path;
};

TEST(Audio, everyFormatComesBack) {
    const Folder folder;
    qolsc::test::Random r;
    const auto samples = qolsc::test::noise16(r, 5000);
    for (const char* name : {"a.wav", "a.au", "a.flac", "noextension"}) {
        writeAudio(folder / name, samples, 16000);
        const Audio audio = readAudio(folder / name);
        EXPECT_EQ(audio.rate, 16000) << name;
        EXPECT_EQ(audio.channels, 1) << name;
        EXPECT_EQ(audio.samples, samples) << name;
    }
    writeAudio(folder / "a.raw", samples, 16000);
    EXPECT_EQ(readAudio(folder / "a.raw", RawFormat{8000}).samples, samples);
}

TEST(Audio, everyCutOfAWavFileIsNoticed) {
    const Folder folder;
    const std::vector<std::uint8_t> whole = wavBytes(std::vector<std::int16_t>(100, 7), 8000);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        writeFile(folder / "cut.wav", {whole.begin(), whole.begin() + static_cast<long>(size)});
        EXPECT_THROW(readAudio(folder / "cut.wav"), Failure) << size;
    }
}

TEST(Audio, aHeaderWrittenToAPipeIsTaken) {
    const Folder folder;
    std::vector<std::uint8_t> bytes = wavBytes(std::vector<std::int16_t>(100, 7), 8000);
    for (const std::size_t at : {4, 40}) { // sizes of the file and of its samples
        std::fill_n(bytes.begin() + static_cast<long>(at), 4, std::uint8_t{0xFF});
    }
    writeFile(folder / "pipe.wav", bytes);
    EXPECT_EQ(readAudio(folder / "pipe.wav").samples.size(), 100u);
}

TEST(Audio, companded) {
    EXPECT_EQ(expand(Law::mulaw, 0x00), -32124);
    EXPECT_EQ(expand(Law::mulaw, 0x80), 32124);
    EXPECT_EQ(expand(Law::mulaw, 0xFF), 0);
    EXPECT_EQ(expand(Law::mulaw, 0x7F), 0);
    EXPECT_EQ(expand(Law::alaw, 0x00), -5504);
    EXPECT_EQ(expand(Law::alaw, 0xD5), 8);
    EXPECT_EQ(expand(Law::alaw, 0x55), -8);
    EXPECT_EQ(expand(Law::alaw, 0x2A), -32256);
}

} // namespace
