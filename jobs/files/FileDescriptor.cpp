// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/FileDescriptor.h"

#include <poll.h>

#include <cerrno>

namespace oxa::jobs {

bool writeFully(int descriptor, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    size_t done = 0;
    while (done < size) {
        const ssize_t written = write(descriptor, bytes + done, size - done);
        if (written >= 0) {
            done += written;
        } else if (errno == EAGAIN) {
            pollfd ready = {descriptor, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace oxa::jobs
