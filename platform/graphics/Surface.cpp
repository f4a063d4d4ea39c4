// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Surface"

#include <gui/Surface.h>

namespace android {

Surface::Surface(const sp<IGraphicBufferProducer>& bufferProducer, bool /*controlledByApp*/)
    : mProducer(bufferProducer) {}

Surface::~Surface() = default;

sp<IGraphicBufferProducer> Surface::getIGraphicBufferProducer() const {
    return mProducer;
}

bool Surface::isValid(const sp<Surface>& surface) {
    return surface != nullptr && surface->mProducer != nullptr;
}

}  // namespace android
