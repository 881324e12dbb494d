// SPDX-License-Identifier: Apache-2.0
// Detectors driven by the front end of their encoders, which gives them lags and tones.
#include "codecs/vad.h"

#include "codecs/amr/encoder.h"
#include "codecs/amrwb/encoder.h"

#include <algorithm>
#include <memory>

namespace qolsc::tools {

namespace {

template <typename Encoder>
std::vector<bool> detect(Encoder& encoder, std::span<const std::int16_t> samples,
                         std::size_t frame) {
    std::vector<bool> flags;
    std::vector<std::int16_t> last(frame);
    for (; !samples.empty(); samples = samples.subspan(std::min(frame, samples.size()))) {
        const std::int16_t* pcm = samples.data();
        if (samples.size() < frame) {
            std::copy(samples.begin(), samples.end(), last.begin());
            pcm = last.data();
        }
        flags.push_back(detectSpeech(encoder, pcm));
    }
    return flags;
}

template <amr::Detector Option>
std::vector<bool> narrowband(std::span<const std::int16_t> samples) {
    const auto encoder = std::make_unique<amr::Encoder>();
    amr::reset(*encoder, amr::k122, Option);
    return detect(*encoder, samples, amr::kFrame);
}

std::vector<bool> wideband(std::span<const std::int16_t> samples) {
    const auto encoder = std::make_unique<amrwb::Encoder>();
    amrwb::reset(*encoder, 2, true);
    return detect(*encoder, samples, amrwb::kFrame16k);
}

constexpr Vad kVads[] = {
    {"amr1", "AMR, option 1 (3GPP TS 26.094)", 8000, narrowband<amr::Detector::option1>},
    {"amr2", "AMR, option 2 (3GPP TS 26.094)", 8000, narrowband<amr::Detector::option2>},
    {"amrwb", "AMR-WB (3GPP TS 26.194)", 16000, wideband},
};

} // namespace

std::span<const Vad> allVads() { return kVads; }

const Vad* findVad(const std::string& name) {
    const Vad* vad = std::find_if(std::begin(kVads), std::end(kVads),
                                  [&](const Vad& v) { return name == v.name; });
    return vad == std::end(kVads) ? nullptr : vad;
}

std::vector<VadRun> speechRuns(const std::vector<bool>& flags) {
    std::vector<VadRun> runs;
    for (std::size_t n = 0; n < flags.size(); ++n) {
        if (!flags[n]) {
            continue;
        }
        if (n > 0 && flags[n - 1]) {
            ++runs.back().to;
        } else {
            runs.push_back({n, n + 1});
        }
    }
    return runs;
}

} // namespace qolsc::tools
