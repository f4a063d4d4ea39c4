// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MemoryHeapBase"

#include <binder/MemoryHeapBase.h>

#include <errno.h>
#include <fcntl.h>
#include <log/log.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace android {

namespace {

size_t roundUpToPages(size_t size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
}

size_t bytesBehind(int fd, off_t offset) {
    struct stat status;
    if (fstat(fd, &status) != 0 || status.st_size <= offset) return 0;
    return static_cast<size_t>(status.st_size - offset);
}

int createMemoryFile(const char* name, size_t size) {
    int fd = memfd_create(name == nullptr ? "MemoryHeapBase" : name,
                          MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd >= 0 && ftruncate(fd, static_cast<off_t>(size)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool readsOnly(uint32_t flags) {
    return (flags & MemoryHeapBase::READ_ONLY) != 0;
}

int fileProtection(uint32_t flags) {
    return readsOnly(flags) ? PROT_READ : PROT_READ | PROT_WRITE;
}

}  // namespace

MemoryHeapBase::MemoryHeapBase(int fd, size_t size, uint32_t flags, off_t offset)
    : mBase(MAP_FAILED), mFlags(flags) {
    map(fcntl(fd, F_DUPFD_CLOEXEC, 0), fileProtection(flags), size, offset);
}

MemoryHeapBase::MemoryHeapBase(const char* device, size_t size, uint32_t flags)
    : mBase(MAP_FAILED), mFlags(flags) {
    int fd = open(device, (readsOnly(flags) ? O_RDONLY : O_RDWR) | O_CLOEXEC);
    map(fd, fileProtection(flags), size, 0);
}

MemoryHeapBase::MemoryHeapBase(size_t size, uint32_t flags, const char* name)
    : mBase(MAP_FAILED), mFlags(flags) {
    size_t pages = roundUpToPages(size);
    map(createMemoryFile(name, pages), PROT_READ | PROT_WRITE, pages, 0);
    if (mFd >= 0 && readsOnly(flags)) fcntl(mFd, F_ADD_SEALS, F_SEAL_FUTURE_WRITE);
}

MemoryHeapBase::~MemoryHeapBase() {
    if (mBase != MAP_FAILED) munmap(mBase, mSize);
    if (mFd >= 0) close(mFd);
}

void MemoryHeapBase::map(int fd, int protection, size_t size, off_t offset) {
    if (fd < 0) {
        ALOGE("no shared memory: %s", strerror(errno));
        return;
    }
    if (size == 0) size = bytesBehind(fd, offset);
    if ((mFlags & DONT_MAP_LOCALLY) == 0) {
        mBase = mmap(nullptr, size, protection, MAP_SHARED, fd, offset);
        if (mBase == MAP_FAILED) {
            ALOGE("cannot map %zu bytes of shared memory: %s", size, strerror(errno));
            close(fd);
            return;
        }
    }
    mFd = fd;
    mSize = size;
    mOffset = offset;
}

}  // namespace android
