// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Gives each file that is named, and each in the folders that are named, to a fuzz target: the
// fuzzer's main() for compilers without one.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> filesOf(int count, char** names) {
    std::vector<fs::path> files;
    for (int i = 0; i < count; ++i) {
        if (!fs::is_directory(names[i])) {
            files.emplace_back(names[i]);
            continue;
        }
        for (const auto& entry : fs::directory_iterator(names[i])) {
            if (entry.is_regular_file()) files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> files = filesOf(argc - 1, argv + 1);
    for (const fs::path& path : files) {
        // Shown before, so that the last name is that of the input with a fault.
        fprintf(stderr, "%s\n", path.c_str());
        std::ifstream file(path, std::ios::binary);
        if (!file) return 1;
        const std::string bytes{std::istreambuf_iterator<char>(file),
                                std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
