// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/AnnotatedMutex.h"
#include "display/DisplayInput.h"

namespace android {

// Room for one picture: who shows slower than pictures come shows the latest one. Thread-safe; no
// call waits.
class PictureMailbox {
  public:
    // True: the picture took the place of one that was not taken.
    bool put(IntakePicture picture);
    bool take(IntakePicture* picture);

  private:
    AnnotatedMutex mLock;
    std::optional<IntakePicture> mPicture GUARDED_BY(mLock);
};

}  // namespace android
