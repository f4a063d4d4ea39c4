// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/Utils.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/MediaDefs.h>

#include <optional>
#include <random>
#include <vector>

#include "container/AvcStream.h"
#include "container/Esds.h"
#include "support/MediaReader.h"
#include "support/TestClips.h"

namespace android {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::ElementsAreArray;

sp<AMessage> format(const char* mime) {
    sp<AMessage> message = new AMessage;
    message->setString("mime", mime);
    return message;
}

std::optional<int32_t> int32Of(const sp<MetaData>& meta, uint32_t key) {
    int32_t value = 0;
    return meta->findInt32(key, &value) ? std::optional<int32_t>(value) : std::nullopt;
}

TEST(FormatConversionTest, SoundConfigurationIsWrappedInADescriptor) {
    sp<AMessage> message = format(MEDIA_MIMETYPE_AUDIO_AAC);
    message->setInt32("channel-count", 2);
    message->setInt32("sample-rate", 48000);
    message->setBuffer("csd-0", ABuffer::CreateAsCopy("\x11\x90", 2));
    sp<MetaData> meta = new MetaData;
    EXPECT_EQ(convertMessageToMetaData(message, meta), OK);
    uint32_t type = 0;
    const void* data = nullptr;
    size_t size = 0;
    ASSERT_TRUE(meta->findData(kKeyESDS, &type, &data, &size));
    const auto* bytes = static_cast<const uint8_t*>(data);
    const Bytes esds(bytes, bytes + size);
    ASSERT_EQ(esds.size(), 33u);
    EXPECT_THAT(Bytes(esds.begin(), esds.begin() + 15),
                ElementsAreArray(
                        {3, 0x80, 0x80, 0x80, 28, 0, 0, 0, 4, 0x80, 0x80, 0x80, 20, 0x40, 0x15}));
    EXPECT_THAT(Bytes(esds.begin() + 26, esds.end()),
                ElementsAreArray({5, 0x80, 0x80, 0x80, 2, 0x11, 0x90}));
    EXPECT_THAT(configurationFromEsds(esds.data(), esds.size()), ElementsAreArray({0x11, 0x90}));
    for (size_t part = 0; part < esds.size(); ++part)
        EXPECT_TRUE(configurationFromEsds(esds.data(), part).empty()) << part;
    // Lengths of one byte and the optional fields, as files have them.
    const Bytes file = {3, 0x1A, 0, 1, 0xE0, 9, 9, 1, 'u', 8, 8, 4, 0x14, 0x40, 0x15,
                        0, 0,    0, 0, 0,    0, 0, 0, 0,   0, 0, 5, 2,    0x12, 0x10};
    EXPECT_THAT(configurationFromEsds(file.data(), file.size()), ElementsAreArray({0x12, 0x10}));
}

TEST(FormatConversionTest, ConvertsBothWaysAndSaysWhatIsMissing) {
    sp<AMessage> message = format(MEDIA_MIMETYPE_VIDEO_AVC);
    message->setInt32("width", 1920);
    message->setInt32("height", 1080);
    message->setInt32("bitrate", 0);
    message->setFloat("frame-rate", 29.97f);
    message->setRect("crop", 0, 0, 1919, 1079);
    message->setInt32("unknown", 1);
    message->setBuffer("csd-0", ABuffer::CreateAsCopy("\0\0\0\1\x67\x42\xC0\x1E", 8));
    sp<MetaData> meta = new MetaData;
    ASSERT_EQ(convertMessageToMetaData(message, meta), OK);
    EXPECT_EQ(int32Of(meta, kKeyWidth), 1920);
    EXPECT_EQ(int32Of(meta, kKeyFrameRate), 29);
    EXPECT_EQ(int32Of(meta, kKeyBitRate), std::nullopt);
    EXPECT_FALSE(meta->hasData(kKeyAVCC)) << "one of two parameter sets alone makes none";

    sp<AMessage> back;
    ASSERT_EQ(convertMetaDataToMessage(meta, &back), OK);
    for (const char* lost : {"bitrate", "unknown"})
        EXPECT_FALSE(back->contains(lost));
    int32_t rate = 0;
    EXPECT_TRUE(back->findInt32("frame-rate", &rate));
    EXPECT_EQ(rate, 29);
    int32_t left, top, right, bottom;
    EXPECT_TRUE(back->findRect("crop", &left, &top, &right, &bottom));
    EXPECT_EQ(bottom, 1079);

    sp<MetaData> none = new MetaData;
    EXPECT_EQ(convertMessageToMetaData(new AMessage, none), BAD_VALUE);
    EXPECT_EQ(convertMessageToMetaData(format("video/avc"), none), BAD_VALUE);
    EXPECT_EQ(convertMessageToMetaData(format("audio/mp4a-latm"), none), BAD_VALUE);
    EXPECT_EQ(convertMetaDataToMessage(sp<MetaData>(new MetaData), &back), BAD_VALUE);
}

TEST(AvcStreamTest, SplitsAtStartCodesOfBothLengths) {
    const Bytes stream = {9, 0,    0, 1, 0x67, 0, 0, 3, 1, 0, 0, 0,
                          1, 0x68, 0, 0, 0,    0, 1, 0, 0, 1, 5};
    std::vector<Bytes> units;
    for (const NalUnit& unit : splitAnnexB(stream.data(), stream.size())) {
        units.emplace_back(unit.data, unit.data + unit.size);
    }
    EXPECT_THAT(units, testing::ElementsAre(Bytes{0x67, 0, 0, 3, 1}, Bytes{0x68}, Bytes{5}));
    EXPECT_TRUE(splitAnnexB(stream.data() + 4, 4).empty());
    EXPECT_TRUE(splitAnnexB(stream.data(), 0).empty());
    EXPECT_TRUE(splitAnnexB(stream.data() + 1, 3).empty());
}

// The record that an encoder's own muxer wrote, with the fields of High profile.
TEST(AvcStreamTest, RebuildsTheRecordOfAFile) {
    oxa::test::MediaReader reader(oxa::test::mediaPath("flower_540p_h264_aac.mp4"));
    ASSERT_TRUE(reader.ok());
    const AVCodecParameters* parameters =
            reader.format()->streams[reader.findStream(AVMEDIA_TYPE_VIDEO)]->codecpar;
    const Bytes record(parameters->extradata, parameters->extradata + parameters->extradata_size);
    const Bytes annexB = annexBFromAvcConfiguration(record.data(), record.size());
    EXPECT_THAT(makeAvcConfiguration(annexB.data(), annexB.size()), ElementsAreArray(record));
    // The chroma fields at the end are optional, everything before is not.
    for (size_t size = 0; size < record.size() - 4; ++size) {
        EXPECT_TRUE(annexBFromAvcConfiguration(record.data(), size).empty()) << size;
    }
}

// What a file says reaches the parser unchecked: nothing may overflow or run on (sanitizers tell).
TEST(AvcStreamTest, AnyBytesAreSurvived) {
    std::mt19937 random(1);
    AvcSequence sequence;
    int accepted = 0;
    for (int round = 0; round < 5000; ++round) {
        Bytes unit = {0x67, 100, 0, 30};
        const size_t size = 4 + random() % 40;
        while (unit.size() < size)
            unit.push_back(static_cast<uint8_t>(random() & random()));
        accepted += parseAvcSequence({unit.data(), unit.size()}, &sequence) ? 1 : 0;
        annexBFromAvcConfiguration(unit.data() + 1, unit.size() - 1);
        configurationFromEsds(unit.data() + 1, unit.size() - 1);
    }
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 5000);
    EXPECT_LE(sequence.lumaBits, 14);
}

}  // namespace
}  // namespace android
