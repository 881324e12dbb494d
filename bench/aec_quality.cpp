// SPDX-License-Identifier: Apache-2.0
// How well the cancellers of `qolsc aec` cancel, beside libspeexdsp's: the same scenes, the same
// tail, the echo canceller alone without residual suppression. Prints one table a scene.
//
// A scene lasts 40 s. The far end talks all the time, the near end from 10 to 16 s, and at 24 s the
// loudspeaker is moved. Each canceller runs three times: with the talker, without him, and with a
// silent far end, which shows what it lets pass of talker and noise. Then, per stretch of time,
//   echo left   = output - what passes of talker and noise
//   ERLE        = power of the echo over power of the echo left, in dB, without the talker
//   DT rise     = power of the echo left with the talker over that without him, 10 to 16 s, in dB
//   after       = ERLE in the 2 s behind the talker, where the run with him counts
//   back        = seconds after the change until the ERLE of a half second exceeds 20 dB again
//   segSNR, LSD = output against talker and noise alone, 10 to 16 s: mean of the SNR of 20 ms
//                 blocks in dB, and distance of log spectra in dB: near-end speech's distortion
//   passes      = segSNR of what passes with a silent far end, that is the filter bank's part in it
//
// With --bound: what the best filters that don't change could reach in the sub-bands, by least
// squares over the first 20 s of each scene without noise: with the library's windows, the engines'
// and those of --low-delay.
#include "aec/bank.h"
#include "aec/canceller.h"
#include "aec/engines.h"
#include "aec/scene.h"
#include "audio.h"
#include "metrics.h"

#include "qolsc.h"

#ifdef QOLSC_HAVE_SPEEXDSP
#include <speex/speex_echo.h>
#endif

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

constexpr int kTailMs = 128, kSeconds = 40;
constexpr double kTalkFrom = 10, kTalkTo = 16, kChange = 24;

struct Canceller {
    std::string name;
    std::function<Samples(int rate, const Samples& far, const Samples& near)> run;
};

Canceller ours(const std::string& engine, bool lowDelay = false) {
    return {engine + (lowDelay ? " low" : ""),
            [=](int rate, const Samples& far, const Samples& near) {
                return cancelEcho({.engine = aecEngineNamed(engine),
                                   .rate = rate,
                                   .tailMs = kTailMs,
                                   .suppress = false,
                                   .lowDelay = lowDelay},
                                  far, near)
                    .output;
            }};
}

#ifdef QOLSC_HAVE_SPEEXDSP
Samples speex(int rate, const Samples& far, const Samples& near) {
    const int frame = rate / 100;
    SpeexEchoState* s = speex_echo_state_init(frame, kTailMs * rate / 1000);
    speex_echo_ctl(s, SPEEX_ECHO_SET_SAMPLING_RATE, &rate);
    Samples out(near.size());
    for (std::size_t n = 0; n + static_cast<std::size_t>(frame) <= near.size();
         n += static_cast<std::size_t>(frame)) {
        speex_echo_cancellation(s, &near[n], &far[n], &out[n]);
    }
    speex_echo_state_destroy(s);
    return out;
}
#endif

/// Recordings one after the other, as long as told, over and over if need be.
Samples speech(const std::string& directory, const std::vector<std::string>& names, int rate,
               double seconds) {
    Samples all;
    for (const std::string& name : names) {
        const Audio a =
            readMono(directory + name + ".wav", rate, {.resample = true}, {}, "a scene");
        all.insert(all.end(), a.samples.begin(), a.samples.end());
    }
    const auto size = static_cast<std::size_t>(seconds * rate);
    while (all.size() < size) {
        all.insert(all.end(), all.begin(), all.end());
    }
    all.resize(size);
    return all;
}

Samples minus(const Samples& a, const Samples& b) {
    Samples d(a.size());
    for (std::size_t n = 0; n < d.size(); ++n) {
        d[n] = static_cast<std::int16_t>(std::clamp(a[n] - b[n], -32768, 32767));
    }
    return d;
}

double power(const Samples& x, int rate, double from, double to) {
    double sum = 0;
    for (auto n = static_cast<std::size_t>(from * rate); n < static_cast<std::size_t>(to * rate);
         ++n) {
        sum += double(x[n]) * x[n];
    }
    return std::max(sum, 1.0);
}
double ratio(const Samples& a, const Samples& b, int rate, double from, double to) {
    return 10 * std::log10(power(a, rate, from, to) / power(b, rate, from, to));
}

Samples cut(const Samples& x, int rate, double from, double to) {
    return {x.begin() + static_cast<std::ptrdiff_t>(from * rate),
            x.begin() + static_cast<std::ptrdiff_t>(to * rate)};
}

/// Seconds from the change until the ERLE of a half second exceeds 20 dB.
double timeBack(const Samples& echo, const Samples& left, int rate) {
    for (double t = kChange; t < kSeconds - 0.5; t += 0.125) {
        const bool silent = power(echo, rate, t, t + 0.5) < 0.5 * rate * 1000.0;
        if (!silent && ratio(echo, left, rate, t, t + 0.5) > 20) {
            return t + 0.5 - kChange;
        }
    }
    return NAN;
}

void judge(const Canceller& canceller, int rate, const Samples& far, const Scene& alone,
           const Scene& talked) {
    const Samples silence(far.size());
    const Samples noise = minus(alone.near, alone.echo), talk = minus(talked.near, talked.echo);
    const Samples passed = canceller.run(rate, silence, talk);
    const Samples out = canceller.run(rate, far, talked.near);
    const Samples left =
        minus(canceller.run(rate, far, alone.near), canceller.run(rate, silence, noise));
    const Samples leftTalked = minus(out, passed);
    const Samples& echo = alone.echo;
    std::printf("%-15s", canceller.name.c_str());
    const double edges[][2] = {{0, 2}, {2, 5}, {5, 10}, {16, 24}, {24, 26}, {26, 28}, {28, 40}};
    for (const auto& [from, to] : edges) {
        std::printf(" %6.1f", ratio(echo, left, rate, from, to));
    }
    std::printf(" %6.2f", timeBack(echo, left, rate));
    std::printf(" | %6.1f %6.1f", ratio(leftTalked, left, rate, kTalkFrom, kTalkTo),
                ratio(echo, leftTalked, rate, kTalkTo, kTalkTo + 2));
    const Samples clean = cut(talk, rate, kTalkFrom, kTalkTo);
    const Quality q = compare(clean, cut(out, rate, kTalkFrom, kTalkTo), rate);
    const Quality p = compare(clean, cut(passed, rate, kTalkFrom, kTalkTo), rate);
    std::printf(" %6.1f %6.2f %6.1f\n", q.segmentalSnr, q.logSpectralDistance, p.segmentalSnr);
    std::fflush(stdout);
}

// ---- the bound ----

using Complex = std::complex<double>;
using Bands = std::vector<std::vector<Qol32fc>>; // a row for each frame

struct BankState {
    BankState(const Bank& bank, const std::vector<double>& window)
        : state(size(bank, 0)), buffer(size(bank, 2)) {
        const std::vector<Qol32f> w(window.begin(), window.end());
        aecCheck(qolsSubbandProcessInit_32f(p(), bank.order, bank.frameSize, bank.windowLen,
                                            w.empty() ? nullptr : w.data(), nullptr));
    }
    static int size(const Bank& bank, int which) {
        Qol32s sizes[3];
        aecCheck(qolsSubbandProcessGetSize_32f(bank.order, bank.windowLen, &sizes[0], &sizes[1],
                                               &sizes[2]));
        return sizes[which];
    }
    QolsSubbandProcessState_32f* p() { return state.as<QolsSubbandProcessState_32f>(); }
    Qol8u* b() { return buffer.as<Qol8u>(); }
    AecMemory state, buffer;
};

Bands analyse(const Bank& bank, const Samples& x) {
    BankState state(bank, bank.analysis);
    const std::vector<Qol32f> f(x.begin(), x.end());
    Bands rows;
    for (std::size_t n = 0; n + static_cast<std::size_t>(bank.frameSize) <= f.size();
         n += static_cast<std::size_t>(bank.frameSize)) {
        rows.emplace_back(bank.bands);
        aecCheck(qolsSubbandAnalysis_32f32fc(&f[n], rows.back().data(), state.p(), state.b()));
    }
    return rows;
}

Samples synthesise(const Bank& bank, const Bands& rows) {
    BankState state(bank, bank.synthesis);
    std::vector<Qol32f> frame(static_cast<std::size_t>(bank.frameSize));
    Samples y;
    for (const auto& row : rows) {
        aecCheck(qolsSubbandSynthesis_32fc32f(row.data(), frame.data(), state.p(), state.b()));
        for (const float v : frame) {
            y.push_back(static_cast<std::int16_t>(std::lrint(v)));
        }
    }
    return y;
}

/// Solves a·w = b for a positive definite a, of which the lower triangle is given, by Cholesky's
/// factors.
std::vector<Complex> solve(std::vector<std::vector<Complex>> a, std::vector<Complex> w) {
    const std::size_t n = w.size();
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            for (std::size_t k = 0; k < j; ++k) {
                a[i][j] -= a[i][k] * std::conj(a[j][k]);
            }
            a[i][j] = i == j ? std::sqrt(std::max(a[i][i].real(), 1e-9)) : a[i][j] / a[j][j];
        }
        for (std::size_t k = 0; k < i; ++k) {
            w[i] -= a[i][k] * w[k];
        }
        w[i] /= a[i][i];
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) {
            w[i] -= std::conj(a[k][i]) * w[k];
        }
        w[i] /= a[i][i];
    }
    return w;
}

/// Subtracts from the near end of a band what the best filter of the far end makes of it.
void subtractBest(const Bands& far, Bands& near, std::size_t band, std::size_t taps) {
    const auto x = [&](std::size_t m) { return Complex(far[m][band].re, far[m][band].im); };
    std::vector<std::vector<Complex>> a(taps, std::vector<Complex>(taps));
    std::vector<Complex> w(taps);
    for (std::size_t m = taps; m < far.size(); ++m) {
        const Complex d(near[m][band].re, near[m][band].im);
        for (std::size_t i = 0; i < taps; ++i) {
            w[i] += std::conj(x(m - i)) * d;
            for (std::size_t j = 0; j <= i; ++j) {
                a[i][j] += std::conj(x(m - i)) * x(m - j);
            }
        }
    }
    double trace = 1;
    for (std::size_t i = 0; i < taps; ++i) {
        trace += a[i][i].real();
    }
    for (std::size_t i = 0; i < taps; ++i) {
        a[i][i] += 1e-7 * trace / static_cast<double>(taps);
    }
    w = solve(std::move(a), std::move(w));
    for (std::size_t m = far.size(); m-- > 0;) {
        Complex d(near[m][band].re, near[m][band].im);
        for (std::size_t i = 0; i < std::min(taps, m + 1); ++i) {
            d -= x(m - i) * w[i];
        }
        near[m][band] = {static_cast<float>(d.real()), static_cast<float>(d.imag())};
    }
}

void showBound(int rate, const Samples& far, const Samples& echo) {
    constexpr double kTo = 20;
    const int twice = rate / 8000;
    const int samples = kTailMs * rate / 1000, hop = twice == 1 ? 24 : 44;
    const struct {
        const char* name;
        Bank bank;
    } forms[] = {
        {"library's",
         {4 + twice, hop, 128 * twice, 16 * twice + 1, (samples + hop - 1) / hop, 0, {}, {}}},
        {"engines'", bankOf({.rate = rate, .tailMs = kTailMs})},
        {"low delay", bankOf({.rate = rate, .tailMs = kTailMs, .lowDelay = true})}};
    for (const auto& [name, bank] : forms) {
        const Bands x = analyse(bank, cut(far, rate, 0, kTo));
        Bands d = analyse(bank, cut(echo, rate, 0, kTo));
        const Bands before(static_cast<std::size_t>(bank.ahead), d[0]); // silent as yet
        d.insert(d.begin(), before.begin(), before.end());
        d.resize(x.size());
        for (std::size_t band = 0; band < static_cast<std::size_t>(bank.bands); ++band) {
            subtractBest(x, d, band, static_cast<std::size_t>(bank.segments));
        }
        d.erase(d.begin(), d.begin() + bank.ahead);
        const Samples left = synthesise(bank, d);
        std::printf("%-15s %6.1f dB from 2 to 19 s\n", name, ratio(echo, left, rate, 2, kTo - 1));
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    const bool bound = argc > 1 && std::string(argv[1]) == "--bound";
    const std::string prompts = "/usr/share/asterisk/sounds/en_US_f_Allison/",
                      books = "/usr/share/pocketsphinx/test/data/";
    const std::string book = "librivox/sense_and_sensibility_01_austen_64kb-";
    const std::vector<std::string> chapters = {book + "0870", book + "0880", book + "0890",
                                               book + "0920", book + "0930"};
    std::vector<Canceller> cancellers = {ours("subband"),    ours("subband-fixed"),
                                         ours("subband-dt"), ours("subband", true),
                                         ours("fullband"),   ours("fullband-fixed")};
#ifdef QOLSC_HAVE_SPEEXDSP
    cancellers.push_back({"libspeexdsp", speex});
#endif
    struct {
        const char* title;
        int rate;
        SceneSettings settings;
    } const scenes[] = {
        {"room of 60 ms, no noise", 8000, {.roomMs = 60}},
        {"room of 60 ms, noise at -65 dB", 8000, {.roomMs = 60, .noiseDb = -65}},
        {"room of 100 ms behind 15 ms, no noise", 8000, {.roomMs = 100, .delayMs = 15}},
        {"room of 60 ms, no noise", 16000, {.roomMs = 60}},
        {"room of 100 ms behind 15 ms, noise at -65 dB",
         16000,
         {.roomMs = 100, .delayMs = 15, .noiseDb = -65}},
    };
    for (const auto& [title, rate, base] : scenes) {
        SceneSettings settings = base;
        settings.rate = rate;
        settings.changeAt = kChange;
        settings.talkFrom = kTalkFrom;
        const Samples far = rate == 8000 ? speech(prompts, {"demo-instruct"}, rate, kSeconds)
                                         : speech(books, chapters, rate, kSeconds);
        const Samples talk =
            rate == 8000
                ? speech(books, chapters, rate, kTalkTo - kTalkFrom)
                : speech(books, {"cards/001", "cards/002", "cards/003", "cards/004", "cards/005"},
                         rate, kTalkTo - kTalkFrom);
        const Scene alone = makeScene(settings, far, {}), talked = makeScene(settings, far, talk);
        std::printf("\n%d Hz, %s, tail of %d ms; ERLE in dB from s to s\n", rate, title, kTailMs);
        std::printf("%-15s %6s %6s %6s %6s %6s %6s %6s %6s | %6s %6s %6s %6s %6s\n", "", "0-2",
                    "2-5", "5-10", "16-24", "24-26", "26-28", "28-40", "back", "rise", "after",
                    "segSNR", "LSD", "passes");
        if (bound) {
            if (settings.noiseDb < -200) {
                showBound(rate, far, alone.echo);
            }
            continue;
        }
        for (const Canceller& c : cancellers) {
            const bool wanted =
                argc < 2 || std::any_of(argv + 1, argv + argc,
                                        [&](const char* name) { return c.name == name; });
            if (wanted) {
                judge(c, rate, far, alone, talked);
            }
        }
    }
    return 0;
}
