// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

struct AVCodecContext;
struct AVFormatContext;

#include "base/AnnotatedMutex.h"

namespace android {

// Sends what FFmpeg's libraries have to say to the platform's log at verbose priority, so that it
// reaches nobody who did not ask for it. Costs nothing when called again; every user of those
// libraries calls it first.
void routeAvLog();

// Hears what a demuxer or a decoder of FFmpeg's has to say against its data. Damage that it steps
// over or repairs shows in nothing but its log. Outlives the contexts that it listens to, whose
// "opaque" fields it uses. Its calls may come from any thread.
class AvComplaints {
  public:
    void listenTo(AVFormatContext* context);
    void listenTo(AVCodecContext* context);

    // Whether anything was said since the last call.
    bool takeNew();
    // The first that was said, empty if nothing was.
    std::string first() const;

    void add(const std::string& text);

  private:
    mutable AnnotatedMutex mLock;
    std::string mFirst;
    bool mHasNew = false;
};

}  // namespace android
