// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Cleanup.h"

#include <android/log.h>

#include "files/OutputFile.h"
#include "files/TemporaryFolder.h"

namespace oxa::jobs {

void removeUnfinished() {
    OutputFile::removeAll(false);
    TemporaryFolder::removeAll();
}

void removeUnfinishedForGood() {
    OutputFile::removeAll(true);
    TemporaryFolder::removeAll();
}

void removeUnfinishedAtFatalError() {
    __android_log_set_aborter([](const char*) { OutputFile::removeAll(true); });
}

}  // namespace oxa::jobs
