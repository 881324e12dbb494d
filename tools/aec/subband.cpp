// SPDX-License-Identifier: Apache-2.0
// Sub-band engines. One structure for both arithmetics: analysis of both ends, adaptive and fixed
// filter, step sizes, update, transfers, synthesis of a blend of the two errors.
#include "aec/adaptation.h"
#include "aec/bank.h"
#include "aec/engines.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>

namespace qolsc::tools {

namespace {

std::size_t count(int n) { return static_cast<std::size_t>(n); }

/// Rows of complex numbers; history moves by rotating the pointers.
template <typename T>
struct Rows {
    Rows(int rowCount, int len) : memory(count(rowCount * len)) {
        for (int j = 0; j < rowCount; ++j) {
            rows.push_back(&memory[count(j * len)]);
        }
    }
    void rotate() { std::rotate(rows.begin(), rows.end() - 1, rows.end()); }
    const T** in() { return const_cast<const T**>(rows.data()); }
    T** inOut() { return rows.data(); }
    std::vector<T> memory;
    std::vector<T*> rows;
};

/// A band's coefficients into the other filter.
template <typename T>
void copyBand(const Rows<T>& from, Rows<T>& to, std::size_t band) {
    for (std::size_t j = 0; j < from.rows.size(); ++j) {
        to.rows[j][band] = from.rows[j][band];
    }
}

/// What both arithmetics have.
template <typename T>
struct Filters {
    Filters(const AecSettings& settings)
        : settings(settings), s(bankOf(settings)), far(s.segments + 2, s.bands),
          adaptive(s.segments, s.bands), fixed(s.segments, s.bands), near(count(s.bands)),
          adaptiveErr(near), fixedErr(near), scaled{near, near}, blended(near),
          adaptation(makeAdaptation(s.bands, s.segments,
                                    static_cast<double>(s.frameSize) / settings.rate,
                                    !settings.economy)),
          steps(near.size()) {}

    /// How fast to adapt and whom to believe; steps are the controller's.
    const std::vector<BandDecision>& decide() {
        const auto widen = [](std::vector<Complex>& to, const T* from) {
            for (std::size_t i = 0; i < to.size(); ++i) {
                to[i] = {static_cast<double>(from[i].re), static_cast<double>(from[i].im)};
            }
        };
        const T* const sources[7] = {far.rows[0],
                                     far.rows[1],
                                     far.rows[count(s.segments)],
                                     far.rows[count(s.segments + 1)],
                                     near.data(),
                                     adaptiveErr.data(),
                                     fixedErr.data()};
        for (int k = 0; k < 7; ++k) {
            wide[k].resize(near.size());
            widen(wide[k], sources[k]);
        }
        const auto& decisions = adapt(
            adaptation, {{wide[0], wide[1]}, {wide[2], wide[3]}, wide[4], wide[5], wide[6], steps});
        for (std::size_t i = 0; i < decisions.size(); ++i) {
            const BandDecision& d = decisions[i];
            steps[i] = d.step;
            for (int k = 0; k < 2; ++k) {
                scaled[k][i] = narrow(d.error[k]);
            }
            blended[i] = narrow(wide[6][i] + d.blend * (wide[5][i] - wide[6][i]));
        }
        return decisions;
    }
    static T narrow(Complex z) {
        if constexpr (std::is_same_v<T, Qol32sc>) {
            const auto rounded = [](double v) {
                return static_cast<Qol32s>(std::lrint(std::clamp(v, -2147483647.0, 2147483647.0)));
            };
            return {rounded(z.real()), rounded(z.imag())};
        } else {
            return {static_cast<float>(z.real()), static_cast<float>(z.imag())};
        }
    }
    /// Coefficients on the adaptation's word, before the controller has its own.
    void transfer(const std::vector<BandDecision>& decisions) {
        for (std::size_t i = 0; i < decisions.size(); ++i) {
            if (adaptation.restore) {
                copyBand(fixed, adaptive, i);
            } else if (decisions[i].save) {
                copyBand(adaptive, fixed, i);
            }
        }
    }
    AecFrame report(double gain) const {
        AecFrame frame{0, gain, isDoubleTalk(adaptation) ? 1.0 : 0.0};
        for (const double v : steps) {
            frame.step += v / s.bands;
        }
        return frame;
    }
    void suppress(double gain) {
        const double factor = aecFactor(settings, gain);
        for (T& z : blended) {
            z = narrow({factor * z.re, factor * z.im});
        }
    }

    AecSettings settings;
    Bank s;
    Rows<T> far, adaptive, fixed; // the far end's rows reach two frames beyond the filters
    std::vector<T> near, adaptiveErr, fixedErr, scaled[2], blended;
    BandAdaptation adaptation;
    std::vector<double> steps;
    std::vector<Complex> wide[7];
};

// ---- float ----

struct FloatBank {
    FloatBank(const Bank& s, const std::vector<double>& window)
        : state(sizes(s, 0)), buffer(sizes(s, 2)) {
        const std::vector<Qol32f> w(window.begin(), window.end());
        aecCheck(qolsSubbandProcessInit_32f(p(), s.order, s.frameSize, s.windowLen,
                                            w.empty() ? nullptr : w.data(), nullptr));
    }
    static int sizes(const Bank& s, int which) {
        Qol32s v[3];
        aecCheck(qolsSubbandProcessGetSize_32f(s.order, s.windowLen, &v[0], &v[1], &v[2]));
        return v[which];
    }
    QolsSubbandProcessState_32f* p() { return state.as<QolsSubbandProcessState_32f>(); }
    Qol8u* b() { return buffer.as<Qol8u>(); }
    AecMemory state, buffer;
};

int floatControllerSize(const Bank& s, int rate) {
    Qol32s bytes = 0;
    aecCheck(qolsSubbandControllerGetSize_EC_32f(s.bands, s.frameSize, s.segments, rate, &bytes));
    return bytes;
}

constexpr float kLearningRate = 0.8f;

struct SubbandFloat : Filters<Qol32fc> {
    SubbandFloat(const AecSettings& settings)
        : Filters(settings), farBank(s, s.analysis), nearBank(s, s.analysis),
          outBank(s, s.synthesis), controller(floatControllerSize(s, settings.rate)),
          time(count(s.frameSize)) {
        aecCheck(
            qolsSubbandControllerInit_EC_32f(c(), s.bands, s.frameSize, s.segments, settings.rate));
    }
    QolsSubbandControllerState_EC_32f* c() {
        return controller.as<QolsSubbandControllerState_EC_32f>();
    }

    void subtract(Rows<Qol32fc>& coefs, std::vector<Qol32fc>& error) {
        aecCheck(qolsFIRSubband_EC_32fc(far.in(), coefs.in(), error.data(), s.segments, s.bands));
        for (std::size_t i = 0; i < error.size(); ++i) {
            error[i] = {near[i].re - error[i].re, near[i].im - error[i].im};
        }
    }

    /// A row of the affine projection after the other, which is faster than both in one call.
    void update() {
        for (int k = 0; k < (settings.economy ? 1 : 2); ++k) {
            aecCheck(qolsFIRSubbandCoeffUpdate_EC_32fc_I(steps.data(), far.in() + k,
                                                         scaled[k].data(), adaptive.inOut(),
                                                         s.segments, s.bands));
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
        aecCheck(qolsSubbandAPControllerUpdate_EC_32f(far.in(), fixedErr.data(), steps.data(), c(),
                                                      kLearningRate));
        const auto& decisions = decide();
        update();
        transfer(decisions);
        Qol32f gain = 1;
        aecCheck(qolsSubbandController_EC_32f(adaptiveErr.data(), fixedErr.data(), adaptive.inOut(),
                                              fixed.inOut(), &gain, c()));
        suppress(gain);
        aecCheck(
            qolsSubbandSynthesis_32fc32f(blended.data(), time.data(), outBank.p(), outBank.b()));
        for (int n = 0; n < s.frameSize; ++n) {
            y[n] = static_cast<std::int16_t>(
                std::lrint(std::clamp(time[count(n)], -32768.0f, 32767.0f)));
        }
        return report(gain);
    }

    FloatBank farBank, nearBank, outBank;
    AecMemory controller;
    std::vector<float> time;
};

// ---- fixed point ----

/// Coefficients are Q18: the energies of filters with unit gain then stay within 32 bits.
constexpr int kCoefQ = 18;

struct FixedBank {
    FixedBank(const Bank& s, const std::vector<double>& window)
        : state(sizes(s, 0)), buffer(sizes(s, 2)) {
        std::vector<Qol16s> w_Q13;
        for (const double v : window) {
            w_Q13.push_back(static_cast<Qol16s>(std::lrint(v * 8192)));
        }
        aecCheck(qolsSubbandProcessInit_16s(p(), s.order, s.frameSize, s.windowLen,
                                            w_Q13.empty() ? nullptr : w_Q13.data(), nullptr));
    }
    static int sizes(const Bank& s, int which) {
        Qol32s v[3];
        aecCheck(qolsSubbandProcessGetSize_16s(s.order, s.windowLen, &v[0], &v[1], &v[2]));
        return v[which];
    }
    QolsSubbandProcessState_16s* p() { return state.as<QolsSubbandProcessState_16s>(); }
    Qol8u* b() { return buffer.as<Qol8u>(); }
    AecMemory state, buffer;
};

int fixedControllerSize(const Bank& s, int rate, bool detect) {
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

double valueOf(QolStepSize_EC step) { return std::ldexp(step.mantissa, -step.exponent); }

/// With 31 significant bits; what the update's shift couldn't reach is none.
QolStepSize_EC stepOf(double value) {
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    if (!(value > 0) || exponent < -70) {
        return {0, 31};
    }
    return {static_cast<Qol32s>(std::min(std::ldexp(fraction, 31), 2147483647.0)), 31 - exponent};
}

struct SubbandFixed : Filters<Qol32sc> {
    SubbandFixed(const AecSettings& settings, bool detect)
        : Filters(settings), detect(detect), farBank(s, s.analysis), nearBank(s, s.analysis),
          outBank(s, s.synthesis), controller(fixedControllerSize(s, settings.rate, detect)),
          fixedSteps(near.size()) {
        aecCheck(detect ? qolsSubbandControllerDTInit_EC_16s(dt(), s.bands, s.frameSize, s.segments,
                                                             settings.rate)
                        : qolsSubbandControllerInit_EC_16s(c(), s.bands, s.frameSize, s.segments,
                                                           settings.rate));
    }
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

    /// The controller's steps, changed; the update, a row of the affine projection after the
    /// other; transfers.
    void update() {
        std::transform(fixedSteps.begin(), fixedSteps.end(), steps.begin(), valueOf);
        const auto& decisions = decide();
        std::transform(steps.begin(), steps.end(), fixedSteps.begin(), stepOf);
        for (int k = 0; k < (settings.economy ? 1 : 2); ++k) {
            aecCheck(qolsFIRSubbandCoeffUpdate_EC_32sc_I(fixedSteps.data(), far.in() + k,
                                                         scaled[k].data(), adaptive.inOut(),
                                                         s.segments, s.bands, kCoefQ));
        }
        transfer(decisions);
    }

    /// Controller without double talk: its factor.
    double control() {
        aecCheck(qolsSubbandControllerUpdate_EC_16s(far.rows[0], near.data(), far.in(),
                                                    fixedErr.data(), fixedSteps.data(), c()));
        update();
        Qol16s gain_Q15 = 32767;
        aecCheck(qolsSubbandController_EC_16s(adaptiveErr.data(), fixedErr.data(), adaptive.inOut(),
                                              fixed.inOut(), &gain_Q15, c()));
        return gain_Q15 / 32767.0;
    }

    /// Controller with double talk. The reference level is 2^7 times the near end's power, the
    /// frame's level the error's: the controller's marks then lie at 9 dB (save now and then) and
    /// 18 dB of echo return loss enhancement (restore when it has been less for long and the fixed
    /// filter is better). The frame's level is kept off the marks beyond, where the controller
    /// would save in every frame, or restore in every frame, also when the path has changed; and
    /// between them, where nothing is saved, around talk. What it takes for talk may hold the
    /// coefficients only as long as the adaptation sees talk as well.
    void controlDoubleTalk() {
        constexpr int kSaveAlwaysAfter = 100;
        Qol32s lowBands = 0, result = 0;
        aecCheck(qolsSubbandControllerDTUpdate_EC_16s(far.in(), near.data(), adaptiveErr.data(),
                                                      fixedSteps.data(), &doubleTalk, &lowBands, 0,
                                                      dt()));
        update();
        Qol64s level = powerOf(near) * 128;
        frames = (frames + 1) % (kSaveAlwaysAfter / 2);
        const Qol64s now = frames == 0 || !isCalm(adaptation)
                               ? level >> 9
                               : std::clamp(powerOf(adaptiveErr), level >> 17, level >> 8);
        aecCheck(qolsSubbandControllerDT_EC_16s(adaptiveErr.data(), fixedErr.data(),
                                                adaptive.inOut(), fixed.inOut(), &level, &result,
                                                now, 1, isDoubleTalk(adaptation) ? 0 : 1, 0, dt()));
    }

    AecFrame run(const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
        far.rotate();
        aecCheck(qolsSubbandAnalysis_16s32sc_Sfs(x, far.rows[0], farBank.p(), 0, farBank.b()));
        aecCheck(qolsSubbandAnalysis_16s32sc_Sfs(d, near.data(), nearBank.p(), 0, nearBank.b()));
        subtract(adaptive, adaptiveErr);
        subtract(fixed, fixedErr);
        double gain = 1;
        if (detect) {
            controlDoubleTalk();
        } else {
            gain = control();
        }
        suppress(gain);
        aecCheck(qolsSubbandSynthesis_32sc16s_Sfs(blended.data(), y, outBank.p(), 0, outBank.b()));
        AecFrame frame = report(gain);
        frame.doubleTalk = detect ? doubleTalk : frame.doubleTalk;
        return frame;
    }

    bool detect;
    FixedBank farBank, nearBank, outBank;
    AecMemory controller;
    std::vector<QolStepSize_EC> fixedSteps;
    Qol32s doubleTalk = 0;
    int frames = 0;
};

template <typename Engine, typename... Args>
AecRunner runnerOf(const AecSettings& settings, Args... args) {
    auto engine = std::make_shared<Engine>(settings, args...);
    return {engine->s.frameSize, engine->s.windowLen - engine->s.frameSize,
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
