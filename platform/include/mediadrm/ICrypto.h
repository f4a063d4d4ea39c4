// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/Vector.h>

namespace android {

// Protected content is not supported on Linux; codecs are configured without one, and nobody
// implements it.
struct ICrypto : public RefBase {
    ~ICrypto() override = default;

    virtual status_t initCheck() const = 0;
    virtual bool isCryptoSchemeSupported(const uint8_t uuid[16]) = 0;
    virtual status_t createPlugin(const uint8_t uuid[16], const void* data, size_t size) = 0;
    virtual status_t destroyPlugin() = 0;
    virtual bool requiresSecureDecoderComponent(const char* mime) const = 0;
    virtual void notifyResolution(uint32_t width, uint32_t height) = 0;
    virtual status_t setMediaDrmSession(const Vector<uint8_t>& sessionId) = 0;
};

}  // namespace android
