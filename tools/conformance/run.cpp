// SPDX-License-Identifier: Apache-2.0
// A test sequence through its coder, and the first place where what comes out differs.
#include "audio.h"
#include "codecs/amr/rate.h"
#include "codecs/bits.h"
#include "codecs/g729/encoder_e.h"
#include "codecs/streams.h"
#include "coding.h"
#include "conformance/sequences.h"
#include "files.h"

#include "qolsc/g722.h"

#include <algorithm>
#include <memory>

namespace qolsc::tools::conformance {

namespace {

using Octets = std::vector<std::uint8_t>;
using Words = std::vector<std::int16_t>;
using Coder = std::unique_ptr<void, void (*)(void*)>;

Words readWords(const std::filesystem::path& path) {
    const Octets octets = readFile(path);
    Words words(octets.size() / 2);
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<std::int16_t>(wordAt(octets, i));
    }
    return words;
}

/// First place where they differ, or where the shorter one ends.
template <typename T>
std::size_t firstDifference(const std::vector<T>& got, const std::vector<T>& want) {
    return static_cast<std::size_t>(
        std::mismatch(got.begin(), got.end(), want.begin(), want.end()).first - got.begin());
}

/// What came of a coder whose frames begin at the starts.
template <typename T>
Outcome outcomeOf(const std::vector<T>& got, const std::vector<T>& want,
                  const std::vector<std::size_t>& starts, const char* unit) {
    Outcome outcome{.frames = starts.size(), .exact = got == want, .unit = unit};
    if (!outcome.exact) {
        outcome.place = firstDifference(got, want);
        const auto next = std::upper_bound(starts.begin(), starts.end(), outcome.place);
        if (next != starts.begin()) { // else it is the stream's header that differs
            outcome.frame = static_cast<std::size_t>(next - starts.begin()) - 1;
            outcome.place -= starts[outcome.frame];
        }
    }
    return outcome;
}

// ---- encoders ----

/// Words of 16 bits, the first bit of the stream in the top one.
void writeSwapped(const Codec&, const Frame& frame, Octets& out) {
    for (int position = 0; position < frame.bits;) {
        putWord(out, static_cast<std::uint16_t>(takeBits(frame, position, 16)));
    }
}

std::ptrdiff_t readSwapped(const Codec& codec, std::span<const std::uint8_t> in, Frame& frame) {
    const auto octets = static_cast<std::size_t>(codec.frameBits) / 8;
    if (in.size() < octets) {
        return in.empty() ? 0 : -1;
    }
    clearFrame(frame);
    for (std::size_t i = 0; i < octets / 2; ++i) {
        putBits(frame, wordAt(in, i), 16);
    }
    return static_cast<std::ptrdiff_t>(octets);
}

constexpr StreamForm kSwapped{"swapped", nullptr, writeSwapped, nullptr, readSwapped};

const StreamForm& formOf(const Rule& rule, const Codec& codec) {
    return rule.form == kSwapped.name ? kSwapped : formNamed(codec, rule.form);
}

/// An encoder takes linear samples; a decoder makes those of the law.
CodecSettings settingsOf(const Rule& rule) {
    CodecSettings settings;
    settings.dtx = rule.dtx;
    settings.filters = rule.filters;
    settings.law = rule.task == Task::decode ? rule.law : Law::linear;
    return settings;
}

Words encoderInput(const Rule& rule, const std::filesystem::path& path) {
    Words words = readWords(path);
    if (rule.law != Law::linear) {
        for (std::int16_t& w : words) {
            w = expand(rule.law, static_cast<std::uint8_t>(w));
        }
    }
    return words;
}

/// Codes one frame of a sequence at its rate.
void encodeFrame(const Rule& rule, const Codec& codec, void* encoder, const Words& rates,
                 std::size_t index, const std::int16_t* pcm, int samples, Frame& frame) {
    constexpr int kModes[14] = {7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6};
    if (rule.rates == Rates::amrAllModes) {
        amr::setRate(encoder, kModes[index % std::size(kModes)]);
    }
    const bool low = index < rates.size() && rates[index] == 0;
    (low ? g729e::encode8000 : codec.encode)(encoder, pcm, samples, frame);
}

/// Codes all full frames, of a codec of granules all samples; starts are where frames begin.
Octets encodeWords(const Rule& rule, const Codec& codec, void* encoder, const Words& pcm,
                   const Words& rates, std::vector<std::size_t>& starts) {
    const StreamForm& form = formOf(rule, codec);
    const auto full = static_cast<std::size_t>(codec.frameSamples);
    const auto least = static_cast<std::size_t>(codec.granule);
    Octets out;
    if (form.writeHeader != nullptr) {
        form.writeHeader(codec, out);
    }
    for (std::size_t at = 0; at + least <= pcm.size(); at += full) {
        const std::size_t samples = std::min(full, (pcm.size() - at) / least * least);
        Frame frame;
        encodeFrame(rule, codec, encoder, rates, starts.size(), pcm.data() + at,
                    static_cast<int>(samples), frame);
        starts.push_back(out.size());
        form.writeFrame(codec, frame, out);
    }
    return out;
}

Outcome runEncoder(const Sequence& s, const Codec& codec) {
    const Coder encoder(codec.openEncoder(codec, settingsOf(*s.rule)), codec.closeEncoder);
    std::vector<std::size_t> starts;
    if (!s.initialisation.empty()) {
        encodeWords(*s.rule, codec, encoder.get(), encoderInput(*s.rule, s.initialisation), {},
                    starts);
        starts.clear();
    }
    const Words rates = s.rates.empty() ? Words{} : readWords(s.rates);
    const Octets got =
        encodeWords(*s.rule, codec, encoder.get(), encoderInput(*s.rule, s.input), rates, starts);
    return outcomeOf(got, readFile(s.expected), starts, "octet");
}

// ---- decoders ----

Words decodeStream(const Sequence& s, const Codec& codec, void* decoder,
                   const std::filesystem::path& path, std::vector<std::size_t>& starts) {
    const std::vector<Frame> frames =
        readStream(codec, formOf(*s.rule, codec), readFile(path), path.string());
    const auto full = static_cast<std::size_t>(codec.frameSamples);
    Words out;
    for (const Frame& frame : frames) {
        starts.push_back(out.size());
        out.resize(out.size() + full);
        const int count = codec.decode(decoder, frame, out.data() + out.size() - full);
        out.resize(starts.back() + static_cast<std::size_t>(count));
    }
    return out;
}

Outcome runDecoder(const Sequence& s, const Codec& codec) {
    const Coder decoder(codec.openDecoder(codec, settingsOf(*s.rule)), codec.closeDecoder);
    std::vector<std::size_t> starts;
    if (!s.initialisation.empty()) {
        decodeStream(s, codec, decoder.get(), s.initialisation, starts);
        starts.clear();
    }
    const Words got = decodeStream(s, codec, decoder.get(), s.input, starts);
    return outcomeOf(got, readWords(s.expected), starts, "sample");
}

// ---- G.722 without its filters (Appendix II) ----

constexpr int kReset = 1; ///< bit 0 of a word: the coder starts again, and the word goes through

Outcome runSubBand(const Sequence& s) {
    Qol32s size = 0;
    qolsSBADPCMDecodeStateSize_G722_16s(&size);
    Octets record(static_cast<std::size_t>(size));
    auto* state = reinterpret_cast<QolsSBADPCMState_G722*>(record.data());
    qolsSBADPCMDecodeInit_G722_16s(state);
    const auto mode = static_cast<Qol16s>(s.rule->form.empty() ? 1 : s.rule->form[0] - '0');
    Words words = readWords(s.input);
    for (std::int16_t& word : words) {
        if ((word & kReset) != 0) {
            qolsSBADPCMDecodeInit_G722_16s(state);
            word = kReset;
        } else if (s.rule->task == Task::subBandEncode) {
            const auto sample = static_cast<Qol16s>(word >> 1);
            Qol16s pair[2] = {sample, sample};
            qolsSBADPCMEncode_G722_16s(pair, pair, 2, state);
            word = static_cast<std::int16_t>((pair[1] << 6 | pair[0]) << 8);
        } else {
            Qol16s pair[2] = {static_cast<Qol16s>(word >> 8 & 63),
                              static_cast<Qol16s>(word >> 14 & 3)};
            qolsSBADPCMDecode_G722_16s(pair, pair, 2, mode, state);
            word = static_cast<std::int16_t>(pair[s.rule->task == Task::subBandLow ? 0 : 1] * 2);
        }
    }
    const Words want = readWords(s.expected);
    return {.frames = words.size(), // a frame is a word here
            .exact = words == want,
            .frame = firstDifference(words, want)};
}

} // namespace

Outcome run(const Sequence& sequence) {
    const Codec& codec = codecNamed(sequence.rule->codec);
    return sequence.rule->task == Task::encode   ? runEncoder(sequence, codec)
           : sequence.rule->task == Task::decode ? runDecoder(sequence, codec)
                                                 : runSubBand(sequence);
}

} // namespace qolsc::tools::conformance
