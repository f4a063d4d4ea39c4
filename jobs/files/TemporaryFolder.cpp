// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

std::mutex gLock;
std::set<std::string> gPaths;  // guarded by gLock

void remove(const std::string& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

}  // namespace

bool TemporaryFolder::create() {
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    std::string name = (error ? fs::path("/tmp") : parent) / "oxaplayer-XXXXXX";
    std::lock_guard<std::mutex> lock(gLock);
    if (mkdtemp(name.data()) == nullptr) return false;
    mPath = name;
    gPaths.insert(name);
    return true;
}

TemporaryFolder::~TemporaryFolder() {
    if (mPath.empty()) return;
    std::lock_guard<std::mutex> lock(gLock);
    remove(mPath);
    gPaths.erase(mPath);
}

void TemporaryFolder::removeAll() {
    std::lock_guard<std::mutex> lock(gLock);
    for (const std::string& path : gPaths)
        remove(path);
    gPaths.clear();
}

}  // namespace oxa::jobs
