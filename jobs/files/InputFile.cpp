// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "files/InputName.h"
#include "files/Spool.h"

namespace oxa::jobs {

namespace {

// Opening a named pipe would otherwise wait for its writer, only to be refused.
FileDescriptor openForReading(const std::string& path) {
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

}  // namespace

Failure InputFile::failure(const std::string& cause) const {
    return {FailureKind::kInput, "cannot open '" + mName + "': " + cause};
}

std::optional<Failure> InputFile::open(const std::string& name) {
    mName = name;
    if (const auto path = inputPath(name)) return take(openForReading(*path));
    if (name != kStandardInput) return failure(whyNoPath(name));
    std::string error;
    FileDescriptor file = spoolStandardInput(mCancelled, &error);
    if (file.isOpen()) return take(std::move(file));
    if (mCancelled != nullptr && *mCancelled) return Failure{FailureKind::kCancelled, "cancelled"};
    return failure(error);
}

std::optional<Failure> InputFile::openPath(const std::string& path) {
    mName = path;
    return take(openForReading(path));
}

std::optional<Failure> InputFile::take(FileDescriptor file) {
    if (!file.isOpen()) return failure(strerror(errno));
    mDescriptor = std::move(file);
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
