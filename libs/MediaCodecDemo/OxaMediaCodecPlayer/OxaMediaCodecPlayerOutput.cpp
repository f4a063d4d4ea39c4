// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The player's output: which muxer writes where, and who closes what.

#define LOG_TAG "OxaMediaCodecPlayer"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "OxaMediaCodecPlayer.h"

namespace android {

namespace {

constexpr char kDefaultMp4Name[] = "/storage/emulated/0/Pictures/VID_%Y%m%d_%H%M%S.mp4";
constexpr char kDefaultTsName[] = "/storage/emulated/0/Pictures/VID_%Y%m%d_%H%M%S.ts";
constexpr size_t kDefaultNameSize = 100;
constexpr int kMaxNameSuffix = 999;
constexpr char kDefaultGroup[] = "239.100.100.1";
constexpr int32_t kDefaultPort = 7890;
constexpr int kStandardError = 2;
constexpr int kOutputFlags = O_RDWR | O_CREAT | O_LARGEFILE | O_CLOEXEC;
constexpr mode_t kOutputMode = 0600;

template <size_t kSize>
void setText(char (&buffer)[kSize], const char* text) {
    memset(buffer, 0, kSize);
    strncpy(buffer, text, kSize - 1);
}

// Opens a new file under `name`, or where that exists already under "stem_1.ext", "stem_2.ext"...:
// two recordings may begin within one second.
int createUnusedFile(const AString& name) {
    int fd = open(name.c_str(), kOutputFlags | O_EXCL, kOutputMode);
    const char* extension = strrchr(name.c_str(), '.');
    int stem = static_cast<int>(extension - name.c_str());
    for (int i = 1; fd < 0 && errno == EEXIST && i <= kMaxNameSuffix; ++i) {
        AString other = AStringPrintf("%.*s_%d%s", stem, name.c_str(), i, extension);
        fd = open(other.c_str(), kOutputFlags | O_EXCL, kOutputMode);
    }
    return fd;
}

}  // namespace

status_t OxaMediaCodecPlayer::setOutputFormat(_OxaTranscodeConfig& config) {
    if (config.fileName == NULL) config.fileName = "";
    if (config.udpIp == NULL) config.udpIp = "";
    ALOGD("%s[%d]", __FUNCTION__, __LINE__);
    ALOGI(LOG_GREEN
          "OutputFormat: type:%d fmt:%d fd:%d fn:%s data:%p info:%p ip:%s port:%d rtp:%d" LOG_RESET,
          config.type, config.fmt, config.fileDesc, config.fileName, config.data.get(),
          config.info.get(), config.udpIp, config.port, config.rtp);
    // A name that was cut would be another file's.
    if (strlen(config.fileName) >= kMaxOutputText || strlen(config.udpIp) >= kMaxOutputText) {
        return BAD_VALUE;
    }
    // The call may be repeated; the duplicate of the former one is of no use any more.
    if (mOutputFdOwned) close(mOutputFormat.fileDesc);
    mOutputFdOwned = false;

    mOutputFormat = config;
    if (config.type == kOutputDescriptor && config.fileDesc >= 0) {
        mOutputFormat.fileDesc = fcntl(config.fileDesc, F_DUPFD_CLOEXEC, 1);
        mOutputFdOwned = mOutputFormat.fileDesc >= 0;
    }
    setText(mOutputName, config.fileName);
    setText(mOutputAddress, config.udpIp);
    mOutputFormat.fileName = mOutputName;
    mOutputFormat.udpIp = mOutputAddress;
    return OK;
}

status_t OxaMediaCodecPlayer::onSetMuxer() {
    if (!mTranscode) return OK;
    completeOutputFormat();
    createMuxer();
    if (mMediaMuxer == NULL) return UNKNOWN_ERROR;
    ALOGD("%s[%d]: Create MediaMuxer success", __FUNCTION__, __LINE__);
    CHECK(mMediaMuxer->setOrientationHint(0) == OK);
    handOutMuxer();
    return OK;
}

void OxaMediaCodecPlayer::completeOutputFormat() {
    mDefaultName = false;
    switch (mOutputFormat.type) {
        case kOutputUdp:
        case kOutputRtp:
            CHECK(mOutputFormat.udpIp != NULL);
            if (mOutputFormat.udpIp[0] == '\0') setDefaultAddress();
            break;
        case kOutputDescriptor:
            CHECK(mOutputFormat.fileDesc >= 0);
            break;
        case kOutputFile:
            CHECK(mOutputFormat.fileName != NULL);
            if (mOutputFormat.fileName[0] == '\0') setDefaultName();
            break;
    }
}

void OxaMediaCodecPlayer::setDefaultAddress() {
    setText(mOutputAddress, kDefaultGroup);
    mOutputFormat.port = kDefaultPort;
    mOutputFormat.rtp = mOutputFormat.type == kOutputRtp ? 1 : 0;
}

void OxaMediaCodecPlayer::setDefaultName() {
    time_t now = time(NULL);
    tm local;
    localtime_r(&now, &local);
    char name[kDefaultNameSize];
    if (mOutputFormat.fmt == kContainerMpeg4) {
        strftime(name, sizeof(name), kDefaultMp4Name, &local);
    } else if (mOutputFormat.fmt == kContainerMpeg2Ts) {
        strftime(name, sizeof(name), kDefaultTsName, &local);
    } else {
        return;
    }
    setText(mOutputName, name);
    mDefaultName = true;
}

void OxaMediaCodecPlayer::createMuxer() {
    mMediaMuxer.clear();
    if (mOutputFormat.fmt == kContainerMpeg4) {
        createMpeg4Muxer();
    } else if (mOutputFormat.fmt == kContainerMpeg2Ts) {
        createMpeg2TsMuxer();
    }
}

void OxaMediaCodecPlayer::createMpeg4Muxer() {
    constexpr auto format = OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4;
    switch (mOutputFormat.type) {
        case kOutputDescriptor:
            mMediaMuxer = new OxaMediaMuxer(mOutputFormat.fileDesc, format);
            break;
        case kOutputStandardStream:
            // Kept so: standard error, because an MPEG-4 writer wants a descriptor.
            mMediaMuxer = new OxaMediaMuxer(kStandardError, format);
            break;
        case kOutputFile:
            createFileMuxer(format);
            break;
        default:
            ALOGW("\e[0;31m unsupported output type:%d \e[m", mOutputFormat.type);
            break;
    }
}

void OxaMediaCodecPlayer::createMpeg2TsMuxer() {
    constexpr auto format = OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS;
    const _OxaTranscodeConfig& output = mOutputFormat;
    switch (output.type) {
        case kOutputFile:
            createFileMuxer(format);
            break;
        case kOutputStandardStream:
            mMediaMuxer = new OxaMediaMuxer(stdout, format);
            break;
        case kOutputMemory:
            mMediaMuxer = new OxaMediaMuxer(output.data, output.info, output.rtp != 0, format);
            break;
        case kOutputMemoryAndNetwork:
        case kOutputMemoryAndNetwork2:
            mMediaMuxer = new OxaMediaMuxer(output.data, output.info, output.rtp != 0, output.port,
                                            output.udpIp, format);
            break;
        case kOutputUdp:
        case kOutputRtp:
            mMediaMuxer = new OxaMediaMuxer(output.port, output.udpIp, output.rtp != 0, format);
            if (mTranscodeType != SourceTypeFile) break;
            if (handlesAudio()) mAudioTranscoder->setStreamOutput(true);
            if (handlesVideo()) mVideoTranscoder->setStreamOutput(true);
            break;
        case kOutputDescriptor:
            mMediaMuxer = new OxaMediaMuxer(output.fileDesc, format);
            break;
        default:
            ALOGW("\e[0;31m unsupported output type:%d \e[m", output.type);
            CHECK(0);
    }
}

void OxaMediaCodecPlayer::createFileMuxer(OxaMediaMuxer::OutputFormat format) {
    int fd = openOutputFile();
    mMediaMuxer = new OxaMediaMuxer(fd, format);
    if (fd >= 0) {
        close(fd);
        return;
    }
    // The muxer refuses what could not be opened; the client may try another name.
    ALOGE("%s[%d]: cannot open %s: %s", __FUNCTION__, __LINE__, mOutputName, strerror(errno));
    mMediaMuxer.clear();
}

int OxaMediaCodecPlayer::openOutputFile() {
    if (mDefaultName) return createUnusedFile(devicePath(mOutputName));
    return open(mOutputName, kOutputFlags | O_TRUNC, kOutputMode);
}

// For live sources the picture comes first, for files the sound, by design.
void OxaMediaCodecPlayer::handOutMuxer() {
    if (isLive() && handlesVideo()) CHECK(mCameraRecorder->setMuxer(mMediaMuxer) == OK);
    if (mTranscodeType == SourceTypeHdmiRx && handlesAudio()) {
        CHECK(mAudioRxEncoder->setMuxer(mMediaMuxer) == OK);
    }
    if (mTranscodeType == SourceTypeUsbCamera && handlesAudio()) {
        CHECK(mAudioRecordEncoder->setMuxer(mMediaMuxer) == OK);
    }
    if (mTranscodeType != SourceTypeFile) return;
    if (handlesAudio()) CHECK(mAudioTranscoder->setMuxer(mMediaMuxer) == OK);
    if (handlesVideo()) CHECK(mVideoTranscoder->setMuxer(mMediaMuxer) == OK);
}

status_t OxaMediaCodecPlayer::onStopMuxer() {
    if (mMediaMuxer != NULL) {
        // Switched off before every track came, it never started and has nothing to finish.
        if (mMediaMuxer->isStarted()) CHECK(mMediaMuxer->stop() == OK);
        mMediaMuxer.clear();
    }
    mVideoStopped = false;
    mAudioStopped = false;
    mMuxerStopped = false;
    mVideoTrackAdded = false;
    mAudioTrackAdded = false;
    memset(mOutputName, 0, sizeof(mOutputName));
    mSecondFile.clear();
    return OK;
}

void OxaMediaCodecPlayer::closeFd() {
    if (mFileId != 0) {
        ALOGD("%s[%d]: close input file fd %d", __FUNCTION__, __LINE__, mFileId);
        mFileId = close(mFileId);
    }
    if (mOutputFormat.fileDesc != 0) {
        ALOGD("%s[%d]: close mOutputFormat.fileDesc %d", __FUNCTION__, __LINE__,
              mOutputFormat.fileDesc);
        // A descriptor that was not duplicated here is the client's, and not ours to close.
        bool ours = mOutputFdOwned || mOutputFormat.fileDesc < 0;
        mOutputFormat.fileDesc = ours ? close(mOutputFormat.fileDesc) : 0;
        mOutputFdOwned = false;
    }
}

}  // namespace android
