// SPDX-License-Identifier: Apache-2.0
// Audio files by libsndfile on whole files in memory, so that pipes and files are the same.
#include "audio.h"

#include "codecs/streams.h"
#include "failure.h"
#include "files.h"
#include "resample.h"

#include <sndfile.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

namespace qolsc::tools {

namespace {

// ---- a file in memory for libsndfile ----

struct Memory {
    std::vector<std::uint8_t> bytes;
    sf_count_t at = 0;
};

sf_count_t memoryLength(void* user) {
    return static_cast<sf_count_t>(static_cast<Memory*>(user)->bytes.size());
}

sf_count_t memorySeek(sf_count_t offset, int whence, void* user) {
    auto* memory = static_cast<Memory*>(user);
    const sf_count_t base = whence == SEEK_SET   ? 0
                            : whence == SEEK_CUR ? memory->at
                                                 : memoryLength(user);
    memory->at = std::max<sf_count_t>(0, base + offset);
    return memory->at;
}

sf_count_t memoryRead(void* to, sf_count_t count, void* user) {
    auto* memory = static_cast<Memory*>(user);
    const sf_count_t left = std::max<sf_count_t>(0, memoryLength(user) - memory->at);
    const sf_count_t got = std::clamp<sf_count_t>(count, 0, left);
    if (got > 0) {
        std::memcpy(to, memory->bytes.data() + memory->at, static_cast<std::size_t>(got));
    }
    memory->at += got;
    return got;
}

sf_count_t memoryWrite(const void* from, sf_count_t count, void* user) {
    auto* memory = static_cast<Memory*>(user);
    const auto end = static_cast<std::size_t>(memory->at + count);
    if (end > memory->bytes.size()) {
        memory->bytes.resize(end);
    }
    std::memcpy(memory->bytes.data() + memory->at, from, static_cast<std::size_t>(count));
    memory->at += count;
    return count;
}

sf_count_t memoryTell(void* user) { return static_cast<Memory*>(user)->at; }

SF_VIRTUAL_IO kMemoryIo = {memoryLength, memorySeek, memoryRead, memoryWrite, memoryTell};

using Sound = std::unique_ptr<SNDFILE, int (*)(SNDFILE*)>;

Sound openSound(Memory& memory, int mode, SF_INFO& info) {
    return Sound(sf_open_virtual(&kMemoryIo, mode, &info, &memory), sf_close);
}

// ---- headers that promise more than the file holds ----

std::uint64_t number(const std::vector<std::uint8_t>& bytes, std::size_t at, bool bigEndian) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= std::uint64_t{bytes[at + i]} << (8 * (bigEndian ? 3 - i : i));
    }
    return value;
}

/// Size that the header of a WAV or AU file gives the file, 0 when it gives none. Programs that
/// write to pipes leave values near the top of the 31- or 32-bit range.
std::uint64_t promisedSize(const std::vector<std::uint8_t>& bytes) {
    constexpr std::uint64_t kUnknown = 0x7FFF0000;
    if (bytes.size() >= 12 && std::memcmp(bytes.data(), "RIFF", 4) == 0) {
        const std::uint64_t size = number(bytes, 4, false);
        return size >= kUnknown ? 0 : size + 8;
    }
    if (bytes.size() >= 24 && std::memcmp(bytes.data(), ".snd", 4) == 0) {
        const std::uint64_t size = number(bytes, 8, true);
        return size >= kUnknown ? 0 : size + number(bytes, 4, true);
    }
    return 0;
}

[[noreturn]] void failTruncated(const std::string& name, std::uint64_t promised, std::uint64_t is) {
    fail(name + ": truncated: " + std::to_string(is) + " octets where " + std::to_string(promised) +
         " are due");
}

Audio readSound(const std::string& name, std::vector<std::uint8_t> bytes) {
    if (const std::uint64_t promised = promisedSize(bytes); promised > bytes.size()) {
        failTruncated(name, promised, bytes.size());
    }
    Memory memory{std::move(bytes)};
    SF_INFO info{};
    const Sound sound = openSound(memory, SFM_READ, info);
    if (!sound) {
        fail(name + ": no audio file that can be read (samples without header need --raw RATE, "
                    "where the command has it)");
    }
    sf_command(sound.get(), SFC_SET_SCALE_FLOAT_INT_READ, nullptr, SF_TRUE);
    sf_command(sound.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    Audio audio{info.samplerate, info.channels, {}};
    // Read block by block: a damaged header's count of frames is no reason to allocate.
    std::vector<std::int16_t> block(static_cast<std::size_t>(info.channels) * 16384);
    while (const sf_count_t got = sf_readf_short(sound.get(), block.data(), 16384)) {
        audio.samples.insert(audio.samples.end(), block.begin(),
                             block.begin() + got * info.channels);
    }
    const auto frames = static_cast<sf_count_t>(audio.samples.size()) / info.channels;
    if (sf_error(sound.get()) != SF_ERR_NO_ERROR || frames < info.frames) {
        fail(name + ": truncated or damaged: only " + std::to_string(frames) +
             " samples can be read");
    }
    return audio;
}

Audio readRaw(const std::string& name, const std::vector<std::uint8_t>& bytes,
              const RawFormat& raw) {
    Audio audio{raw.rate, 1, {}};
    if (raw.octets) {
        for (const std::uint8_t octet : bytes) {
            audio.samples.push_back(expand(raw.law, octet));
        }
        return audio;
    }
    if (bytes.size() % 2 != 0) {
        fail(name + ": truncated: half a 16-bit sample at its end");
    }
    for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
        const std::uint16_t word = wordAt(bytes, i);
        if (raw.law != Law::linear && word > 0xFF) {
            fail(name + ": word " + std::to_string(i) +
                 " is no companded octet (one octet a sample: add --octets)");
        }
        audio.samples.push_back(raw.law == Law::linear
                                    ? static_cast<std::int16_t>(word)
                                    : expand(raw.law, static_cast<std::uint8_t>(word)));
    }
    return audio;
}

// ---- writing ----

int formatOf(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return extension == ".au"     ? SF_FORMAT_AU | SF_FORMAT_PCM_16
           : extension == ".flac" ? SF_FORMAT_FLAC | SF_FORMAT_PCM_16
                                  : SF_FORMAT_WAV | SF_FORMAT_PCM_16;
}

std::vector<std::uint8_t> soundBytes(std::span<const std::int16_t> samples, int rate, int format) {
    Memory memory;
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = format;
    Sound sound = openSound(memory, SFM_WRITE, info);
    if (!sound ||
        sf_write_short(sound.get(), samples.data(), static_cast<sf_count_t>(samples.size())) !=
            static_cast<sf_count_t>(samples.size())) {
        fail(std::string("cannot make the audio file: ") + sf_strerror(sound.get()));
    }
    sound.reset(); // completes the header
    return std::move(memory.bytes);
}

std::vector<std::uint8_t> rawBytes(std::span<const std::int16_t> samples, bool octets) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(samples.size() * 2);
    for (const std::int16_t sample : samples) {
        if (octets) {
            bytes.push_back(static_cast<std::uint8_t>(sample));
        } else {
            putWord(bytes, static_cast<std::uint16_t>(sample));
        }
    }
    return bytes;
}

// ---- channels ----

Audio mixed(const Audio& audio) {
    Audio mono{audio.rate, 1, {}};
    const auto channels = static_cast<std::size_t>(audio.channels);
    for (std::size_t i = 0; i + channels <= audio.samples.size(); i += channels) {
        int sum = 0;
        for (std::size_t c = 0; c < channels; ++c) {
            sum += audio.samples[i + c];
        }
        mono.samples.push_back(static_cast<std::int16_t>(sum / audio.channels));
    }
    return mono;
}

} // namespace

Audio readAudio(const std::string& path, const RawFormat& raw) {
    const std::string name = shownName(path, true);
    std::vector<std::uint8_t> bytes = readFile(path);
    if (bytes.empty()) {
        fail(name + ": empty");
    }
    Audio audio = raw.rate > 0 ? readRaw(name, bytes, raw) : readSound(name, std::move(bytes));
    if (audio.samples.empty()) {
        fail(name + ": holds no samples");
    }
    return audio;
}

Audio readMono(const std::string& path, int rate, const Adaptation& adaptation,
               const RawFormat& raw, const std::string& user) {
    Audio audio = readAudio(path, raw);
    const std::string name = shownName(path, true);
    const std::string sox = "sox " + (path == "-" ? "IN.wav" : path);
    if (rate != 0 && audio.rate != rate && !adaptation.resample) {
        const std::string wanted = std::to_string(rate);
        fail(name + ": " + std::to_string(audio.rate) + " Hz, but " + user + " takes " + wanted +
             " Hz; add --resample, or convert it: " + sox + " -r " + wanted +
             (audio.channels > 1 ? " -c 1" : "") + " OUT.wav");
    }
    if (audio.channels > 1 && !adaptation.mix) {
        fail(name + ": " + std::to_string(audio.channels) +
             " channels, but one is taken; add --mix for their mean, or convert it: " + sox +
             " -c 1 OUT.wav");
    }
    if (audio.channels > 1) {
        audio = mixed(audio);
    }
    if (rate != 0 && audio.rate != rate) {
        audio = Audio{rate, 1, resample(audio.samples, audio.rate, rate)};
    }
    return audio;
}

void writeAudio(const std::string& path, std::span<const std::int16_t> samples, int rate,
                const RawFormat& raw) {
    if (raw.rate > 0 || std::filesystem::path(path).extension() == ".raw") {
        writeFile(path, rawBytes(samples, raw.octets));
        return;
    }
    writeFile(path, soundBytes(samples, rate, formatOf(path)));
}

std::vector<std::uint8_t> wavBytes(std::span<const std::int16_t> samples, int rate) {
    return soundBytes(samples, rate, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
}

std::int16_t expand(Law law, std::uint8_t octet) {
    if (law == Law::linear) {
        return static_cast<std::int16_t>(octet);
    }
    // Both laws: sign, three bits of segment, four of step; A-law has its even bits inverted on the
    // line, mu-law all of them.
    const int code = octet ^ (law == Law::alaw ? 0x55 : 0xFF);
    const int segment = (code >> 4) & 7;
    const int step = code & 15;
    int magnitude;
    bool negative;
    if (law == Law::alaw) {
        magnitude = segment == 0 ? (step << 4) + 8 : ((step << 4) + 0x108) << (segment - 1);
        negative = (code & 0x80) == 0;
    } else {
        magnitude = (((step << 3) + 0x84) << segment) - 0x84;
        negative = (code & 0x80) != 0;
    }
    return static_cast<std::int16_t>(negative ? -magnitude : magnitude);
}

} // namespace qolsc::tools
