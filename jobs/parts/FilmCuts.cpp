// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/FilmCuts.h"

#include <oxa/host/InputDescription.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "transcode/TargetFormat.h"

namespace oxa::jobs {

namespace {

constexpr double kUsualRate = 25;
constexpr int64_t kSecondUs = 1'000'000;
constexpr int64_t kMostInexactUs = 1000;
// How much of what is behind a cut is compared.
constexpr int64_t kComparedUs = 2 * kSecondUs;

double knownRate(double rate) {
    return rate > 0 ? rate : kUsualRate;
}

}  // namespace

FilmCuts::FilmCuts(const TranscodeOptions& options, const TranscodeSource& source,
                   const CancelFlag& cancelled)
    : mOptions(options),
      mVideo(*source.video()),
      mTimes(source.input(), mVideo, cancelled),
      mStartUs(options.part.startUs),
      mLengthUs(mVideo.durationUs ? *mVideo.durationUs : storedLengthUs()),
      mSourceRate(knownRate(encodedRate({}, mVideo, 0))),
      mEncodedRate(knownRate(encodedRate(options, mVideo, source.target().deinterlace))),
      mMayJump(host::inputDescription().value_or(host::InputDescription()).mayJump) {}

// Of a file that does not tell.
int64_t FilmCuts::storedLengthUs() const {
    const std::vector<StoredPicture> pictures = mTimes.stored(mOptions.part);
    return pictures.empty() ? 0 : pictures.back().timeUs - mStartUs;
}

std::vector<int64_t> FilmCuts::near(const std::vector<int64_t>& targetsUs) const {
    std::vector<int64_t> cuts;
    if (targetsUs.empty()) return cuts;
    const auto first = mTimes.firstDecoded(mStartUs);
    if (!first) return cuts;
    for (const int64_t targetUs : targetsUs) {
        const auto cut = cutNear(targetUs, *first);
        const int64_t formerUs = cuts.empty() ? *first : cuts.back();
        if (cut && *cut > formerUs && *cut < mStartUs + mLengthUs) cuts.push_back(*cut);
    }
    return cuts;
}

std::optional<int64_t> FilmCuts::cutNear(int64_t targetUs, int64_t firstUs) const {
    if (mOptions.frameRate) return tickNear(targetUs);
    const double pictures = std::round(mOptions.keyFrameIntervalSec * mEncodedRate);
    const double stepUs = std::max(1.0, pictures) / mEncodedRate * kSecondUs;
    const double steps = std::max(1.0, std::round((mStartUs + targetUs - firstUs) / stepUs));
    return pictureNear(firstUs + std::llround(steps * stepUs));
}

std::optional<int64_t> FilmCuts::pictureNear(int64_t timeUs) const {
    const auto aroundUs = static_cast<int64_t>(0.75 / mSourceRate * kSecondUs);
    std::vector<StoredPicture> pictures = around(timeUs, aroundUs);
    // Behind a pause.
    if (pictures.empty()) pictures = around(timeUs + kSecondUs, kSecondUs);
    const auto nearest =
            std::min_element(pictures.begin(), pictures.end(), [&](const auto& a, const auto& b) {
                return std::abs(a.timeUs - timeUs) < std::abs(b.timeUs - timeUs);
            });
    return nearest == pictures.end() ? std::nullopt : std::optional(nearest->timeUs);
}

std::vector<StoredPicture> FilmCuts::around(int64_t timeUs, int64_t awayUs) const {
    InputPart part = mOptions.part;
    part.startUs = std::max(mStartUs, timeUs - awayUs);
    part.endUs = std::min(timeUs + awayUs, mStartUs + mLengthUs);
    return *part.endUs > part.startUs ? mTimes.stored(part) : std::vector<StoredPicture>();
}

// With a frame rate of its own the film's clock ticks from its start: a part has the same ticks if
// it begins at one that is a whole number of microseconds. It has the same pictures if that which
// is shown at its first tick is not earlier: what is earlier is not in the part.
std::optional<int64_t> FilmCuts::tickNear(int64_t targetUs) const {
    const int64_t rate = *mOptions.frameRate;
    const int64_t tickUs = kSecondUs / std::gcd(kSecondUs, rate);
    const int64_t stepUs = std::max(1, mOptions.keyFrameIntervalSec) * kSecondUs;
    const int64_t wantedUs =
            mStartUs + std::max<int64_t>(1, (targetUs + stepUs / 2) / stepUs) * stepUs;
    std::optional<int64_t> nearest;
    for (const StoredPicture& picture : around(wantedUs, kSecondUs)) {
        const int64_t lateUs = (picture.timeUs - mStartUs) % tickUs;
        const int64_t atTickUs = picture.timeUs - lateUs;
        if (atTickUs <= mStartUs || 2 * rate * lateUs >= kSecondUs) continue;
        if (!nearest || std::abs(atTickUs - wantedUs) < std::abs(*nearest - wantedUs)) {
            nearest = atTickUs;
        }
    }
    return nearest;
}

bool FilmCuts::areSteady(const std::vector<int64_t>& cutsUs) const {
    if (cutsUs.empty() || !mMayJump) return true;
    const std::vector<StoredPicture> film = mTimes.stored(mOptions.part);
    const auto isInFilm = [&](const StoredPicture& picture) {
        auto other = std::lower_bound(
                film.begin(), film.end(), picture.timeUs - kMostInexactUs,
                [](const StoredPicture& each, int64_t timeUs) { return each.timeUs < timeUs; });
        for (; other != film.end() && other->timeUs <= picture.timeUs + kMostInexactUs; ++other) {
            if (other->size == picture.size) return true;
        }
        return false;
    };
    return std::all_of(cutsUs.begin(), cutsUs.end(), [&](int64_t cutUs) {
        const auto pictures = around(cutUs + kComparedUs / 2, kComparedUs / 2);
        return !pictures.empty() && std::all_of(pictures.begin(), pictures.end(), isInFilm);
    });
}

}  // namespace oxa::jobs
