// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace oxa::host {

enum class FaultSource { kReader, kWriter, kDecoder, kEncoder, kCamera, kSound, kDisplay };

// Something that went wrong below the library, where its interfaces have no way to say so.
struct Fault {
    FaultSource source = FaultSource::kReader;
    bool ended = false;  // true: nothing more comes of the object; false: a warning, work goes on
    std::string object;  // what it happened to: a path where one is known, else "fd 7", "audio"
    std::string cause;   // one line for people, e.g. "No space left on device"
    int error = 0;       // errno of the cause, 0 where there is none
    uint64_t count = 1;  // how often so far, e.g. damaged packets of one decoder
    int64_t timeUs = 0;  // CLOCK_MONOTONIC, set by reportFault
    // In which oxa::host::Session it happened, 0: in none; set by reportFault.
    uint64_t session = 0;
};

using FaultListener = std::function<void(const Fault&)>;

// Adds a listener and returns its id. It is called on the thread where the fault happened, one
// fault at a time, must return soon, and must not add or remove listeners.
int addFaultListener(FaultListener listener);

// Removes it; a call in progress on another thread has ended when this returns.
void removeFaultListener(int id);

// For the platform and for tests: logs the fault and tells all listeners.
void reportFault(Fault fault);

}  // namespace oxa::host
