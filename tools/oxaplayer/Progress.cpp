// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace oxaplayer {

namespace {

constexpr int64_t kWindowUs = 3'000'000;
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

ProgressMeter::ProgressMeter(int64_t startUs, int64_t durationUs)
    : mStart{startUs, 0, 0, std::nullopt}, mDurationUs(durationUs), mRecent{mStart} {}

ProgressNumbers ProgressMeter::add(const ProgressSample& sample) {
    mRecent.push_back(sample);
    while (mRecent.size() > 2 && sample.nowUs - mRecent[1].nowUs >= kWindowUs)
        mRecent.pop_front();
    return since(mRecent.front(), sample);
}

ProgressNumbers ProgressMeter::overall(const ProgressSample& sample) const {
    return since(mStart, sample);
}

ProgressNumbers ProgressMeter::since(const ProgressSample& earlier,
                                     const ProgressSample& sample) const {
    ProgressNumbers numbers;
    numbers.timeSec = sample.mediaTimeUs / 1e6;
    numbers.elapsedSec = (sample.nowUs - mStart.nowUs) / 1e6;
    numbers.frames = sample.frames;
    numbers.bytes = sample.bytes;
    const double spanSec = (sample.nowUs - earlier.nowUs) / 1e6;
    if (spanSec > 0) {
        numbers.framesPerSecond = (sample.frames - earlier.frames) / spanSec;
        numbers.speed = (sample.mediaTimeUs - earlier.mediaTimeUs) / 1e6 / spanSec;
    }
    if (mDurationUs > 0) {
        const double done = std::min(1.0, static_cast<double>(sample.mediaTimeUs) / mDurationUs);
        numbers.percent = 100 * done;
        if (numbers.speed > 0) numbers.secondsLeft = (1 - done) * mDurationUs / 1e6 / numbers.speed;
    }
    return numbers;
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

std::string formatProgressLine(const ProgressNumbers& numbers) {
    std::string line = numbers.percent ? format("%3.0f %%", std::floor(*numbers.percent))
                                       : formatClock(numbers.timeSec);
    line += format("  %.2fx", numbers.speed);
    if (numbers.frames > 0) line += format("  %.1f fps", numbers.framesPerSecond);
    if (numbers.secondsLeft) line += "  " + formatClock(*numbers.secondsLeft) + " left";
    if (numbers.bytes) line += "  " + formatBytes(*numbers.bytes);
    return line;
}

std::string formatProgressBar(const ProgressNumbers& numbers, int columns, bool colour) {
    std::string line = formatProgressLine(numbers);
    // The last column stays free: a terminal that is written full moves on to the next line.
    const int room = columns - 1 - static_cast<int>(line.size());
    const int cells = std::min(room - 3, kWidestBar);
    if (numbers.percent && cells >= kNarrowestBar)
        return bar(*numbers.percent, cells, colour) + line;
    return line.substr(0, std::max(columns - 1, 0));
}

Json progressFields(const ProgressNumbers& numbers) {
    Json fields = {{"time_s", rounded(numbers.timeSec, 1000)},
                   {"elapsed_s", rounded(numbers.elapsedSec, 1000)},
                   {"frames", numbers.frames},
                   {"fps", rounded(numbers.framesPerSecond, 100)},
                   {"speed", rounded(numbers.speed, 100)}};
    if (numbers.percent) fields["percent"] = rounded(*numbers.percent, 10);
    if (numbers.secondsLeft) fields["left_s"] = rounded(*numbers.secondsLeft, 10);
    if (numbers.bytes) fields["bytes"] = *numbers.bytes;
    return fields;
}

}  // namespace oxaplayer
