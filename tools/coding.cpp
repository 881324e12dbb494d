// SPDX-License-Identifier: Apache-2.0
// Whole signals through a codec.
#include "coding.h"

#include "codecs/bits.h"
#include "codecs/streams.h"
#include "failure.h"
#include "progress.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>

namespace qolsc::tools {

namespace {

using Coder = std::unique_ptr<void, void (*)(void*)>;

std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[b.size()];
}

} // namespace

std::vector<Frame> encodeAll(const Codec& codec, const CodecSettings& settings,
                             std::span<const std::int16_t> samples) {
    const Coder encoder(codec.openEncoder(codec, settings), codec.closeEncoder);
    if (!encoder) {
        fail(std::string(codec.name) + ": the encoder doesn't take these settings");
    }
    const auto full = static_cast<std::size_t>(codec.frameSamples);
    const auto granule = static_cast<std::size_t>(codec.granule);
    std::vector<Frame> frames;
    std::vector<std::int16_t> last;
    Progress progress{"encoding", samples.size()};
    for (std::size_t at = 0; at < samples.size(); at += full) {
        const std::size_t left = std::min(full, samples.size() - at);
        const std::size_t taken = (left + granule - 1) / granule * granule;
        const std::int16_t* pcm = samples.data() + at;
        if (taken > left) {
            last.assign(pcm, pcm + left);
            last.resize(taken, 0);
            pcm = last.data();
        }
        clearFrame(frames.emplace_back());
        codec.encode(encoder.get(), pcm, static_cast<int>(taken), frames.back());
        showProgress(progress, at + left);
    }
    endProgress(progress);
    return frames;
}

namespace {
/// Samples that a frame stands for, by its count of bits.
std::size_t samplesOf(const Codec& codec, const Frame& frame) {
    const bool whole = codec.frameBits <= 0 || frame.bits <= 0 || frame.bits >= codec.frameBits;
    return static_cast<std::size_t>(whole ? codec.frameSamples
                                          : frame.bits * codec.frameSamples / codec.frameBits);
}
} // namespace

std::vector<std::int16_t> decodeAll(const Codec& codec, const CodecSettings& settings,
                                    const std::vector<Frame>& frames, LostFrames lost) {
    const Coder decoder(codec.openDecoder(codec, settings), codec.closeDecoder);
    if (!decoder) {
        fail(std::string(codec.name) + ": the decoder doesn't take these settings");
    }
    const auto full = static_cast<std::size_t>(codec.frameSamples);
    std::vector<std::int16_t> samples(frames.size() * full);
    std::size_t count = 0;
    Progress progress{"decoding", frames.size()};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (lost == LostFrames::mute && frames[i].kind == FrameKind::lost) {
            count += samplesOf(codec, frames[i]); // zeros stand there already
        } else {
            count += static_cast<std::size_t>(
                codec.decode(decoder.get(), frames[i], samples.data() + count));
        }
        showProgress(progress, i + 1);
    }
    endProgress(progress);
    samples.resize(count);
    return samples;
}

std::vector<std::uint8_t> writeStream(const Codec& codec, const StreamForm& form,
                                      const std::vector<Frame>& frames) {
    std::vector<std::uint8_t> stream;
    if (form.writeHeader) {
        form.writeHeader(codec, stream);
    }
    for (const Frame& frame : frames) {
        form.writeFrame(codec, frame, stream);
    }
    return stream;
}

std::vector<Frame> readStream(const Codec& codec, const StreamForm& form,
                              std::span<const std::uint8_t> stream, const std::string& name) {
    if (stream.empty()) {
        fail(name + ": empty");
    }
    std::span<const std::uint8_t> rest = stream;
    if (form.readHeader) {
        const std::ptrdiff_t header = form.readHeader(codec, rest);
        if (header < 0) {
            fail(name + ": lacks the header of " + codec.name + " in the form '" + form.name + "'");
        }
        rest = rest.subspan(static_cast<std::size_t>(header));
    }
    std::vector<Frame> frames;
    while (true) {
        Frame frame;
        const std::ptrdiff_t taken = form.readFrame(codec, rest, frame);
        if (taken < 0) {
            fail(name + ": truncated or no " + codec.name + " stream in the form '" + form.name +
                 "': frame " + std::to_string(frames.size()) + " at octet " +
                 std::to_string(stream.size() - rest.size()));
        }
        if (taken == 0) {
            return frames;
        }
        frames.push_back(std::move(frame));
        rest = rest.subspan(static_cast<std::size_t>(taken));
    }
}

std::size_t loseFrames(std::vector<Frame>& frames, double probability, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::size_t lost = 0;
    for (Frame& frame : frames) {
        if (random() < probability * 4294967296.0) {
            eraseFrame(frame);
            ++lost;
        }
    }
    return lost;
}

const Codec& codecNamed(const std::string& name) {
    if (const Codec* codec = findCodec(name)) {
        return *codec;
    }
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const Codec* codec : allCodecs()) {
        ranked.emplace_back(editDistance(name, codec->name), codec->name);
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string similar;
    for (std::size_t i = 0; i < std::min<std::size_t>(ranked.size(), 3); ++i) {
        similar += (i == 0 ? "; did you mean " : ", ") + ranked[i].second;
    }
    fail("no codec '" + name + "'" + similar + "? 'qolsc codecs' lists all");
}

const StreamForm& formNamed(const Codec& codec, const std::string& name) {
    if (name.empty()) {
        return *codec.forms.front();
    }
    if (const StreamForm* form = findForm(codec, name)) {
        return *form;
    }
    std::string forms;
    for (const StreamForm* form : codec.forms) {
        forms += (forms.empty() ? "" : ", ") + std::string(form->name);
    }
    fail(std::string(codec.name) + " has no coded form '" + name + "', only: " + forms);
}

const StreamForm& formOfPauses(const Codec& codec, const std::string& name) {
    const auto isFit = [](const StreamForm* form) { return !form->fixedSize; };
    if (name.empty()) {
        return **std::find_if(codec.forms.begin(), codec.forms.end(), isFit);
    }
    const StreamForm& form = formNamed(codec, name);
    if (form.fixedSize) {
        fail("the form '" + name + "' has no place for pauses: with --dtx take --stream " +
             formOfPauses(codec, "").name);
    }
    return form;
}

} // namespace qolsc::tools
