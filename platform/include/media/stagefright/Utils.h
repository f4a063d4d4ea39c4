// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

struct AMessage;
class MetaData;
class MetaDataBase;

// Adds what a codec's format says to `meta`, which is what writers understand; unknown keys are
// left out. BAD_VALUE when a mandatory key is missing ("mime"; "width" and "height" of video;
// "channel-count" and "sample-rate" of audio); what was converted until then stays.
status_t convertMessageToMetaData(const sp<AMessage>& format, sp<MetaData>& meta);

// The other way, into a new message, with "profile" and "level" where the decoder configuration
// tells them. BAD_VALUE, and a null message, when one of the same is missing or the configuration
// cannot be read.
status_t convertMetaDataToMessage(const sp<MetaData>& meta, sp<AMessage>* format);
status_t convertMetaDataToMessage(const MetaDataBase* meta, sp<AMessage>* format);

}  // namespace android
