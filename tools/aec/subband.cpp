// SPDX-License-Identifier: Apache-2.0
// Sub-band engines. One structure for both arithmetics: analysis of both ends, adaptive and fixed
// filter, step sizes, update along a direction of least squares, transfers, synthesis of a blend of
// the two errors.
#include "aec/adaptation.h"
#include "aec/bank.h"
#include "aec/engines.h"
#include "aec/equations.h"

#include "qolsc.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <span>

namespace qolsc::tools {

namespace {

std::size_t count(int n) { return static_cast<std::size_t>(n); }

/// Rows are read in eights.
int roomFor(int len) { return (len + 7) / 8 * 8; }

/// Rows of complex numbers, each from a cache line's begin on; history moves by rotating the
/// pointers.
template <typename T>
struct Rows {
    struct alignas(64) Line {
        T numbers[8];
    };
    std::vector<Line> memory;
    std::vector<T*> rows;
};

template <typename T>
Rows<T> makeRows(int rowCount, int len) {
    const int lines = roomFor(len) / 8;
    Rows<T> r{std::vector<typename Rows<T>::Line>(count(rowCount * lines)), {}};
    for (int j = 0; j < rowCount; ++j) {
        r.rows.push_back(r.memory[count(j * lines)].numbers);
    }
    return r;
}
template <typename T>
void rotate(Rows<T>& r) {
    std::rotate(r.rows.begin(), r.rows.end() - 1, r.rows.end());
}
/// As the library takes rows that it reads.
template <typename T>
const T** readable(const Rows<T>& r) {
    return const_cast<const T**>(r.rows.data());
}

/// The rows from a band on, as the library takes them.
template <typename T>
std::array<T*, kMostSegments> fromBand(const Rows<T>& r, std::size_t band) {
    std::array<T*, kMostSegments> from{};
    std::transform(r.rows.begin(), r.rows.end(), from.begin(), [&](T* row) { return row + band; });
    return from;
}

/// Eight bands' coefficients into the other filter where the mark is above 0.
template <typename T>
void copyBands(const Rows<T>& from, Rows<T>& to, std::size_t group, Eight mark) {
    const EightWhole mask = mark > 0;
    const EightWhole parts[2] = {__builtin_shufflevector(mask, mask, 0, 0, 1, 1, 2, 2, 3, 3),
                                 __builtin_shufflevector(mask, mask, 4, 4, 5, 5, 6, 6, 7, 7)};
    for (std::size_t j = 0; j < from.rows.size(); ++j) {
        EightWhole a[2], b[2];
        std::memcpy(a, from.rows[j] + 8 * group, sizeof a);
        std::memcpy(b, to.rows[j] + 8 * group, sizeof b);
        for (int k = 0; k < 2; ++k) {
            b[k] = (a[k] & parts[k]) | (b[k] & ~parts[k]);
        }
        std::memcpy(to.rows[j] + 8 * group, b, sizeof b);
    }
}

/// What both arithmetics have.
template <typename T>
struct Filters {
    AecSettings settings;
    Bank s;
    Rows<T> far, near, adaptive, fixed;
    Rows<T> direction; ///< conjugate, in which bands of the adaptive filter move
    std::vector<T> adaptiveErr, fixedErr, judgedErr, blended;
    std::vector<T> units;     ///< the update's errors: it goes by the steps alone
    std::vector<T> firstTaps; ///< of the adaptive filter before transfers, to see what they replace
    BandAdaptation adaptation;
    std::vector<BandFrame> frame;
    Equations equations;
    std::size_t turn = 0;      ///< which bands move next
    std::vector<double> steps; ///< the controller's, then the update's
};

/// Fixed point's is that long so that directions of 31 bits take steps down to 2^-20.
template <typename T>
constexpr T kUnit{1, 0};
template <>
constexpr Qol32sc kUnit<Qol32sc>{1 << 20, 0};

/// What has been heard counts by a factor of e less after this time.
constexpr double kMemory = 3; // s

template <typename T>
Filters<T> makeFilters(const AecSettings& settings) {
    const Bank s = bankOf(settings);
    const std::vector<T> row(count(roomFor(s.bands)));
    const double framesPerSecond = static_cast<double>(settings.rate) / s.frameSize;
    return {settings,
            s,
            makeRows<T>(s.segments, s.bands),
            makeRows<T>(s.ahead + 1, s.bands),
            makeRows<T>(s.segments, s.bands),
            makeRows<T>(s.segments, s.bands),
            makeRows<T>(s.segments, s.bands),
            row,
            row,
            row,
            row,
            std::vector<T>(row.size(), kUnit<T>),
            row,
            makeAdaptation(s.bands, s.segments, 1 / framesPerSecond),
            std::vector<BandFrame>(row.size() / 8),
            makeEquations(s.bands, s.segments, kMemory * framesPerSecond),
            0,
            std::vector<double>(row.size())};
}

/// The near end as old as the filters want it.
template <typename T>
const T* delayedNear(const Filters<T>& f) {
    return f.near.rows.back();
}

/// What the adaptation makes of the frame, from the controller's steps.
template <typename T>
void decide(Filters<T>& f) {
    for (std::size_t g = 0; g < f.frame.size(); ++g) {
        f.frame[g] = {loadEight(f.far.rows[0] + 8 * g), loadEight(delayedNear(f) + 8 * g),
                      loadEight(&f.adaptiveErr[8 * g]), loadEight(&f.fixedErr[8 * g]),
                      loadEight(&f.steps[8 * g])};
    }
    const auto& decisions = adapt(f.adaptation, f.frame);
    for (std::size_t g = 0; g < f.frame.size(); ++g) {
        storeEight(decisions[g].output, &f.blended[8 * g]);
        storeEight(decisions[g].judged, &f.judgedErr[8 * g]);
    }
}

void learn(Equations& e, const BandAdaptation& a, const std::vector<BandFrame>& frame) {
    if (a.overturned) {
        forget(e);
    }
    if (a.farSpeaks) {
        hear(e, a.power);
        for (std::size_t g = 0; g < frame.size(); ++g) {
            take(e, g, frame[g].far, frame[g].adaptiveErr);
        }
    }
}

/// Integers take a direction of 31 bits.
template <typename T>
Eight scaleOf(const std::vector<ComplexEight>& direction) {
    if (!std::is_same_v<T, Qol32sc>) {
        return eights(1);
    }
    Eight most{};
    for (const ComplexEight& d : direction) {
        most = largerOf(most, largerOf(largerOf(d.re, -d.re), largerOf(d.im, -d.im)));
    }
    return 0x1p30f / largerOf(most, eights(1e-20f)); // a silent band has none
}

/// Bands from first on, as many as told.
struct BandRange {
    std::size_t first, bands;
};

/// The bands whose turn it is choose their directions and steps.
template <typename T>
BandRange chooseSteps(Filters<T>& f) {
    const std::size_t groups = f.frame.size(), round = roundOf(f.equations);
    f.turn = (f.turn + 1) % round;
    const std::size_t from = f.turn * groups / round, to = (f.turn + 1) * groups / round;
    for (std::size_t g = from; g < to; ++g) {
        const Eight step = descend(f.equations, g, f.adaptation.decisions[g].ridge);
        const auto& direction = f.equations.bands[g].direction;
        const Eight scale = scaleOf<T>(direction);
        for (std::size_t j = 0; j < direction.size(); ++j) {
            storeEight(ComplexEight{scale * direction[j].re, -scale * direction[j].im},
                       f.direction.rows[j] + 8 * g);
        }
        for (std::size_t k = 0; k < 8; ++k) {
            f.steps[8 * g + k] = double{step[k]} / double{scale[k]} / kUnit<T>.re;
        }
    }
    return {8 * from, std::min(8 * to, count(f.s.bands)) - std::min(8 * from, count(f.s.bands))};
}

/// Coefficients on the adaptation's word, before the controller has its own.
template <typename T>
void transfer(Filters<T>& f) {
    std::copy_n(f.adaptive.rows[0], f.firstTaps.size(), f.firstTaps.begin());
    for (std::size_t g = 0; g < f.frame.size(); ++g) {
        if (f.adaptation.restore) {
            copyBands(f.fixed, f.adaptive, g, eights(1));
        } else if (f.adaptation.saving) {
            copyBands(f.adaptive, f.fixed, g, f.adaptation.decisions[g].save);
        }
    }
}

/// Bands whose adaptive coefficients were replaced.
template <typename T>
void settleReplaced(Filters<T>& f) {
    if (std::memcmp(f.adaptive.rows[0], f.firstTaps.data(), f.firstTaps.size() * sizeof(T)) == 0) {
        return;
    }
    for (std::size_t i = 0; i < count(f.s.bands); ++i) {
        if (std::memcmp(&f.adaptive.rows[0][i], &f.firstTaps[i], sizeof(T)) != 0) {
            settle(f.equations, i);
        }
    }
}

template <typename T>
void suppress(Filters<T>& f, double gain) {
    const auto factor = static_cast<float>(aecFactor(f.settings, gain));
    for (std::size_t g = 0; factor != 1 && g < f.frame.size(); ++g) {
        storeEight(eights(factor) * loadEight(&f.blended[8 * g]), &f.blended[8 * g]);
    }
}

template <typename T>
AecFrame report(const Filters<T>& f, double gain) {
    AecFrame frame{0, gain, isDoubleTalk(f.adaptation) ? 1.0 : 0.0};
    for (const BandDecision& d : f.adaptation.decisions) {
        frame.step += sumOf(d.step) / f.s.bands;
    }
    return frame;
}

/// A frame of both ends: their bands, and both filters' errors.
template <typename Engine>
void takeFrame(Engine& e, const std::int16_t* x, const std::int16_t* d) {
    auto& f = e.f;
    rotate(f.far);
    rotate(f.near);
    analyse(e, e.far, x, f.far.rows[0]);
    analyse(e, e.near, d, f.near.rows[0]);
    subtract(f, f.adaptive, f.adaptiveErr);
    subtract(f, f.fixed, f.fixedErr);
}

/// An engine as the canceller runs it.
template <typename Engine>
AecRunner runnerOf(Engine made, AecFrame (*run)(Engine&, const std::int16_t*, const std::int16_t*,
                                                std::int16_t*)) {
    auto engine = std::make_shared<Engine>(std::move(made));
    const Bank& s = engine->f.s;
    return {s.frameSize, s.windowLen + (s.ahead - 1) * s.frameSize,
            [engine, run](const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
                return run(*engine, x, d, y);
            }};
}

// ---- float ----

/// Samples are taken times this: the thresholds of controller and adaptation then lie 12 dB lower
/// under the signal, and the weaker bands adapt as well.
constexpr float kScale = 4;
constexpr float kLearningRate = 0.8f;

struct FloatBank {
    AecMemory state, buffer;
};

FloatBank makeFloatBank(const Bank& s, const std::vector<double>& window) {
    Qol32s state = 0, init = 0, buffer = 0;
    aecCheck(qolsSubbandProcessGetSize_32f(s.order, s.windowLen, &state, &init, &buffer));
    FloatBank bank{AecMemory(state), AecMemory(buffer)};
    const std::vector<Qol32f> w(window.begin(), window.end());
    aecCheck(qolsSubbandProcessInit_32f(bank.state.as<QolsSubbandProcessState_32f>(), s.order,
                                        s.frameSize, s.windowLen, w.data(), nullptr));
    return bank;
}

struct SubbandFloat {
    Filters<Qol32fc> f;
    FloatBank far, near, out;
    AecMemory controller;
    std::vector<float> time;
};

SubbandFloat makeFloatEngine(const AecSettings& settings) {
    auto f = makeFilters<Qol32fc>(settings);
    const Bank& s = f.s;
    Qol32s bytes = 0;
    aecCheck(qolsSubbandControllerGetSize_EC_32f(s.bands, s.frameSize, s.segments, settings.rate,
                                                 &bytes));
    AecMemory controller(bytes);
    aecCheck(qolsSubbandControllerInit_EC_32f(controller.as<QolsSubbandControllerState_EC_32f>(),
                                              s.bands, s.frameSize, s.segments, settings.rate));
    FloatBank far = makeFloatBank(s, s.analysis), near = makeFloatBank(s, s.analysis),
              out = makeFloatBank(s, s.synthesis);
    std::vector<float> time(count(s.frameSize));
    return {std::move(f),   std::move(far),        std::move(near),
            std::move(out), std::move(controller), std::move(time)};
}

void analyse(SubbandFloat& e, FloatBank& bank, const std::int16_t* x, Qol32fc* row) {
    std::transform(x, x + e.time.size(), e.time.begin(),
                   [](std::int16_t v) { return kScale * static_cast<float>(v); });
    aecCheck(qolsSubbandAnalysis_32f32fc(
        e.time.data(), row, bank.state.as<QolsSubbandProcessState_32f>(), bank.buffer.as<Qol8u>()));
}

void synthesise(SubbandFloat& e, std::int16_t* y) {
    aecCheck(qolsSubbandSynthesis_32fc32f(e.f.blended.data(), e.time.data(),
                                          e.out.state.as<QolsSubbandProcessState_32f>(),
                                          e.out.buffer.as<Qol8u>()));
    std::transform(e.time.begin(), e.time.end(), y, [](float v) {
        const float whole = v * (1 / kScale) + (v < 0 ? -0.5f : 0.5f); // halves away from zero
        return static_cast<std::int16_t>(std::clamp(whole, -32768.0f, 32767.0f));
    });
}

void subtract(const Filters<Qol32fc>& f, const Rows<Qol32fc>& coefs, std::vector<Qol32fc>& error) {
    aecCheck(qolsFIRSubband_EC_32fc(readable(f.far), readable(coefs), error.data(), f.s.segments,
                                    f.s.bands));
    const Qol32fc* const near = delayedNear(f);
    for (std::size_t i = 0; i < count(f.s.bands); ++i) {
        error[i] = {near[i].re - error[i].re, near[i].im - error[i].im};
    }
}

/// The bands whose turn it is move.
void update(Filters<Qol32fc>& f) {
    const BandRange range = chooseSteps(f);
    if (range.bands > 0) {
        auto direction = fromBand(f.direction, range.first),
             coefs = fromBand(f.adaptive, range.first);
        aecCheck(qolsFIRSubbandCoeffUpdate_EC_32fc_I(
            &f.steps[range.first], const_cast<const Qol32fc**>(direction.data()),
            &f.units[range.first], coefs.data(), f.s.segments, static_cast<int>(range.bands)));
    }
}

AecFrame runFloat(SubbandFloat& e, const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
    Filters<Qol32fc>& f = e.f;
    auto* const controller = e.controller.as<QolsSubbandControllerState_EC_32f>();
    takeFrame(e, x, d);
    aecCheck(qolsSubbandAPControllerUpdate_EC_32f(readable(f.far), f.fixedErr.data(),
                                                  f.steps.data(), controller, kLearningRate));
    decide(f);
    learn(f.equations, f.adaptation, f.frame);
    update(f);
    transfer(f);
    Qol32f gain = 1;
    aecCheck(qolsSubbandController_EC_32f(f.judgedErr.data(), f.fixedErr.data(),
                                          f.adaptive.rows.data(), f.fixed.rows.data(), &gain,
                                          controller));
    settleReplaced(f);
    suppress(f, gain);
    synthesise(e, y);
    return report(f, gain);
}

// ---- fixed point ----

/// Coefficients are Q18: the energies of filters with unit gain then stay within 32 bits.
constexpr int kCoefQ = 18;
/// As the float engine's scale, in places, and one for the headroom; less before the detector,
/// whose marks are set for none.
constexpr int kShift = 3, kDetectorShift = 2;
/// The analysis folds a window's samples on each other in 16 bits.
constexpr double kHeadroom = 0.8;

struct FixedBank {
    AecMemory state, buffer;
};

FixedBank makeFixedBank(const Bank& s, const std::vector<double>& window, double factor) {
    Qol32s state = 0, init = 0, buffer = 0;
    aecCheck(qolsSubbandProcessGetSize_16s(s.order, s.windowLen, &state, &init, &buffer));
    FixedBank bank{AecMemory(state), AecMemory(buffer)};
    std::vector<Qol16s> w_Q13;
    for (const double v : window) {
        w_Q13.push_back(static_cast<Qol16s>(std::lrint(factor * v * 8192)));
    }
    aecCheck(qolsSubbandProcessInit_16s(bank.state.as<QolsSubbandProcessState_16s>(), s.order,
                                        s.frameSize, s.windowLen, w_Q13.data(), nullptr));
    return bank;
}

struct SubbandFixed {
    Filters<Qol32sc> f;
    bool detect; ///< the controller with double-talk detection
    int shift;
    FixedBank far, near, out;
    AecMemory controller;
    std::vector<QolStepSize_EC> steps;
    Qol32s doubleTalk;
    int frames;
};

SubbandFixed makeFixedEngine(const AecSettings& settings, bool detect) {
    auto f = makeFilters<Qol32sc>(settings);
    const Bank& s = f.s;
    const auto size =
        detect ? qolsSubbandControllerDTGetSize_EC_16s : qolsSubbandControllerGetSize_EC_16s;
    Qol32s bytes = 0;
    aecCheck(size(s.bands, s.frameSize, s.segments, settings.rate, &bytes));
    AecMemory controller(bytes);
    if (detect) {
        aecCheck(
            qolsSubbandControllerDTInit_EC_16s(controller.as<QolsSubbandControllerDTState_EC_16s>(),
                                               s.bands, s.frameSize, s.segments, settings.rate));
    } else {
        aecCheck(
            qolsSubbandControllerInit_EC_16s(controller.as<QolsSubbandControllerState_EC_16s>(),
                                             s.bands, s.frameSize, s.segments, settings.rate));
    }
    FixedBank far = makeFixedBank(s, s.analysis, kHeadroom),
              near = makeFixedBank(s, s.analysis, kHeadroom),
              out = makeFixedBank(s, s.synthesis, 1 / kHeadroom);
    std::vector<QolStepSize_EC> steps(count(s.bands));
    return {std::move(f),
            detect,
            detect ? kDetectorShift : kShift,
            std::move(far),
            std::move(near),
            std::move(out),
            std::move(controller),
            std::move(steps),
            0,
            0};
}

void analyse(const SubbandFixed& e, FixedBank& bank, const std::int16_t* x, Qol32sc* row) {
    aecCheck(qolsSubbandAnalysis_16s32sc_Sfs(x, row, bank.state.as<QolsSubbandProcessState_16s>(),
                                             -e.shift, bank.buffer.as<Qol8u>()));
}

void subtract(const Filters<Qol32sc>& f, const Rows<Qol32sc>& coefs, std::vector<Qol32sc>& error) {
    aecCheck(qolsFIRSubband_EC_32sc_Sfs(readable(f.far), readable(coefs), error.data(),
                                        f.s.segments, f.s.bands, kCoefQ));
    const auto difference = [](Qol32s a, Qol32s b) {
        return static_cast<Qol32s>(
            std::clamp<Qol64s>(Qol64s{a} - b, -0x7FFFFFFF - Qol64s{1}, 0x7FFFFFFF));
    };
    const Qol32sc* const near = delayedNear(f);
    for (std::size_t i = 0; i < count(f.s.bands); ++i) {
        error[i] = {difference(near[i].re, error[i].re), difference(near[i].im, error[i].im)};
    }
}

Qol64s powerOf(std::span<const Qol32sc> z) {
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

/// The adaptation with the controller's steps, the update, transfers.
void update(SubbandFixed& e) {
    Filters<Qol32sc>& f = e.f;
    std::transform(e.steps.begin(), e.steps.end(), f.steps.begin(), valueOf);
    decide(f);
    learn(f.equations, f.adaptation, f.frame);
    const BandRange range = chooseSteps(f);
    if (range.bands > 0) {
        std::transform(&f.steps[range.first], &f.steps[range.first] + range.bands,
                       &e.steps[range.first], stepOf);
        auto direction = fromBand(f.direction, range.first),
             coefs = fromBand(f.adaptive, range.first);
        aecCheck(qolsFIRSubbandCoeffUpdate_EC_32sc_I(
            &e.steps[range.first], const_cast<const Qol32sc**>(direction.data()),
            &f.units[range.first], coefs.data(), f.s.segments, static_cast<int>(range.bands),
            kCoefQ));
    }
    transfer(f);
}

/// Controller without double talk: its factor.
double control(SubbandFixed& e) {
    Filters<Qol32sc>& f = e.f;
    auto* const controller = e.controller.as<QolsSubbandControllerState_EC_16s>();
    aecCheck(qolsSubbandControllerUpdate_EC_16s(f.far.rows[0], delayedNear(f), readable(f.far),
                                                f.fixedErr.data(), e.steps.data(), controller));
    update(e);
    Qol16s gain_Q15 = 32767;
    aecCheck(qolsSubbandController_EC_16s(f.judgedErr.data(), f.fixedErr.data(),
                                          f.adaptive.rows.data(), f.fixed.rows.data(), &gain_Q15,
                                          controller));
    return gain_Q15 / 32767.0;
}

/// Controller with double talk. The reference level is 2^7 times the near end's power, the
/// frame's level the error's: the controller's marks then lie at 9 dB (save now and then) and
/// 18 dB of echo return loss enhancement (restore when it has been less for long and the fixed
/// filter is better). The frame's level is kept off the marks beyond, where the controller
/// would save in every frame, or restore in every frame, also when the path has changed; and
/// between them, where nothing is saved, around talk. What it takes for talk may hold the
/// coefficients only as long as the adaptation sees talk as well.
void controlDoubleTalk(SubbandFixed& e) {
    constexpr int kSaveAlwaysAfter = 100;
    Filters<Qol32sc>& f = e.f;
    auto* const controller = e.controller.as<QolsSubbandControllerDTState_EC_16s>();
    const Qol32sc* const near = delayedNear(f);
    Qol32s lowBands = 0, result = 0;
    aecCheck(qolsSubbandControllerDTUpdate_EC_16s(readable(f.far), near, f.adaptiveErr.data(),
                                                  e.steps.data(), &e.doubleTalk, &lowBands, 0,
                                                  controller));
    update(e);
    Qol64s level = powerOf({near, count(f.s.bands)}) * 128;
    e.frames = (e.frames + 1) % (kSaveAlwaysAfter / 2);
    const Qol64s now = !f.adaptation.safe ? 0
                       : e.frames == 0
                           ? level >> 9
                           : std::clamp(powerOf(f.adaptiveErr), level >> 17, level >> 8);
    aecCheck(qolsSubbandControllerDT_EC_16s(
        f.judgedErr.data(), f.fixedErr.data(), f.adaptive.rows.data(), f.fixed.rows.data(), &level,
        &result, now, 1, f.adaptation.safe ? 1 : 0, 0, controller));
}

AecFrame runFixed(SubbandFixed& e, const std::int16_t* x, const std::int16_t* d, std::int16_t* y) {
    Filters<Qol32sc>& f = e.f;
    takeFrame(e, x, d);
    double gain = 1;
    if (e.detect) {
        controlDoubleTalk(e);
    } else {
        gain = control(e);
    }
    settleReplaced(f);
    suppress(f, gain);
    aecCheck(qolsSubbandSynthesis_32sc16s_Sfs(f.blended.data(), y,
                                              e.out.state.as<QolsSubbandProcessState_16s>(),
                                              e.shift, e.out.buffer.as<Qol8u>()));
    AecFrame frame = report(f, gain);
    frame.doubleTalk = e.detect ? e.doubleTalk : frame.doubleTalk;
    return frame;
}

} // namespace

AecRunner makeSubbandFloat(const AecSettings& settings) {
    return runnerOf(makeFloatEngine(settings), runFloat);
}

AecRunner makeSubbandFixed(const AecSettings& settings, bool detect) {
    return runnerOf(makeFixedEngine(settings, detect), runFixed);
}

} // namespace qolsc::tools
