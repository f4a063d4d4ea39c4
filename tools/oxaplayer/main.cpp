// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "arguments/Arguments.h"
#include "frame/Command.h"
#include "process/Exhaustion.h"
#include "process/Signals.h"
#include "report/Console.h"
#include "report/Report.h"

namespace oxaplayer {

namespace {

// Files that are opened later must not take the place of a standard stream that the caller closed.
void occupyStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

// A job has some twenty threads of which few allocate much: with a heap for each of them, what one
// has freed is of no use to the others. Pictures stay out of the heaps, in which they would leave
// holes; without a fixed bound the first one that is freed moves the others in.
void shareHeaps() {
    constexpr int kSmallestMapping = 128 * 1024;
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, kSmallestMapping);
}

}  // namespace

}  // namespace oxaplayer

int main(int argc, char** argv) {
    using namespace oxaplayer;
    endWhenExhausted();
    shareHeaps();
    occupyStandardStreams();
    Signals::ignoreWriteSignals();
    const auto commands = makeCommands();
    const ParsedArguments parsed = parseArguments({argv + 1, argv + argc}, commands);
    if (const auto failure = printAnswer(parsed.standardOutput)) {
        Console::instance().error("", failure->text);
        return static_cast<int>(exitCodeOf(failure->kind));
    }
    Console::instance().usageError(parsed.standardError);
    if (parsed.command == nullptr) return static_cast<int>(parsed.code);
    if (!Console::instance().routePlatformLog(parsed.common.verbose, parsed.common.log)) {
        Console::instance().error(
                "", "cannot write '" + *parsed.common.log + "': " + std::strerror(errno));
        return static_cast<int>(ExitCode::kOutput);
    }
    return static_cast<int>(parsed.command->run(parsed.common));
}
