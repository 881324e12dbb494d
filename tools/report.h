// SPDX-License-Identifier: Apache-2.0
// One self-contained HTML page, put together from blocks: headings, tables, plots as inline SVG,
// spectrograms as PNG and players, all as data inside the page.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qolsc::tools {

struct Page {
    std::string title;
    std::string body;
};

void addHeading(Page& page, const std::string& text);
void addText(Page& page, const std::string& text);
/// The first column is the row's name.
void addTable(Page& page, const std::vector<std::string>& head,
              const std::vector<std::vector<std::string>>& rows);

struct Series {
    std::string name;
    std::vector<double> values; ///< NaN leaves a gap
};
struct LinePlot {
    std::string title;
    std::string xLabel;
    std::string yLabel;
    double xFirst = 0; ///< x of the first value
    double xStep = 1;  ///< x from value to value
    std::vector<Series> series;
    double yLow = 0; ///< range of y; where both are equal it follows from the values
    double yHigh = 0;
};
void addLinePlot(Page& page, const LinePlot& plot);

/// Seconds of a signal.
struct Stretch {
    double from, to;
};
/// Samples over time in seconds, full scale from top to bottom, behind them the marked stretches.
void addWaveform(Page& page, const std::string& title, std::span<const std::int16_t> samples,
                 int rate, std::span<const Stretch> marked = {});
/// Time, frequency, power; the colours span the 80 dB below topDb (see powerSpectra).
void addSpectrogram(Page& page, const std::string& title, std::span<const std::int16_t> samples,
                    int rate, double topDb = 85);
/// A player of the samples, or of their first two minutes.
void addPlayer(Page& page, const std::string& title, std::span<const std::int16_t> samples,
               int rate);

std::string html(const Page& page);
void writePage(const Page& page, const std::string& path);

/// A number with that many decimals; "none" for NaN.
std::string shown(double value, int decimals);

} // namespace qolsc::tools
