// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <media/stagefright/MetaData.h>
#include <media/stagefright/Utils.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <array>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace android {
namespace {

using namespace std::string_literals;

using Crop = std::array<int32_t, 4>;
// A std::string is bytes.
using Value = std::variant<int32_t, int64_t, float, const char*, std::string, Crop>;

struct MessageItem {
    const char* name;
    Value value;
};

struct MetaItem {
    uint32_t key;
    Value value;
    uint32_t type = MetaDataBase::TYPE_NONE;  // of bytes
};

void set(const sp<AMessage>& message, const MessageItem& item) {
    const char* const name = item.name;
    if (auto i = std::get_if<int32_t>(&item.value)) message->setInt32(name, *i);
    if (auto i = std::get_if<int64_t>(&item.value)) message->setInt64(name, *i);
    if (auto f = std::get_if<float>(&item.value)) message->setFloat(name, *f);
    if (auto s = std::get_if<const char*>(&item.value)) message->setString(name, *s);
    if (auto c = std::get_if<Crop>(&item.value))
        message->setRect(name, (*c)[0], (*c)[1], (*c)[2], (*c)[3]);
    if (auto bytes = std::get_if<std::string>(&item.value))
        message->setBuffer(name, ABuffer::CreateAsCopy(bytes->data(), bytes->size()));
}

void set(const sp<MetaData>& meta, const MetaItem& item) {
    if (auto i = std::get_if<int32_t>(&item.value)) meta->setInt32(item.key, *i);
    if (auto i = std::get_if<int64_t>(&item.value)) meta->setInt64(item.key, *i);
    if (auto f = std::get_if<float>(&item.value)) meta->setFloat(item.key, *f);
    if (auto s = std::get_if<const char*>(&item.value)) meta->setCString(item.key, *s);
    if (auto c = std::get_if<Crop>(&item.value))
        meta->setRect(item.key, (*c)[0], (*c)[1], (*c)[2], (*c)[3]);
    if (auto bytes = std::get_if<std::string>(&item.value))
        meta->setData(item.key, item.type, bytes->data(), bytes->size());
}

const std::string kSps = "\0\0\0\1\x67\x64\0\x1F\xAC\xD9"s;
const std::string kPps = "\0\0\0\1\x68\xEB\xE3\xCB"s;
const std::string kEsds =
        "\3\x80\x80\x80\x1C\0\0\0\4\x80\x80\x80\x14\x40\x15\0\x18\0\0\0\xFA\0\0\0\xFA\0"
        "\5\x80\x80\x80\2\x11\x90"s;

struct ToMetaCase {
    const char* name;
    std::vector<MessageItem> items;
    status_t status;
    const char* android;
};

const std::vector<ToMetaCase> kToMeta = {
        {"nothing", {}, BAD_VALUE, ""},
        {"picture without a height",
         {{"mime", "video/avc"}, {"width", 640}},
         BAD_VALUE,
         "mime: (char*) video/avc"},
        {"sound without a rate",
         {{"mime", "audio/mp4a-latm"}, {"channel-count", 2}},
         BAD_VALUE,
         "mime: (char*) audio/mp4a-latm"},
        {"neither", {{"mime", "text/vtt"}}, OK, "mime: (char*) text/vtt"},
        {"common items",
         {{"mime", "text/vtt"},
          {"durationUs", int64_t{7}},
          {"timeUs", int64_t{8}},
          {"target-time", int64_t{9}},
          {"bitrate", 0},
          {"max-bitrate", 5},
          {"max-input-size", 6},
          {"max-width", 1},
          {"max-height", 2},
          {"track-id", 3},
          {"time-scale", 90000},
          {"is-sync-frame", 1},
          {"language", "deu"},
          {"stride", 64},
          {"unknown", 1}},
         OK,
         "trID: (int32_t) 3, tmsl: (int32_t) 90000, time: (int64_t) 8, tarT: (int64_t) 9, "
         "sync: (int32_t) 1, mxBr: (int32_t) 5, mime: (char*) text/vtt, maxW: (int32_t) 1, "
         "maxH: (int32_t) 2, lang: (char*) deu, inpS: (int32_t) 6, dura: (int64_t) 7"},
        {"no sync frame", {{"mime", "a/b"}, {"is-sync-frame", 0}}, OK, "mime: (char*) a/b"},
        {"picture",
         {{"mime", "video/raw"},
          {"width", 640},
          {"height", 480},
          {"sar-width", 4},
          {"display-width", 10},
          {"display-height", 9},
          {"color-format", 19},
          {"rotation-degrees", 90},
          {"crop", Crop{0, 0, 639, 479}},
          {"frame-rate", 29.97f},
          {"capture-rate", 120.5f},
          {"i-frame-interval", 1},
          {"slice-height", 480}},
         OK,
         "widt: (int32_t) 640, rotA: (int32_t) 90, mime: (char*) video/raw, heig: (int32_t) 480, "
         "frmR: (int32_t) 29, dWid: (int32_t) 10, dHgt: (int32_t) 9, crop: Rect(0, 0, 639, 479), "
         "colf: (int32_t) 19, capF: (float) 120.500000"},
        {"colours of BT.601 with 525 lines",
         {{"mime", "video/raw"},
          {"width", 1},
          {"height", 2},
          {"color-range", 2},
          {"color-standard", 4},
          {"color-transfer", 3}},
         OK,
         "widt: (int32_t) 1, tFcn: (int32_t) 3, mime: (char*) video/raw, heig: (int32_t) 2, "
         "cRng: (int32_t) 2, cPrm: (int32_t) 4, cMtx: (int32_t) 3"},
        {"colours of HDR",
         {{"mime", "video/raw"},
          {"width", 1},
          {"height", 2},
          {"color-standard", 6},
          {"color-transfer", 6}},
         OK,
         "widt: (int32_t) 1, tFcn: (int32_t) 6, mime: (char*) video/raw, heig: (int32_t) 2, "
         "cPrm: (int32_t) 6, cMtx: (int32_t) 5"},
        {"sound",
         {{"mime", "audio/raw"},
          {"channel-count", 2},
          {"sample-rate", 48000},
          {"channel-mask", 3},
          {"bits-per-sample", 16},
          {"encoder-delay", 1},
          {"encoder-padding", 2},
          {"is-adts", 1},
          {"aac-profile", 2},
          {"pcm-encoding", 4}},
         OK,
         "srte: (int32_t) 48000, mime: (char*) audio/raw, encp: (int32_t) 2, encd: (int32_t) 1, "
         "chnm: (int32_t) 3, bits: (int32_t) 16, adts: (int32_t) 1, aaot: (int32_t) 2, "
         "PCMe: (int32_t) 4, #chn: (int32_t) 2"},
        {"AAC configuration",
         {{"mime", "audio/mp4a-latm"},
          {"channel-count", 2},
          {"sample-rate", 48000},
          {"csd-0", "\x11\x90"s}},
         OK,
         "srte: (int32_t) 48000, mime: (char*) audio/mp4a-latm, "
         "esds: (unknown type 1702061171, size 33)\n"
         "00000000:  03 80 80 80 1c 00 00 00  04 80 80 80 14 40 15 00  .............@..\n"
         "00000010:  18 00 00 00 fa 00 00 00  fa 00 05 80 80 80 02 11  ................\n"
         "00000020:  90                                                .\n"
         ", csd0: no type, size 2), #chn: (int32_t) 2"},
        {"MPEG-4 configuration",
         {{"mime", "video/mp4v-es"}, {"width", 1}, {"height", 2}, {"csd-0", "\0\0\1\xB0\1"s}},
         OK,
         "widt: (int32_t) 1, mime: (char*) video/mp4v-es, heig: (int32_t) 2, "
         "esds: (unknown type 1702061171, size 36)\n"
         "00000000:  03 80 80 80 1f 00 00 00  04 80 80 80 17 40 15 00  .............@..\n"
         "00000010:  18 00 00 00 fa 00 00 00  fa 00 05 80 80 80 05 00  ................\n"
         "00000020:  00 01 b0 01                                       ....\n"
         ", csd0: no type, size 5)"},
        {"AVC with one of two parameter sets",
         {{"mime", "video/avc"}, {"width", 1}, {"height", 2}, {"csd-0", kSps}},
         OK,
         "widt: (int32_t) 1, mime: (char*) video/avc, heig: (int32_t) 2, csd0: no type, size 10)"},
        {"AVC as files have it",
         {{"mime", "video/avc"}, {"width", 1}, {"height", 2}, {"csd-avc", "\1\2\3"s}},
         OK,
         "widt: (int32_t) 1, mime: (char*) video/avc, heig: (int32_t) 2, "
         "avcc: (unknown type 1635148643, size 3)\n"
         "00000000:  01 02 03                                          ...\n"},
        {"HEVC as files have it",
         {{"mime", "video/hevc"}, {"width", 1}, {"height", 2}, {"csd-hevc", "\1\2\3"s}},
         OK,
         "widt: (int32_t) 1, mime: (char*) video/hevc, hvcc: (unknown type 1752589155, size 3)\n"
         "00000000:  01 02 03                                          ...\n"
         ", heig: (int32_t) 2"},
        {"a descriptor as files have it",
         {{"mime", "audio/mpeg"}, {"channel-count", 1}, {"sample-rate", 2}, {"esds", "\3"s}},
         OK,
         "srte: (int32_t) 2, mime: (char*) audio/mpeg, esds: (unknown type 1702061171, size 1)\n"
         "00000000:  03                                                .\n"
         ", #chn: (int32_t) 1"},
        {"Opus",
         {{"mime", "audio/opus"},
          {"channel-count", 1},
          {"sample-rate", 2},
          {"csd-0", "a"s},
          {"csd-1", "bc"s},
          {"csd-2", "def"s}},
         OK,
         "srte: (int32_t) 2, ospr: no type, size 3), ohdr: no type, size 1), "
         "ocod: no type, size 2), mime: (char*) audio/opus, csd2: no type, size 3), "
         "csd1: no type, size 2), csd0: no type, size 1), #chn: (int32_t) 1"},
};

TEST(ConversionFacts, MessageToMetaData) {
    for (const ToMetaCase& c : kToMeta) {
        const sp<AMessage> message = new AMessage;
        for (const MessageItem& item : c.items)
            set(message, item);
        sp<MetaData> meta = new MetaData;
        EXPECT_EQ(convertMessageToMetaData(message, meta), c.status) << c.name;
        EXPECT_EQ(std::string(meta->toString().c_str()), c.android) << c.name;
    }
}

struct ToMessageCase {
    const char* name;
    std::vector<MetaItem> items;
    status_t status;
    const char* android;
};

const std::vector<ToMessageCase> kToMessage = {
        {"nothing", {}, BAD_VALUE, nullptr},
        {"picture without a size", {{kKeyMIMEType, "video/avc"}}, BAD_VALUE, nullptr},
        {"sound without a rate",
         {{kKeyMIMEType, "audio/raw"}, {kKeyChannelCount, 2}},
         BAD_VALUE,
         nullptr},
        {"neither",
         {{kKeyMIMEType, "text/vtt"}, {kKeyIsSyncFrame, 1}, {kKeyBitRate, -1}},
         OK,
         "  string mime = \"text/vtt\"\n"
         "  int32_t is-sync-frame = 1\n"},
        {"colours",
         {{kKeyMIMEType, "video/raw"},
          {kKeyWidth, 1},
          {kKeyHeight, 2},
          {kKeyColorRange, 1},
          {kKeyColorPrimaries, 3},
          {kKeyTransferFunction, 3},
          {kKeyColorMatrix, 3}},
         OK,
         "  string mime = \"video/raw\"\n"
         "  int32_t width = 1\n"
         "  int32_t height = 2\n"
         "  int32_t color-range = 1\n"
         "  int32_t color-standard = 2\n"
         "  int32_t color-transfer = 3\n"},
        {"a record that cannot be read",
         {{kKeyMIMEType, "video/avc"},
          {kKeyWidth, 1},
          {kKeyHeight, 2},
          {kKeyAVCC, "\2\2\3"s, kTypeAVCC}},
         BAD_VALUE,
         nullptr},
        {"AVC",
         {{kKeyMIMEType, "video/avc"},
          {kKeyWidth, 1},
          {kKeyHeight, 2},
          {kKeyAVCC, "\1\x64\0\x1F\xFF\xE1\0\5\x67\x64\0\x1F\xAC\1\0\4\x68\xEB\xE3\xCB"s,
           kTypeAVCC}},
         OK,
         "  string mime = \"video/avc\"\n"
         "  int32_t width = 1\n"
         "  int32_t height = 2\n"
         "  int32_t profile = 8\n"
         "  int32_t level = 512\n"
         "  Buffer csd-0 = {\n"
         "    00000000:  00 00 00 01 67 64 00 1f  ac                       ....gd...\n"
         "  }\n"
         "  Buffer csd-1 = {\n"
         "    00000000:  00 00 00 01 68 eb e3 cb                           ....h...\n"
         "  }\n"},
        {"AAC, bit rates of the descriptor",
         {{kKeyMIMEType, "audio/mp4a-latm"},
          {kKeyChannelCount, 2},
          {kKeySampleRate, 48000},
          {kKeyESDS, kEsds, kTypeESDS}},
         OK,
         "  string mime = \"audio/mp4a-latm\"\n"
         "  int32_t channel-count = 2\n"
         "  int32_t sample-rate = 48000\n"
         "  Buffer csd-0 = {\n"
         "    00000000:  11 90                                             ..\n"
         "  }\n"
         "  int32_t profile = 2\n"
         "  int32_t bitrate = 64000\n"
         "  int32_t max-bitrate = 64000\n"},
        {"AAC, a bit rate of its own",
         {{kKeyMIMEType, "audio/mp4a-latm"},
          {kKeyChannelCount, 2},
          {kKeySampleRate, 48000},
          {kKeyBitRate, 128000},
          {kKeyESDS, kEsds, kTypeESDS}},
         OK,
         "  string mime = \"audio/mp4a-latm\"\n"
         "  int32_t bitrate = 128000\n"
         "  int32_t channel-count = 2\n"
         "  int32_t sample-rate = 48000\n"
         "  Buffer csd-0 = {\n"
         "    00000000:  11 90                                             ..\n"
         "  }\n"
         "  int32_t profile = 2\n"},
};

TEST(ConversionFacts, MetaDataToMessage) {
    for (const ToMessageCase& c : kToMessage) {
        const sp<MetaData> meta = new MetaData;
        for (const MetaItem& item : c.items)
            set(meta, item);
        sp<AMessage> message = new AMessage;
        EXPECT_EQ(convertMetaDataToMessage(meta, &message), c.status) << c.name;
        ASSERT_EQ(message != nullptr, c.android != nullptr) << c.name;
        if (message == nullptr) continue;
        EXPECT_EQ(std::string(message->debugString().c_str()),
                  "AMessage(what = 0x00000000) = {\n" + std::string(c.android) + "}")
                << c.name;
    }
}

struct ProfileCase {
    const char* mime;
    uint32_t key;
    std::string bytes;
    int32_t profile;  // 0: none
    int32_t level;
};

std::string avcc(char profile, char constraints, char level) {
    return std::string{1, profile, constraints, level} + "\xFF\xE1\0\1\x67\1\0\1\x68"s;
}

std::string hvcc(char profile, char level) {
    return std::string{1, profile} + std::string(10, '\0') + level +
           "\xF0\0\xFC\xFD\xF8\xF8\0\0\3\1\x20\0\1\0\2\x40\1"s;
}

std::string esds(const std::string& configuration) {
    const char size = static_cast<char>(configuration.size());
    return "\3"s + static_cast<char>(20 + size) + "\0\0\0\4"s + static_cast<char>(15 + size) +
           "\x20\x11\0\0\0\0\0\0\0\0\0\0\0\5"s + size + configuration;
}

TEST(ConversionFacts, ProfilesAndLevels) {
    const ProfileCase cases[] = {
            {"video/avc", kKeyAVCC, avcc(66, 0, 30), 1, 0x100},
            {"video/avc", kKeyAVCC, avcc(66, 0x40, 31), 0x10000, 0x200},
            {"video/avc", kKeyAVCC, avcc(77, 0x10, 11), 2, 2},
            {"video/avc", kKeyAVCC, avcc(77, 0, 11), 2, 4},
            {"video/avc", kKeyAVCC, avcc(100, 0x0C, 52), 0x80000, 0x10000},
            {"video/avc", kKeyAVCC, avcc(110, 0, 9), 0x10, 2},
            {"video/avc", kKeyAVCC, avcc(44, 0, 30), 0, 0},
            {"video/hevc", kKeyHVCC, hvcc(1, 93), 1, 0x100},
            {"video/hevc", kKeyHVCC, hvcc(0x22, 120), 2, 0x800},
            {"video/mp4v-es", kKeyESDS, esds("\0\0\1\xB0\3"s), 1, 0x10},
            {"video/mp4v-es", kKeyESDS, esds("\0\0\1\xB0\xF5"s), 0x8000, 0x80},
            {"audio/mp4a-latm", kKeyESDS, esds("\x2B\x11\x88"s), 5, 0},
            {"audio/mp4a-latm", kKeyESDS, esds("\xF8\xE6\x30"s), 39, 0},
    };
    for (const ProfileCase& c : cases) {
        const sp<MetaData> meta = new MetaData;
        for (uint32_t key : {kKeyWidth, kKeyHeight, kKeyChannelCount, kKeySampleRate})
            meta->setInt32(key, 1);
        meta->setCString(kKeyMIMEType, c.mime);
        meta->setData(c.key, c.key, c.bytes.data(), c.bytes.size());
        sp<AMessage> message;
        ASSERT_EQ(convertMetaDataToMessage(meta, &message), OK) << c.mime << " " << c.profile;
        int32_t profile = 0;
        int32_t level = 0;
        message->findInt32("profile", &profile);
        message->findInt32("level", &level);
        EXPECT_EQ(profile, c.profile) << c.mime;
        EXPECT_EQ(level, c.level) << c.mime << " " << c.profile;
    }
}

}  // namespace
}  // namespace android
