// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/ProfileLevel.h"

#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/MediaDefs.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>

namespace android {

namespace {

using Bytes = std::vector<uint8_t>;

struct Number {
    int coded;
    int32_t value;
};

template <size_t N>
std::optional<int32_t> lookUp(const Number (&numbers)[N], int coded) {
    const auto* const found =
            std::find_if(std::begin(numbers), std::end(numbers),
                         [coded](const Number& number) { return number.coded == coded; });
    if (found == std::end(numbers)) return std::nullopt;
    return found->value;
}

void set(const sp<AMessage>& format, std::optional<int32_t> profile, std::optional<int32_t> level) {
    if (profile) format->setInt32("profile", *profile);
    if (profile && level) format->setInt32("level", *level);
}

void setAvc(const Bytes& record, const sp<AMessage>& format) {
    constexpr Number kProfiles[] = {{66, 1},     {77, 2},     {88, 4},    {100, 8},
                                    {110, 0x10}, {122, 0x20}, {244, 0x40}};
    constexpr Number kLevels[] = {
            {9, 2},       {10, 1},      {11, 4},      {12, 8},      {13, 0x10},   {20, 0x20},
            {21, 0x40},   {22, 0x80},   {30, 0x100},  {31, 0x200},  {32, 0x400},  {40, 0x800},
            {41, 0x1000}, {42, 0x2000}, {50, 0x4000}, {51, 0x8000}, {52, 0x10000}};
    constexpr int32_t kConstrainedBaseline = 0x10000;
    constexpr int32_t kConstrainedHigh = 0x80000;
    constexpr int32_t kLevel1b = 2;
    if (record.size() < 4 || record[0] != 1) return;
    const int constraints = record[2];
    std::optional<int32_t> profile = lookUp(kProfiles, record[1]);
    if (record[1] == 66 && (constraints & 0x40) != 0) profile = kConstrainedBaseline;
    if (record[1] == 100 && (constraints & 0x0C) == 0x0C) profile = kConstrainedHigh;
    std::optional<int32_t> level = lookUp(kLevels, record[3]);
    if (record[3] == 11 && record[1] < 100 && (constraints & 0x10) != 0) level = kLevel1b;
    set(format, profile, level);
}

void setHevc(const Bytes& record, const sp<AMessage>& format) {
    // A picture alone is decoded as Main.
    constexpr Number kProfiles[] = {{1, 1}, {2, 2}, {3, 1}};
    // Each level has a bit for the main tier and the next one for the high tier.
    constexpr int kLevels[] = {30, 60, 63, 90, 93, 120, 123, 150, 153, 156, 180, 183, 186};
    if (record.size() < 13 || record[0] != 1) return;
    const int highTier = record[1] >> 5 & 1;
    std::optional<int32_t> level;
    const auto* const found = std::find(std::begin(kLevels), std::end(kLevels), record[12]);
    if (found != std::end(kLevels)) level = 1 << (2 * (found - std::begin(kLevels)) + highTier);
    set(format, lookUp(kProfiles, record[1] & 0x1F), level);
}

// Only Simple and Advanced Simple, which are the ones that decoders and files have.
void setMpeg4(const Bytes& headers, const sp<AMessage>& format) {
    constexpr int32_t kSimple = 1;
    constexpr int32_t kAdvancedSimple = 0x8000;
    constexpr Number kLevels[] = {{0x01, 4},    {0x02, 8},     {0x03, 0x10}, {0x04, 0x40},
                                  {0x05, 0x80}, {0x06, 0x100}, {0x08, 1},    {0x09, 2},
                                  {0xF0, 1},    {0xF1, 4},     {0xF2, 8},    {0xF3, 0x10},
                                  {0xF4, 0x20}, {0xF5, 0x80},  {0xF7, 0x18}};
    constexpr std::array<uint8_t, 4> kStart = {0, 0, 1, 0xB0};
    const auto found = std::search(headers.begin(), headers.end(), kStart.begin(), kStart.end());
    if (headers.end() - found <= static_cast<ptrdiff_t>(kStart.size())) return;
    const int coded = found[kStart.size()];
    const std::optional<int32_t> level = lookUp(kLevels, coded);
    if (level) set(format, coded < 0xF0 ? kSimple : kAdvancedSimple, level);
}

void setAac(const Bytes& configuration, const sp<AMessage>& format) {
    constexpr int kEscape = 31;
    if (configuration.size() < 2) return;
    const int bits = configuration[0] << 8 | configuration[1];
    const int type = bits >> 11 == kEscape ? 32 + (bits >> 5 & 0x3F) : bits >> 11;
    for (int known : {1, 2, 3, 4, 5, 6, 17, 23, 29, 39, 42}) {
        if (type == known) format->setInt32("profile", type);
    }
}

}  // namespace

void setProfileAndLevel(const std::string& mime, const Bytes& configuration,
                        const sp<AMessage>& format) {
    if (mime == MEDIA_MIMETYPE_VIDEO_AVC) {
        setAvc(configuration, format);
    } else if (mime == MEDIA_MIMETYPE_VIDEO_HEVC) {
        setHevc(configuration, format);
    } else if (mime == MEDIA_MIMETYPE_VIDEO_MPEG4) {
        setMpeg4(configuration, format);
    } else if (mime == MEDIA_MIMETYPE_AUDIO_AAC) {
        setAac(configuration, format);
    }
}

}  // namespace android
