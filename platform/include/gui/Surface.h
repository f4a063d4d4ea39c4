// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <ui/ANativeObjectBase.h>
#include <utils/RefBase.h>

namespace android {

// What decoders and cameras render to: a handle of the producer end of a display or of an
// encoder's input. Thread-safe, since it never changes.
class Surface : public ANativeObjectBase<ANativeWindow, Surface, RefBase> {
  public:
    // Keeps `bufferProducer` (null allowed: an invalid surface) and does not connect to it.
    explicit Surface(const sp<IGraphicBufferProducer>& bufferProducer,
                     bool controlledByApp = false);

    sp<IGraphicBufferProducer> getIGraphicBufferProducer() const;

    // Whether `surface` is not null and has a producer.
    static bool isValid(const sp<Surface>& surface);

  protected:
    ~Surface() override;

  private:
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    const sp<IGraphicBufferProducer> mProducer;
};

}  // namespace android
