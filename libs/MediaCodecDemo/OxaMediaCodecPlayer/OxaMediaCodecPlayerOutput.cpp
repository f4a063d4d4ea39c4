// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The player's output: which muxer writes where, when it is written to, and who closes what.

#define LOG_TAG "OxaMediaCodecPlayer"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "OxaMediaMuxer.h"
#include "PlayerSource.h"

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

// One that was made under a default name.
void removeFile(const char* name) {
    unlink(devicePath(name).c_str());
}

// Opens a new file under `name`, or where that exists already under "stem_1.ext", "stem_2.ext"...,
// which `name` is then: two recordings may begin within one second.
int createUnusedFile(AString* name) {
    const AString wanted = *name;
    int fd = open(devicePath(wanted.c_str()).c_str(), kOutputFlags | O_EXCL, kOutputMode);
    const char* extension = strrchr(wanted.c_str(), '.');
    int stem = static_cast<int>(extension - wanted.c_str());
    for (int i = 1; fd < 0 && errno == EEXIST && i <= kMaxNameSuffix; ++i) {
        *name = AStringPrintf("%.*s_%d%s", stem, wanted.c_str(), i, extension);
        fd = open(devicePath(name->c_str()).c_str(), kOutputFlags | O_EXCL, kOutputMode);
    }
    return fd;
}

}  // namespace

// ---- The record --------------------------------------------------------------------------------

struct OxaMediaCodecPlayer::FormerOutput {
    _OxaTranscodeConfig format;
    AString name;
    AString address;
    bool defaultName;
    bool fdOwned;
    bool isNext;
};

// A record that is refused leaves everything as it was.
status_t OxaMediaCodecPlayer::setOutput(_OxaTranscodeConfig& config) {
    const FormerOutput former = {mOutputFormat, AString(mOutputName), AString(mOutputAddress),
                                 mDefaultName,  mOutputFdOwned,       mOutputIsNext};
    const bool wasUnused = mOutputState == kOutputReady;
    mOutputFdOwned = false;
    status_t err = setOutputFormat(config);
    // Also where recording only waits for the former one's end: it could not begin then.
    const bool isWanted = mTranscode || mSwitchOnPending;
    if (err == OK && isWanted) err = mOutputIsNext ? tryOutput() : makeMuxer();
    if (err == OK) {
        if (former.fdOwned) close(former.format.fileDesc);
        if (wasUnused && former.defaultName) removeFile(former.name.c_str());
        return OK;
    }
    if (mOutputFdOwned) close(mOutputFormat.fileDesc);
    mOutputFormat = former.format;
    setText(mOutputName, former.name.c_str());
    setText(mOutputAddress, former.address.c_str());
    mDefaultName = former.defaultName;
    mOutputFdOwned = former.fdOwned;
    mOutputIsNext = former.isNext;
    return err;
}

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
    mOutputFormat = config;
    if (config.type == kOutputDescriptor && config.fileDesc >= 0) {
        mOutputFormat.fileDesc = fcntl(config.fileDesc, F_DUPFD_CLOEXEC, 1);
        mOutputFdOwned = mOutputFormat.fileDesc >= 0;
    }
    mDefaultName = false;
    setText(mOutputName, config.fileName);
    setText(mOutputAddress, config.udpIp);
    mOutputFormat.fileName = mOutputName;
    mOutputFormat.udpIp = mOutputAddress;
    mOutputIsNext = mOutputState == kOutputRecording || mOutputState == kOutputFinishing;
    return OK;
}

void OxaMediaCodecPlayer::completeOutputFormat() {
    switch (mOutputFormat.type) {
        case kOutputUdp:
        case kOutputRtp:
            CHECK_PLAYER(mOutputFormat.udpIp != NULL);
            if (mOutputFormat.udpIp[0] == '\0') setDefaultAddress();
            break;
        case kOutputDescriptor:
            CHECK_PLAYER(mOutputFormat.fileDesc >= 0);
            break;
        case kOutputFile:
            CHECK_PLAYER(mOutputFormat.fileName != NULL);
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
    const bool isMpeg4 = mOutputFormat.fmt == kContainerMpeg4;
    if (!isMpeg4 && mOutputFormat.fmt != kContainerMpeg2Ts) return;
    time_t now = time(NULL);
    tm local;
    localtime_r(&now, &local);
    char name[kDefaultNameSize];
    strftime(name, sizeof(name), isMpeg4 ? kDefaultMp4Name : kDefaultTsName, &local);
    setText(mOutputName, name);
    mDefaultName = true;
}

// ---- The muxer ---------------------------------------------------------------------------------

status_t OxaMediaCodecPlayer::makeMuxer() {
    completeOutputFormat();
    sp<OxaMediaMuxer> muxer = createMuxer();
    if (muxer == NULL) return UNKNOWN_ERROR;
    ALOGD("%s[%d]: Create MediaMuxer success", __FUNCTION__, __LINE__);
    mMediaMuxer = muxer;
    CHECK_PLAYER(mMediaMuxer->setOrientationHint(0) == OK);
    mSource->setMuxer();
    mOutputState = kOutputReady;
    return OK;
}

// While another one records, the output is only tried; its muxer is made when its turn comes.
status_t OxaMediaCodecPlayer::tryOutput() {
    const bool isKnown =
            mOutputFormat.fmt == kContainerMpeg4 || mOutputFormat.fmt == kContainerMpeg2Ts;
    // A default name tells when its recording begins.
    if (isKnown && mOutputFormat.type == kOutputFile && mOutputName[0] == '\0') return OK;
    completeOutputFormat();
    return createMuxer() != NULL ? OK : UNKNOWN_ERROR;
}

sp<OxaMediaMuxer> OxaMediaCodecPlayer::createMuxer() {
    if (mOutputFormat.fmt == kContainerMpeg4) return createMpeg4Muxer();
    if (mOutputFormat.fmt == kContainerMpeg2Ts) return createMpeg2TsMuxer();
    return NULL;
}

sp<OxaMediaMuxer> OxaMediaCodecPlayer::createMpeg4Muxer() {
    constexpr auto format = OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4;
    switch (mOutputFormat.type) {
        case kOutputDescriptor:
            return new OxaMediaMuxer(mOutputFormat.fileDesc, format);
        case kOutputStandardStream:
            // Kept so: standard error, because an MPEG-4 writer wants a descriptor.
            return new OxaMediaMuxer(kStandardError, format);
        case kOutputFile:
            return createFileMuxer(format);
    }
    ALOGW("\e[0;31m unsupported output type:%d \e[m", mOutputFormat.type);
    return NULL;
}

sp<OxaMediaMuxer> OxaMediaCodecPlayer::createMpeg2TsMuxer() {
    constexpr auto format = OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS;
    const _OxaTranscodeConfig& output = mOutputFormat;
    switch (output.type) {
        case kOutputFile:
            return createFileMuxer(format);
        case kOutputStandardStream:
            return new OxaMediaMuxer(stdout, format);
        case kOutputMemory:
            return new OxaMediaMuxer(output.data, output.info, output.rtp != 0, format);
        case kOutputMemoryAndNetwork:
        case kOutputMemoryAndNetwork2:
            return new OxaMediaMuxer(output.data, output.info, output.rtp != 0, output.port,
                                     output.udpIp, format);
        case kOutputUdp:
        case kOutputRtp:
            mSource->setStreamOutput();
            return new OxaMediaMuxer(output.port, output.udpIp, output.rtp != 0, format);
        case kOutputDescriptor:
            return new OxaMediaMuxer(output.fileDesc, format);
    }
    ALOGW("\e[0;31m unsupported output type:%d \e[m", output.type);
    CHECK_PLAYER(0);
    return NULL;
}

sp<OxaMediaMuxer> OxaMediaCodecPlayer::createFileMuxer(int format) {
    int fd = openOutputFile();
    if (fd < 0) {
        // A muxer would refuse it, but only when it is used; the client may try another name now.
        ALOGE("%s[%d]: cannot open %s: %s", __FUNCTION__, __LINE__, mOutputName, strerror(errno));
        return NULL;
    }
    sp<OxaMediaMuxer> muxer =
            new OxaMediaMuxer(fd, static_cast<OxaMediaMuxer::OutputFormat>(format));
    close(fd);
    return muxer;
}

int OxaMediaCodecPlayer::openOutputFile() {
    // It may be the very file that is being recorded.
    if (mOutputIsNext) return open(mOutputName, kOutputFlags, kOutputMode);
    if (!mDefaultName) return open(mOutputName, kOutputFlags | O_TRUNC, kOutputMode);
    AString name(mOutputName);
    int fd = createUnusedFile(&name);
    setText(mOutputName, name.c_str());
    return fd;
}

// ---- Recording of a live source ----------------------------------------------------------------

void OxaMediaCodecPlayer::switchRecording(bool enable) {
    if (!mSource->isLive()) return;
    mSwitchOnPending = false;
    if (mPhase == kAfterStop) {
        // Nothing will record any more.
        if (mTranscode && !enable) closeOutput();
        mTranscode = enable && (mTranscode || hasOutput());
    } else if (enable) {
        switchOn();
    } else if (mTranscode) {
        switchOff();
    }
}

void OxaMediaCodecPlayer::switchOn() {
    if (mOutputState == kOutputFinishing && hasOutput()) {
        // The last step of finishing it comes back here.
        mSwitchOnPending = true;
        return;
    }
    const bool hasMuxer = mOutputState == kOutputReady || mOutputState == kOutputRecording;
    if (!hasMuxer && !reopenOutput()) return;
    // A pipeline that does not run yet would only prepare itself, and never begin.
    mSwitchOnPending = mPhase == kBeforeStart;
    if (!mSwitchOnPending) beginRecording();
}

// Set, and not a descriptor that was closed with its recording.
bool OxaMediaCodecPlayer::hasOutput() const {
    return mOutputFormat.fileName != NULL &&
           (mOutputFormat.type != kOutputDescriptor || mOutputFdOwned);
}

// False: there is none, and recording stays as it was.
bool OxaMediaCodecPlayer::reopenOutput() {
    int32_t wasOn = mTranscode;
    mTranscode = 1;
    mOutputIsNext = false;
    if (hasOutput() && makeMuxer() == OK) return true;
    ALOGE("%s[%d]: recording stays off: output of type %d cannot be used", __FUNCTION__, __LINE__,
          mOutputFormat.type);
    mTranscode = wasOn;
    return false;
}

void OxaMediaCodecPlayer::beginRecording() {
    mSource->setRecord(true);
    mOutputState = kOutputRecording;
}

void OxaMediaCodecPlayer::switchOff() {
    mTranscode = 0;
    if (mOutputState == kOutputRecording) {
        // A pipeline may wait for a start of the muxer that will not come any more.
        mMediaMuxer->openGate();
        mOutputState = kOutputFinishing;
        mSource->setRecord(false);
        // Where no pipeline recorded, none reports its stop.
        if (allHandled(mVideoStopped, mAudioStopped)) onStopMuxer();
    } else if (mOutputState == kOutputReady) {
        dropUnusedMuxer();
    }
    closeOutput();
}

// The field keeps its value; it is not closed a second time.
void OxaMediaCodecPlayer::closeOutput() {
    if (!mOutputFdOwned || mOutputIsNext) return;
    close(mOutputFormat.fileDesc);
    mOutputFdOwned = false;
}

// Nothing was written: a name that the client gave is good for the next recording.
void OxaMediaCodecPlayer::dropUnusedMuxer() {
    mMediaMuxer.clear();
    mOutputState = kOutputNone;
    if (!mDefaultName) return;
    removeFile(mOutputName);
    setText(mOutputName, "");
}

void OxaMediaCodecPlayer::finishMuxer() {
    if (mOutputState == kOutputReady) dropUnusedMuxer();
    if (mMediaMuxer != NULL) {
        // Switched off before every track came, it never started and has nothing to finish.
        if (mMediaMuxer->isStarted()) CHECK_PLAYER(mMediaMuxer->stop() == OK);
        mMediaMuxer.clear();
    }
    mOutputState = kOutputNone;
}

status_t OxaMediaCodecPlayer::onStopMuxer() {
    finishMuxer();
    mVideoStopped = false;
    mAudioStopped = false;
    mMuxerStopped = false;
    mVideoTrackAdded = false;
    mAudioTrackAdded = false;
    if (!mOutputIsNext) memset(mOutputName, 0, sizeof(mOutputName));
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
        // One that is closed already is no descriptor any more; another that was not duplicated
        // here is the client's. Neither is ours to close.
        const bool ours = mOutputFdOwned || mOutputFormat.fileDesc < 0;
        const int notClosed = mOutputFormat.type == kOutputDescriptor ? -1 : 0;
        mOutputFormat.fileDesc = ours ? close(mOutputFormat.fileDesc) : notClosed;
        mOutputFdOwned = false;
    }
}

}  // namespace android
