// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/DescriptorName.h"

#include <limits.h>
#include <unistd.h>

namespace android {

std::string descriptorName(int fd) {
    char target[PATH_MAX];
    const std::string number = std::to_string(fd);
    ssize_t length = readlink(("/proc/self/fd/" + number).c_str(), target, sizeof(target));
    if (length > 0 && target[0] == '/') return std::string(target, length);
    return "fd " + number;
}

}  // namespace android
