// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/TrackText.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json orNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

// "8:9"; empty when it is not known.
std::string ratioText(const Ratio& ratio) {
    if (ratio.numerator == 0) return {};
    return std::to_string(ratio.numerator) + ":" + std::to_string(ratio.denominator);
}

// A whole number where it is one.
Json rateOf(const Track& track) {
    const Ratio& rate = track.exactFrameRate;
    if (rate.numerator == 0) return orNull(track.frameRate);
    if (rate.numerator % rate.denominator == 0) return rate.numerator / rate.denominator;
    return static_cast<double>(rate.numerator) / rate.denominator;
}

Json colorFields(const Color& color) {
    return {{"range", orNull(color.range)},
            {"primaries", orNull(color.primaries)},
            {"transfer", orNull(color.transfer)},
            {"matrix", orNull(color.matrix)},
            {"bits", color.bits > 0 ? Json(color.bits) : Json(nullptr)}};
}

// "29.970", "25".
std::string rateText(const Track& track) {
    const Json rate = rateOf(track);
    if (rate.is_null()) return {};
    if (rate.is_number_integer()) return rate.dump();
    char text[32];
    snprintf(text, sizeof(text), "%.3f", rate.get<double>());
    return text;
}

std::string bitRateText(int64_t bitsPerSecond) {
    char text[32];
    const bool isLarge = bitsPerSecond >= 1'000'000;
    snprintf(text, sizeof(text), isLarge ? "%.2f Mbit/s" : "%.0f kbit/s",
             bitsPerSecond / (isLarge ? 1e6 : 1e3));
    return text;
}

// "bt709" where all three names are that, otherwise what differs.
std::string colorText(const Color& color) {
    std::vector<std::string> parts;
    for (const std::string& name : {color.primaries, color.transfer, color.matrix}) {
        if (!name.empty() && (parts.empty() || parts.back() != name)) parts.push_back(name);
    }
    if (color.range == "pc") parts.emplace_back("full range");
    if (color.bits > 0) parts.push_back(std::to_string(color.bits) + " bits");
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : " ") + part;
    return text;
}

}  // namespace

Json trackFields(const Track& track) {
    Json fields = {{"index", track.index},
                   {"kind", track.isVideo ? "video" : "audio"},
                   {"mime", track.mime},
                   {"codec", orNull(track.codec)},
                   {"profile", orNull(track.profile)}};
    if (track.isVideo) {
        fields["width"] = track.width;
        fields["height"] = track.height;
        fields["rotation"] = track.rotationDegrees;
        fields["pixel_aspect"] = orNull(ratioText(track.exactPixelAspect));
        fields["interlaced"] = track.isInterlaced;
        fields["frame_rate"] = rateOf(track);
        fields["color"] = colorFields(track.color);
    } else {
        fields["channels"] = track.channels;
        fields["layout"] = orNull(track.layout);
        fields["sample_rate"] = track.sampleRate;
    }
    fields["bit_rate"] = orNull(track.bitRate);
    fields["language"] = orNull(track.language);
    fields["duration_s"] =
            track.durationUs ? Json(rounded(*track.durationUs / 1e6, 1000)) : Json(nullptr);
    return fields;
}

std::string trackDetails(const Track& track) {
    if (!track.isVideo) {
        const std::string language = track.language.empty() ? "" : ", " + track.language;
        const std::string layout = track.layout.empty() ? "" : " " + track.layout;
        return std::to_string(track.channels) + " ch" + layout + ", " +
               std::to_string(track.sampleRate) + " Hz" + language;
    }
    std::string text = std::to_string(track.width) + "x" + std::to_string(track.height);
    if (track.rotationDegrees != 0) {
        text += ", rotated by " + std::to_string(track.rotationDegrees);
    }
    if (track.isInterlaced) text += " interlaced";
    const std::string rate = rateText(track);
    if (!rate.empty()) text += ", " + rate + " fps";
    return text;
}

std::string codecText(const Track& track) {
    if (track.codec.empty()) return track.mime;
    return track.profile.empty() ? track.codec : track.codec + " " + track.profile;
}

std::string allTrackDetails(const Track& track) {
    std::string text = trackDetails(track);
    const auto add = [&text](const std::string& part) {
        if (!part.empty()) text += ", " + part;
    };
    const Ratio& aspect = track.exactPixelAspect;
    if (track.isVideo && aspect.numerator != aspect.denominator && aspect.numerator > 0) {
        add("pixels " + ratioText(aspect));
    }
    if (track.isVideo) add(colorText(track.color));
    if (track.isVideo) add(track.language);
    if (track.bitRate) add(bitRateText(*track.bitRate));
    return text;
}

std::string describeTrack(const Track& track) {
    return track.mime + " " + trackDetails(track);
}

std::string leftBehindText(const LeftBehind& left) {
    const std::pair<int, const char*> kCounts[] = {{left.pictures, "picture"},
                                                   {left.sounds, "sound"},
                                                   {left.subtitles, "subtitle"},
                                                   {left.data, "data stream"},
                                                   {left.chapters, "chapter"}};
    std::string text;
    const auto add = [&text](const std::string& part) {
        text += (text.empty() ? "" : ", ") + part;
    };
    for (const auto& [count, thing] : kCounts) {
        if (count > 0) add(formatCount(count, thing));
    }
    for (const std::string& tag : left.tags)
        add(tag);
    return text;
}

}  // namespace oxaplayer
