// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TrackReader.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaErrors.h>
#include <mediadrm/ICrypto.h>

#include <type_traits>

#include "CodecCallback.h"
#include "FixedSites.h"

// Lines and assertions carry the name of the pipeline that they are about.
#undef LOG_TAG
#define LOG_TAG mKind.tag

#define CHECK_READER(site, condition) \
    CHECK_IN(mKind.sites.file, lineOf(mKind.sites.site, __LINE__), condition)

namespace android {

namespace {

// Maintenance releases of the platform construct the extractor with or without an entry point. Its
// destructor is protected, so that no constructor can be asked for by a type trait.
template <typename Extractor, typename = void>
struct ExtractorMaker {
    static sp<Extractor> make() { return new Extractor(); }
};
template <typename Extractor>
struct ExtractorMaker<Extractor, std::void_t<typename Extractor::EntryPoint>> {
    static sp<Extractor> make() { return new Extractor(Extractor::EntryPoint::OTHER); }
};

// An assertion whose number is not a fixed one has that of this source.
int lineOf(int fixed, int here) {
    return fixed != 0 ? fixed : here;
}

}  // namespace

sp<FileSource> TrackReader::openSource(const sp<AMessage>& msg, bool byPath) const {
    if (byPath) {
        AString inputFile;
        CHECK_READER(path, msg->findString(AMSG_PATH, &inputFile));
        return new FileSource(inputFile.c_str());
    }
    int32_t fileId;
    int64_t fileOffset, fileLength;
    CHECK_READER(fileId, msg->findInt32(AMSG_FILE_ID, &fileId));
    CHECK_READER(fileOffset, msg->findInt64(AMSG_FILE_OFFSET, &fileOffset));
    CHECK_READER(fileLength, msg->findInt64(AMSG_FILE_LENGTH, &fileLength));
    return new FileSource(reopenDescriptor(fileId), fileOffset, fileLength);
}

status_t TrackReader::open(const sp<DataSource>& source) {
    mFields.extractor = ExtractorMaker<NuMediaExtractor>::make();
    status_t err = mFields.extractor->setDataSource(source);
    if (err != OK) {
        ALOGE(LOG_RED "%s[%d]: MediaExtractor set data source failed" LOG_RESET, __FUNCTION__,
              __LINE__);
        mFields.extractor.clear();
        return err;
    }
    ALOGD("%s[%d]: MediaExtractor set data source success", __FUNCTION__, __LINE__);
    return OK;
}

bool TrackReader::selectTrack(sp<AMessage>* trackFormat, AString* trackMime) {
    const sp<NuMediaExtractor>& mExtractor = mFields.extractor;
    for (size_t i = 0; i < mExtractor->countTracks(); ++i) {
        sp<AMessage> format;
        AString mime;
        CHECK_READER(trackFormat, mExtractor->getTrackFormat(i, &format) == OK);
        CHECK_READER(trackMime, format->findString(AMSG_MIME, &mime));
        if (!mime.startsWithIgnoreCase(mKind.mimePrefix)) continue;
        CHECK_READER(selectTrack, mExtractor->selectTrack(i) == OK);
        *trackFormat = format;
        *trackMime = mime;
        return true;
    }
    ALOGD(LOG_RED "%s[%d]: No %s track" LOG_RESET, __FUNCTION__, __LINE__, mKind.stream);
    return false;
}

void TrackReader::createDecoder(const AString& mime) {
    releaseCodec(mFields.decoder);
    mFields.decoder = MediaCodec::CreateByType(mFields.codecLooper, mime, false /* encoder */);
    CHECK_TEXT(mFields.decoder != NULL, mKind.sites.file, lineOf(mKind.sites.decoder, __LINE__),
               mKind.sites.decoderText);
    mFields.decoder->getName(&mFields.componentName);
    ALOGD(LOG_RED "%s[%d]: %s decoder component name: %s" LOG_RESET, __FUNCTION__, __LINE__,
          mKind.title, mFields.componentName.c_str());
}

void TrackReader::setCallback(const sp<AMessage>& callback) {
    CHECK_TEXT(mFields.decoder->setCallback(callback) == OK, mKind.sites.file,
               lineOf(mKind.sites.decoderCallback, __LINE__), mKind.sites.decoderCallbackText);
}

TrackReader::Feed TrackReader::feed(uint32_t index, int64_t* timeUs) {
    sp<MediaCodecBuffer> buffer = getInputBuffer(index);
    if (buffer == NULL) return kNothing;
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    status_t err = mFields.extractor->readSampleData(sample);
    if (err == NO_MEMORY) {
        ALOGE(LOG_RED "%s[%d]: Not enough memory" LOG_RESET, __FUNCTION__, __LINE__);
        if (mKind.returnsUnfilled) mFields.decoder->queueInputBuffer(index, 0, 0, 0, 0);
        // It would not fit the next time either.
        mFields.extractor->advance();
        return kNothing;
    }
    if (err == ERROR_END_OF_STREAM) return kEnd;
    buffer->setRange(sample->offset(), sample->size());
    return queueSample(index, sample, timeUs);
}

sp<MediaCodecBuffer> TrackReader::getInputBuffer(uint32_t index) {
    sp<MediaCodecBuffer> buffer;
    status_t err = mFields.decoder->getInputBuffer(index, &buffer);
    if (mKind.sites.assertsInputBuffer && !accepted(err, mKind.sites.inputBuffer)) return NULL;
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getInputBuffer" LOG_RESET, __FUNCTION__, __LINE__);
    }
    return buffer;
}

TrackReader::Feed TrackReader::queueSample(uint32_t index, const sp<ABuffer>& sample,
                                           int64_t* timeUs) {
    const sp<NuMediaExtractor>& mExtractor = mFields.extractor;
    CHECK_READER(sampleTime, mExtractor->getSampleTime(timeUs) == OK);
    status_t err =
            mFields.decoder->queueInputBuffer(index, sample->offset(), sample->size(), *timeUs, 0);
    if (!accepted(err, mKind.sites.queueSample)) return kNothing;
    // Leaving the last sample answers the end of the stream; the next read finds it.
    err = mExtractor->advance();
    CHECK_READER(advance, err == OK || err == ERROR_END_OF_STREAM);
    return kSample;
}

bool TrackReader::queueEnd(uint32_t index) {
    status_t err = mFields.decoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
    return accepted(err, mKind.sites.queueEnd);
}

bool TrackReader::accepted(status_t err, int line) const {
    const sites::CheckSite site{mKind.sites.file, lineOf(line, __LINE__)};
    return mKind.sites.assertsByValue ? mFields.relay->acceptedEq(err, LOG_TAG, site)
                                      : mFields.relay->accepted(err, LOG_TAG, site);
}

}  // namespace android
