// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

#include "files/InputFile.h"
#include "files/OutputFile.h"
#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// Of the option that the text begins with.
Failure wrongOption(const std::string& option, const std::string& value,
                    const std::string& expected);

// Whether a number that may be missing is within these bounds, both included.
bool isWithin(const std::optional<int32_t>& value, int32_t lowest, int32_t highest);

// ".mp4" of "films/A.MP4", in lower case; empty without one.
std::string extensionOf(const std::string& path);

// The container that the options or the output's name ask for.
std::optional<Container> chooseContainer(const OutputOptions& options);
// The same; nothing when there is one, otherwise what is wrong (kOptions).
std::optional<Failure> setUpContainer(const OutputOptions& options, Container* container);

// Chooses the container, and sets the session's preset. Nothing when the options make sense;
// otherwise what is wrong (kOptions). Opens nothing.
std::optional<Failure> setUpEncoding(const EncodeOptions& options, Container* container);

// Sets the session's quality of pictures and rate of sound, for sound with this many channels.
void setRates(const EncodeOptions& options, int32_t channels);

enum class WriteWay { kWhenComplete, kInPlace };

// Opens the output for that container. Nothing when it is open; otherwise why not.
std::optional<Failure> openOutput(const OutputOptions& options, Container container, WriteWay way,
                                  OutputFile* output);

// Gives a file that is made of files its last form and its name; one that was shortened as
// OutputFile::keepShortened does. Nothing, or why it cannot be completed.
std::optional<Failure> completeOutput(const OutputOptions& options, bool isShortened,
                                      OutputFile* output);

// Nothing, or what is wrong when the output is the input (kOptions).
std::optional<Failure> refuseInput(const InputFile& input, const std::string& output,
                                   int outputDescriptor);

}  // namespace oxa::jobs
