// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

namespace oxa::host {

// How long writers wait for the reader of a pipe or socket who does not read on, in microseconds;
// then the output has failed, with a fault. Negative, the default: as long as it takes. While a
// writer waits, samples wait too, and with them whoever wants to stop the player: a client that
// stops sets a limit first. Counts for waits of the caller's session
// (oxa/host/Session.h) that have begun, too. Thread-safe.
void setOutputWaitLimit(int64_t limitUs);
int64_t outputWaitLimit();

// Whether samples are made from files, as fast as it goes. Then a track that is late is waited for
// as long as there is room, and what is written does not depend on the machine's speed. Otherwise,
// the default, a source may be live, and what it has given must soon be written. Counts for writers
// that are started from now on in the caller's session. Thread-safe.
void setOutputOfFiles(bool ofFiles);
bool isOutputOfFiles();

}  // namespace oxa::host
