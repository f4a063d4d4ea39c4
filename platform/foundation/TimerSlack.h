// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// How exactly the waits of the calling thread end. The pipelines poll with waits of 10
// microseconds, and each wake-up costs about 35: the slack decides how much of a core a poller
// takes.

// For the threads of loopers: half a millisecond. Pacing of pictures stays exact to less than one,
// and a poller takes 7 % of a core instead of 30.
void setLooperSlack();

// For a looper's thread that only waits for data, and shows and sounds nothing: 4 milliseconds,
// less than 1 %. Other threads are left as they are.
void relaxLooperSlack();

}  // namespace android
