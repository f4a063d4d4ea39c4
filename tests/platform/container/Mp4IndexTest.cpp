// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/Mp4Index.h"

#include "support/Test.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace android {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes box(const char* type, const Bytes& content) {
    Bytes bytes(8);
    AV_WB32(bytes.data(), static_cast<uint32_t>(8 + content.size()));
    std::copy(type, type + 4, bytes.begin() + 4);
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

Bytes indexWith(const char* type, const std::vector<uint64_t>& places) {
    const bool isWide = type[0] == 'c';
    Bytes table(8 + places.size() * (isWide ? 8 : 4));
    AV_WB32(table.data() + 4, static_cast<uint32_t>(places.size()));
    for (size_t i = 0; i < places.size(); ++i) {
        if (isWide) AV_WB64(table.data() + 8 + i * 8, places[i]);
        if (!isWide) AV_WB32(table.data() + 8 + i * 4, static_cast<uint32_t>(places[i]));
    }
    Bytes content = box("free", Bytes(5));
    const Bytes tables = box("trak", box("mdia", box("minf", box("stbl", box(type, table)))));
    content.insert(content.end(), tables.begin(), tables.end());
    return box("moov", content);
}

TEST(Mp4Index, placesMoveByTheSizeThatItHasInTheEnd) {
    EXPECT_EQ(indexForFront(indexWith("stco", {48, 1000})),
              indexWith("stco", {48 + 77, 1000 + 77}));
    EXPECT_EQ(indexForFront(indexWith("co64", {uint64_t{1} << 40})),
              indexWith("co64", {(uint64_t{1} << 40) + 77}));
    // Eight bytes more for two wider places.
    EXPECT_EQ(indexForFront(indexWith("stco", {48, UINT32_MAX - 10})),
              indexWith("co64", {48 + 85, uint64_t{UINT32_MAX} - 10 + 85}));
    const Bytes empty = box("moov", box("free", {}));
    EXPECT_EQ(indexForFront(empty), empty);
}

TEST(Mp4Index, damagedOnesAreRefused) {
    const Bytes index = indexWith("stco", {48, 1000});
    for (size_t at : {size_t{3}, size_t{24}, index.size() - 9}) {
        Bytes damaged = index;
        damaged[at] = 0xFF;
        EXPECT_THAT(indexForFront(damaged), testing::IsEmpty()) << at;
    }
    EXPECT_THAT(indexForFront(Bytes(index.begin(), index.end() - 1)), testing::IsEmpty());
}

}  // namespace
}  // namespace android
