// SPDX-License-Identifier: Apache-2.0
// Blocks of the report page.
#include "report.h"

#include "audio.h"
#include "failure.h"
#include "files.h"
#include "metrics.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace qolsc::tools {

namespace {

// Geometry of every plot in pixels: the frame's left, top, width; heights differ.
constexpr int kLeft = 64;
constexpr int kTop = 28;
constexpr int kWidth = 880;
constexpr int kLineHeight = 180;
constexpr int kWaveHeight = 110;
constexpr int kSpectrogramHeight = 180;
constexpr int kBelow = 40; // room for the ticks and label of x

constexpr std::array<const char*, 6> kColours = {"#1f5fa8", "#c8501e", "#3a8a3a",
                                                 "#8a4fa0", "#a07a10", "#555555"};

template <typename... Values>
std::string format(const char* pattern, Values... values) {
    std::array<char, 512> text;
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out += c == '<'   ? "&lt;"
               : c == '>' ? "&gt;"
               : c == '&' ? "&amp;"
               : c == '"' ? "&quot;"
                          : std::string(1, c);
    }
    return out;
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
    constexpr const char* kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve(bytes.size() * 4 / 3 + 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < count ? bytes[i + k] : 0u);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            out += k <= count ? kDigits[(group >> (18 - 6 * k)) & 63] : '=';
        }
    }
    return out;
}

// ---- axes ----

struct Axes {
    std::string title, xLabel, yLabel;
    double xLow, xHigh, yLow, yHigh;
    int height;
};

double toX(const Axes& axes, double x) {
    return kLeft + kWidth * (x - axes.xLow) / (axes.xHigh - axes.xLow);
}

double toY(const Axes& axes, double y) {
    return kTop + axes.height * (axes.yHigh - y) / (axes.yHigh - axes.yLow);
}

/// A round step (1, 2 or 5 times a power of ten) that gives about `count` ticks.
double tickStep(double span, int count) {
    const double raw = span / count;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    const double lead = raw / power;
    return power * (lead < 1.5 ? 1 : lead < 3.5 ? 2 : lead < 7.5 ? 5 : 10);
}

std::string openPlot(const Axes& axes) {
    std::string svg = format("<svg viewBox='0 0 %d %d' role='img'>", kLeft + kWidth + 16,
                             kTop + axes.height + kBelow);
    svg += format("<text class='title' x='%d' y='18'>", kLeft) + escaped(axes.title) + "</text>";
    svg += format("<text x='%d' y='%d' text-anchor='middle'>", kLeft + kWidth / 2,
                  kTop + axes.height + 34) +
           escaped(axes.xLabel) + "</text>";
    svg += format("<text transform='translate(14 %d) rotate(-90)' text-anchor='middle'>",
                  kTop + axes.height / 2) +
           escaped(axes.yLabel) + "</text>";
    const double xStep = tickStep(axes.xHigh - axes.xLow, 10);
    for (double x = std::ceil(axes.xLow / xStep) * xStep; x <= axes.xHigh + xStep * 1e-6;
         x += xStep) {
        svg += format("<path class='grid' d='M%.1f %dv%d'/><text x='%.1f' y='%d' "
                      "text-anchor='middle'>%.6g</text>",
                      toX(axes, x), kTop, axes.height, toX(axes, x), kTop + axes.height + 15,
                      std::abs(x) < xStep / 2 ? 0.0 : x);
    }
    const double yStep = tickStep(axes.yHigh - axes.yLow, axes.height / 35);
    for (double y = std::ceil(axes.yLow / yStep) * yStep; y <= axes.yHigh + yStep * 1e-6;
         y += yStep) {
        svg += format("<path class='grid' d='M%d %.1fh%d'/><text x='%d' y='%.1f' "
                      "text-anchor='end'>%.6g</text>",
                      kLeft, toY(axes, y), kWidth, kLeft - 6, toY(axes, y) + 4,
                      std::abs(y) < yStep / 2 ? 0.0 : y);
    }
    return svg;
}

std::string closePlot(const Axes& axes) {
    return format("<rect class='frame' x='%d' y='%d' width='%d' height='%d'/></svg>\n", kLeft, kTop,
                  kWidth, axes.height);
}

/// The line of a series; where several values share a pixel column it runs from their least to
/// their greatest, so that no peak is lost.
template <typename ValueAt>
std::string pathOf(const Axes& axes, std::size_t count, double xFirst, double xStep,
                   ValueAt valueAt) {
    std::string path;
    const std::size_t group = std::max<std::size_t>(1, count / (2 * kWidth));
    bool pen = false;
    for (std::size_t i = 0; i < count; i += group) {
        double low = valueAt(i);
        double high = low;
        for (std::size_t k = i; k < std::min(count, i + group); ++k) {
            low = std::min(low, valueAt(k));
            high = std::max(high, valueAt(k));
        }
        if (!std::isfinite(low) || !std::isfinite(high)) {
            pen = false;
            continue;
        }
        const double x = toX(axes, xFirst + xStep * static_cast<double>(i));
        path += format("%c%.1f %.1f", pen ? 'L' : 'M', x, toY(axes, low));
        // A value with gaps on both sides still shows: as a dot of no length with round ends.
        path += high > low ? format("V%.1f", toY(axes, high)) : pen ? "" : "h0";
        pen = true;
    }
    return path;
}

std::string curve(const std::string& path, std::size_t colour) {
    return "<path class='curve' stroke='" + std::string(kColours[colour % kColours.size()]) +
           "' d='" + path + "'/>";
}

void followValues(const LinePlot& plot, Axes& axes) {
    double low = INFINITY;
    double high = -INFINITY;
    for (const Series& series : plot.series) {
        for (const double value : series.values) {
            if (std::isfinite(value)) {
                low = std::min(low, value);
                high = std::max(high, value);
            }
        }
    }
    if (low > high) {
        low = high = 0;
    }
    const double margin = high > low ? 0.05 * (high - low) : 1;
    axes.yLow = low - margin;
    axes.yHigh = high + margin;
}

// ---- pictures ----

/// Black over violet and orange to pale yellow, even steps of lightness.
std::array<std::uint8_t, 3> heat(double level) {
    constexpr double kStops[6][3] = {{0, 0, 4},      {60, 15, 110},   {140, 41, 129},
                                     {222, 73, 104}, {254, 159, 109}, {252, 253, 191}};
    const double place = std::clamp(level, 0.0, 1.0) * 5;
    const auto below = std::min<std::size_t>(4, static_cast<std::size_t>(place));
    const double part = place - static_cast<double>(below);
    std::array<std::uint8_t, 3> colour;
    for (std::size_t c = 0; c < 3; ++c) {
        colour[c] = static_cast<std::uint8_t>(
            std::lround(kStops[below][c] + part * (kStops[below + 1][c] - kStops[below][c])));
    }
    return colour;
}

std::vector<std::uint8_t> pngOf(int width, int height, const std::vector<std::uint8_t>& rgb) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<std::uint8_t> png(size);
    if (!png_image_write_to_memory(&image, png.data(), &size, 0, rgb.data(), 0, nullptr)) {
        fail(std::string("cannot make a picture: ") + image.message);
    }
    png.resize(size);
    return png;
}

} // namespace

std::string shown(double value, int decimals) {
    return std::isnan(value)   ? "none"
           : std::isinf(value) ? (value > 0 ? "infinite" : "-infinite")
                               : format("%.*f", decimals, value);
}

void addHeading(Page& page, const std::string& text) {
    page.body += "<h2>" + escaped(text) + "</h2>\n";
}

void addText(Page& page, const std::string& text) { page.body += "<p>" + escaped(text) + "</p>\n"; }

void addTable(Page& page, const std::vector<std::string>& head,
              const std::vector<std::vector<std::string>>& rows) {
    page.body += "<table>";
    if (!head.empty()) {
        page.body += "<tr>";
        for (const std::string& cell : head) {
            page.body += "<th>" + escaped(cell) + "</th>";
        }
        page.body += "</tr>";
    }
    for (const auto& row : rows) {
        page.body += "<tr>";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string tag = i == 0 ? "th" : "td";
            page.body += "<" + tag + ">" + escaped(row[i]) + "</" + tag + ">";
        }
        page.body += "</tr>\n";
    }
    page.body += "</table>\n";
}

void addLinePlot(Page& page, const LinePlot& plot) {
    std::size_t longest = 2;
    for (const Series& series : plot.series) {
        longest = std::max(longest, series.values.size());
    }
    Axes axes{plot.title,
              plot.xLabel,
              plot.yLabel,
              plot.xFirst,
              plot.xFirst + plot.xStep * static_cast<double>(longest - 1),
              plot.yLow,
              plot.yHigh,
              kLineHeight};
    if (axes.yLow == axes.yHigh) {
        followValues(plot, axes);
    }
    page.body += openPlot(axes);
    for (std::size_t s = 0; s < plot.series.size(); ++s) {
        const auto& values = plot.series[s].values;
        page.body += curve(pathOf(axes, values.size(), plot.xFirst, plot.xStep,
                                  [&](std::size_t i) { return values[i]; }),
                           s);
        if (plot.series.size() > 1) {
            page.body += format("<text x='%d' y='%d' text-anchor='end' style='fill:%s;stroke:#fff;"
                                "stroke-width:4px;paint-order:stroke;font-weight:bold'>",
                                kLeft + kWidth - 6, kTop + 15 + 15 * static_cast<int>(s),
                                kColours[s % kColours.size()]) +
                         escaped(plot.series[s].name) + "</text>";
        }
    }
    page.body += closePlot(axes);
}

void addWaveform(Page& page, const std::string& title, std::span<const std::int16_t> samples,
                 int rate, std::span<const Stretch> marked) {
    const double seconds = static_cast<double>(std::max<std::size_t>(samples.size(), 1)) / rate;
    const Axes axes{title, "s", "", 0, seconds, -1, 1, kWaveHeight};
    page.body += openPlot(axes);
    for (const Stretch& stretch : marked) {
        const double left = toX(axes, stretch.from);
        page.body += format("<rect class='mark' x='%.1f' y='%d' width='%.1f' height='%d'/>", left,
                            kTop, toX(axes, std::min(stretch.to, seconds)) - left, axes.height);
    }
    page.body += curve(pathOf(axes, samples.size(), 0, 1.0 / rate,
                              [&](std::size_t i) { return samples[i] / 32768.0; }),
                       0);
    page.body += closePlot(axes);
}

void addSpectrogram(Page& page, const std::string& title, std::span<const std::int16_t> samples,
                    int rate, double topDb) {
    constexpr double kSpanDb = 80;
    const int size = windowSize(rate);
    const int hop = std::max(size / 4, static_cast<int>(samples.size() / kWidth) + 1);
    const Spectra spectra = powerSpectra(samples, size, hop);
    const auto bins = static_cast<std::size_t>(spectra.bins);
    const std::size_t columns = spectra.db.size() / bins;
    if (columns == 0) {
        return;
    }
    std::vector<std::uint8_t> rgb;
    for (std::size_t row = 0; row < bins; ++row) {
        for (std::size_t column = 0; column < columns; ++column) {
            const double db = spectra.db[column * bins + bins - 1 - row];
            const auto colour = heat((db - topDb) / kSpanDb + 1);
            rgb.insert(rgb.end(), colour.begin(), colour.end());
        }
    }
    const double seconds = static_cast<double>(samples.size()) / rate;
    const Axes axes{title, "s", "kHz", 0, seconds, 0, rate / 2000.0, kSpectrogramHeight};
    page.body += openPlot(axes);
    page.body += format("<image x='%d' y='%d' width='%d' height='%d' preserveAspectRatio='none' "
                        "href='data:image/png;base64,",
                        kLeft, kTop, kWidth, axes.height) +
                 base64(pngOf(static_cast<int>(columns), spectra.bins, rgb)) + "'/>";
    page.body += closePlot(axes);
}

void addPlayer(Page& page, const std::string& title, std::span<const std::int16_t> samples,
               int rate) {
    const auto most = static_cast<std::size_t>(rate) * 120;
    const bool cut = samples.size() > most;
    const auto played = samples.first(cut ? most : samples.size());
    page.body += "<figure><figcaption>" + escaped(title) + (cut ? " (first two minutes)" : "") +
                 "</figcaption><audio controls src='data:audio/wav;base64," +
                 base64(wavBytes(played, rate)) + "'></audio></figure>\n";
}

std::string html(const Page& page) {
    return "<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'>"
           "<meta name='viewport' content='width=device-width'><title>" +
           escaped(page.title) +
           "</title>\n<style>"
           "body{font:15px/1.45 system-ui,sans-serif;color:#222;max-width:980px;margin:2em auto;"
           "padding:0 1em}h1{font-size:1.5em}h2{font-size:1.15em;margin-top:1.8em}"
           "table{border-collapse:collapse}th,td{padding:.2em 1em .2em 0;text-align:left;"
           "border-bottom:1px solid #ddd}th{font-weight:600}td{font-variant-numeric:tabular-nums}"
           "svg{display:block;width:100%;height:auto;margin:.4em 0}"
           "svg text{font:12px system-ui,sans-serif;fill:#444}"
           "svg text[fill]{fill:attr(fill)}svg .title{font-weight:600;fill:#222}"
           ".grid{stroke:#ddd;fill:none}.frame{stroke:#888;fill:none}"
           ".mark{fill:#f3c969;fill-opacity:.6}"
           ".curve{fill:none;stroke-width:1;stroke-linejoin:round;stroke-linecap:round}"
           "figure{display:inline-block;margin:0 1.5em 1em 0}figcaption{font-weight:600}"
           "</style></head>\n<body><h1>" +
           escaped(page.title) + "</h1>\n" + page.body + "</body></html>\n";
}

void writePage(const Page& page, const std::string& path) {
    const std::string text = html(page);
    writeFile(path, std::vector<std::uint8_t>(text.begin(), text.end()));
}

} // namespace qolsc::tools
