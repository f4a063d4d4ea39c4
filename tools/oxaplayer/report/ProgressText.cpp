// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/ProgressText.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace oxaplayer {

namespace {

constexpr int kNarrowestBar = 8;
constexpr int kWidestBar = 40;
constexpr char kGreen[] = "\033[32m";
constexpr char kDim[] = "\033[0;2m";
constexpr char kPlain[] = "\033[0m";

__attribute__((format(printf, 1, 2))) std::string format(const char* pattern, ...) {
    char text[128];
    va_list values;
    va_start(values, pattern);
    vsnprintf(text, sizeof(text), pattern, values);
    va_end(values);
    return text;
}

std::string bar(double percent, int cells, bool colour) {
    const int full = static_cast<int>(percent / 100 * cells);
    const std::string done(full, '#');
    const std::string open(cells - full, '-');
    return colour ? "[" + (kGreen + done) + kDim + open + kPlain + "] " : "[" + done + open + "] ";
}

}  // namespace

std::string rateText(const Progress& progress, int decimals) {
    const bool isKnown = progress.picturesPerSecond > 0;
    return (isKnown ? format("  %.*f fps", decimals, progress.picturesPerSecond) : "") +
           format("  %lld dropped", static_cast<long long>(progress.dropped));
}

std::string formatCount(int64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string formatBytes(int64_t bytes) {
    if (bytes < 1000) return std::to_string(bytes) + " B";
    if (bytes < 1'000'000) return format("%.0f kB", bytes / 1e3);
    if (bytes < 1'000'000'000) return format("%.1f MB", bytes / 1e6);
    return format("%.2f GB", bytes / 1e9);
}

std::string formatClock(double seconds) {
    const auto whole = static_cast<long long>(std::ceil(seconds));
    if (whole >= 3600) {
        return format("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    }
    return format("%lld:%02lld", whole / 60, whole % 60);
}

std::string formatProgressLine(const Progress& progress) {
    std::string line = progress.percent ? format("%3.0f %%", std::floor(*progress.percent))
                                        : formatClock(progress.timeSec);
    if (progress.speed > 0 || progress.timeSec > 0) line += format("  %.2fx", progress.speed);
    if (progress.pictures > 0) line += format("  %.1f fps", progress.picturesPerSecond);
    if (progress.secondsLeft) line += "  " + formatClock(*progress.secondsLeft) + " left";
    if (progress.bytes) line += "  " + formatBytes(*progress.bytes);
    return line;
}

std::string formatProgressBar(const Progress& progress, int columns, bool colour) {
    std::string line = formatProgressLine(progress);
    // The last column stays free: a terminal that is written full moves on to the next line.
    const int room = columns - 1 - static_cast<int>(line.size());
    const int cells = std::min(room - 3, kWidestBar);
    if (progress.percent && cells >= kNarrowestBar)
        return bar(*progress.percent, cells, colour) + line;
    return line.substr(0, std::max(columns - 1, 0));
}

Json progressFields(const Progress& progress) {
    Json fields = {{"time_s", rounded(progress.timeSec, 1000)},
                   {"elapsed_s", rounded(progress.elapsedSec, 1000)},
                   {"frames", progress.pictures},
                   {"fps", rounded(progress.picturesPerSecond, 100)},
                   {"speed", rounded(progress.speed, 100)}};
    if (progress.percent) fields["percent"] = rounded(*progress.percent, 10);
    if (progress.secondsLeft) fields["left_s"] = rounded(*progress.secondsLeft, 10);
    if (progress.bytes) fields["bytes"] = *progress.bytes;
    return fields;
}

}  // namespace oxaplayer
