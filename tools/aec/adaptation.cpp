// SPDX-License-Identifier: Apache-2.0
// A step size of residual echo over error (Mader, Puder and Schmidt 2000), the residual echo from a
// believed misalignment that falls as the filter adapts; affine projection of order two (Ozeki and
// Umeda 1984). Near-end talk leaves the belief alone and so slows the filter by itself. A changed
// path makes the error resemble the echo, or the difference of the two filters: then the belief is
// raised to what the error shows.
#include "aec/adaptation.h"

#include <algorithm>
#include <cmath>

namespace qolsc::tools {

namespace {

constexpr double kFast = 0.03, kSlow = 0.1; // s
/// The noise is the least error, which is forgotten by a factor of e in this time.
constexpr double kNoiseRise = 3;            // s
constexpr double kLeastMisalignment = 1e-4; // of the whole filter
/// Share of the theoretical progress for white input that is believed.
constexpr double kProgress = 0.5;
/// An error so far above echo and noise that are expected, in so many bands, is near-end talk.
constexpr double kTalkRatio = 8, kTalkBands = 0.25, kHangover = 0.1, kTalkSlowDown = 0.02;
/// Mean shares above which the path has changed, resp. the filters' difference is to be believed.
constexpr double kReversed = 0.3, kExplained = 0.12, kExplainedInTalk = 0.25;
/// Below this share of a band the difference explains nothing but chance.
constexpr double kChance = 0.3;
/// Residual echo over error, as far as their means may be apart by chance: where the steps are
/// small the error falls faster than the belief.
constexpr double kMostResidual = 4;
constexpr double kMostStep =
    0.8; // of the step that leaves no error; the controllers may allow more
constexpr double kRegularisation = 1e-2;
constexpr double kSaveEvery = 0.25; // s
constexpr double kPowerFloor = 1e5; // bands of less power tell nothing of changes
/// A far end below this power, times frames and bands of the filter, is silent: nothing adapts, and
/// noise isn't taken for talk when it begins to speak.
constexpr double kSilence = 1e4;

/// Squared correlation over both powers.
double share(double square, double a, double b) { return square / (a * b + 1); }

} // namespace

BandAdaptation makeAdaptation(int bands, int segments, double frameSeconds, bool twoRows) {
    BandAdaptation a{};
    a.segments = segments;
    a.frameSeconds = frameSeconds;
    a.fast = 1 - std::exp(-frameSeconds / kFast);
    a.slow = 1 - std::exp(-frameSeconds / kSlow);
    a.noiseRise = std::exp(frameSeconds / kNoiseRise);
    a.twoRows = twoRows;
    a.bands.resize(static_cast<std::size_t>(bands));
    a.decisions.resize(a.bands.size());
    for (BandControl& b : a.bands) {
        b.misalignment = 1 / a.segments;
    }
    return a;
}

bool isCalm(const BandAdaptation& a) { return a.quiet > kSaveEvery; }

namespace {

void observe(BandAdaptation& a, const BandFrame& frame) {
    for (std::size_t i = 0; i < a.bands.size(); ++i) {
        BandControl& b = a.bands[i];
        const Complex x = frame.far[0][i], gone = frame.gone[0][i];
        b.powerBefore = b.power;
        b.power = std::max(0.0, b.power + std::norm(x) - std::norm(gone));
        b.lag += x * std::conj(frame.far[1][i]) - gone * std::conj(frame.gone[1][i]);
        const Complex error = frame.adaptiveErr[i], fixedErr = frame.fixedErr[i];
        const Complex echo = frame.near[i] - error, gap = fixedErr - error;
        b.error += a.fast * (std::norm(error) - b.error);
        b.slowPower += a.slow * (b.power - b.slowPower);
        b.slowError += a.slow * (std::norm(error) - b.slowError);
        b.noise = std::min(b.slowError, b.noise * a.noiseRise + 1);
        b.slowFixedError += a.slow * (std::norm(fixedErr) - b.slowFixedError);
        b.echo += a.slow * (std::norm(echo) - b.echo);
        b.echoInError += a.slow * (std::real(error * std::conj(echo)) - b.echoInError);
        b.gap += a.slow * (std::norm(gap) - b.gap);
        b.gapInFixed += a.slow * (fixedErr * std::conj(gap) - b.gapInFixed);
    }
}

void decide(BandAdaptation& a) {
    double reversed = 0, explained = 0;
    std::size_t heard = 0, louder = 0;
    const double floor = kSilence * a.segments * static_cast<double>(a.bands.size());
    for (const BandControl& b : a.bands) {
        louder += b.power > floor && b.error > kTalkRatio * (b.misalignment * b.power + b.noise);
        explained +=
            b.gapInFixed.real() > 0 ? share(std::norm(b.gapInFixed), b.gap, b.slowFixedError) : 0;
        if (b.echo > kPowerFloor) {
            ++heard;
            reversed +=
                b.echoInError < 0 ? share(b.echoInError * b.echoInError, b.slowError, b.echo) : 0;
        }
    }
    const auto count = static_cast<double>(a.bands.size());
    a.explained = explained / count;
    a.reversed = heard > a.bands.size() / 4 ? reversed / static_cast<double>(heard) : 0;
    const bool talked = isDoubleTalk(a);
    a.hangover = static_cast<double>(louder) > kTalkBands * count
                     ? kHangover
                     : std::max(0.0, a.hangover - a.frameSeconds);
    if (a.reversed > kReversed) {
        a.hangover = 0;
    }
    a.restore = isDoubleTalk(a) && !talked;
    a.quiet = isDoubleTalk(a) ? 0 : a.quiet + a.frameSeconds;
}

void step(BandAdaptation& a, const BandFrame& frame) {
    const bool saving = isCalm(a) && a.unsaved > kSaveEvery;
    a.unsaved = saving ? 0 : a.unsaved + a.frameSeconds;
    const bool believe = a.explained > (isDoubleTalk(a) ? kExplainedInTalk : kExplained);
    for (std::size_t i = 0; i < a.bands.size(); ++i) {
        BandControl& b = a.bands[i];
        const double power = std::max(b.slowPower, 1.0);
        if (believe && b.gapInFixed.real() > 0) {
            const double part = share(std::norm(b.gapInFixed), b.gap, b.slowFixedError);
            b.misalignment = std::max(b.misalignment,
                                      (part - kChance) / (1 - kChance) * b.slowFixedError / power);
        }
        if (a.reversed > kReversed) {
            b.misalignment =
                std::max(b.misalignment, std::min(b.slowError / power, 1 / a.segments));
        }
        if (b.slowPower > kSilence * a.segments * static_cast<double>(a.bands.size())) {
            b.misalignment = std::min(b.misalignment, kMostResidual * b.slowError / b.slowPower);
        }
        b.misalignment = std::max(b.misalignment, kLeastMisalignment / a.segments);

        const Complex error = frame.adaptiveErr[i];
        const double most = std::min(kMostStep, frame.step[i] * b.power);
        const double mu = std::min(most, b.misalignment * b.power /
                                             std::max({b.error, 0.5 * std::norm(error), 1e-9})) *
                          (isDoubleTalk(a) ? kTalkSlowDown : 1);
        b.misalignment -= kProgress * mu * b.misalignment / a.segments;

        BandDecision& d = a.decisions[i];
        d.step = b.power > 0 ? mu / b.power : 0;
        d.error[0] = error;
        d.error[1] = 0;
        if (a.twoRows) {
            const double more = kRegularisation * b.power + 1e5;
            const double r0 = b.power + more, r1 = b.powerBefore + more;
            const double scale = b.power / (r0 * r1 - std::norm(b.lag));
            d.error[0] = scale * (r1 * error - b.lag * b.errorBefore);
            d.error[1] = scale * (r0 * b.errorBefore - std::conj(b.lag) * error);
            b.errorBefore = (1 - mu) * error;
        }
        d.blend = b.gap > 0 ? std::clamp(b.gapInFixed.real() / b.gap, 0.0, 1.0) : 1;
        d.save = saving && b.gapInFixed.real() > 0.5 * b.gap;
    }
}

} // namespace

const std::vector<BandDecision>& adapt(BandAdaptation& a, const BandFrame& frame) {
    observe(a, frame);
    decide(a);
    step(a, frame);
    return a.decisions;
}

} // namespace qolsc::tools
