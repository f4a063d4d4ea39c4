// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

#include <string>
#include <vector>

namespace android {

struct AMessage;

// Sets "profile" and "level" in the numbers of MediaCodecInfo.CodecProfileLevel, as far as the
// decoder configuration of the MIME type tells them: "avcC", "hvcC", the headers of MPEG-4 video,
// an AudioSpecificConfig.
void setProfileAndLevel(const std::string& mime, const std::vector<uint8_t>& configuration,
                        const sp<AMessage>& format);

}  // namespace android
