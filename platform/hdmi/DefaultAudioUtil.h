// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// Registers the HDMI audio service as "default" when it was not yet, and did not end.
void startDefaultAudioUtil();

}  // namespace android
