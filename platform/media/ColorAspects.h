// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MetaData.h>
#include <utils/RefBase.h>

namespace android {

struct AMessage;

// The colours of a picture: messages name them as MediaFormat does ("color-range",
// "color-standard", "color-transfer"), metadata has the numbers of codecs. What is 0, or has no
// counterpart on the other side, is left out.
void convertColors(const sp<AMessage>& from, const sp<MetaData>& to);
void convertColors(const MetaDataBase& from, const sp<AMessage>& to);

}  // namespace android
