// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HdmiRxInfo"

#include "HdmiRxInfo.h"

#include <errno.h>
#include <log/log.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "FixedSites.h"
#include "OxaMediaCodecPlayerCommon.h"

namespace android {

namespace {

constexpr char kVideoInfoFile[] = "/sys/devices/virtual/video4linux/video250/hdmirx_video_info";
constexpr char kAudioInfoFile[] = "/sys/devices/virtual/video4linux/video250/hdmirx_audio_info";

// The driver's files have a few short lines. Nothing else may be a reason to read without end.
constexpr size_t kMaxInfoBytes = 65536;
constexpr int kMaxInfoLines = 256;

bool startsWith(const char* text, const char* prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

int32_t isText(const char* value, const char* expected) {
    return startsWith(value, expected) ? 1 : 0;
}

int32_t toNumber(const char* value) {
    return static_cast<int32_t>(std::clamp<long>(strtol(value, NULL, 10), INT32_MIN, INT32_MAX));
}

// The beginning of a file as text; false, with errno set, when it cannot be opened.
bool readBeginning(const char* path, std::vector<char>* text) {
    FILE* file = fopen(devicePath(path).c_str(), "re");
    if (file == NULL) return false;
    text->resize(kMaxInfoBytes);
    size_t size = fread(text->data(), 1, kMaxInfoBytes, file);
    fclose(file);
    text->resize(size);
    text->push_back('\0');
    return true;
}

// Hands each "key:value" line to `setFact`, up to the first line without a colon, by design.
template <typename SetFact>
bool readFacts(const char* path, SetFact setFact) {
    std::vector<char> text;
    if (!readBeginning(path, &text)) return false;
    char* const end = text.data() + text.size() - 1;
    char* line = text.data();
    for (int count = 0; line < end && count < kMaxInfoLines; ++count) {
        char* lineEnd = std::find(line, end, '\n');
        *lineEnd = '\0';
        char* colon = strchr(line, ':');
        if (colon == NULL) break;
        *colon = '\0';
        setFact(line, colon + 1);
        line = lineEnd + 1;
    }
    return true;
}

}  // namespace

Mutex HdmiRxInfo::sLock;
HdmiRxInfo* HdmiRxInfo::sInstance = NULL;
int HdmiRxInfo::sUsers = 0;
bool HdmiRxInfo::sDropped = false;

HdmiRxInfo::User::User() {
    AutoMutex lock(sLock);
    ++sUsers;
}

HdmiRxInfo::User::~User() {
    AutoMutex lock(sLock);
    if (--sUsers == 0 && sDropped) DelInstance();
}

HdmiRxInfo* HdmiRxInfo::GetInstance() {
    if (sInstance == NULL) sInstance = new HdmiRxInfo;
    return sInstance;
}

void HdmiRxInfo::DelInstance() {
    sDropped = sUsers > 0;
    if (sInstance == NULL || sDropped) return;
    ALOGD("%s[%d]", SITE(sites::HdmiRxInfo::kDropped));
    delete sInstance;
    sInstance = NULL;
}

HdmiRxInfo::HdmiRxInfo()
    : mVideoIsHdmiRx(0),
      mVideoReady(0),
      mVideoProgressive(0),
      mVideoColor(0),
      mVideoWidth(0),
      mVideoHeight(0),
      mVideoFps(0),
      mAudioReady(0),
      mAudioFreq(0),
      mAudioLpcm(0) {
    ALOGD("%s[%d]", SITE(sites::HdmiRxInfo::kMade));
    retrieveHdmiRxVideoInfo();
    retrieveHdmiRxAduioInfo();
}

HdmiRxInfo::~HdmiRxInfo() {
    ALOGD("%s[%d]", SITE(sites::HdmiRxInfo::kDropped));
}

int HdmiRxInfo::retrieveHdmiRxVideoInfo() {
    if (!readFacts(kVideoInfoFile,
                   [this](const char* key, const char* value) { setVideoFact(key, value); })) {
        ALOGE("retrieveHdmiRxVideoInfo: failed to open file %s: %s", kVideoInfoFile,
              strerror(errno));
        return -1;
    }
    ALOGD("HDMI-Rx video %dx%d%c%d Color:%d %s Ready", mVideoWidth, mVideoHeight,
          mVideoProgressive ? 'p' : 'i', mVideoFps, mVideoColor, mVideoReady ? "" : "Not");
    return 0;
}

int HdmiRxInfo::retrieveHdmiRxAduioInfo() {
    if (!readFacts(kAudioInfoFile,
                   [this](const char* key, const char* value) { setAudioFact(key, value); })) {
        ALOGE("retrieveHdmiRxAudioInfo: failed to open file %s: %s", kAudioInfoFile,
              strerror(errno));
        return -1;
    }
    ALOGD("HDMI-Rx audio %s Ready %dHz SPDIF:%s", mAudioReady ? "" : "Not", mAudioFreq,
          mAudioLpcm == 1 ? "LPCM" : "RAW");
    return 0;
}

// Keys are matched by their beginning, in this order.
void HdmiRxInfo::setVideoFact(const char* key, const char* value) {
    if (startsWith(key, "Type")) {
        mVideoIsHdmiRx = isText(value, "HDMIRx");
    } else if (startsWith(key, "Status")) {
        mVideoReady = isText(value, "Ready");
    } else if (startsWith(key, "Width")) {
        mVideoWidth = toNumber(value);
    } else if (startsWith(key, "Height")) {
        mVideoHeight = toNumber(value);
    } else if (startsWith(key, "ScanMode")) {
        mVideoProgressive = isText(value, "Progressive");
    } else if (startsWith(key, "Color")) {
        if (startsWith(value, "RGB")) {
            mVideoColor = 0;
        } else if (startsWith(value, "YUV422")) {
            mVideoColor = 1;
        } else if (startsWith(value, "YUV444")) {
            mVideoColor = 2;
        }
    } else if (startsWith(key, "Fps")) {
        mVideoFps = toNumber(value);
    }
}

void HdmiRxInfo::setAudioFact(const char* key, const char* value) {
    if (startsWith(key, "Ready")) {
        mAudioReady = toNumber(value) == 1 ? 1 : 0;
    } else if (startsWith(key, "Freq")) {
        mAudioFreq = toNumber(value);
    } else if (startsWith(key, "SPDIF Type")) {
        mAudioLpcm = isText(value, "Non-LPCM") ? 0 : 1;
    }
}

}  // namespace android
