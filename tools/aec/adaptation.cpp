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

Adaptation::Adaptation(int bands, int segments, double frameSeconds, bool twoRows)
    : segments_(segments), frameSeconds_(frameSeconds), fast_(1 - std::exp(-frameSeconds / kFast)),
      slow_(1 - std::exp(-frameSeconds / kSlow)), noiseRise_(std::exp(frameSeconds / kNoiseRise)),
      twoRows_(twoRows), bands_(static_cast<std::size_t>(bands)), decisions_(bands_.size()) {
    for (BandControl& b : bands_) {
        b.misalignment = 1 / segments_;
    }
}

bool Adaptation::calm() const { return quiet_ > kSaveEvery; }

void Adaptation::observe(const BandFrame& frame) {
    for (std::size_t i = 0; i < bands_.size(); ++i) {
        BandControl& b = bands_[i];
        const Complex x = frame.far[0][i], gone = frame.gone[0][i];
        b.powerBefore = b.power;
        b.power = std::max(0.0, b.power + std::norm(x) - std::norm(gone));
        b.lag += x * std::conj(frame.far[1][i]) - gone * std::conj(frame.gone[1][i]);
        const Complex error = frame.adaptiveErr[i], fixedErr = frame.fixedErr[i];
        const Complex echo = frame.near[i] - error, gap = fixedErr - error;
        b.error += fast_ * (std::norm(error) - b.error);
        b.slowPower += slow_ * (b.power - b.slowPower);
        b.slowError += slow_ * (std::norm(error) - b.slowError);
        b.noise = std::min(b.slowError, b.noise * noiseRise_ + 1);
        b.slowFixedError += slow_ * (std::norm(fixedErr) - b.slowFixedError);
        b.echo += slow_ * (std::norm(echo) - b.echo);
        b.echoInError += slow_ * (std::real(error * std::conj(echo)) - b.echoInError);
        b.gap += slow_ * (std::norm(gap) - b.gap);
        b.gapInFixed += slow_ * (fixedErr * std::conj(gap) - b.gapInFixed);
    }
}

void Adaptation::decide() {
    double reversed = 0, explained = 0;
    std::size_t heard = 0, louder = 0;
    const double floor = kSilence * segments_ * static_cast<double>(bands_.size());
    for (const BandControl& b : bands_) {
        louder += b.power > floor && b.error > kTalkRatio * (b.misalignment * b.power + b.noise);
        explained +=
            b.gapInFixed.real() > 0 ? share(std::norm(b.gapInFixed), b.gap, b.slowFixedError) : 0;
        if (b.echo > kPowerFloor) {
            ++heard;
            reversed +=
                b.echoInError < 0 ? share(b.echoInError * b.echoInError, b.slowError, b.echo) : 0;
        }
    }
    const auto count = static_cast<double>(bands_.size());
    explained_ = explained / count;
    reversed_ = heard > bands_.size() / 4 ? reversed / static_cast<double>(heard) : 0;
    const bool talked = doubleTalk();
    hangover_ = static_cast<double>(louder) > kTalkBands * count
                    ? kHangover
                    : std::max(0.0, hangover_ - frameSeconds_);
    if (reversed_ > kReversed) {
        hangover_ = 0;
    }
    restore_ = doubleTalk() && !talked;
    quiet_ = doubleTalk() ? 0 : quiet_ + frameSeconds_;
}

void Adaptation::step(const BandFrame& frame) {
    const bool saving = calm() && unsaved_ > kSaveEvery;
    unsaved_ = saving ? 0 : unsaved_ + frameSeconds_;
    const bool believe = explained_ > (doubleTalk() ? kExplainedInTalk : kExplained);
    for (std::size_t i = 0; i < bands_.size(); ++i) {
        BandControl& b = bands_[i];
        const double power = std::max(b.slowPower, 1.0);
        if (believe && b.gapInFixed.real() > 0) {
            const double part = share(std::norm(b.gapInFixed), b.gap, b.slowFixedError);
            b.misalignment = std::max(b.misalignment,
                                      (part - kChance) / (1 - kChance) * b.slowFixedError / power);
        }
        if (reversed_ > kReversed) {
            b.misalignment = std::max(b.misalignment, std::min(b.slowError / power, 1 / segments_));
        }
        if (b.slowPower > kSilence * segments_ * static_cast<double>(bands_.size())) {
            b.misalignment = std::min(b.misalignment, kMostResidual * b.slowError / b.slowPower);
        }
        b.misalignment = std::max(b.misalignment, kLeastMisalignment / segments_);

        const Complex error = frame.adaptiveErr[i];
        const double most = std::min(kMostStep, frame.step[i] * b.power);
        const double mu = std::min(most, b.misalignment * b.power /
                                             std::max({b.error, 0.5 * std::norm(error), 1e-9})) *
                          (doubleTalk() ? kTalkSlowDown : 1);
        b.misalignment -= kProgress * mu * b.misalignment / segments_;

        BandDecision& d = decisions_[i];
        d.step = b.power > 0 ? mu / b.power : 0;
        d.error[0] = error;
        d.error[1] = 0;
        if (twoRows_) {
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

const std::vector<BandDecision>& Adaptation::run(const BandFrame& frame) {
    observe(frame);
    decide();
    step(frame);
    return decisions_;
}

} // namespace qolsc::tools
