// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/TimeEdits.h"

#include <algorithm>

#include "support/TempDir.h"

extern "C" {
#include <libavutil/crc.h>
}

namespace oxa::test {

namespace {

constexpr size_t kFlvHeader = 13;
constexpr size_t kFlvTagHeader = 11;
constexpr size_t kFlvTrailer = 4;
constexpr uint8_t kFlvSound = 8;
constexpr uint8_t kFlvPicture = 9;
constexpr size_t kTsPacket = 188;
constexpr int kTsServicePid = 0x11;
constexpr size_t kTsPatEntry = 4 + 1 + 8;  // behind the packet's header, pointer and table header

std::string newFile(const std::string& extension, const std::string& content) {
    static int count = 0;
    const std::string path =
            TempDir::ofProcess().file("times" + std::to_string(count++) + "." + extension);
    writeFile(path, content);
    return path;
}

uint32_t bigEndian(const std::string& bytes, size_t position, size_t count) {
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i)
        value = value << 8 | static_cast<uint8_t>(bytes[position + i]);
    return value;
}

std::string bigEndian(uint32_t value, size_t count) {
    std::string bytes;
    for (size_t i = count; i-- > 0;)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

int pidOf(const std::string& stream, size_t packet) {
    return static_cast<int>(bigEndian(stream, packet + 1, 2) & 0x1FFF);
}

// The programme's number and PID, as the first table of programmes lists it.
std::string programEntry(const std::string& stream) {
    for (size_t packet = 0; packet < stream.size(); packet += kTsPacket) {
        if (pidOf(stream, packet) == 0) return stream.substr(packet + kTsPatEntry, 4);
    }
    return "";
}

// A packet with the table of these programmes.
std::string programTable(const std::string& entries, int counter) {
    const std::string body = std::string("\x00\x01\xC1\x00\x00", 5) + entries;
    std::string section = std::string(1, '\0') +
                          bigEndian(0xB000 | static_cast<uint32_t>(body.size() + 4), 2) + body;
    const uint32_t crc = av_crc(av_crc_get_table(AV_CRC_32_IEEE), UINT32_MAX,
                                reinterpret_cast<const uint8_t*>(section.data()), section.size());
    section += bigEndian(__builtin_bswap32(crc), 4);
    std::string packet("\x47\x40\x00", 3);
    packet += static_cast<char>(0x10 | (counter & 15));
    packet += '\0';
    packet += section;
    packet.resize(kTsPacket, '\xFF');
    return packet;
}

}  // namespace

std::string editFlvTimes(const std::string& path,
                         const std::function<int64_t(const FlvTag&)>& newTimeMs) {
    std::string bytes = readFile(path);
    int counts[2] = {};
    for (size_t tag = kFlvHeader; tag + kFlvTagHeader <= bytes.size();) {
        const auto kind = static_cast<uint8_t>(bytes[tag]);
        if (kind == kFlvSound || kind == kFlvPicture) {
            const bool isVideo = kind == kFlvPicture;
            const uint32_t timeMs = bigEndian(bytes, tag + 4, 3) | bigEndian(bytes, tag + 7, 1)
                                                                           << 24;
            const auto edited =
                    static_cast<uint32_t>(newTimeMs({isVideo, counts[isVideo]++, timeMs}));
            bytes.replace(tag + 4, 3, bigEndian(edited & 0xFFFFFF, 3));
            bytes.replace(tag + 7, 1, bigEndian(edited >> 24, 1));
        }
        tag += kFlvTagHeader + bigEndian(bytes, tag + 1, 3) + kFlvTrailer;
    }
    return newFile("flv", bytes);
}

std::string appendFlv(const std::string& first, const std::string& second) {
    return newFile("flv", readFile(first) + readFile(second).substr(kFlvHeader));
}

std::string weavePrograms(const std::string& first, const std::string& second) {
    const std::string streams[] = {readFile(first), readFile(second)};
    const std::string entries = programEntry(streams[0]) + programEntry(streams[1]);
    const size_t counts[] = {streams[0].size() / kTsPacket, streams[1].size() / kTsPacket};
    const size_t rounds = std::max(counts[0], counts[1]);
    std::string woven;
    int tables = 0;
    for (size_t round = 0; round < rounds; ++round) {
        for (int i : {0, 1}) {
            const size_t end = (round + 1) * counts[i] / rounds;
            for (size_t packet = round * counts[i] / rounds; packet < end; ++packet) {
                const int pid = pidOf(streams[i], packet * kTsPacket);
                if (pid == kTsServicePid || (pid == 0 && i == 1)) continue;
                woven += pid == 0 ? programTable(entries, tables++)
                                  : streams[i].substr(packet * kTsPacket, kTsPacket);
            }
        }
    }
    return newFile("ts", woven);
}

}  // namespace oxa::test
