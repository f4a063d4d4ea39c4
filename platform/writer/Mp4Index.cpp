// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/Mp4Index.h"

#include <string.h>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace android {

namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kTableHeaderSize = 16;  // with version, flags and count

bool isBox(const uint8_t* box, const char* type) {
    return memcmp(box + 4, type, 4) == 0;
}

// Writes a copy of an index in which all samples lie elsewhere.
class IndexCopy {
  public:
    // `wide`: places have 8 bytes everywhere.
    IndexCopy(uint64_t moveBy, bool wide) : mMoveBy(moveBy), mWide(wide) {}

    bool copy(const uint8_t* box, size_t room) {
        if (room < kHeaderSize) return false;
        const size_t size = AV_RB32(box);
        if (size < kHeaderSize || size > room) return false;
        const size_t begin = mOut.size();
        if (isBox(box, "stco") || isBox(box, "co64")) {
            if (!copyPlaces(box, size)) return false;
        } else if (isContainer(box)) {
            mOut.insert(mOut.end(), box, box + kHeaderSize);
            for (size_t at = kHeaderSize; at < size; at += AV_RB32(box + at)) {
                if (!copy(box + at, size - at)) return false;
            }
        } else {
            mOut.insert(mOut.end(), box, box + size);
        }
        AV_WB32(mOut.data() + begin, static_cast<uint32_t>(mOut.size() - begin));
        return true;
    }

    std::vector<uint8_t> take() { return std::move(mOut); }
    bool isTooNarrow() const { return mTooNarrow; }

  private:
    static bool isContainer(const uint8_t* box) {
        for (const char* type : {"moov", "trak", "mdia", "minf", "stbl"}) {
            if (isBox(box, type)) return true;
        }
        return false;
    }

    bool copyPlaces(const uint8_t* box, size_t size) {
        const bool wasWide = isBox(box, "co64");
        const size_t width = wasWide ? 8 : 4;
        if (size < kTableHeaderSize) return false;
        const size_t count = AV_RB32(box + 12);
        if (count > (size - kTableHeaderSize) / width) return false;
        const bool isWide = wasWide || mWide;
        size_t at = mOut.size() + kTableHeaderSize;
        mOut.insert(mOut.end(), box, box + kTableHeaderSize);
        memcpy(mOut.data() + at - kTableHeaderSize + 4, isWide ? "co64" : "stco", 4);
        mOut.resize(at + count * (isWide ? 8 : 4));
        for (const uint8_t* entry = box + kTableHeaderSize; at < mOut.size(); entry += width) {
            const uint64_t place = (wasWide ? AV_RB64(entry) : AV_RB32(entry)) + mMoveBy;
            if (isWide) {
                AV_WB64(mOut.data() + at, place);
            } else {
                AV_WB32(mOut.data() + at, static_cast<uint32_t>(place));
                mTooNarrow = mTooNarrow || place > UINT32_MAX;
            }
            at += isWide ? 8 : 4;
        }
        return true;
    }

    const uint64_t mMoveBy;
    const bool mWide;
    std::vector<uint8_t> mOut;
    bool mTooNarrow = false;
};

}  // namespace

std::vector<uint8_t> indexForFront(const std::vector<uint8_t>& index) {
    uint64_t moveBy = index.size();
    bool isWide = false;
    // Wide places make it larger, which moves them once more.
    for (int turn = 0; turn < 3; ++turn) {
        IndexCopy copy(moveBy, isWide);
        if (!copy.copy(index.data(), index.size())) return {};
        std::vector<uint8_t> moved = copy.take();
        if (!copy.isTooNarrow() && moved.size() == moveBy) return moved;
        isWide = isWide || copy.isTooNarrow();
        if (!copy.isTooNarrow()) moveBy = moved.size();
    }
    return {};
}

}  // namespace android
