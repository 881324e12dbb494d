// SPDX-License-Identifier: Apache-2.0
// What the noise filter does to real speech in noise, beside libspeexdsp's preprocessor on the same
// signals. Three figures in dB for every level: segmental SNR; segmental SNR at the gain that fits
// best; what the ratio of talk to pauses gains. At the end the level of clean speech.
#include "audio.h"
#include "denoise.h"
#include "kit/data.h"
#include "metrics.h"

#ifdef QOLSC_HAVE_SPEEXDSP
#include <speex/speex_preprocess.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>

namespace {

using namespace qolsc::tools;
using Samples = std::vector<std::int16_t>;

/// Noise of unit power. Pink: poles and zeros of -3 dB an octave; room: -6 dB an octave above
/// 200 Hz; car: -12 dB an octave above 100 Hz.
std::vector<double> noise(const std::string& kind, std::size_t count, int rate) {
    qolsc::test::Random r;
    std::vector<double> v(count);
    const double room = std::exp(-2 * 3.14159265 * 200 / rate),
                 car = std::exp(-2 * 3.14159265 * 100 / rate);
    double a = 0, b = 0, c = 0, power = 0;
    for (double& x : v) {
        const double white = qolsc::test::uniformReal(r, -1, 1);
        if (kind == "white") {
            x = white;
        } else if (kind == "pink") {
            a = 0.99765 * a + white * 0.0990460;
            b = 0.96300 * b + white * 0.2965164;
            c = 0.57000 * c + white * 1.0526913;
            x = a + b + c + white * 0.1848;
        } else if (kind == "room") {
            x = a = room * a + white;
        } else {
            a = car * a + white;
            x = b = car * b + a;
        }
        power += x * x;
    }
    const double scale = std::sqrt(static_cast<double>(count) / power);
    for (double& x : v) {
        x *= scale;
    }
    return v;
}

double powerOf(const Samples& v) {
    double sum = 0;
    for (const std::int16_t x : v) {
        sum += static_cast<double>(x) * x;
    }
    return sum / static_cast<double>(v.size());
}

Samples sum(const Samples& speech, const std::vector<double>& noise, double amplitude) {
    Samples v;
    for (std::size_t i = 0; i < speech.size(); ++i) {
        v.push_back(static_cast<std::int16_t>(
            std::lrint(std::clamp(speech[i] + amplitude * noise[i], -32768.0, 32767.0))));
    }
    return v;
}

/// Segmental SNR of the part behind the lead, the output at the gain that fits it best: what a
/// filter does to the level of all isn't counted.
double fittedSnr(const Samples& speech, const Samples& out, std::size_t lead, int rate) {
    double cross = 0, power = 0;
    for (std::size_t i = lead; i < speech.size(); ++i) {
        cross += static_cast<double>(speech[i]) * out[i];
        power += static_cast<double>(out[i]) * out[i];
    }
    Samples fitted = out;
    for (std::int16_t& x : fitted) {
        x = static_cast<std::int16_t>(
            std::lrint(std::clamp(power > 0 ? x * cross / power : 0.0, -32768.0, 32767.0)));
    }
    return compare(std::span(speech).subspan(lead), std::span(fitted).subspan(lead), rate)
        .segmentalSnr;
}

double plainSnr(const Samples& speech, const Samples& out, std::size_t lead, int rate) {
    return compare(std::span(speech).subspan(lead), std::span(out).subspan(lead), rate)
        .segmentalSnr;
}

/// Power of talk, blocks of 20 ms no more than 10 dB below the mean, over that of the lead's second
/// half, in dB.
double talkToPause(const Samples& clean, const Samples& v, std::size_t lead, int rate) {
    const std::size_t n = static_cast<std::size_t>(rate) / 50;
    const double mean = powerOf(clean);
    double talk = 0, count = 0, pause = 0;
    for (std::size_t i = lead; i + n <= clean.size(); i += n) {
        const auto at = static_cast<std::ptrdiff_t>(i);
        const auto end = at + static_cast<std::ptrdiff_t>(n);
        if (powerOf({clean.begin() + at, clean.begin() + end}) > 0.1 * mean) {
            talk += powerOf({v.begin() + at, v.begin() + end});
            ++count;
        }
    }
    const auto half = static_cast<std::ptrdiff_t>(lead / 2);
    pause = powerOf({v.begin() + half, v.begin() + 2 * half});
    return 10 * std::log10(talk / count / pause);
}

Samples filtered(const Samples& in, int rate, int level) {
    Denoised d;
    denoise(in, rate, level, d);
    return d.output;
}

#ifdef QOLSC_HAVE_SPEEXDSP
/// The preprocessor delays nothing but half a frame of overlap, which is taken out.
Samples speex(Samples v, int rate) {
    const std::size_t frame = static_cast<std::size_t>(rate) / 50, length = v.size();
    SpeexPreprocessState* s = speex_preprocess_state_init(static_cast<int>(frame), rate);
    int on = 1, off = 0;
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(s, SPEEX_PREPROCESS_SET_AGC, &off);
    v.resize((length + 2 * frame) / frame * frame, 0);
    for (std::size_t i = 0; i < v.size(); i += frame) {
        speex_preprocess_run(s, &v[i]);
    }
    speex_preprocess_state_destroy(s);
    return v;
}
#endif

/// Shift of b that fits a best.
std::size_t delayOf(const Samples& a, const Samples& b) {
    std::size_t best = 0;
    double most = 0;
    for (std::size_t lag = 0; lag < 700 && lag + 1000 < b.size(); ++lag) {
        double sum = 0;
        for (std::size_t i = 0; i + lag < b.size() && i < a.size(); ++i) {
            sum += static_cast<double>(a[i]) * b[i + lag];
        }
        if (sum > most) {
            most = sum;
            best = lag;
        }
    }
    return best;
}

void table(const Samples& speech, int rate) {
    // Two seconds of noise alone, as a call begins, then the speech.
    const std::size_t lead = 2 * static_cast<std::size_t>(rate);
    Samples clean(lead, 0);
    clean.insert(clean.end(), speech.begin(), speech.end());
    const double power = powerOf(speech);
#ifdef QOLSC_HAVE_SPEEXDSP
    const auto delay = static_cast<std::ptrdiff_t>(delayOf(speech, speex(speech, rate)));
#endif
    std::printf("%d Hz\n", rate);
    std::printf("%-6s %3s %8s", "noise", "SNR", "input");
    for (int level = 1; level <= 5; ++level) {
        std::printf("            level %d", level);
    }
    std::printf("        libspeexdsp\n");
    for (const char* kind : {"white", "pink", "room", "car"}) {
        const std::vector<double> n = noise(kind, clean.size(), rate);
        for (const int snr : {5, 10, 20}) {
            const Samples noisy = sum(clean, n, std::sqrt(power) * std::pow(10, -snr / 20.0));
            std::printf("%-6s %3d %8.1f", kind, snr, plainSnr(clean, noisy, lead, rate));
            const auto print = [&](const Samples& out) {
                std::printf("  %5.1f %5.1f %5.1f", plainSnr(clean, out, lead, rate),
                            fittedSnr(clean, out, lead, rate),
                            talkToPause(clean, out, lead, rate) -
                                talkToPause(clean, noisy, lead, rate));
            };
            for (int level = 1; level <= 5; ++level) {
                print(filtered(noisy, rate, level));
            }
#ifdef QOLSC_HAVE_SPEEXDSP
            Samples out = speex(noisy, rate);
            out.erase(out.begin(), out.begin() + delay);
            out.resize(clean.size());
            print(out);
#endif
            std::printf("\n");
        }
    }
    std::printf("clean speech, change of level in dB:");
    for (int level = 1; level <= 5; ++level) {
        std::printf(" %.2f",
                    10 * std::log10(powerOf(filtered(clean, rate, level)) / powerOf(clean)));
    }
#ifdef QOLSC_HAVE_SPEEXDSP
    std::printf("; libspeexdsp %.2f",
                10 * std::log10(powerOf(speex(clean, rate)) / powerOf(clean)));
#endif
    std::printf("\n\n");
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const Audio audio = readAudio(argv[i]);
        table(audio.samples, audio.rate);
    }
    return argc > 1 ? 0 : 2;
}
