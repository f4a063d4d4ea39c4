// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::test {

// What a program that is linked with Disturbance.cpp can do to itself; all of it off at first.
// Under the thread sanitizer, which has its own say in locks, threads are never held up.

// Some threads that have woken another one stand still behind it for a moment, some for 250 ms:
// the other one comes first, which it hardly ever does by itself.
void holdUpWakers(bool on);

// The player's next thread that wakes all that wait for something stands still behind it for
// 250 ms.
void holdUpNextBroadcaster();

// Nothing can be written to files any more, for want of room.
void fillDisk(bool full);

}  // namespace oxa::test
