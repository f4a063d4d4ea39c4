// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <oxa/host/IndexFirst.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "writer/Mp4Index.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace oxa::host {

namespace {

constexpr int64_t kPieceSize = 4 << 20;
constexpr size_t kHeaderSize = 16;
constexpr uint32_t kLargeSize = 1;

// All of it at that place, or an errno.
template <typename Transfer, typename Byte>
int transferAll(Transfer transfer, int descriptor, Byte* data, size_t size, off64_t position) {
    while (size > 0) {
        const ssize_t count = transfer(descriptor, data, size, position);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count < 0 ? errno : EINVAL;
        data += count;
        size -= static_cast<size_t>(count);
        position += count;
    }
    return 0;
}

struct Layout {
    int64_t begin = -1;  // behind the file's type
    int64_t index = -1;
    int64_t end = 0;
};

// An errno when it is not that of a file whose index is its last box.
int readLayout(int descriptor, Layout* layout) {
    struct stat status;
    if (fstat(descriptor, &status) != 0) return errno;
    while (layout->end < status.st_size) {
        uint8_t header[kHeaderSize] = {};
        const size_t there = std::min<int64_t>(kHeaderSize, status.st_size - layout->end);
        const int error = transferAll(pread64, descriptor, header, there, layout->end);
        if (error != 0) return error;
        int64_t size = AV_RB32(header);
        if (size == kLargeSize) size = static_cast<int64_t>(AV_RB64(header + 8));
        if (size < 8 || size > status.st_size - layout->end) return EINVAL;
        layout->index = memcmp(header + 4, "moov", 4) == 0 ? layout->end : -1;
        layout->end += size;
        if (memcmp(header + 4, "ftyp", 4) == 0) layout->begin = layout->end;
    }
    return layout->begin >= 0 && layout->index >= layout->begin ? 0 : EINVAL;
}

// Bytes to a place farther back, the last ones first.
int moveBack(int descriptor, int64_t begin, int64_t end, int64_t by) {
    std::vector<uint8_t> piece(std::min(kPieceSize, end - begin));
    while (end > begin) {
        const int64_t size = std::min(kPieceSize, end - begin);
        end -= size;
        int error = transferAll(pread64, descriptor, piece.data(), size, end);
        if (error == 0) error = transferAll(pwrite64, descriptor, piece.data(), size, end + by);
        if (error != 0) return error;
    }
    return 0;
}

}  // namespace

int moveIndexToFront(int descriptor) {
    Layout layout;
    int error = readLayout(descriptor, &layout);
    if (error != 0) return error;
    std::vector<uint8_t> index(layout.end - layout.index);
    error = transferAll(pread64, descriptor, index.data(), index.size(), layout.index);
    if (error != 0) return error;
    const std::vector<uint8_t> moved = android::indexForFront(index);
    if (moved.empty()) return EINVAL;
    error = moveBack(descriptor, layout.begin, layout.index, static_cast<int64_t>(moved.size()));
    if (error != 0) return error;
    return transferAll(pwrite64, descriptor, moved.data(), moved.size(), layout.begin);
}

}  // namespace oxa::host
