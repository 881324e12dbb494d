// SPDX-License-Identifier: Apache-2.0
// The detectors of the tone that disables cancellers (2100 Hz, phase reversed every 450 ms; ITU-T
// G.168 §7) on at least ten minutes each of speech and of DTMF, where none may report, and on the
// tone with noise 20 dB below, where all must: both arithmetics, 8 and 16 kHz.
#include "audio.h"
#include "kit/data.h"

#include "qolsc.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>

namespace {

using namespace qolsc::test;
using namespace qolsc::tools;
using Samples = std::vector<Qol16s>;

constexpr double kFullScale = 3.14; // dBm0 of a sine

/// Calls of 10 ms that reported, by arithmetic.
struct Reports {
    int fixed = 0, floating = 0;
};
Reports detect(const Samples& x, int rate) {
    alignas(16) Qol8u fixedMemory[72], floatMemory[80];
    auto* const fixed = reinterpret_cast<QolsToneDetectState_EC_16s*>(fixedMemory);
    auto* const floating = reinterpret_cast<QolsToneDetectState_EC_32f*>(floatMemory);
    qolsToneDetectInit_EC_16s(fixed, rate);
    qolsToneDetectInit_EC_32f(floating, rate);
    const std::vector<Qol32f> f(x.begin(), x.end());
    const auto block = static_cast<std::size_t>(rate / 100);
    Reports reports;
    for (std::size_t n = 0; n + block <= x.size(); n += block) {
        Qol32s result = 0;
        qolsToneDetect_EC_16s(&x[n], rate / 100, &result, fixed);
        reports.fixed += result;
        qolsToneDetect_EC_32f(&f[n], rate / 100, &result, floating);
        reports.floating += result;
    }
    return reports;
}

void show(const char* what, const Samples& x, int rate) {
    const Reports r = detect(x, rate);
    std::printf("%-34s %6d %8.1f %8d %8d\n", what, rate, static_cast<double>(x.size()) / rate / 60,
                r.fixed, r.floating);
}

/// All recordings below a directory that fit the rate, or that can be converted to it.
Samples speech(const char* directory, int rate) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.path().extension() == ".wav") {
            names.push_back(entry.path().string());
        }
    }
    std::sort(names.begin(), names.end());
    Samples all;
    for (const std::string& name : names) {
        const Audio a = readMono(name, rate, {.resample = true}, {}, "the detector");
        all.insert(all.end(), a.samples.begin(), a.samples.end());
    }
    return all;
}

/// Digits of 40 to 150 ms at -30 to -3 dBm0 a tone, 4 dB of twist either way, pauses of 30 to 150
/// ms (the ranges of ITU-T Q.24).
Samples dtmf(int rate, double seconds) {
    constexpr double low[] = {697, 770, 852, 941}, high[] = {1209, 1336, 1477, 1633};
    Random r;
    Samples x;
    while (static_cast<double>(x.size()) < seconds * rate) {
        const double a = low[uniform(r, 0, 3)], b = high[uniform(r, 0, 3)];
        const double level = uniformReal(r, -30, -3), twist = uniformReal(r, -4, 4);
        const auto amplitude = [](double dbm0) {
            return 32767 * std::pow(10, (std::min(dbm0, -3.0) - kFullScale) / 20);
        };
        const double first = amplitude(level), second = amplitude(level + twist);
        const int on = static_cast<int>(uniformReal(r, 0.04, 0.15) * rate),
                  off = static_cast<int>(uniformReal(r, 0.03, 0.15) * rate);
        for (int n = 0; n < on; ++n) {
            const double t = 2 * std::numbers::pi * n / rate;
            x.push_back(static_cast<Qol16s>(
                std::lrint(first * std::sin(a * t) + second * std::sin(b * t))));
        }
        x.insert(x.end(), static_cast<std::size_t>(off), Qol16s{0});
    }
    return x;
}

/// 2.5 s of the tone, reversed every 450 ms, with white noise 20 dB below.
Samples disabling(Random& r, int rate, double dbm0) {
    const double amplitude = 32767 * std::pow(10, (dbm0 - kFullScale) / 20);
    const double spread = amplitude / 10 * std::sqrt(1.5); // uniform noise: a third of its square
    const double phase = uniformReal(r, 0, 2 * std::numbers::pi);
    Samples x;
    for (int n = 0; n < rate * 5 / 2; ++n) {
        const double sign = n / (rate * 45 / 100) % 2 == 0 ? 1 : -1;
        x.push_back(static_cast<Qol16s>(
            std::lrint(sign * amplitude * std::sin(2 * std::numbers::pi * 2100 * n / rate + phase) +
                       uniformReal(r, -spread, spread))));
    }
    return x;
}

} // namespace

int main() {
    std::printf("%-34s %6s %8s %8s %8s\n", "reports where there are none", "Hz", "minutes", "fixed",
                "float");
    for (const int rate : {8000, 16000}) {
        show("speech, Asterisk's prompts",
             speech("/usr/share/asterisk/sounds/en_US_f_Allison", rate), rate);
        Samples books = speech("/usr/share/pocketsphinx/test/data", rate);
        const Samples once = books;
        while (books.size() < static_cast<std::size_t>(600 * rate)) {
            books.insert(books.end(), once.begin(), once.end());
        }
        show("speech, pocketsphinx's, repeated", books, rate);
        show("DTMF", dtmf(rate, 600), rate);
    }
    constexpr int kTrials = 50;
    std::printf("\ntone found, of %d, noise 20 dB below\n%6s", kTrials, "dBm0");
    for (const char* column : {"fixed 8", "float 8", "fixed 16", "float 16"}) {
        std::printf(" %9s", column);
    }
    std::printf("\n");
    Random r;
    for (int dbm0 = -40; dbm0 <= -6; dbm0 += 2) {
        std::printf("%6d", dbm0);
        for (const int rate : {8000, 16000}) {
            Reports found;
            for (int k = 0; k < kTrials; ++k) {
                const Reports one = detect(disabling(r, rate, dbm0), rate);
                found.fixed += one.fixed > 0;
                found.floating += one.floating > 0;
            }
            std::printf(" %9d %9d", found.fixed, found.floating);
        }
        std::printf("\n");
    }
    return 0;
}
