// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace oxaplayer {

using Json = nlohmann::ordered_json;

// One line of JSON for `value`, with its newline. Text that is not UTF-8 (a file's name may be
// anything) is shown with replacement characters.
std::string jsonLine(const Json& value);

// A number that prints short: rounded(1.23456, 100) is 1.23.
double rounded(double value, double scale);

// Writes what happens as one JSON object a line. Not thread-safe: one thread reports.
class EventWriter {
  public:
    // Writes nothing.
    EventWriter() = default;
    // Writes to `descriptor`, which stays the caller's.
    explicit EventWriter(int descriptor) : mDescriptor(descriptor) {}

    bool isOpen() const { return mDescriptor >= 0; }
    // Why the rest is not written, as errno says it; 0 while all is.
    int error() const { return mError; }
    // Writes {"event": name, ...fields}. A reader that has gone away ends the events, not the job.
    void write(const std::string& name, const Json& fields);

  private:
    int mDescriptor = -1;
    int mError = 0;
};

}  // namespace oxaplayer
