// SPDX-License-Identifier: Apache-2.0
// Sub-band engines. One structure for both arithmetics: analysis of both ends, adaptive and fixed
// filter, step sizes, update, transfers, synthesis of the fixed filter's error.
#include "aec/engines.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace qolsc::tools {

namespace {

/// The two configurations with a built-in window.
struct Shape {
    int order, frameSize, windowLen, bands, segments;
};
Shape shapeOf(const AecSettings& s) {
    Shape shape = s.rate == 8000 ? Shape{5, 24, 128, 17, 0} : Shape{6, 44, 256, 33, 0};
    const int samples = s.tailMs * s.rate / 1000;
    shape.segments = std::clamp((samples + shape.frameSize - 1) / shape.frameSize, 1, 255);
    return shape;
}

/// Rows of complex numbers; history moves by rotating the pointers.
template <typename T>
struct Rows {
    Rows(int count, int len) : memory(static_cast<std::size_t>(count * len)) {
        for (int j = 0; j < count; ++j) {
            rows.push_back(&memory[static_cast<std::size_t>(j * len)]);
        }
    }
    void rotate() { std::rotate(rows.begin(), rows.end() - 1, rows.end()); }
    const T** in() { return const_cast<const T**>(rows.data()); }
    T** inOut() { return rows.data(); }
    std::vector<T> memory;
    std::vector<T*> rows;
};

// ---- float ----

struct FloatBank {
    FloatBank(const Shape& s) : state(sizes(s, 0)), buffer(sizes(s, 2)) {
        aecCheck(
            qolsSubbandProcessInit_32f(p(), s.order, s.frameSize, s.windowLen, nullptr, nullptr));
    }
    static int sizes(const Shape& s, int which) {
        Qol32s v[3];
        aecCheck(qolsSubbandProcessGetSize_32f(s.order, s.windowLen, &v[0], &v[1], &v[2]));
        return v[which];
    }
    QolsSubbandProcessState_32f* p() { return state.as<QolsSubbandProcessState_32f>(); }
    Qol8u* b() { return buffer.as<Qol8u>(); }
    AecMemory state, buffer;
};

int floatControllerSize(const Shape& s, int rate) {
    Qol32s bytes = 0;
    aecCheck(qolsSubbandControllerGetSize_EC_32f(s.bands, s.frameSize, s.segments, rate, &bytes));
    return bytes;
}

struct SubbandFloat {
    SubbandFloat(const AecSettings& settings, const Shape& shape)
        : settings(settings), s(shape), farBank(s), nearBank(s), outBank(s),
          far(s.segments, s.bands), adaptive(s.segments, s.bands), fixed(s.segments, s.bands),
          controller(floatControllerSize(s, settings.rate)), near(bandCount()),
          adaptiveErr(bandCount()), fixedErr(bandCount()), steps(bandCount()),
          time(static_cast<std::size_t>(s.frameSize)) {
        aecCheck(
            qolsSubbandControllerInit_EC_32f(c(), s.bands, s.frameSize, s.segments, settings.rate));
    }
    std::size_t bandCount() const { return static_cast<std::size_t>(s.bands); }
    QolsSubbandControllerState_EC_32f* c() {
        return controller.as<QolsSubbandControllerState_EC_32f>();
    }

    void subtract(Rows<Qol32fc>& coefs, std::vector<Qol32fc>& error) {
        aecCheck(qolsFIRSubband_EC_32fc(far.in(), coefs.in(), error.data(), s.segments, s.bands));
        for (std::size_t i = 0; i < error.size(); ++i) {
            error[i] = {near[i].re - error[i].re, near[i].im - error[i].im};
        }
    }

    AecFrame run(const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
        far.rotate();
        std::copy_n(x, s.frameSize, time.begin());
        aecCheck(qolsSubbandAnalysis_32f32fc(time.data(), far.rows[0], farBank.p(), farBank.b()));
        std::copy_n(d, s.frameSize, time.begin());
        aecCheck(qolsSubbandAnalysis_32f32fc(time.data(), near.data(), nearBank.p(), nearBank.b()));
        subtract(adaptive, adaptiveErr);
        subtract(fixed, fixedErr);
        aecCheck(qolsSubbandControllerUpdate_EC_32f(far.rows[0], near.data(), far.in(),
                                                    fixedErr.data(), steps.data(), c()));
        aecCheck(qolsFIRSubbandCoeffUpdate_EC_32fc_I(steps.data(), far.in(), adaptiveErr.data(),
                                                     adaptive.inOut(), s.segments, s.bands));
        Qol32f gain = 1;
        aecCheck(qolsSubbandController_EC_32f(adaptiveErr.data(), fixedErr.data(), adaptive.inOut(),
                                              fixed.inOut(), &gain, c()));
        const auto factor = static_cast<float>(aecFactor(settings, gain));
        for (Qol32fc& z : fixedErr) {
            z = {factor * z.re, factor * z.im};
        }
        aecCheck(
            qolsSubbandSynthesis_32fc32f(fixedErr.data(), time.data(), outBank.p(), outBank.b()));
        for (int n = 0; n < s.frameSize; ++n) {
            y[n] = static_cast<std::int16_t>(
                std::lrint(std::clamp(time[static_cast<std::size_t>(n)], -32768.0f, 32767.0f)));
        }
        double mean = 0;
        for (const double v : steps) {
            mean += v / s.bands;
        }
        return {mean, gain, 0};
    }

    AecSettings settings;
    Shape s;
    FloatBank farBank, nearBank, outBank;
    Rows<Qol32fc> far, adaptive, fixed;
    AecMemory controller;
    std::vector<Qol32fc> near, adaptiveErr, fixedErr;
    std::vector<double> steps;
    std::vector<float> time;
};

// ---- fixed point ----

/// Coefficients are Q18: the energies of filters with unit gain then stay within 32 bits.
constexpr int kCoefQ = 18;

struct FixedBank {
    FixedBank(const Shape& s) : state(sizes(s, 0)), buffer(sizes(s, 2)) {
        aecCheck(
            qolsSubbandProcessInit_16s(p(), s.order, s.frameSize, s.windowLen, nullptr, nullptr));
    }
    static int sizes(const Shape& s, int which) {
        Qol32s v[3];
        aecCheck(qolsSubbandProcessGetSize_16s(s.order, s.windowLen, &v[0], &v[1], &v[2]));
        return v[which];
    }
    QolsSubbandProcessState_16s* p() { return state.as<QolsSubbandProcessState_16s>(); }
    Qol8u* b() { return buffer.as<Qol8u>(); }
    AecMemory state, buffer;
};

int fixedControllerSize(const Shape& s, int rate, bool detect) {
    Qol32s bytes = 0;
    aecCheck((detect ? qolsSubbandControllerDTGetSize_EC_16s : qolsSubbandControllerGetSize_EC_16s)(
        s.bands, s.frameSize, s.segments, rate, &bytes));
    return bytes;
}

Qol64s powerOf(const std::vector<Qol32sc>& z) {
    Qol64s sum = 0;
    for (const Qol32sc& v : z) {
        sum += (Qol64s{v.re} * v.re + Qol64s{v.im} * v.im) >> 10;
    }
    return sum;
}

struct SubbandFixed {
    SubbandFixed(const AecSettings& settings, const Shape& shape, bool detect)
        : settings(settings), s(shape), detect(detect), farBank(s), nearBank(s), outBank(s),
          far(s.segments, s.bands), adaptive(s.segments, s.bands), fixed(s.segments, s.bands),
          controller(fixedControllerSize(s, settings.rate, detect)), near(bandCount()),
          adaptiveErr(bandCount()), fixedErr(bandCount()), steps(bandCount()) {
        aecCheck(detect ? qolsSubbandControllerDTInit_EC_16s(dt(), s.bands, s.frameSize, s.segments,
                                                             settings.rate)
                        : qolsSubbandControllerInit_EC_16s(c(), s.bands, s.frameSize, s.segments,
                                                           settings.rate));
    }
    std::size_t bandCount() const { return static_cast<std::size_t>(s.bands); }
    QolsSubbandControllerState_EC_16s* c() {
        return controller.as<QolsSubbandControllerState_EC_16s>();
    }
    QolsSubbandControllerDTState_EC_16s* dt() {
        return controller.as<QolsSubbandControllerDTState_EC_16s>();
    }

    void subtract(Rows<Qol32sc>& coefs, std::vector<Qol32sc>& error) {
        aecCheck(qolsFIRSubband_EC_32sc_Sfs(far.in(), coefs.in(), error.data(), s.segments, s.bands,
                                            kCoefQ));
        const auto difference = [](Qol32s a, Qol32s b) {
            return static_cast<Qol32s>(
                std::clamp<Qol64s>(Qol64s{a} - b, -0x7FFFFFFF - Qol64s{1}, 0x7FFFFFFF));
        };
        for (std::size_t i = 0; i < error.size(); ++i) {
            error[i] = {difference(near[i].re, error[i].re), difference(near[i].im, error[i].im)};
        }
    }

    void update() {
        aecCheck(qolsFIRSubbandCoeffUpdate_EC_32sc_I(steps.data(), far.in(), adaptiveErr.data(),
                                                     adaptive.inOut(), s.segments, s.bands,
                                                     kCoefQ));
    }

    /// Controller without double talk: its factor.
    double control() {
        aecCheck(qolsSubbandControllerUpdate_EC_16s(far.rows[0], near.data(), far.in(),
                                                    fixedErr.data(), steps.data(), c()));
        update();
        Qol16s gain_Q15 = 32767;
        aecCheck(qolsSubbandController_EC_16s(adaptiveErr.data(), fixedErr.data(), adaptive.inOut(),
                                              fixed.inOut(), &gain_Q15, c()));
        return gain_Q15 / 32767.0;
    }

    /// Controller with double talk. The reference level is 2^7 times the near end's power, the
    /// frame's level the error's: the controller's marks then lie at 21 dB (restore), 9 dB (save
    /// now and then), 18 dB (save) and 39 dB (save at once) below the reference, which is 0, 9 -
    /// 18 and more dB of echo return loss enhancement.
    void controlDoubleTalk() {
        Qol32s lowBands = 0, result = 0;
        aecCheck(qolsSubbandControllerDTUpdate_EC_16s(far.in(), near.data(), adaptiveErr.data(),
                                                      steps.data(), &doubleTalk, &lowBands, 0,
                                                      dt()));
        update();
        const Qol64s nearPower = powerOf(near);
        level = nearPower * 128;
        aecCheck(qolsSubbandControllerDT_EC_16s(adaptiveErr.data(), fixedErr.data(),
                                                adaptive.inOut(), fixed.inOut(), &level, &result,
                                                powerOf(adaptiveErr), 1, 0, 0, dt()));
        escape(nearPower);
    }

    /// A change of the echo path looks like double talk, which keeps the coefficients. Talk can't
    /// make the fixed filter's error larger than the near end for long; a wrong filter does, and
    /// then controller and filters begin anew.
    void escape(Qol64s nearPower) {
        const bool worse = powerOf(fixedErr) > nearPower;
        worseFor = std::max(0, worse ? worseFor + s.frameSize : worseFor - 2 * s.frameSize);
        if (worseFor > settings.rate / 5) {
            aecCheck(qolsSubbandControllerDTReset_EC_16s(dt()));
            std::fill(adaptive.memory.begin(), adaptive.memory.end(), Qol32sc{});
            std::fill(fixed.memory.begin(), fixed.memory.end(), Qol32sc{});
            worseFor = 0;
        }
    }

    AecFrame run(const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
        far.rotate();
        aecCheck(qolsSubbandAnalysis_16s32sc_Sfs(x, far.rows[0], farBank.p(), 0, farBank.b()));
        aecCheck(qolsSubbandAnalysis_16s32sc_Sfs(d, near.data(), nearBank.p(), 0, nearBank.b()));
        subtract(adaptive, adaptiveErr);
        subtract(fixed, fixedErr);
        AecFrame frame;
        if (detect) {
            controlDoubleTalk();
            frame.doubleTalk = doubleTalk;
        } else {
            frame.gain = control();
        }
        const double factor = aecFactor(settings, frame.gain);
        for (Qol32sc& z : fixedErr) {
            z = {static_cast<Qol32s>(std::lrint(factor * z.re)),
                 static_cast<Qol32s>(std::lrint(factor * z.im))};
        }
        aecCheck(qolsSubbandSynthesis_32sc16s_Sfs(fixedErr.data(), y, outBank.p(), 0, outBank.b()));
        for (const QolStepSize_EC& v : steps) {
            frame.step += std::ldexp(v.mantissa, -v.exponent) / s.bands;
        }
        return frame;
    }

    AecSettings settings;
    Shape s;
    bool detect;
    FixedBank farBank, nearBank, outBank;
    Rows<Qol32sc> far, adaptive, fixed;
    AecMemory controller;
    std::vector<Qol32sc> near, adaptiveErr, fixedErr;
    std::vector<QolStepSize_EC> steps;
    Qol32s doubleTalk = 0;
    Qol64s level = 0;
    int worseFor = 0; ///< samples
};

template <typename Engine, typename... Args>
AecRunner runnerOf(const AecSettings& settings, Args... args) {
    const Shape shape = shapeOf(settings);
    auto engine = std::make_shared<Engine>(settings, shape, args...);
    return {shape.frameSize, shape.windowLen - shape.frameSize,
            [engine](const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
                return engine->run(x, d, y);
            }};
}

} // namespace

AecRunner makeSubbandFloat(const AecSettings& settings) { return runnerOf<SubbandFloat>(settings); }

AecRunner makeSubbandFixed(const AecSettings& settings, bool detect) {
    return runnerOf<SubbandFixed>(settings, detect);
}

} // namespace qolsc::tools
