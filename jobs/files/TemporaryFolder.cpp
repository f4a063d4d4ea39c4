// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/TemporaryFolder.h"

#include <utils/Mutex.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <system_error>

namespace oxa::jobs {

namespace fs = std::filesystem;

namespace {

android::Mutex gLock;
std::set<std::string> gPaths GUARDED_BY(gLock);

void remove(const std::string& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

}  // namespace

bool TemporaryFolder::create() {
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    std::string name = (error ? fs::path("/tmp") : parent) / "oxaplayer-XXXXXX";
    android::Mutex::Autolock lock(gLock);
    if (mkdtemp(name.data()) == nullptr) return false;
    mPath = name;
    gPaths.insert(name);
    return true;
}

TemporaryFolder::~TemporaryFolder() {
    if (mPath.empty()) return;
    android::Mutex::Autolock lock(gLock);
    remove(mPath);
    gPaths.erase(mPath);
}

void TemporaryFolder::removeAll() {
    android::Mutex::Autolock lock(gLock);
    for (const std::string& path : gPaths)
        remove(path);
    gPaths.clear();
}

}  // namespace oxa::jobs
