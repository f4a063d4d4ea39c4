// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/MuxerTags.h"

#include "ffmpeg/TimeBase.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace android {

void addMetadata(AVFormatContext* muxer, const oxa::host::OutputTags& tags) {
    for (const auto& [key, value] : tags.metadata)
        av_dict_set(&muxer->metadata, key.c_str(), value.c_str(), 0);
    for (unsigned i = 0; i < muxer->nb_streams; ++i) {
        AVStream* const stream = muxer->streams[i];
        const bool isPicture = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        const std::string& language = isPicture ? tags.pictureLanguage : tags.soundLanguage;
        if (!language.empty()) av_dict_set(&stream->metadata, "language", language.c_str(), 0);
    }
}

// avformat_free_context() frees them with the muxer.
int addChapters(AVFormatContext* muxer, const oxa::host::OutputTags& tags) {
    if (tags.chapters.empty()) return 0;
    muxer->chapters = static_cast<AVChapter**>(av_calloc(tags.chapters.size(), sizeof(AVChapter*)));
    if (muxer->chapters == nullptr) return AVERROR(ENOMEM);
    for (const auto& tag : tags.chapters) {
        auto* const chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (chapter == nullptr) return AVERROR(ENOMEM);
        muxer->chapters[muxer->nb_chapters++] = chapter;
        chapter->id = muxer->nb_chapters;
        chapter->time_base = kMicroseconds;
        chapter->start = tag.startUs;
        chapter->end = tag.endUs;
        av_dict_set(&chapter->metadata, "title", tag.title.c_str(), 0);
    }
    return 0;
}

}  // namespace android
