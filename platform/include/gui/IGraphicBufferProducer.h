// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <binder/IInterface.h>
#include <utils/RefBase.h>

namespace android {

class PictureQueue;

// The producer end of a surface. It is handed around and wrapped in a Surface, nothing more; on
// Linux it lives in this process and its pictures go through the queue behind it.
class IGraphicBufferProducer : public IInterface {
  public:
    ~IGraphicBufferProducer() override = default;

  private:
    friend class LocalBufferProducer;

    virtual sp<PictureQueue> pictureQueue() const = 0;
};

}  // namespace android
