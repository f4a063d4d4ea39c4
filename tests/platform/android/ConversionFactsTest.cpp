// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <media/stagefright/MetaData.h>
#include <media/stagefright/Utils.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <regex>
#include <sstream>

#include "support/Test.h"

namespace android {
namespace {

using namespace std::string_literals;

// The items of a format in a text: name=1 (int32_t), =2L (int64_t), =0.5f, =(1,2,3,4) (a
// rectangle), =x0102 (bytes), or else text.
struct Item {
    std::string name, value;

    bool is(const char* pattern) const { return std::regex_match(value, std::regex(pattern)); }
    int32_t number() const { return std::stoi(value); }
    std::string bytes() const {
        std::string result;
        for (size_t at = 1; at < value.size(); at += 2)
            result += static_cast<char>(std::stoi(value.substr(at, 2), nullptr, 16));
        return result;
    }
};

template <typename Set>
void forEachItem(const std::string& text, Set set) {
    std::istringstream words(text);
    for (std::string word; words >> word;)
        set(Item{word.substr(0, word.find('=')), word.substr(word.find('=') + 1)});
}

constexpr char kInteger[] = "-?[0-9]+";
constexpr char kLong[] = "[0-9]+L";
constexpr char kFloat[] = "[0-9.]+f";
constexpr char kRect[] = "\\(.*\\)";
constexpr char kBytes[] = "x[0-9a-f]*";

sp<AMessage> messageOf(const char* items) {
    const sp<AMessage> message = new AMessage;
    forEachItem(items, [&](const Item& item) {
        const char* const name = item.name.c_str();
        int rect[4];
        if (item.is(kInteger)) {
            message->setInt32(name, item.number());
        } else if (item.is(kLong)) {
            message->setInt64(name, item.number());
        } else if (item.is(kFloat)) {
            message->setFloat(name, std::stof(item.value));
        } else if (item.is(kRect)) {
            sscanf(item.value.c_str(), "(%d,%d,%d,%d)", &rect[0], &rect[1], &rect[2], &rect[3]);
            message->setRect(name, rect[0], rect[1], rect[2], rect[3]);
        } else if (item.is(kBytes)) {
            const std::string bytes = item.bytes();
            message->setBuffer(name, ABuffer::CreateAsCopy(bytes.data(), bytes.size()));
        } else {
            message->setString(name, item.value.c_str());
        }
    });
    return message;
}

// Names are the four letters of the keys, which are the types of bytes as well.
sp<MetaData> metaDataOf(const char* items) {
    const sp<MetaData> meta = new MetaData;
    forEachItem(items, [&](const Item& item) {
        uint32_t key = 0;
        for (char letter : item.name)
            key = key << 8 | static_cast<uint8_t>(letter);
        if (item.is(kInteger)) {
            meta->setInt32(key, item.number());
        } else if (item.is(kBytes)) {
            meta->setData(key, key, item.bytes().data(), item.bytes().size());
        } else {
            meta->setCString(key, item.value.c_str());
        }
    });
    return meta;
}

struct Conversion {
    const char* items;
    status_t status;
    const char* android;
};

const Conversion kToMeta[] = {
        {"", BAD_VALUE, ""},
        {"mime=video/avc width=640", BAD_VALUE, "mime: (char*) video/avc"},
        {"mime=audio/mp4a-latm channel-count=2", BAD_VALUE, "mime: (char*) audio/mp4a-latm"},
        {"mime=text/vtt", OK, "mime: (char*) text/vtt"},
        {"mime=text/vtt durationUs=7L timeUs=8L target-time=9L bitrate=0 max-bitrate=5 "
         "max-input-size=6 max-width=1 max-height=2 track-id=3 time-scale=90000 is-sync-frame=1 "
         "language=deu stride=64 unknown=1",
         OK,
         "trID: (int32_t) 3, tmsl: (int32_t) 90000, time: (int64_t) 8, tarT: (int64_t) 9, "
         "sync: (int32_t) 1, mxBr: (int32_t) 5, mime: (char*) text/vtt, maxW: (int32_t) 1, "
         "maxH: (int32_t) 2, lang: (char*) deu, inpS: (int32_t) 6, dura: (int64_t) 7"},
        {"mime=a/b is-sync-frame=0", OK, "mime: (char*) a/b"},
        {"mime=video/raw width=640 height=480 sar-width=4 display-width=10 display-height=9 "
         "color-format=19 rotation-degrees=90 crop=(0,0,639,479) frame-rate=29.97f "
         "capture-rate=120.5f i-frame-interval=1 slice-height=480",
         OK,
         "widt: (int32_t) 640, rotA: (int32_t) 90, mime: (char*) video/raw, heig: (int32_t) 480, "
         "frmR: (int32_t) 29, dWid: (int32_t) 10, dHgt: (int32_t) 9, crop: Rect(0, 0, 639, 479), "
         "colf: (int32_t) 19, capF: (float) 120.500000"},
        {"mime=video/raw width=1 height=2 color-range=2 color-standard=4 color-transfer=3", OK,
         "widt: (int32_t) 1, tFcn: (int32_t) 3, mime: (char*) video/raw, heig: (int32_t) 2, "
         "cRng: (int32_t) 2, cPrm: (int32_t) 4, cMtx: (int32_t) 3"},
        {"mime=video/raw width=1 height=2 color-range=2", OK,
         "widt: (int32_t) 1, mime: (char*) video/raw, heig: (int32_t) 2, cRng: (int32_t) 2"},
        {"mime=video/raw width=1 height=2 color-standard=6 color-transfer=6", OK,
         "widt: (int32_t) 1, tFcn: (int32_t) 6, mime: (char*) video/raw, heig: (int32_t) 2, "
         "cPrm: (int32_t) 6, cMtx: (int32_t) 5"},
        {"mime=audio/raw channel-count=2 sample-rate=48000 channel-mask=3 bits-per-sample=16 "
         "encoder-delay=1 encoder-padding=2 is-adts=1 aac-profile=2 pcm-encoding=4",
         OK,
         "srte: (int32_t) 48000, mime: (char*) audio/raw, encp: (int32_t) 2, encd: (int32_t) 1, "
         "chnm: (int32_t) 3, bits: (int32_t) 16, adts: (int32_t) 1, aaot: (int32_t) 2, "
         "PCMe: (int32_t) 4, #chn: (int32_t) 2"},
        {"mime=audio/mp4a-latm channel-count=2 sample-rate=48000 csd-0=x1190", OK,
         "srte: (int32_t) 48000, mime: (char*) audio/mp4a-latm, "
         "esds: (unknown type 1702061171, size 33)\n"
         "00000000:  03 80 80 80 1c 00 00 00  04 80 80 80 14 40 15 00  .............@..\n"
         "00000010:  18 00 00 00 fa 00 00 00  fa 00 05 80 80 80 02 11  ................\n"
         "00000020:  90                                                .\n"
         ", csd0: no type, size 2), #chn: (int32_t) 2"},
        {"mime=video/mp4v-es width=1 height=2 csd-0=x000001b001", OK,
         "widt: (int32_t) 1, mime: (char*) video/mp4v-es, heig: (int32_t) 2, "
         "esds: (unknown type 1702061171, size 36)\n"
         "00000000:  03 80 80 80 1f 00 00 00  04 80 80 80 17 40 15 00  .............@..\n"
         "00000010:  18 00 00 00 fa 00 00 00  fa 00 05 80 80 80 05 00  ................\n"
         "00000020:  00 01 b0 01                                       ....\n"
         ", csd0: no type, size 5)"},
        // One of two parameter sets.
        {"mime=video/avc width=1 height=2 csd-0=x000000016764001facd9", OK,
         "widt: (int32_t) 1, mime: (char*) video/avc, heig: (int32_t) 2, csd0: no type, size 10)"},
        {"mime=video/avc width=1 height=2 csd-avc=x010203", OK,
         "widt: (int32_t) 1, mime: (char*) video/avc, heig: (int32_t) 2, "
         "avcc: (unknown type 1635148643, size 3)\n"
         "00000000:  01 02 03                                          ...\n"},
        {"mime=video/hevc width=1 height=2 csd-hevc=x010203", OK,
         "widt: (int32_t) 1, mime: (char*) video/hevc, hvcc: (unknown type 1752589155, size 3)\n"
         "00000000:  01 02 03                                          ...\n"
         ", heig: (int32_t) 2"},
        {"mime=audio/mpeg channel-count=1 sample-rate=2 esds=x03", OK,
         "srte: (int32_t) 2, mime: (char*) audio/mpeg, esds: (unknown type 1702061171, size 1)\n"
         "00000000:  03                                                .\n"
         ", #chn: (int32_t) 1"},
        {"mime=audio/opus channel-count=1 sample-rate=2 csd-0=x61 csd-1=x6263 csd-2=x646566", OK,
         "srte: (int32_t) 2, ospr: no type, size 3), ohdr: no type, size 1), "
         "ocod: no type, size 2), mime: (char*) audio/opus, csd2: no type, size 3), "
         "csd1: no type, size 2), csd0: no type, size 1), #chn: (int32_t) 1"}};

TEST(ConversionFacts, messageToMetaData) {
    for (const Conversion& c : kToMeta) {
        sp<MetaData> meta = new MetaData;
        EXPECT_EQ(convertMessageToMetaData(messageOf(c.items), meta), c.status) << c.items;
        EXPECT_STREQ(meta->toString().c_str(), c.android) << c.items;
    }
}

#define DESCRIPTOR                                                           \
    "esds=x038080801c0000000480808014401500180000" /* 64000 bits a second */ \
    "00fa000000fa0005808080021190"

const Conversion kToMessage[] = {
        {"", BAD_VALUE, nullptr},
        {"mime=video/avc", BAD_VALUE, nullptr},
        {"mime=audio/raw #chn=2", BAD_VALUE, nullptr},
        {"mime=text/vtt sync=1 brte=-1", OK,
         "string mime = \"text/vtt\"; int32_t is-sync-frame = 1; "},
        {"mime=video/raw widt=1 heig=2 cRng=1 cPrm=3 tFcn=3 cMtx=3", OK,
         "string mime = \"video/raw\"; int32_t width = 1; int32_t height = 2; "
         "int32_t color-range = 1; int32_t color-standard = 2; int32_t color-transfer = 3; "},
        // A record that cannot be read.
        {"mime=video/avc widt=1 heig=2 avcc=x020203", BAD_VALUE, nullptr},
        {"mime=video/avc widt=1 heig=2 avcc=x0164001fffe100056764001fac01000468ebe3cb", OK,
         "string mime = \"video/avc\"; int32_t width = 1; int32_t height = 2; "
         "int32_t profile = 8; int32_t level = 512; Buffer csd-0 = {;   00000000:  "
         "00 00 00 01 67 64 00 1f  ac                       ....gd...; }; Buffer csd-1 = {;   "
         "00000000:  00 00 00 01 68 eb e3 cb                           ....h...; }; "},
        // Bit rates of the descriptor, or one of its own.
        {"mime=audio/mp4a-latm #chn=2 srte=48000 " DESCRIPTOR, OK,
         "string mime = \"audio/mp4a-latm\"; int32_t channel-count = 2; "
         "int32_t sample-rate = 48000; Buffer csd-0 = {;   00000000:  "
         "11 90                                             ..; }; int32_t profile = 2; "
         "int32_t bitrate = 64000; int32_t max-bitrate = 64000; "},
        {"mime=audio/mp4a-latm #chn=2 srte=48000 brte=128000 " DESCRIPTOR, OK,
         "string mime = \"audio/mp4a-latm\"; int32_t bitrate = 128000; int32_t channel-count = 2; "
         "int32_t sample-rate = 48000; Buffer csd-0 = {;   00000000:  "
         "11 90                                             ..; }; int32_t profile = 2; "}};

TEST(ConversionFacts, metaDataToMessage) {
    for (const Conversion& c : kToMessage) {
        sp<AMessage> message = new AMessage;
        EXPECT_EQ(convertMetaDataToMessage(metaDataOf(c.items), &message), c.status) << c.items;
        ASSERT_EQ(message != nullptr, c.android != nullptr) << c.items;
        if (message == nullptr) continue;
        std::string text = message->debugString().c_str();
        text = std::regex_replace(text.substr(text.find('\n') + 1), std::regex("\n(  )?"), "; ");
        EXPECT_EQ(text, "  " + std::string(c.android) + "}") << c.items;
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

TEST(ConversionFacts, profilesAndLevels) {
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
        EXPECT_FALSE(message->contains("bitrate")) << "none is told";
    }
}

}  // namespace
}  // namespace android
