// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>

#include <cstddef>

#include "codec/ComponentTable.h"

namespace android {

// What a codec for the media `mime` has to be told, and what it tells before it has run. `format`
// is what it is configured with.

bool isVideo(const AString& mime);

// Whether a picture of the format's size, where it has one, can be.
bool isSizePossible(const sp<AMessage>& format);

// Whether all is there that no such codec can do without.
bool isFormatWhole(const AString& mime, CodecDirection direction, const sp<AMessage>& format);

// New messages.
sp<AMessage> inputFormatOf(const AString& mime, CodecDirection direction,
                           const sp<AMessage>& format, size_t inputCapacity);
sp<AMessage> outputFormatOf(const AString& mime, CodecDirection direction,
                            const sp<AMessage>& format);

// "csd-0", "csd-1", ... of a format, one after the other; empty when it has none.
sp<ABuffer> codecConfigOf(const sp<AMessage>& format);

}  // namespace android
