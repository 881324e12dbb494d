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
constexpr float kLeastMisalignment = 2e-5f; // of the whole filter
/// Share of the theoretical progress for white input that is believed.
constexpr float kProgress = 0.5f;
/// An error so far above echo and noise that are expected, in so many bands, is near-end talk.
constexpr float kTalkRatio = 12;
constexpr double kTalkBands = 0.25, kHangover = 0.1;
constexpr float kTalkSlowDown = 0.02f;
/// Mean shares above which the path has changed, resp. the filters' difference is to be believed.
constexpr double kReversed = 0.3, kExplained = 0.12, kExplainedInTalk = 0.25;
/// Below this share of a band the difference explains nothing but chance.
constexpr float kChance = 0.3f;
/// Residual echo over error, as far as their means may be apart by chance.
constexpr float kMostResidual = 16;
/// Of the step that leaves no error; the controllers may allow more.
constexpr float kMostStep = 0.5f;
constexpr float kRegularisation = 3e-2f;
/// The echo may come so much later than the first word: until then a small error shows nothing.
constexpr double kBeforeEcho = 0.3; // s
constexpr double kSaveEvery = 0.25; // s
constexpr float kPowerFloor = 1e5f; // bands of less power tell nothing of changes
/// A far end below this power, times frames and bands of the filter, is silent: nothing adapts, and
/// noise isn't taken for talk when it begins to speak.
constexpr float kSilence = 1e4f;

/// Squared correlation over both powers.
Eight share(Eight square, Eight a, Eight b) { return square / (a * b + 1); }

} // namespace

BandAdaptation makeAdaptation(int bands, int segments, double frameSeconds) {
    const auto perFrame = [&](double seconds) {
        return static_cast<float>(1 - std::exp(-frameSeconds / seconds));
    };
    BandAdaptation a{};
    a.bands = static_cast<float>(bands);
    a.segments = static_cast<float>(segments);
    a.frameSeconds = frameSeconds;
    a.fast = perFrame(kFast);
    a.slow = perFrame(kSlow);
    a.noiseRise = static_cast<float>(std::exp(frameSeconds / kNoiseRise));
    const auto groups = static_cast<std::size_t>((bands + 7) / 8);
    a.controls.resize(groups);
    a.terms.resize(groups * static_cast<std::size_t>(segments));
    a.decisions.resize(groups);
    for (BandControl& b : a.controls) {
        b.misalignment = eights(1 / a.segments);
    }
    return a;
}

bool isCalm(const BandAdaptation& a) { return a.quiet > kSaveEvery; }

namespace {

/// Takes a term in, and that of its place in the ring out.
void slide(SlidingSum& s, Eight& place, Eight term) {
    s.sum += term - place;
    s.next += term;
    place = term;
}
void replace(SlidingSum& s) {
    s.sum = s.next;
    s.next = Eight{};
}

void smooth(Eight& mean, float rate, Eight value) { mean += rate * (value - mean); }

void observe(BandAdaptation& a, const std::vector<BandFrame>& frame) {
    SlidingTerms* const terms = &a.terms[a.newest * a.controls.size()];
    a.newest = (a.newest + 1) % static_cast<std::size_t>(a.segments);
    for (std::size_t g = 0; g < a.controls.size(); ++g) {
        BandControl& b = a.controls[g];
        const BandFrame& f = frame[g];
        const ComplexEight lag = timesConjugate(f.far, b.farBefore);
        b.farBefore = f.far;
        b.powerBefore = b.power.sum;
        slide(b.power, terms[g].power, norm(f.far));
        slide(b.lag[0], terms[g].lag.re, lag.re);
        slide(b.lag[1], terms[g].lag.im, lag.im);
        if (a.newest == 0) {
            replace(b.power);
            replace(b.lag[0]);
            replace(b.lag[1]);
        }
        b.power.sum = largerOf(b.power.sum, Eight{});
        const ComplexEight echo = f.near - f.adaptiveErr, gap = f.fixedErr - f.adaptiveErr;
        const ComplexEight gapInFixed = timesConjugate(f.fixedErr, gap);
        const Eight square = norm(f.adaptiveErr);
        smooth(b.error, a.fast, square);
        smooth(b.slowPower, a.slow, b.power.sum);
        smooth(b.slowError, a.slow, square);
        b.noise = smallerOf(b.slowError, b.noise * a.noiseRise + 1);
        smooth(b.slowFixedError, a.slow, norm(f.fixedErr));
        smooth(b.echo, a.slow, norm(echo));
        smooth(b.echoInError, a.slow, timesConjugate(f.adaptiveErr, echo).re);
        smooth(b.gap, a.slow, norm(gap));
        smooth(b.gapInFixed.re, a.slow, gapInFixed.re);
        smooth(b.gapInFixed.im, a.slow, gapInFixed.im);
    }
}

void decide(BandAdaptation& a) {
    Eight reversed{}, explained{}, heard{}, louder{}, loud{};
    const Eight none{}, one = eights(1);
    const float floor = kSilence * a.segments * a.bands;
    for (BandControl& b : a.controls) {
        loud += b.power.sum > floor ? one : none;
        const Eight expected = b.misalignment * b.power.sum + b.noise;
        louder += b.power.sum > floor ? (b.error > kTalkRatio * expected ? one : none) : none;
        b.explained =
            b.gapInFixed.re > 0 ? share(norm(b.gapInFixed), b.gap, b.slowFixedError) : none;
        explained += b.explained;
        const Eight isHeard = b.echo > kPowerFloor ? one : none;
        const Eight part = share(b.echoInError * b.echoInError, b.slowError, b.echo);
        heard += isHeard;
        reversed += b.echoInError < 0 ? isHeard * part : none;
    }
    a.explained = sumOf(explained) / a.bands;
    a.reversed = sumOf(heard) > a.bands / 4 ? sumOf(reversed) / sumOf(heard) : 0;
    a.spoken += sumOf(loud) > a.bands / 8 ? a.frameSeconds : 0;
    const bool talked = isDoubleTalk(a);
    a.hangover = sumOf(louder) > kTalkBands * a.bands ? kHangover
                                                      : std::max(0.0, a.hangover - a.frameSeconds);
    if (a.reversed > kReversed) {
        a.hangover = 0;
    }
    a.restore = isDoubleTalk(a) && !talked;
    a.quiet = isDoubleTalk(a) ? 0 : a.quiet + a.frameSeconds;
    a.saving = isCalm(a) && a.unsaved > kSaveEvery;
    a.unsaved = a.saving ? 0 : a.unsaved + a.frameSeconds;
}

/// Raises the belief where the signals show more, lowers it where they show less.
void believe(BandAdaptation& a) {
    const bool explained = a.explained > (isDoubleTalk(a) ? kExplainedInTalk : kExplained);
    const bool reversed = a.reversed > kReversed;
    const float floor = kSilence * a.segments * a.bands;
    for (BandControl& b : a.controls) {
        const Eight inverse = 1 / largerOf(b.slowPower, eights(1));
        Eight m = b.misalignment;
        if (explained) {
            const Eight shown =
                (b.explained - kChance) / (1 - kChance) * b.slowFixedError * inverse;
            m = b.gapInFixed.re > 0 ? largerOf(m, shown) : m;
        }
        if (reversed) {
            m = largerOf(m, smallerOf(b.slowError * inverse, eights(1 / a.segments)));
        }
        if (a.spoken > kBeforeEcho) {
            m = b.slowPower > floor ? smallerOf(m, kMostResidual * b.slowError * inverse) : m;
        }
        b.misalignment = largerOf(m, eights(kLeastMisalignment / a.segments));
    }
}

void step(BandAdaptation& a, const std::vector<BandFrame>& frame) {
    const float slowDown = isDoubleTalk(a) ? kTalkSlowDown : 1;
    const float progress = kProgress / a.segments;
    const Eight none{}, one = eights(1);
    for (std::size_t g = 0; g < a.controls.size(); ++g) {
        BandControl& b = a.controls[g];
        BandDecision& d = a.decisions[g];
        const BandFrame& f = frame[g];
        const Eight power = b.power.sum;
        const Eight error = largerOf(largerOf(b.error, 0.5f * norm(f.adaptiveErr)), eights(1e-9f));
        const Eight most = smallerOf(eights(kMostStep), f.step * power);
        const Eight mu = slowDown * smallerOf(most, b.misalignment * power / error);
        b.misalignment -= progress * mu * b.misalignment;
        d.step = power > 0 ? mu / power : none;

        const Eight more = kRegularisation * power + 1e5f;
        const Eight r0 = power + more, r1 = b.powerBefore + more;
        const ComplexEight lag{b.lag[0].sum, b.lag[1].sum};
        const Eight scale = power / (r0 * r1 - norm(lag));
        d.error[0] = scale * (r1 * f.adaptiveErr - lag * b.errorBefore);
        d.error[1] = scale * (r0 * b.errorBefore - timesConjugate(f.adaptiveErr, lag));
        b.errorBefore = (1 - mu) * f.adaptiveErr;

        const Eight part = b.gapInFixed.re / largerOf(b.gap, eights(1e-9f));
        const Eight blend = b.gap > 0 ? smallerOf(largerOf(part, none), one) : one;
        d.output = f.fixedErr + blend * (f.adaptiveErr - f.fixedErr);
        d.save = a.saving ? b.gapInFixed.re - 0.5f * b.gap : none;
    }
}

} // namespace

const std::vector<BandDecision>& adapt(BandAdaptation& a, const std::vector<BandFrame>& frame) {
    observe(a, frame);
    decide(a);
    believe(a);
    step(a, frame);
    return a.decisions;
}

} // namespace qolsc::tools
