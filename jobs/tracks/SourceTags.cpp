// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/SourceTags.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace oxa::jobs {

namespace {

constexpr std::array<const char*, 4> kKept = {"title", "artist", "date", "comment"};
// Of the others those that somebody has written by hand.
constexpr std::array<const char*, 14> kMissed = {
        "album",  "album_artist", "composer",  "copyright", "description", "disc",  "genre",
        "lyrics", "performer",    "publisher", "show",      "synopsis",    "track", "year"};
// A programme's name in a transport stream has less than 256 bytes.
constexpr size_t kLongestProgramName = 200;

std::string valueOf(const host::InputDescription& input, const char* key) {
    for (const auto& [name, value] : input.metadata) {
        if (strcasecmp(name.c_str(), key) == 0) return value;
    }
    return {};
}

// Containers have three letters.
std::string languageCode(const std::optional<Track>& track) {
    if (!track || track->language.size() != 3) return {};
    const bool isCode = std::all_of(track->language.begin(), track->language.end(),
                                    [](unsigned char letter) { return std::islower(letter); });
    return isCode ? track->language : "";
}

// Cut between two letters of UTF-8.
std::string shortened(const std::string& text, size_t longest) {
    if (text.size() <= longest) return text;
    size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

std::vector<host::OutputTags::Chapter> chaptersOf(const host::InputDescription& input,
                                                  const InputPart& part) {
    std::vector<host::OutputTags::Chapter> chapters;
    for (const host::InputChapter& chapter : input.chapters) {
        const int64_t startUs = std::max(chapter.startUs, part.startUs);
        const int64_t endUs = std::min(chapter.endUs, part.endUs.value_or(INT64_MAX));
        if (startUs >= endUs) continue;
        chapters.push_back({startUs - part.startUs, endUs - part.startUs, chapter.title});
    }
    return chapters;
}

// Whether a stream of the input is the track that was chosen.
bool isTrack(const host::InputStream& stream, const std::optional<Track>& track) {
    return track && stream.track == track->index;
}

int* countOf(host::InputStream::Kind kind, LeftBehind* left) {
    switch (kind) {
        case host::InputStream::Kind::kPicture:
            return &left->pictures;
        case host::InputStream::Kind::kSound:
            return &left->sounds;
        case host::InputStream::Kind::kSubtitle:
            return &left->subtitles;
        case host::InputStream::Kind::kData:
            break;
    }
    return &left->data;
}

bool isUnwanted(host::InputStream::Kind kind, Only only) {
    return (only == Only::kAudio && kind == host::InputStream::Kind::kPicture) ||
           (only == Only::kVideo && kind == host::InputStream::Kind::kSound);
}

void addMissingTags(const host::InputDescription& input, const host::OutputTags& tags,
                    LeftBehind* left) {
    for (const char* key : kKept) {
        const bool isKept = std::any_of(tags.metadata.begin(), tags.metadata.end(),
                                        [key](const auto& tag) { return tag.first == key; });
        if (!isKept && !valueOf(input, key).empty()) left->tags.emplace_back(key);
    }
    for (const char* key : kMissed) {
        if (!valueOf(input, key).empty()) left->tags.emplace_back(key);
    }
    if (tags.chapters.empty()) left->chapters = static_cast<int>(input.chapters.size());
}

}  // namespace

host::OutputTags keptTags(const host::InputDescription& input, const TrackChoice& tracks,
                          const InputPart& part, Container container) {
    const bool isTs = container == Container::kMpeg2Ts;
    host::OutputTags tags;
    for (const char* key : kKept) {
        std::string value = valueOf(input, key);
        if (isTs) value = key == kKept.front() ? shortened(value, kLongestProgramName) : "";
        if (!value.empty()) tags.metadata.emplace_back(key, value);
    }
    tags.pictureLanguage = languageCode(tracks.video);
    tags.soundLanguage = languageCode(tracks.audio);
    if (!isTs) tags.chapters = chaptersOf(input, part);
    return tags;
}

LeftBehind leftBehind(const host::InputDescription& input, const TrackChoice& tracks, Only only,
                      const host::OutputTags* tags) {
    LeftBehind left;
    for (const host::InputStream& stream : input.streams) {
        if (isTrack(stream, tracks.video) || isTrack(stream, tracks.audio)) continue;
        if (!isUnwanted(stream.kind, only)) ++*countOf(stream.kind, &left);
    }
    if (tags != nullptr) addMissingTags(input, *tags, &left);
    return left;
}

}  // namespace oxa::jobs
