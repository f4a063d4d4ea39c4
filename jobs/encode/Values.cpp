// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Values.h"

#include <strings.h>

#include <charconv>
#include <cmath>
#include <map>

namespace oxa::jobs {

namespace {

constexpr double kLongestSeconds = 1e7;

struct NamedSize {
    const char* name;  // in any case
    Size size;
};

constexpr NamedSize kSizes[] = {{"240p", {426, 240}},    {"360p", {640, 360}},
                                {"480p", {854, 480}},    {"540p", {960, 540}},
                                {"576p", {1024, 576}},   {"720p", {1280, 720}},
                                {"1080p", {1920, 1080}}, {"1440p", {2560, 1440}},
                                {"2160p", {3840, 2160}}, {"4k", {3840, 2160}}};

// Digits with a fraction, not negative.
std::optional<double> parseDecimal(const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc() || stop != end || !(value >= 0) || std::signbit(value)) {
        return std::nullopt;
    }
    return value;
}

// [[H:]M:]S[.fraction], in seconds; below the first part each has two digits under 60.
std::optional<double> parseClock(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) return parseDecimal(text);
    const auto seconds = parseDecimal(text.substr(colon + 1));
    const std::string front = text.substr(0, colon);
    const size_t hourColon = front.rfind(':');
    const bool hasHours = hourColon != std::string::npos;
    const auto hours = parseWholeNumber(hasHours ? front.substr(0, hourColon) : "0", 0, INT32_MAX);
    const auto minutes = parseWholeNumber(hasHours ? front.substr(hourColon + 1) : front, 0,
                                          hasHours ? 59 : INT32_MAX);
    if (!seconds || *seconds >= 60 || !hours || !minutes) return std::nullopt;
    return *hours * 3600.0 + *minutes * 60.0 + *seconds;
}

}  // namespace

std::optional<int32_t> parseWholeNumber(const std::string& text, int32_t lowest, int32_t highest) {
    int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < lowest || value > highest) {
        return std::nullopt;
    }
    return value;
}

std::optional<Size> parseSize(const std::string& text) {
    const auto frame = parseMaxSize(text);
    if (!frame || frame->size.width % 2 != 0 || frame->size.height % 2 != 0) return std::nullopt;
    return frame->size;
}

std::optional<PictureFrame> parseMaxSize(const std::string& text) {
    for (const NamedSize& named : kSizes) {
        if (strcasecmp(text.c_str(), named.name) == 0) return PictureFrame{named.size, true};
    }
    const size_t cross = text.find('x');
    if (cross == std::string::npos) return std::nullopt;
    const auto width =
            parseWholeNumber(text.substr(0, cross), kLowestPictureSide, kHighestPictureSide);
    const auto height =
            parseWholeNumber(text.substr(cross + 1), kLowestPictureSide, kHighestPictureSide);
    if (!width || !height) return std::nullopt;
    return PictureFrame{{*width, *height}};
}

std::optional<int64_t> parseTime(const std::string& text) {
    if (text.empty()) return std::nullopt;
    static const std::map<char, double> kUnits = {{'s', 1}, {'m', 60}, {'h', 3600}};
    const auto unit = kUnits.find(text.back());
    std::optional<double> seconds;
    if (unit != kUnits.end()) {
        seconds = parseDecimal(text.substr(0, text.size() - 1));
        if (seconds) *seconds *= unit->second;
    } else {
        seconds = parseClock(text);
    }
    if (!seconds || !(*seconds <= kLongestSeconds)) return std::nullopt;
    return std::llround(*seconds * 1e6);
}

}  // namespace oxa::jobs
