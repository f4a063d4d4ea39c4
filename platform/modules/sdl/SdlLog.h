// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// What SDL would print to standard error goes into the log. Harmless when repeated.
void routeSdlLog();

}  // namespace android
