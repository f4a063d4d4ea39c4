// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::host {

// How many threads a codec of pictures has that is configured from now on, in the caller's session
// (oxa/host/Session.h): at most so many, and not more than it would have by itself, which depends
// on the machine's processors. 0, as until set: no other limit. For those who run several at once.
// Thread-safe.
void setMostCodecThreads(unsigned threads);
unsigned mostCodecThreads();

}  // namespace oxa::host
