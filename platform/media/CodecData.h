// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MetaData.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <string>

namespace android {

struct AMessage;

// What a decoder needs before the first sample: messages have it as buffers "csd-0" to "csd-2", in
// the form in which a codec takes it; metadata has it in the form of files.

void convertCodecData(const std::string& mime, const sp<AMessage>& from, const sp<MetaData>& to);

// Sets "profile" and "level" too. BAD_VALUE when it cannot be read.
status_t convertCodecData(const std::string& mime, const MetaDataBase& from,
                          const sp<AMessage>& to);

}  // namespace android
