// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace oxa::jobs {

std::optional<Failure> InputFile::open(const std::string& path) {
    const auto failure = [&path](const char* cause) {
        return Failure{FailureKind::kInput, "cannot open '" + path + "': " + cause};
    };
    mPath = path;
    // Opening a named pipe would otherwise wait for its writer, only to be refused below.
    mDescriptor = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!mDescriptor.isOpen()) return failure(strerror(errno));
    struct stat status;
    if (fstat(mDescriptor.get(), &status) != 0) return failure(strerror(errno));
    if (S_ISDIR(status.st_mode)) return failure(strerror(EISDIR));
    const off_t end = lseek(mDescriptor.get(), 0, SEEK_END);
    if (end < 0 || S_ISCHR(status.st_mode))
        return failure("Not a file that can be read at any place");
    if (end == 0) return failure("The file is empty");
    mSize = end;
    mDevice = status.st_dev;
    mInode = status.st_ino;
    return std::nullopt;
}

bool InputFile::isSameFileAs(const std::string& path) const {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && status.st_dev == mDevice && status.st_ino == mInode;
}

}  // namespace oxa::jobs
