// SPDX-License-Identifier: Apache-2.0
// Full-band engines: one transversal filter on the samples, frames of 10 ms.
#include "aec/engines.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace qolsc::tools {

namespace {

/// The exports of one arithmetic.
struct FloatCalls {
    using Sample = Qol32f;
    using Step = Qol32f;
    using State = QolsFullbandControllerState_EC_32f;
    static constexpr auto size = qolsFullbandControllerGetSize_EC_32f;
    static constexpr auto init = qolsFullbandControllerInit_EC_32f;
    static constexpr auto update = qolsFullbandControllerUpdate_EC_32f;
    static constexpr auto nlms = qolsNLMS_EC_32f;
    static constexpr auto fir = qolsFIR_EC_32f;
    static constexpr auto control = qolsFullbandController_EC_32f;
    static constexpr double gainUnit = 1;
    static constexpr double stepUnit = 1;
};
struct FixedCalls {
    using Sample = Qol16s;
    using Step = Qol32s;
    using State = QolsFullbandControllerState_EC_16s;
    static constexpr auto size = qolsFullbandControllerGetSize_EC_16s;
    static constexpr auto init = qolsFullbandControllerInit_EC_16s;
    static constexpr auto update = qolsFullbandControllerUpdate_EC_16s;
    static constexpr auto nlms = qolsNLMS_EC_16s;
    static constexpr auto fir = qolsFIR_EC_16s;
    static constexpr auto control = qolsFullbandController_EC_16s;
    static constexpr double gainUnit = 32767;
    static constexpr double stepUnit = 549755813888; // 0.5/E is 2^30 over E / 2^8: 2^39 for 1
};

template <typename Calls>
struct Fullband {
    using Sample = typename Calls::Sample;

    explicit Fullband(const AecSettings& settings)
        : settings(settings), frame(settings.rate / 100),
          taps(std::max(1, settings.tailMs * settings.rate / 1000)),
          state(stateSize(frame, taps, settings.rate)), far(count(taps + frame)),
          near(count(frame)), adaptiveErr(count(frame)), fixedErr(count(frame)),
          adaptive(count(taps)), fixed(count(taps)), steps(count(frame)) {
        aecCheck(Calls::init(c(), frame, taps, settings.rate));
    }
    static std::size_t count(int n) { return static_cast<std::size_t>(n); }
    static int stateSize(int frame, int taps, int rate) {
        Qol32s bytes = 0;
        aecCheck(Calls::size(frame, taps, rate, &bytes));
        return bytes;
    }
    auto* c() { return state.template as<typename Calls::State>(); }

    AecFrame run(const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
        std::copy(far.begin() + frame, far.end(), far.begin());
        std::copy_n(x, frame, far.end() - frame);
        std::copy_n(d, frame, near.begin());
        const Sample* const pFar = far.data() + taps;
        aecCheck(Calls::update(pFar, near.data(), steps.data(), c()));
        aecCheck(Calls::nlms(pFar, near.data(), steps.data(), adaptiveErr.data(), frame,
                             adaptive.data(), taps, &carry));
        aecCheck(Calls::fir(pFar, near.data(), fixedErr.data(), frame, fixed.data(), taps));
        Sample gain = 0;
        aecCheck(Calls::control(adaptiveErr.data(), fixedErr.data(), adaptive.data(), fixed.data(),
                                &gain, c()));
        AecFrame result{0, static_cast<double>(gain) / Calls::gainUnit, 0};
        const double factor = aecFactor(settings, result.gain);
        for (int n = 0; n < frame; ++n) {
            y[n] = static_cast<std::int16_t>(
                std::lrint(std::clamp(factor * fixedErr[count(n)], -32768.0, 32767.0)));
            result.step += static_cast<double>(steps[count(n)]) / Calls::stepUnit / frame;
        }
        return result;
    }

    AecSettings settings;
    int frame, taps;
    AecMemory state;
    std::vector<Sample> far, near, adaptiveErr, fixedErr, adaptive, fixed;
    std::vector<typename Calls::Step> steps;
    Sample carry = 0;
};

template <typename Calls>
AecRunner runnerOf(const AecSettings& settings) {
    auto engine = std::make_shared<Fullband<Calls>>(settings);
    return {engine->frame, 0,
            [engine](const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
                return engine->run(x, d, y);
            }};
}

} // namespace

AecRunner makeFullbandFloat(const AecSettings& settings) { return runnerOf<FloatCalls>(settings); }
AecRunner makeFullbandFixed(const AecSettings& settings) { return runnerOf<FixedCalls>(settings); }

} // namespace qolsc::tools
