// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputFiles.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<OutputFiles> gFiles;

}  // namespace

void setOutputFiles(const OutputFiles& files) {
    gFiles.set(files);
}

OutputFiles outputFiles() {
    return gFiles.get();
}

}  // namespace oxa::host
