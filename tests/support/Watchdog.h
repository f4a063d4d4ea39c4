// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

namespace oxa::test {

// Ends the program with a message when what it watches over has not come to its end in time: a call
// that never returns cannot be made to fail in any other way. One at a time.
class Watchdog {
  public:
    Watchdog(const std::string& what, std::chrono::seconds limit) {
        sMessage = what + " did not end in time\n";
        signal(SIGALRM, [](int) {
            if (write(STDERR_FILENO, sMessage.data(), sMessage.size()) >= 0) abort();
            _exit(1);
        });
        alarm(static_cast<unsigned>(limit.count()));
    }
    ~Watchdog() { alarm(0); }

  private:
    static inline std::string sMessage;
};

}  // namespace oxa::test
