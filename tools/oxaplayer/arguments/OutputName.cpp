// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/OutputName.h"

#include <oxa/jobs/Input.h>

#include <filesystem>

namespace oxaplayer {

std::optional<Failure> nameInFolder(const std::string& input, const std::string& extension,
                                    std::string* output) {
    if (output->empty() || output->back() != '/') return std::nullopt;
    const auto path = inputPath(input);
    const std::string stem = path ? std::filesystem::path(*path).stem().string() : "";
    if (stem.empty()) {
        return Failure{FailureKind::kOptions,
                       "'" + *output + "' is a folder, and INPUT has no name for a file in it"};
    }
    *output += stem + extension;
    return std::nullopt;
}

}  // namespace oxaplayer
