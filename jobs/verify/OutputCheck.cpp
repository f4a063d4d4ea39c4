// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "verify/OutputCheck.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "tracks/MessageText.h"

namespace oxa::jobs {

namespace {

constexpr int64_t kMostTimeUs = 2000;
// Mean over the fields of a picture, of 255: above what the worst quality does.
constexpr double kMostDifference = 24;
// A picture without content may be nearer than that to one whose content is faint.
constexpr double kContent = 4;
constexpr double kLeastContent = 0.1;  // of the source's
constexpr int64_t kMostOffsetUs = 10'000;
constexpr int64_t kSearchedOffsetUs = 300'000;
// Two frames of AAC, and what an encoder smears.
constexpr int64_t kMostEndUs = 100'000;
constexpr int64_t kFrame = 1024;           // of AAC
constexpr int64_t kMostClockUs = 260'000;  // two frames at 8 kHz
constexpr double kLoud = 0.1;              // of the mean level: there is sound
constexpr double kSilence = 1e-4;

double distance(const host::PictureGrid& a, const host::PictureGrid& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i)
        sum += std::abs(a[i] - b[i]);
    return sum / a.size();
}

// How far the fields of a picture are from its mean.
double contentOf(const host::PictureGrid& grid) {
    const double mean = std::accumulate(grid.begin(), grid.end(), 0.0) / grid.size();
    double sum = 0;
    for (const uint8_t field : grid)
        sum += std::abs(field - mean);
    return sum / grid.size();
}

bool isOther(const host::PictureGrid& wanted, const host::PictureGrid& is) {
    const double content = contentOf(wanted);
    return distance(is, wanted) > kMostDifference ||
           (content > kContent && contentOf(is) < kLeastContent * content);
}

std::string pictureDifference(const MediaSignature& source, const MediaSignature& output) {
    const size_t count = source.pictures.size();
    const size_t common = std::min(count, output.pictures.size());
    for (size_t i = 0; i < common; ++i) {
        const auto& wanted = source.pictures[i];
        const auto& is = output.pictures[i];
        const std::string name =
                "picture " + std::to_string(i + 1) + " of " + std::to_string(count);
        if (std::abs(is.timeUs - wanted.timeUs) > kMostTimeUs) {
            return name + " is at " + secondsText(is.timeUs) + ", not at " +
                   secondsText(wanted.timeUs);
        }
        if (isOther(wanted.grid, is.grid)) {
            return name + " is not the one of " + secondsText(wanted.timeUs);
        }
    }
    if (common == count && common == output.pictures.size()) return "";
    return "there are " + std::to_string(output.pictures.size()) + " pictures, not " +
           std::to_string(count);
}

double meanOf(const std::vector<float>& levels) {
    double sum = 0;
    for (const float level : levels)
        sum += level;
    return levels.empty() ? 0 : sum / levels.size();
}

// How well `b` fits `a` when it is taken to be late by `shift` places.
double likeness(const std::vector<float>& a, const std::vector<float>& b, int64_t shift) {
    const auto size = static_cast<int64_t>(a.size());
    const auto other = static_cast<int64_t>(b.size());
    double sum = 0;
    for (int64_t i = std::max<int64_t>(0, -shift); i < size && i + shift < other; ++i)
        sum += static_cast<double>(a[i]) * b[i + shift];
    return sum;
}

// By how much the sound of `output` is late, in microseconds: where it fits best. The place where
// it is counts unless another one fits clearly better, since steady sound fits nearly everywhere.
int64_t offsetUs(const std::vector<float>& source, const std::vector<float>& output) {
    constexpr double kClearly = 1.002;
    const int64_t reach = kSearchedOffsetUs / MediaSignature::kLevelUs;
    const int64_t near = kMostOffsetUs / MediaSignature::kLevelUs;
    double best = 0;
    for (int64_t shift = -near; shift <= near; ++shift)
        best = std::max(best, likeness(source, output, shift));
    best *= kClearly;
    int64_t offset = 0;
    for (int64_t shift = -reach; shift <= reach; ++shift) {
        const double like = likeness(source, output, shift);
        if (like <= best) continue;
        best = like;
        offset = shift;
    }
    return offset * MediaSignature::kLevelUs;
}

// The place of the first, or of the last, that can be heard.
int64_t edgeUs(const std::vector<float>& levels, double loud, bool isLast) {
    const auto isLoud = [loud](float level) { return level > loud; };
    const auto first = std::find_if(levels.begin(), levels.end(), isLoud);
    const auto last = std::find_if(levels.rbegin(), levels.rend(), isLoud);
    const int64_t place = isLast ? levels.rend() - last : first - levels.begin();
    return place * MediaSignature::kLevelUs;
}

std::string endDifference(int64_t sourceUs, int64_t outputUs, int64_t frameUs) {
    if (std::abs(outputUs - sourceUs) <= std::max(kMostEndUs, frameUs * 3 / 2)) return "";
    return "the sound ends at " + secondsText(outputUs) + ", not at " + secondsText(sourceUs);
}

int64_t lengthUs(const std::vector<float>& levels) {
    return static_cast<int64_t>(levels.size()) * MediaSignature::kLevelUs;
}

int64_t frameUsOf(const MediaSignature& sound) {
    return kFrame * 1'000'000 / std::max(sound.sampleRate, 1);
}

std::string soundDifference(const MediaSignature& source, const MediaSignature& output) {
    const int64_t frameUs = frameUsOf(output);
    std::string end = endDifference(lengthUs(source.levels), lengthUs(output.levels), frameUs);
    if (!end.empty()) return end;
    const double mean = meanOf(source.levels);
    if (mean < kSilence) return "";
    const double outputMean = meanOf(output.levels);
    const int64_t endUs = edgeUs(source.levels, kLoud * mean, true);
    const int64_t outputEndUs = edgeUs(output.levels, kLoud * outputMean, true);
    if (outputMean < kSilence) return "there is no sound";
    const int64_t lateUs = offsetUs(source.levels, output.levels);
    if (lateUs != 0) {
        return "the sound is " + std::to_string(std::abs(lateUs) / 1000) + " ms " +
               (lateUs > 0 ? "late" : "early");
    }
    const int64_t beginUs = edgeUs(source.levels, kLoud * mean, false);
    const int64_t outputBeginUs = edgeUs(output.levels, kLoud * outputMean, false);
    // A decoder that gets no frame in front of the first one has less of that.
    if (std::abs(outputBeginUs - beginUs) > std::max(3 * kMostOffsetUs, frameUs * 3 / 2)) {
        return "the sound begins at " + secondsText(outputBeginUs) + ", not at " +
               secondsText(beginUs);
    }
    return endDifference(endUs, outputEndUs, frameUs);
}

}  // namespace

std::string differenceOf(const MediaSignature& source, const MediaSignature& output) {
    const std::string difference = pictureDifference(source, output);
    return difference.empty() ? soundDifference(source, output) : difference;
}

bool beginsLate(const MediaSignature& source) {
    return !source.pictures.empty() && source.pictures.front().timeUs > 0 &&
           source.soundBeginUs > 0;
}

void alignAlone(const MediaSignature& output, MediaSignature* source) {
    auto& pictures = source->pictures;
    auto& levels = source->levels;
    if (pictures.empty()) {
        // In front of sound that begins late there is a frame of the encoder's, which is hidden
        // only where it would be before the time 0.
        const int64_t lateUs = std::max<int64_t>(0, source->soundBeginUs - frameUsOf(output));
        const int64_t places = lateUs / MediaSignature::kLevelUs;
        levels.erase(levels.begin(), levels.begin() + std::min<int64_t>(places, levels.size()));
    } else if (levels.empty()) {
        const int64_t beginUs = pictures.front().timeUs;
        for (auto& picture : pictures)
            picture.timeUs -= beginUs;
    }
}

void alignToPictures(const MediaSignature& source, MediaSignature* output) {
    if (source.pictures.empty() || output->pictures.empty()) return;
    const int64_t lateUs = source.pictures.front().timeUs - output->pictures.front().timeUs;
    if (std::abs(lateUs) > kMostClockUs) return;
    for (auto& picture : output->pictures)
        picture.timeUs += lateUs;
    auto& levels = output->levels;
    const int64_t places = lateUs / MediaSignature::kLevelUs;
    if (places > 0) levels.insert(levels.begin(), places, 0.0F);
    const auto early = std::min<int64_t>(std::max<int64_t>(0, -places), levels.size());
    levels.erase(levels.begin(), levels.begin() + early);
}

}  // namespace oxa::jobs
