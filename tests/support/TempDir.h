// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// A new empty directory that goes away, with all that is in it, with the object.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return mPath; }
    // The path of a file in it; the file need not exist.
    std::string file(const std::string& name) const { return mPath + "/" + name; }

    // The one that lives as long as the process.
    static TempDir& ofProcess();

  private:
    std::string mPath;
};

// The whole content of a file, empty if it cannot be read; and the reverse, true when all of it
// was written.
std::string readFile(const std::string& path);
bool writeFile(const std::string& path, const std::string& content);
// The names in a folder, sorted; and how many there are, of processes' things too, which come and
// go.
std::vector<std::string> namesIn(const std::string& folder);
int entriesOf(const char* folder);

// -1 when there is no such file.
int64_t fileSize(const std::string& path);

}  // namespace oxa::test
