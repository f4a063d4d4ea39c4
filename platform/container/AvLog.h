// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// Sends what FFmpeg's libraries have to say to the platform's log at verbose priority, so that it
// reaches nobody who did not ask for it. Costs nothing when called again; every user of those
// libraries calls it first.
void routeAvLog();

}  // namespace android
