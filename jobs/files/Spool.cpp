// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/Spool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

namespace oxa::jobs {

namespace {

constexpr size_t kBlockSize = size_t{256} * 1024;
constexpr int kCancelPollMs = 100;

// A file system may not have files without a name: then it loses its name at once.
FileDescriptor makeNamelessFile(const std::string& folder) {
    FileDescriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen()) return file;
    std::string name = folder + "/oxaplayer-XXXXXX";
    file = FileDescriptor(mkostemp(name.data(), O_CLOEXEC));
    if (file.isOpen()) unlink(name.c_str());
    return file;
}

std::string temporaryFolder() {
    std::error_code error;
    const auto folder = std::filesystem::temp_directory_path(error);
    return error ? "/tmp" : folder.string();
}

// How much was read; 0 at the end, negative with errno set. Waits for it, but not when cancelled.
ssize_t readBlock(std::vector<char>* block, const std::atomic<bool>* cancelled) {
    while (true) {
        if (cancelled != nullptr && *cancelled) {
            errno = ECANCELED;
            return -1;
        }
        pollfd ready = {STDIN_FILENO, POLLIN, 0};
        if (poll(&ready, 1, kCancelPollMs) == 0) continue;
        const ssize_t size = read(STDIN_FILENO, block->data(), block->size());
        if (size >= 0 || (errno != EINTR && errno != EAGAIN)) return size;
    }
}

FileDescriptor copyStandardInput(const std::atomic<bool>* cancelled, std::string* error) {
    const std::string folder = temporaryFolder();
    FileDescriptor file = makeNamelessFile(folder);
    const auto cannotKeep = [&] {
        *error = std::string(strerror(errno)) + " (it is kept in '" + folder + "')";
        return FileDescriptor();
    };
    if (!file.isOpen()) return cannotKeep();
    std::vector<char> block(kBlockSize);
    ssize_t size = 0;
    while ((size = readBlock(&block, cancelled)) > 0) {
        if (!writeFully(file.get(), block.data(), size)) return cannotKeep();
    }
    if (size == 0) return file;
    *error = strerror(errno);
    return FileDescriptor();
}

}  // namespace

FileDescriptor spoolStandardInput(const std::atomic<bool>* cancelled, std::string* error) {
    if (isatty(STDIN_FILENO) != 0) {
        *error = "It is a terminal, which has no media";
        return FileDescriptor();
    }
    struct stat status;
    const bool isFile = fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode);
    if (!isFile || lseek(STDIN_FILENO, 0, SEEK_CUR) != 0) {
        return copyStandardInput(cancelled, error);
    }
    FileDescriptor file(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!file.isOpen()) *error = strerror(errno);
    return file;
}

}  // namespace oxa::jobs
