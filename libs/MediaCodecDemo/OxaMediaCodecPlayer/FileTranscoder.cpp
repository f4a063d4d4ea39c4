// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "FileTranscoder.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaErrors.h>
#include <mediadrm/ICrypto.h>

#include "CodecCallback.h"
#include "FixedSites.h"

// Lines and assertions carry the name of the kind of transcoder that they are about.
#undef LOG_TAG
#define LOG_TAG mKind.encoder.tag

namespace android {

namespace {

constexpr int64_t kStreamLeadUs = 10000;

}  // namespace

FileTranscoder::FileTranscoder(const Kind& kind, ssize_t& trackIndex)
    : mKind(kind),
      mTrackReader(kind.reader,
                   {mExtractor, mDecoderCodec, mCodecLooper, mDecodeCBHandler, mDecoderName}),
      mTrackEncoder(kind.encoder, {mEncoderCodec, mMuxer, mEncoderLooper, mEncodeCBLooper,
                                   mEncodeCBHandler, trackIndex}) {
    mCodecLooper = startLooper(mKind.codecLooper);
    mEncoderLooper = startLooper(mKind.encoder.encoderLooper);
}

FileTranscoder::~FileTranscoder() {
    // A codec must not be destroyed unreleased, and a reset in PREPARED releases nothing.
    releaseCodec(mDecoderCodec);
    releaseCodec(mEncoderCodec);
}

status_t FileTranscoder::setDataSource(const char* path) {
    return postRequest(newPathRequest(kWhatSetDataSource, this, path));
}

status_t FileTranscoder::setDataSource(int fd, int64_t offset, int64_t length) {
    return postRequest(newFileRequest(kWhatSetDataSourceFd, this, fd, offset, length));
}

status_t FileTranscoder::setMuxer(const sp<OxaMediaMuxer>& muxer) {
    return postRequest(newRequest(kWhatSetMuxer, this, AMSG_MUXER, muxer));
}

status_t FileTranscoder::postTargetFormat(const _AV_FORMAT_FORMAT& format) {
    return postRequest(newPointerRequest(kWhatSetTargetFormat, this, AMSG_TARTGET_FORMAT, &format));
}

status_t FileTranscoder::prepare() {
    return postRequest(new AMessage(kWhatPrepare, this));
}

status_t FileTranscoder::start() {
    return postRequest(new AMessage(kWhatStart, this));
}

status_t FileTranscoder::stop() {
    return postRequest(new AMessage(kWhatStop, this));
}

status_t FileTranscoder::reset() {
    return postRequest(new AMessage(kWhatReset, this));
}

void FileTranscoder::onMessageReceived(const sp<AMessage>& msg) {
    if (isTeardown(msg)) {
        onTeardown();
        return;
    }
    const sites::TranscoderSites& sites = mKind.sites;
    status_t err = OK;
    switch (msg->what()) {
        case kWhatSetDataSource:
            onSetDataSource(msg);
            break;
        case kWhatSetDataSourceFd:
            onSetDataSourceFd(msg);
            break;
        case kWhatSetMuxer:
            onSetMuxer(msg);
            break;
        case kWhatSetTargetFormat:
            onSetTargetFormat(msg);
            break;
        case kWhatPrepare:
            CHECK_IN(mKind.sites.file, sites.prepare, mState == UNPREPARED);
            err = onPrepare();
            if (err == OK) mState = PREPARED;
            break;
        case kWhatStart:
            CHECK_IN(mKind.sites.file, sites.start, mState == PREPARED);
            err = onStart();
            break;
        case kWhatStop:
            // The client cannot know that a refused track has stopped this pipeline already. The
            // refusal is set before the state, and read after it.
            CHECK_TEXT(mState == STARTED || mRefused, mKind.sites.file, sites.stop,
                       "mState == STARTED");
            onStop();
            mRefused = false;
            break;
        case kWhatReset:
            if (mState == STARTED) onStop();
            if (mState == STOPPED) onReset();
            mState = UNINITIALIZED;
            mRefused = false;
            break;
        default:
            TRESPASS_IN(mKind.sites.file, sites.unknownRequest);
    }
    replyWithError(msg, err);
}

// The codes are nobody else's: from a client they are unknown requests.
bool FileTranscoder::isTeardown(const sp<AMessage>& msg) const {
    return mTeardown != NULL && msg == mTeardown;
}

// A stop or a reset may have come before; it has done all of this.
void FileTranscoder::onTeardown() {
    if (mRefused) {
        stopCodecs();
    } else if (mState == STARTED) {
        onReset();
    }
}

void FileTranscoder::onSetDataSource(const sp<AMessage>& msg) {
    CHECK_IN(mKind.sites.file, mKind.sites.setPath, mState == UNINITIALIZED);
    mDataSource = mTrackReader.openSource(msg, true /* byPath */);
    mState = WAIT_MUXER;
}

void FileTranscoder::onSetDataSourceFd(const sp<AMessage>& msg) {
    CHECK_IN(mKind.sites.file, mKind.sites.setFile, mState == UNINITIALIZED);
    mDataSource = mTrackReader.openSource(msg, false /* byPath */);
    mState = WAIT_MUXER;
}

void FileTranscoder::onSetMuxer(const sp<AMessage>& msg) {
    CHECK_IN(mKind.sites.file, mKind.sites.setMuxer, mState == WAIT_MUXER);
    sp<RefBase> obj;
    CHECK_IN(mKind.sites.file, mKind.sites.muxer, msg->findObject(AMSG_MUXER, &obj));
    mMuxer = static_cast<OxaMediaMuxer*>(obj.get());
    mState = WAIT_TARGET_FORMAT;
}

void FileTranscoder::onSetTargetFormat(const sp<AMessage>& msg) {
    CHECK_IN(mKind.sites.file, mKind.sites.setTargetFormat, mState == WAIT_TARGET_FORMAT);
    void* format;
    CHECK_IN(mKind.sites.file, mKind.sites.targetFormat,
             msg->findPointer(AMSG_TARTGET_FORMAT, &format));
    mTargetFormat = static_cast<_AV_FORMAT_FORMAT*>(format);
    mState = UNPREPARED;
}

status_t FileTranscoder::openTrack(sp<AMessage>* format, AString* mime) {
    status_t err = mTrackReader.open(mDataSource);
    if (err != OK) return err;
    if (mTrackReader.selectTrack(format, mime)) return OK;
    postReport(kWhatDecodeGotEOS, AMSG_STOP_ITEM, mKind.noTrack);
    return UNKNOWN_ERROR;
}

void FileTranscoder::createDecoder(const AString& mime) {
    mTeardown = new AMessage(kWhatTeardown, this);
    mTrackReader.createDecoder(mime);
    mDecodeCBHandler = new DecodeCBHandler(this);
    mTrackReader.setCallback(
            attachCallbackRelay(mKind.decodeCBLooper, mDecodeCBHandler, &mDecodeCBLooper));
}

void FileTranscoder::createEncoder(const char* mime) {
    mTrackEncoder.create(mime, {mKind.sites.file, mKind.sites.encoder});
    mEncoderName = mTrackEncoder.logName({__FUNCTION__, __LINE__});
}

void FileTranscoder::attachEncoderRelay() {
    mTrackEncoder.attachRelay(this, {mKind.sites.file, mKind.sites.encoderCallback});
}

status_t FileTranscoder::configureEncoder(const sp<AMessage>& format) {
    status_t err = mEncoderCodec->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    if (err != OK) {
        ALOGE("Failed to configure %s encoder (err=%d)", mEncoderName.c_str(), err);
        releaseCodec(mEncoderCodec);
    }
    return err;
}

void FileTranscoder::dropDecoder(status_t err) {
    ALOGE("Failed to configure %s decoder (err=%d)", mDecoderName.c_str(), err);
    releaseCodec(mDecoderCodec);
}

status_t FileTranscoder::startDecoder() {
    // The state comes first: the codec's first input callbacks arrive before start() returns, and
    // one that was ignored would never come again.
    mState = STARTED;
    status_t err = mDecoderCodec->start();
    if (err != OK) {
        ALOGE("Failed to start %s decoder (err=%d)", mDecoderName.c_str(), err);
        mState = PREPARED;
        onReset();
    }
    return err;
}

bool FileTranscoder::startEncoder(const AString& name) {
    status_t err = mEncoderCodec->start();
    if (err == OK) return true;
    ALOGE("Failed to start %s encoder (err=%d)", name.c_str(), err);
    reportDone(err);
    // The reset belongs to the command looper: a stop may be under way there.
    mTeardown->post();
    return false;
}

void FileTranscoder::stopCodecs() {
    mStopRequested = true;
    // Nothing starts the muxer once its pipelines stop; whoever waits for it must come out.
    mTrackEncoder.openGate();
    if (mCodecsStopped) return;
    mCodecsStopped = true;
    // What a failed start has dropped, or the first output has not made yet, cannot be stopped.
    const sites::TranscoderSites& sites = mKind.sites;
    if (mDecodeCBLooper != NULL)
        CHECK_IN(sites.file, sites.stopDecodeLooper, mDecodeCBLooper->stop() == OK);
    if (mDecoderCodec != NULL)
        CHECK_IN(sites.file, sites.stopDecoder, stopCodec(mDecoderCodec) == OK);
    CHECK_TEXT(mTrackEncoder.stopCallbacks() == OK, sites.file, sites.stopEncodeLooper,
               "mEncodeCBLooper->stop() == OK");
    CHECK_TEXT(mTrackEncoder.stop() == OK, sites.file, sites.stopEncoder,
               "stopCodec(mEncoderCodec) == OK");
}

void FileTranscoder::releaseAll() {
    // No callback may run into a codec that is being released.
    if (mDecodeCBLooper != NULL) mDecodeCBLooper->stop();
    if (mEncodeCBLooper != NULL) mEncodeCBLooper->stop();
    mMuxer.clear();
    const char* file = mKind.sites.file;
    if (mDecoderCodec != NULL) {
        sp<MediaCodec> decoder = mDecoderCodec;
        CHECK_EQ_IN(file, mKind.sites.releaseDecoder, decoder->release(), (status_t)OK);
        mDecoderCodec.clear();
    }
    if (mEncoderCodec != NULL) {
        sp<MediaCodec> encoder = mEncoderCodec;
        CHECK_EQ_IN(file, mKind.sites.releaseEncoder, encoder->release(), (status_t)OK);
        mEncoderCodec.clear();
    }
    mCodecLooper.clear();
    detachCallbackRelay(&mDecodeCBHandler, &mDecodeCBLooper);
    mTrackEncoder.release();
    mExtractor.clear();
    mDecoderName.clear();
    mEncoderName.clear();
}

bool FileTranscoder::feedDecoder(uint32_t index, int64_t* timeUs) {
    if (mState != STARTED || mInputEOS) return false;
    TrackReader::Feed fed = mTrackReader.feed(index, timeUs);
    if (fed == TrackReader::kEnd) {
        ALOGD(LOG_RED "%s[%d]: Reach to EOS" LOG_RESET, __FUNCTION__, __LINE__);
        mInputEOS = true;
        onInputEnd(index);
    }
    return fed == TrackReader::kSample;
}

void FileTranscoder::handleEncoderOutputFormatChange(const sp<AMessage>& format) {
    const char* stream = mKind.encoder.stream;
    ALOGD(LOG_RED "%s[%d]: output-format change" LOG_RESET, __FUNCTION__, __LINE__);
    ALOGD("encoder-%sFormat: %s", stream, format->debugString().c_str());
    status_t err =
            mTrackEncoder.addTrack(format, newReport(kWhatTrackAdded, AMSG_TRACK_ITEM, mKind.track),
                                   {__FUNCTION__, __LINE__});
    if (err == OK) return;
    ALOGE("%s[%d]: This %s track unsupported by muxer", __FUNCTION__, __LINE__, stream);
    mRefused = true;
    mState = STOPPED;
    reportDone(err);
    // This thread cannot stop the looper it runs on and wait for it; the command looper can.
    mTeardown->post();
}

void FileTranscoder::writeSample(uint32_t index, const sp<MediaCodecBuffer>& buffer,
                                 uint32_t offset, uint32_t size, int64_t timeUs, int32_t flags) {
    if (mStreamOutput) waitForStreamTime(timeUs);
    mTrackEncoder.write(buffer, offset, size, timeUs, flags,
                        {mKind.sites.file, mKind.sites.writeSample});
    mEncoderCodec->releaseOutputBuffer(index);
}

void FileTranscoder::waitForStreamTime(int64_t timeUs) {
    if (mFirstOutput) {
        mFirstOutput = false;
        mStreamStartUs = ALooper::GetNowUs();
        return;
    }
    while (mState == STARTED && !mStopRequested &&
           ALooper::GetNowUs() - mStreamStartUs < timeUs - kStreamLeadUs) {
        waitPaceStep();
    }
}

void FileTranscoder::handleDecoderError(int32_t err, int32_t actionCode, const char* detail) {
    ALOGE(LOG_RED "%s[%d]: MediaCodec error: status=%d, actionCode=%d, detail=%s" LOG_RESET,
          __FUNCTION__, __LINE__, err, actionCode, detail);
    reportDone(err);
}

void FileTranscoder::handleEncoderError(int32_t err, int32_t actionCode, const char* detail) {
    mTrackEncoder.logError(__LINE__, err, actionCode, detail);
    handleError(err, mKind.track);
    reportDone(err);
}

void FileTranscoder::reportDone(status_t err) {
    sp<AMessage> msg = newReport(kWhatTranscodeDone, AMSG_STOP_ITEM, mKind.track);
    msg->setInt32("err", err);
    msg->post();
}

}  // namespace android
