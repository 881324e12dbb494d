// SPDX-License-Identifier: Apache-2.0
// The adaptive filter learns all the time; talk corrupts it. So its coefficients go into the fixed
// filter, which answers for the output under talk, only when there has been no sign of talk for a
// while. Talk is an error above the one that is expected of a believed misalignment (in the way of
// Mader, Puder and Schmidt 2000), which falls as the filter adapts. A changed path makes the error
// resemble the echo, or the difference of the two filters: then the belief is raised to what the
// error shows.
#include "aec/adaptation.h"

#include <algorithm>
#include <cmath>

namespace qolsc::tools {

namespace {

constexpr double kFast = 0.03, kSlow = 0.1; // s
/// The noise is the least error, which is forgotten by a factor of e in this time; at the start,
/// the error itself.
constexpr double kNoiseRise = 1.5, kFirstNoise = 0.3; // s
constexpr float kLeastMisalignment = 2e-5f;           // of the whole filter
/// Share of the theoretical progress for white input that is believed.
constexpr float kProgress = 0.5f;
/// An error so far above echo and noise that are expected, in so many bands, is near-end talk.
constexpr float kTalkRatio = 12;
constexpr double kTalkBands = 0.1, kHangover = 0.1;
constexpr float kTalkSlowDown = 0.02f; // of the belief's fall
/// So many bands are a sign of it, and so long a time without talk is enough to be safe.
constexpr double kTalkSign = 0.03, kCalm = 0.25;
/// Mean shares above which the path has changed, resp. the filters' difference is to be believed.
constexpr double kReversed = 0.3, kExplained = 0.12, kExplainedInTalk = 0.25;
/// So much explained of what sounds like talk, when the misalignment had already been believed so
/// small (of the whole filter), says that the path is another one.
constexpr double kOverturned = 0.45, kLearnt = 0.01;
/// Below this share of a band the difference explains nothing but chance.
constexpr float kChance = 0.3f;
/// Residual echo over error, as far as their means may be apart by chance.
constexpr float kMostResidual = 16;
/// Doubt about a coefficient, over the noise, which some of the error is taken for, by the number
/// of taps.
constexpr float kDoubt = 0.1f, kErrorDoubt = 0.05f;
/// The echo may come so much later than the first word: until then a small error shows nothing.
constexpr double kBeforeEcho = 0.3; // s
constexpr double kSaveEvery = 0.2;  // s
/// An adaptive filter so much worse than the fixed one is to begin anew from there.
constexpr float kDiverged = 16;
constexpr float kPowerFloor = 1e5f; // bands of less power tell nothing of changes
/// A far end below this power, times frames and bands of the filter, is silent: nothing is learnt,
/// and noise isn't taken for talk when it begins to speak.
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
    Eight* const terms = &a.terms[a.newest * a.controls.size()];
    a.newest = (a.newest + 1) % static_cast<std::size_t>(a.segments);
    a.elapsed += a.frameSeconds;
    Eight power{};
    for (std::size_t g = 0; g < a.controls.size(); ++g) {
        BandControl& b = a.controls[g];
        const BandFrame& f = frame[g];
        slide(b.power, terms[g], norm(f.far));
        if (a.newest == 0) {
            replace(b.power);
        }
        b.power.sum = largerOf(b.power.sum, Eight{});
        power += b.power.sum;
        const ComplexEight echo = f.near - f.fixedErr, gap = f.fixedErr - f.adaptiveErr;
        const ComplexEight gapInFixed = timesConjugate(f.fixedErr, gap);
        const Eight square = norm(f.adaptiveErr), fixedSquare = norm(f.fixedErr);
        smooth(b.error, a.fast, square);
        smooth(b.fixedError, a.fast, fixedSquare);
        smooth(b.slowPower, a.slow, b.power.sum);
        smooth(b.slowError, a.slow, square);
        smooth(b.slowFixedError, a.slow, fixedSquare);
        const Eight least = smallerOf(b.slowError, b.slowFixedError);
        b.noise = a.elapsed < kFirstNoise ? least : smallerOf(least, b.noise * a.noiseRise + 1);
        smooth(b.echo, a.slow, norm(echo));
        smooth(b.echoInError, a.slow, timesConjugate(f.fixedErr, echo).re);
        smooth(b.gap, a.slow, norm(gap));
        smooth(b.gapInFixed.re, a.slow, gapInFixed.re);
        smooth(b.gapInFixed.im, a.slow, gapInFixed.im);
    }
    a.power = sumOf(power);
}

/// What the shares say of the path.
void judgePath(BandAdaptation& a) {
    const bool reversed = a.reversed > kReversed;
    a.changed = reversed || a.explained > (isDoubleTalk(a) ? kExplainedInTalk : kExplained);
    a.overturned = reversed && !a.overturning;
    a.overturning = reversed || (a.overturning && a.reversed > kReversed / 2);
}

void decide(BandAdaptation& a) {
    Eight reversed{}, explained{}, heard{}, louder{}, loud{};
    const Eight none{}, one = eights(1);
    const float floor = kSilence * a.segments * a.bands;
    for (BandControl& b : a.controls) {
        loud += b.power.sum > floor ? one : none;
        const Eight expected = b.misalignment * b.power.sum + b.noise;
        const Eight error = smallerOf(b.error, b.fixedError);
        louder += b.power.sum > floor ? (error > kTalkRatio * expected ? one : none) : none;
        b.explained =
            b.gapInFixed.re > 0 ? share(norm(b.gapInFixed), b.gap, b.slowFixedError) : none;
        explained += b.explained;
        const Eight isHeard = b.echo > kPowerFloor ? one : none;
        const Eight part = share(b.echoInError * b.echoInError, b.slowFixedError, b.echo);
        heard += isHeard;
        reversed += b.echoInError < 0 ? isHeard * part : none;
    }
    a.explained = sumOf(explained) / a.bands;
    a.reversed = sumOf(heard) > a.bands / 4 ? sumOf(reversed) / sumOf(heard) : 0;
    a.farSpeaks = sumOf(loud) > a.bands / 8;
    a.spoken += a.farSpeaks ? a.frameSeconds : 0;
    const bool talked = isDoubleTalk(a);
    a.hangover = sumOf(louder) > kTalkBands * a.bands ? kHangover
                                                      : std::max(0.0, a.hangover - a.frameSeconds);
    if (a.reversed > kReversed) {
        a.hangover = 0;
    }
    judgePath(a);
    a.restore = talked && !isDoubleTalk(a) && !a.changed;
    a.quiet = isDoubleTalk(a) ? 0 : a.quiet + a.frameSeconds;
    a.safe = a.quiet > kCalm && sumOf(louder) < kTalkSign * a.bands;
    a.saving = a.safe && a.unsaved > kSaveEvery;
    a.unsaved = a.saving ? 0 : a.unsaved + a.frameSeconds;
}

/// Raises the belief where the signals show more, lowers it where they show less.
void believe(BandAdaptation& a) {
    const bool reversed = a.reversed > kReversed;
    const float floor = kSilence * a.segments * a.bands;
    const Eight none{};
    Eight left{}, all{};
    for (BandControl& b : a.controls) {
        const Eight inverse = 1 / largerOf(b.slowPower, eights(1));
        Eight m = b.misalignment;
        if (a.changed && !reversed) {
            Eight shown = (b.explained - kChance) / (1 - kChance) * b.slowFixedError * inverse;
            shown = b.gapInFixed.re > 0 ? shown : none;
            m = largerOf(m, shown);
        }
        if (reversed) {
            m = largerOf(m, smallerOf(b.slowError * inverse, eights(1 / a.segments)));
        }
        if (a.spoken > kBeforeEcho) {
            m = b.slowPower > floor ? smallerOf(m, kMostResidual * b.slowError * inverse) : m;
        }
        b.misalignment = largerOf(m, eights(kLeastMisalignment / a.segments));
        left += b.misalignment * b.slowPower;
        all += b.slowPower;
    }
    a.overturned |= a.learnt && isDoubleTalk(a) && a.explained > kOverturned;
    a.learnt = !a.overturned && (a.learnt || sumOf(left) * a.segments < kLearnt * sumOf(all));
}

void answer(BandAdaptation& a, const std::vector<BandFrame>& frame) {
    const float slowDown = isDoubleTalk(a) ? kTalkSlowDown : 1;
    const float progress = kProgress / a.segments;
    const Eight none{}, one = eights(1);
    for (std::size_t g = 0; g < a.controls.size(); ++g) {
        BandControl& b = a.controls[g];
        BandDecision& d = a.decisions[g];
        const BandFrame& f = frame[g];
        d.step = slowDown * smallerOf(one, 2 * f.step * b.power.sum);
        b.misalignment -= progress * d.step * b.misalignment;
        d.ridge = kDoubt * a.segments * (b.noise + kErrorDoubt * b.slowError);

        const Eight part = b.gapInFixed.re / largerOf(b.gap, eights(1e-9f));
        const Eight blend = isHeld(a)   ? none
                            : b.gap > 0 ? smallerOf(largerOf(part, none), one)
                                        : one;
        d.output = f.fixedErr + blend * (f.adaptiveErr - f.fixedErr);
        // The controller may keep what is better. It isn't shown what is worse, as for some frames
        // also the better filter may be, unless it is much worse; nor anything under talk.
        const Eight better = isHeld(a) ? none
                             : b.error > kDiverged * b.fixedError
                                 ? one
                                 : norm(f.fixedErr) - norm(f.adaptiveErr);
        d.judged = {better > 0 ? f.adaptiveErr.re : f.fixedErr.re,
                    better > 0 ? f.adaptiveErr.im : f.fixedErr.im};
        d.save = a.saving ? b.gapInFixed.re - 0.5f * b.gap : none;
    }
}

} // namespace

const std::vector<BandDecision>& adapt(BandAdaptation& a, const std::vector<BandFrame>& frame) {
    observe(a, frame);
    decide(a);
    believe(a);
    answer(a, frame);
    return a.decisions;
}

} // namespace qolsc::tools
