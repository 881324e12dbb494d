// SPDX-License-Identifier: Apache-2.0
// The progress bar.
#include "progress.h"

#include <cstdio>
#include <unistd.h>

namespace qolsc::tools {

void showProgress(Progress& progress, std::size_t done) {
    constexpr auto kMoment = std::chrono::milliseconds(400);
    constexpr int kWidth = 40;
    const int percent = progress.total == 0 ? 100 : static_cast<int>(done * 100 / progress.total);
    static const bool terminal = isatty(STDERR_FILENO) == 1;
    if (!terminal || percent == progress.shown ||
        std::chrono::steady_clock::now() - progress.start < kMoment) {
        return;
    }
    progress.shown = percent;
    const int filled = percent * kWidth / 100;
    std::fprintf(stderr, "\r%-9s [%.*s%*s] %3d %%", progress.label, filled,
                 "########################################", kWidth - filled, "", percent);
}

void endProgress(Progress& progress) {
    if (progress.shown >= 0) {
        std::fputs("\r\033[K", stderr);
        progress.shown = -1;
    }
}

} // namespace qolsc::tools
