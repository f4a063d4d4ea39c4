// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>

namespace oxaplayer {

namespace fs = std::filesystem;

namespace {

std::mutex gLock;
std::string gPath;  // guarded by gLock

}  // namespace

bool TemporaryFolder::create() {
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    std::string name = (error ? fs::path("/tmp") : parent) / "oxaplayer-XXXXXX";
    std::lock_guard<std::mutex> lock(gLock);
    if (mkdtemp(name.data()) == nullptr) return false;
    mPath = name;
    gPath = name;
    return true;
}

TemporaryFolder::~TemporaryFolder() {
    if (!mPath.empty()) removeAtExit();
}

void TemporaryFolder::removeAtExit() {
    std::lock_guard<std::mutex> lock(gLock);
    std::error_code ignored;
    if (!gPath.empty()) fs::remove_all(gPath, ignored);
    gPath.clear();
}

}  // namespace oxaplayer
