// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <utils/Mutex.h>

namespace android {

// What the HDMI receiver delivers, as its driver tells in two text files. They are read once, when
// the one instance is made; the fields are a snapshot. A field whose key is missing, or whose file
// cannot be opened, is 0.
class HdmiRxInfo {
  public:
    // Held by whoever calls what follows or reads the instance: a player that ends drops what
    // another one may be looking at.
    static Mutex sLock;

    // The instance, made on the first call. It stays owned by the class.
    static HdmiRxInfo* GetInstance();
    // Drops the instance, if there is one; the next GetInstance() reads the files afresh. While a
    // recording uses it, another player cannot take it away: the last user drops it then.
    static void DelInstance();

    // Reads the driver's file into the fields below: 0 when it could be opened, whatever is in it,
    // else -1. The instance has done both when it is made. The second name is spelt so.
    int retrieveHdmiRxVideoInfo();
    int retrieveHdmiRxAduioInfo();

    // Uses the instance, from its construction on. Takes the lock itself.
    class User {
      public:
        User();
        ~User();
        User(const User&) = delete;
        User& operator=(const User&) = delete;
    };

    int32_t mVideoIsHdmiRx;     // 1: the source is the HDMI receiver
    int32_t mVideoReady;        // 1: there is a picture
    int32_t mVideoProgressive;  // 1 progressive, 0 interlaced
    int32_t mVideoColor;        // 0 RGB, 1 YUV 4:2:2, 2 YUV 4:4:4
    int32_t mVideoWidth;        // pixels
    int32_t mVideoHeight;       // lines
    int32_t mVideoFps;          // frames per second
    int32_t mAudioReady;        // 1: there is sound
    int32_t mAudioFreq;         // Hz
    int32_t mAudioLpcm;         // 1 linear PCM, 0 compressed

  private:
    HdmiRxInfo();
    ~HdmiRxInfo();

    void setVideoFact(const char* key, const char* value);
    void setAudioFact(const char* key, const char* value);

    static HdmiRxInfo* sInstance;
    static int sUsers;
    static bool sDropped;  // DelInstance() was called while there were users
};

}  // namespace android
