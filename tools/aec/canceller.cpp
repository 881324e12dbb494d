// SPDX-License-Identifier: Apache-2.0
// Runs an engine over whole signals, aligns its output, and switches it off while a modem asks for
// that by a tone with phase reversals (ITU-T G.168 §7).
#include "aec/canceller.h"

#include "aec/engines.h"
#include "failure.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qolsc::tools {

namespace {

struct Name {
    const char* name;
    AecEngine engine;
};
constexpr Name kNames[] = {{"subband", AecEngine::subband},
                           {"subband-fixed", AecEngine::subbandFixed},
                           {"subband-dt", AecEngine::subbandDt},
                           {"fullband", AecEngine::fullband},
                           {"fullband-fixed", AecEngine::fullbandFixed}};

AecRunner makeRunner(const AecSettings& settings) {
    switch (settings.engine) {
    case AecEngine::subband:
        return makeSubbandFloat(settings);
    case AecEngine::subbandFixed:
        return makeSubbandFixed(settings, false);
    case AecEngine::subbandDt:
        return makeSubbandFixed(settings, true);
    case AecEngine::fullband:
        return makeFullbandFloat(settings);
    case AecEngine::fullbandFixed:
        break;
    }
    return makeFullbandFixed(settings);
}

/// Disabling by the tone on either side; released after 400 ms in which both are quiet.
struct ToneSwitch {
    int rate;
    AecMemory far, near;
    int quiet = 0;
    bool off = false;
};

AecMemory makeToneDetector(int rate) {
    Qol32s bytes = 0;
    aecCheck(qolsToneDetectGetStateSize_EC_16s(rate, &bytes));
    AecMemory memory(bytes);
    aecCheck(qolsToneDetectInit_EC_16s(memory.as<QolsToneDetectState_EC_16s>(), rate));
    return memory;
}

bool isToneIn(AecMemory& memory, const std::int16_t* x, int len) {
    Qol32s result = 0;
    aecCheck(qolsToneDetect_EC_16s(x, len, &result, memory.as<QolsToneDetectState_EC_16s>()));
    return result != 0;
}

/// Below -36 dBm0, where full scale is +3.14 dBm0.
bool isQuiet(const std::int16_t* x, int len) {
    double sum = 0;
    for (int n = 0; n < len; ++n) {
        sum += double(x[n]) * x[n];
    }
    return sum < len * 0.5 * std::pow(32768.0 * std::pow(10.0, -39.14 / 20), 2);
}

bool switchedOff(ToneSwitch& s, const std::int16_t* far, const std::int16_t* near, int len) {
    const bool onFar = isToneIn(s.far, far, len),
               onNear = isToneIn(s.near, near, len); // both run on
    s.quiet = isQuiet(far, len) && isQuiet(near, len) ? s.quiet + len : 0;
    s.off = onFar || onNear || (s.off && s.quiet < s.rate * 2 / 5);
    return s.off;
}

} // namespace

void aecCheck(int status) {
    if (status != 0) {
        fail("the echo canceller can't be set up this way (status " + std::to_string(status) + ")");
    }
}

std::string aecEngineNames() {
    std::string names;
    for (const Name& n : kNames) {
        names += (names.empty() ? "" : ", ") + std::string(n.name);
    }
    return names;
}

AecEngine aecEngineNamed(const std::string& name) {
    for (const Name& n : kNames) {
        if (name == n.name) {
            return n.engine;
        }
    }
    fail("no engine '" + name + "' (there are " + aecEngineNames() + ")");
}

AecResult cancelEcho(const AecSettings& settings, std::span<const std::int16_t> far,
                     std::span<const std::int16_t> near) {
    const AecRunner runner = makeRunner(settings);
    ToneSwitch tones{settings.rate, makeToneDetector(settings.rate),
                     makeToneDetector(settings.rate)};
    const auto size = static_cast<std::size_t>(runner.frameSize),
               delay = static_cast<std::size_t>(runner.delay);
    // Silence behind the end pushes the last samples through the delay.
    const std::size_t frames = (near.size() + delay + size - 1) / size;
    std::vector<std::int16_t> x(frames * size), d(frames * size), y(frames * size);
    std::copy_n(far.begin(), std::min(far.size(), x.size()), x.begin());
    std::copy(near.begin(), near.end(), d.begin());
    AecResult result;
    result.trace.frameSize = runner.frameSize;
    std::vector<bool> off;
    for (std::size_t n = 0; n < y.size(); n += size) {
        const AecFrame f = runner.run(&x[n], &d[n], &y[n]);
        off.push_back(switchedOff(tones, &x[n], &d[n], runner.frameSize));
        result.trace.step.push_back(10 * std::log10(std::max(f.step, 1e-30)));
        result.trace.gain.push_back(f.gain);
        result.trace.doubleTalk.push_back(f.doubleTalk);
        result.trace.disabled.push_back(off.back() ? 1 : 0);
    }
    result.output.resize(near.size());
    for (std::size_t n = 0; n < near.size(); ++n) {
        result.output[n] = off[n / size] ? near[n] : y[n + delay];
    }
    return result;
}

std::vector<double> erle(std::span<const std::int16_t> near, std::span<const std::int16_t> output,
                         int block) {
    std::vector<double> values;
    const auto step = static_cast<std::size_t>(block);
    for (std::size_t n = 0; n + step <= std::min(near.size(), output.size()); n += step) {
        double before = 0, after = 0;
        for (std::size_t k = n; k < n + step; ++k) {
            before += double(near[k]) * near[k];
            after += double(output[k]) * output[k];
        }
        values.push_back(before < block * 1000.0 ? std::numeric_limits<double>::quiet_NaN()
                                                 : 10 * std::log10(before / std::max(after, 1.0)));
    }
    return values;
}

} // namespace qolsc::tools
