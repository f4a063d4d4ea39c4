// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "process/Exhaustion.h"

#include <oxa/jobs/Cleanup.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include "process/TerminalKeys.h"
#include "report/ExitCode.h"

namespace oxaplayer {

namespace {

// What was refused; null when that is not why the process ends.
const char* refusedResource() {
    try {
        if (const std::exception_ptr error = std::current_exception()) {
            std::rethrow_exception(error);
        }
    } catch (const std::bad_alloc&) {
        return "oxaplayer: there is not enough memory\n";
    } catch (const std::system_error&) {
        return "oxaplayer: no further thread can be started\n";
    } catch (...) {
    }
    return nullptr;
}

[[noreturn]] void endProcess() {
    const char* line = refusedResource();
    TerminalKeys::restore();
    if (line == nullptr) abort();
    // Nothing is allocated here.
    if (write(STDERR_FILENO, line, strlen(line)) < 0) abort();
    removeUnfinishedForGood();
    _exit(static_cast<int>(ExitCode::kFailed));
}

}  // namespace

void endWhenExhausted() {
    std::set_terminate(endProcess);
}

}  // namespace oxaplayer
