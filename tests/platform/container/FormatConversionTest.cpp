// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <random>

#include "media/AvcStream.h"
#include "media/Esds.h"
#include "media/HevcStream.h"
#include "support/MediaReader.h"
#include "support/Test.h"

namespace android {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::ElementsAreArray;

TEST(EsdsTest, holdsAConfigurationHoweverTheLengthsAreWritten) {
    const Bytes esds = makeEsds(Bytes{0x11, 0x90}.data(), 2);
    ASSERT_EQ(esds.size(), 33u);
    EXPECT_THAT(configurationFromEsds(esds.data(), esds.size()), ElementsAreArray({0x11, 0x90}));
    for (size_t part = 0; part < esds.size(); ++part)
        EXPECT_TRUE(configurationFromEsds(esds.data(), part).empty()) << part;
    // Lengths of one byte and the optional fields, as files have them.
    const Bytes file = {3, 0x1A, 0, 1, 0xE0, 9, 9, 1, 'u', 8, 8, 4, 0x14, 0x40, 0x15,
                        0, 0,    0, 0, 0,    0, 0, 0, 0,   2, 0, 5, 2,    0x12, 0x10};
    EsdsBitRates rates;
    EXPECT_THAT(configurationFromEsds(file.data(), file.size(), &rates),
                ElementsAreArray({0x12, 0x10}));
    EXPECT_EQ(rates.maximum, 0u);
    EXPECT_EQ(rates.average, 512u);
}

TEST(AvcStreamTest, splitsAtStartCodesOfBothLengths) {
    const Bytes stream = {9, 0,    0, 1, 0x67, 0, 0, 3, 1, 0, 0, 0,
                          1, 0x68, 0, 0, 0,    0, 1, 0, 0, 1, 5};
    std::vector<Bytes> units;
    for (const NalUnit& unit : splitAnnexB(stream.data(), stream.size()))
        units.emplace_back(unit.data, unit.data + unit.size);
    EXPECT_THAT(units, testing::ElementsAre(Bytes{0x67, 0, 0, 3, 1}, Bytes{0x68}, Bytes{5}));
    EXPECT_TRUE(splitAnnexB(stream.data() + 4, 4).empty());
    EXPECT_TRUE(splitAnnexB(stream.data(), 0).empty());
    EXPECT_TRUE(splitAnnexB(stream.data() + 1, 3).empty());
}

TEST(AvcStreamTest, tellsWhatASampleSaysOfItself) {
    const struct {
        Bytes sample;
        bool isReferred;
        uint32_t framesToWhole;
    } kSamples[] = {// A refresh of four pictures, behind another message.
                    {{0, 0, 1, 6, 5, 1, 0xAA, 6, 1, 0x28, 0x80, 0, 0, 1, 0x21}, true, 4},
                    {{0, 0, 1, 6, 6, 1, 0x28, 0x80, 0, 0, 1, 0x65}, true, 0},
                    {{0, 0, 1, 9, 16, 0, 0, 1, 1}, false, 0}};
    for (const auto& c : kSamples) {
        const AvcSample told = parseAvcSample(c.sample.data(), c.sample.size());
        EXPECT_EQ(told.isReferred, c.isReferred);
        EXPECT_EQ(told.framesToWhole, c.framesToWhole);
    }
}

Bytes recordOf(const char* clip) {
    const oxa::test::MediaReader reader(oxa::test::mediaPath(clip));
    const AVCodecParameters& parameters =
            *reader.format()->streams[reader.findStream(AVMEDIA_TYPE_VIDEO)]->codecpar;
    return Bytes(parameters.extradata, parameters.extradata + parameters.extradata_size);
}

// The record that an encoder's own muxer wrote, with the fields of High profile. The chroma fields
// at the end are optional, everything before is not.
TEST(AvcStreamTest, rebuildsTheRecordOfAFile) {
    const Bytes record = recordOf("flower_540p_h264_aac.mp4");
    const Bytes annexB = annexBFromAvcConfiguration(record.data(), record.size());
    EXPECT_EQ(makeAvcConfiguration(annexB.data(), annexB.size()), record);
    for (size_t size = 0; size < record.size() - 4; ++size)
        EXPECT_TRUE(annexBFromAvcConfiguration(record.data(), size).empty()) << size;
}

TEST(AvcStreamTest, tellsTheBitsOfLumaAndChromaApart) {
    const Bytes sets = {0,    0,    1,    0x67, 110, 0, 30,   0xA7,  // 4:2:0, 10 and 8 bits
                        0x3A, 0x25, 0x90, 0,    0,   1, 0x68, 0xEE};
    const Bytes record = makeAvcConfiguration(sets.data(), sets.size());
    ASSERT_GE(record.size(), 4u);
    EXPECT_THAT(Bytes(record.end() - 4, record.end()), ElementsAreArray({0xFD, 0xFA, 0xF8, 0}));
}

// The record that another encoder's muxer wrote; what it knows beyond the parameter sets is left
// out.
TEST(HevcStreamTest, rebuildsTheRecordOfAFile) {
    const Bytes record = recordOf("bunny_480p_hevc.mp4");
    const Bytes annexB = annexBFromHevcConfiguration(record.data(), record.size());
    const Bytes made = makeHevcConfiguration(annexB.data(), annexB.size());
    ASSERT_GE(made.size(), 23u);
    for (const auto& [from, to] : {std::pair(0, 13), {16, 21}})
        EXPECT_TRUE(std::equal(made.begin() + from, made.begin() + to, record.begin() + from));
    EXPECT_EQ(made[21] & 3, 3) << "4-byte lengths";
    EXPECT_EQ(annexBFromHevcConfiguration(made.data(), made.size()), annexB);
    for (size_t size = 0; size < record.size(); ++size) {
        EXPECT_TRUE(annexBFromHevcConfiguration(record.data(), size).empty()) << size;
        EXPECT_LE(makeHevcConfiguration(annexB.data(), std::min(size, annexB.size())).size(),
                  made.size());
    }
}

// What a file says reaches the parser unchecked: nothing may overflow or run on (sanitizers tell).
TEST(AvcStreamTest, anyBytesAreSurvived) {
    std::mt19937 random(1);
    AvcSequence sequence;
    int accepted = 0;
    int records = 0;
    for (int round = 0; round < 5000; ++round) {
        Bytes unit = {0x67, 100, 0, 30};
        const size_t size = 4 + random() % 40;
        while (unit.size() < size)
            unit.push_back(static_cast<uint8_t>(random() & random()));
        accepted += parseAvcSequence({unit.data(), unit.size()}, &sequence) ? 1 : 0;
        annexBFromAvcConfiguration(unit.data() + 1, unit.size() - 1);
        annexBFromHevcConfiguration(unit.data(), unit.size());
        Bytes sets = {0, 0, 1, 0x40, 1, 0, 0, 1, 0x44, 1, 0, 0, 1, 0x42};
        sets.insert(sets.end(), unit.begin(), unit.end());
        records += makeHevcConfiguration(sets.data(), sets.size()).empty() ? 0 : 1;
        configurationFromEsds(unit.data() + 1, unit.size() - 1);
    }
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 5000);
    EXPECT_GT(records, 0);
    EXPECT_LT(records, 5000);
    EXPECT_LE(sequence.lumaBits, 14);
}

}  // namespace
}  // namespace android
