// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <datasource/FileSource.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <stdint.h>

#include "BaseDecoder.h"

namespace android {

namespace sites {
struct ReaderSites;
}

// The file half of a pipeline: opens the file, selects the pipeline's track, makes its decoder and
// feeds it. Extractor, codec and the rest stay the pipeline's fields, which this works on; the
// pipeline configures and starts the decoder, and takes everything down.
class TrackReader {
  public:
    // What tells the pipelines apart.
    struct Kind {
        const char* tag;         // of log lines
        const char* title;       // "Video" or "Audio"
        const char* stream;      // "video" or "audio"
        const char* mimePrefix;  // of the tracks that it reads
        const sites::ReaderSites& sites;
        bool returnsUnfilled;  // an input buffer whose sample has no room in it
    };

    struct Fields {
        sp<NuMediaExtractor>& extractor;
        sp<MediaCodec>& decoder;
        sp<ALooper>& codecLooper;
        sp<BaseDecoder::DecodeCBHandler>& relay;
        AString& componentName;
    };

    // What became of an input buffer of the decoder.
    enum Feed {
        kSample,   // it went in with the next sample
        kEnd,      // the file has ended, and the buffer is still free
        kNothing,  // there was none, or its sample had no room
    };

    // `kind` and what `fields` refers to must outlive this object.
    TrackReader(const Kind& kind, const Fields& fields) : mKind(kind), mFields(fields) {}

    // On the thread of the pipeline's commands. What is asserted names the pipeline's source.

    // The file that a request names by path, or by descriptor, which is duplicated.
    sp<FileSource> openSource(const sp<AMessage>& request, bool byPath) const;
    // Opens `source`. The extractor's status; on failure there is none.
    status_t open(const sp<DataSource>& source);
    // Selects the first track of this kind. False without one.
    bool selectTrack(sp<AMessage>* format, AString* mime);
    // Makes the decoder and logs its name.
    void createDecoder(const AString& mime);
    // Has the decoder call the pipeline by `callback`, a message to the relay.
    void setCallback(const sp<AMessage>& callback);

    // On the thread of the relay's looper.

    // Fills the decoder's input buffer `index` with the next sample, whose time goes to `timeUs`.
    Feed feed(uint32_t index, int64_t* timeUs);
    // Gives the decoder the end of the stream with the input buffer `index`; false when it refuses.
    bool queueEnd(uint32_t index);

  private:
    sp<MediaCodecBuffer> getInputBuffer(uint32_t index);
    Feed queueSample(uint32_t index, const sp<ABuffer>& sample, int64_t* timeUs);
    bool accepted(status_t err, int line) const;

    const Kind& mKind;
    const Fields mFields;
};

}  // namespace android
