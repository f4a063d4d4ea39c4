// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::jobs {

// For the last moment of a process: takes away what jobs have not finished (files under their
// temporary names, recordings that are not worth keeping, whose predecessors come back, and
// temporary folders). Any thread; the jobs that run must not go on.
void removeUnfinished();

// The same; jobs that still run begin no file any more, nor does any other.
void removeUnfinishedForGood();

// From now on a fatal assertion of the platform or the library takes away unfinished files before
// it ends the process. A setting of the process: there is one such handler.
void removeUnfinishedAtFatalError();

}  // namespace oxa::jobs
