// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/ByteEdits.h"

#include <bitset>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "support/Test.h"

namespace oxa::test {

namespace {

using Words = std::vector<std::string>;

uint32_t readBig(const std::string& bytes, size_t at, int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i)
        value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
}

void writeBig(std::string* bytes, size_t at, int count, uint32_t value) {
    for (int i = count - 1; i >= 0; --i, value >>= 8)
        (*bytes)[at + i] = static_cast<char>(value);
}

// ---- Transport streams

constexpr size_t kTsPacket = 188;
constexpr int64_t kTicks = 90000;

int pidOf(const std::string& bytes, size_t packet) {
    return static_cast<int>(readBig(bytes, packet + 1, 2) & 0x1fff);
}

// Where the payload of a packet begins.
size_t payloadOf(const std::string& bytes, size_t packet) {
    const bool adapted = bytes[packet + 3] & 0x20;
    return packet + 4 + (adapted ? 1 + readBig(bytes, packet + 4, 1) : 0);
}

// The 33 bits of a time with its markers.
int64_t readTime(const std::string& bytes, size_t at) {
    return static_cast<int64_t>(readBig(bytes, at, 1) >> 1 & 7) << 30 |
           static_cast<int64_t>(readBig(bytes, at + 1, 2) >> 1) << 15 |
           readBig(bytes, at + 3, 2) >> 1;
}

void writeTime(std::string* bytes, size_t at, int64_t ticks) {
    const auto time = static_cast<uint64_t>(ticks) & 0x1ffffffff;
    const uint32_t mark = readBig(*bytes, at, 1) & 0xf0;
    writeBig(bytes, at, 1, mark | static_cast<uint32_t>(time >> 30) << 1 | 1);
    writeBig(bytes, at + 1, 2, static_cast<uint32_t>(time >> 15 & 0x7fff) << 1 | 1);
    writeBig(bytes, at + 3, 2, static_cast<uint32_t>(time & 0x7fff) << 1 | 1);
}

// The flags of the PES header that begins in this packet; 0 when there is none.
size_t pesFlagsOf(const std::string& bytes, size_t packet) {
    const size_t payload = payloadOf(bytes, packet);
    const bool begins = bytes[packet + 1] & 0x40;
    if (!begins || payload + 14 > packet + kTsPacket || readBig(bytes, payload, 3) != 1) return 0;
    return payload + 7;
}

void shiftClock(std::string* bytes, size_t packet, int64_t by) {
    const bool adapted = (*bytes)[packet + 3] & 0x20;
    if (!adapted || (*bytes)[packet + 4] == 0 || !((*bytes)[packet + 5] & 0x10)) return;
    const int64_t base = static_cast<int64_t>(readBig(*bytes, packet + 6, 4)) << 1 |
                         readBig(*bytes, packet + 10, 1) >> 7;
    const auto moved = static_cast<uint64_t>(base + by) & 0x1ffffffff;
    writeBig(bytes, packet + 6, 4, static_cast<uint32_t>(moved >> 1));
    const uint32_t rest = readBig(*bytes, packet + 10, 1) & 0x7f;
    writeBig(bytes, packet + 10, 1, static_cast<uint32_t>(moved & 1) << 7 | rest);
}

void shiftTimes(std::string* bytes, size_t flags, int64_t by) {
    const uint32_t present = readBig(*bytes, flags, 1) >> 6;
    if (present & 2) writeTime(bytes, flags + 2, readTime(*bytes, flags + 2) + by);
    if (present == 3) writeTime(bytes, flags + 7, readTime(*bytes, flags + 7) + by);
}

bool tsJump(std::string* bytes, const Words& words) {
    const int pid = std::stoi(words[2]);
    const double from = std::stod(words[3]);
    const auto by = static_cast<int64_t>(std::llround(std::stod(words[4]) * kTicks));
    // A stream has jumped once its times, in the order of decoding, have come so far from its
    // first.
    std::map<int, bool> jumped;
    std::map<int, int64_t> first;
    bool changed = false;
    for (size_t packet = 0; packet + kTsPacket <= bytes->size(); packet += kTsPacket) {
        const int own = pidOf(*bytes, packet);
        const size_t flags = pesFlagsOf(*bytes, packet);
        if (flags != 0 && (*bytes)[flags] & 0x80) {
            const bool two = (*bytes)[flags] & 0x40;
            const int64_t time = readTime(*bytes, flags + (two ? 7 : 2));
            first.emplace(own, time);
            jumped[own] |= static_cast<double>(time - first[own]) / kTicks >= from;
        }
        if (!jumped[own] || (pid >= 0 && own != pid)) continue;
        if (flags != 0) shiftTimes(bytes, flags, by);
        if (pid < 0) shiftClock(bytes, packet, by);
        changed = true;
    }
    return changed;
}

bool tsScramble(std::string* bytes, const Words& words) {
    const int pid = std::stoi(words[2]);
    const bool isMarkAlone = words[0] == "ts-mark";
    bool changed = false;
    for (size_t packet = 0; packet + kTsPacket <= bytes->size(); packet += kTsPacket) {
        if (pidOf(*bytes, packet) != pid) continue;
        const size_t end = packet + kTsPacket;
        for (size_t at = payloadOf(*bytes, packet); at < end && !isMarkAlone; ++at)
            (*bytes)[at] = static_cast<char>(~(*bytes)[at]);
        writeBig(bytes, packet + 3, 1, readBig(*bytes, packet + 3, 1) | 0x80);
        changed = true;
    }
    return changed;
}

bool tsDropTimes(std::string* bytes, const Words& words) {
    const int pid = std::stoi(words[2]);
    const int nth = std::stoi(words[3]);
    int count = 0;
    bool changed = false;
    for (size_t packet = 0; packet + kTsPacket <= bytes->size(); packet += kTsPacket) {
        const size_t flags = pesFlagsOf(*bytes, packet);
        if (pidOf(*bytes, packet) != pid || flags == 0 || ++count % nth != 0) continue;
        const uint32_t header = readBig(*bytes, flags + 1, 1);
        writeBig(bytes, flags, 1, readBig(*bytes, flags, 1) & 0x3f);
        for (size_t i = 0; i < header; ++i)
            (*bytes)[flags + 2 + i] = '\xff';
        changed = true;
    }
    return changed;
}

uint32_t sectionChecksum(const std::string& section) {
    uint32_t crc = 0xffffffff;
    for (char byte : section) {
        crc ^= static_cast<uint32_t>(static_cast<uint8_t>(byte)) << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc << 1 ^ (crc >> 31 != 0 ? 0x04c11db7u : 0);
    }
    return crc;
}

// One programme table of the first programmes of both, with the counter of the packet it replaces.
std::string tableOfBoth(const std::string& own, const std::string& first,
                        const std::string& second) {
    std::string section = own.substr(5, 8);
    for (const std::string* table : {&first, &second})
        section += table->substr(13, 4);
    writeBig(&section, 1, 2, 0xb000 | static_cast<uint32_t>(section.size() - 3 + 4));
    const uint32_t crc = sectionChecksum(section);
    section.resize(section.size() + 4);
    writeBig(&section, section.size() - 4, 4, crc);
    std::string packet = own.substr(0, 5) + section;
    packet.resize(kTsPacket, '\xff');
    return packet;
}

std::string firstTable(const std::string& bytes) {
    for (size_t packet = 0; packet + kTsPacket <= bytes.size(); packet += kTsPacket) {
        if (pidOf(bytes, packet) == 0) return bytes.substr(packet, kTsPacket);
    }
    abort();
}

std::string tsTogether(const std::string& first, const std::string& second) {
    const std::string firstPat = firstTable(first);
    const std::string secondPat = firstTable(second);
    const size_t firstCount = first.size() / kTsPacket;
    const size_t secondCount = second.size() / kTsPacket;
    std::string together;
    for (size_t i = 0, j = 0; i < firstCount || j < secondCount;) {
        // As far in the one as in the other.
        if (j == secondCount || (i < firstCount && i * secondCount <= j * firstCount)) {
            const std::string packet = first.substr(i++ * kTsPacket, kTsPacket);
            together += pidOf(packet, 0) == 0 ? tableOfBoth(packet, firstPat, secondPat) : packet;
        } else {
            const std::string packet = second.substr(j++ * kTsPacket, kTsPacket);
            if (pidOf(packet, 0) != 0) together += packet;
        }
    }
    return together;
}

// ---- Others

bool flvTimes(std::string* bytes, const Words& words) {
    const int type = std::stoi(words[2]);
    const int64_t from = std::stoll(words[3]);
    const int64_t to = std::stoll(words[4]);
    const int64_t by = std::stoll(words[5]);
    bool changed = false;
    constexpr size_t kHead = 11;
    for (size_t tag = 13; tag + kHead <= bytes->size();) {
        const auto own = static_cast<int>(readBig(*bytes, tag, 1));
        const int64_t time = readBig(*bytes, tag + 4, 3) | readBig(*bytes, tag + 7, 1) << 24;
        if (own != 18 && (type < 0 || own == type) && time >= from && time < to) {
            const auto moved = static_cast<uint32_t>(time + by);
            writeBig(bytes, tag + 4, 3, moved & 0xffffff);
            writeBig(bytes, tag + 7, 1, moved >> 24);
            changed = true;
        }
        tag += kHead + readBig(*bytes, tag + 1, 3) + 4;
    }
    return changed;
}

bool mp4Matrix(std::string* bytes, const Words& words) {
    const size_t header = bytes->find("tkhd");
    if (header == std::string::npos || (*bytes)[header + 4] != 0) return false;
    const size_t matrix = header + 4 + 40;
    constexpr int kPlaces[] = {0, 1, 3, 4};  // the others are offsets and the divisor
    for (int i = 0; i < 4; ++i) {
        const int value = std::stoi(words[2 + i]);
        writeBig(bytes, matrix + 4 * kPlaces[i], 4, static_cast<uint32_t>(value) << 16);
    }
    return true;
}

bool cut(std::string* bytes, const Words& words) {
    bytes->resize(static_cast<size_t>(std::stod(words[2]) * static_cast<double>(bytes->size())));
    return !bytes->empty();
}

// ---- The sequence parameters of H.264

std::string withoutEmulation(const std::string& unit) {
    std::string plain;
    for (size_t i = 0; i < unit.size(); ++i) {
        const bool extra = i >= 2 && unit[i] == 3 && unit[i - 1] == 0 && unit[i - 2] == 0;
        if (!extra) plain += unit[i];
    }
    return plain;
}

std::string withEmulation(const std::string& plain) {
    std::string unit;
    int zeros = 0;
    for (char byte : plain) {
        if (zeros >= 2 && static_cast<uint8_t>(byte) <= 3) {
            unit += '\3';
            zeros = 0;
        }
        unit += byte;
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

std::string bitsOf(const std::string& bytes) {
    std::string bits;
    for (char byte : bytes)
        bits += std::bitset<8>(static_cast<uint8_t>(byte)).to_string();
    return bits;
}

// Up to the last one that is set, which is followed by zeros.
std::string bytesOf(std::string bits) {
    bits.resize((bits.rfind('1') + 8) / 8 * 8, '0');
    std::string bytes;
    for (size_t at = 0; at < bits.size(); at += 8)
        bytes += static_cast<char>(std::bitset<8>(bits, at, 8).to_ulong());
    return bytes;
}

bool h264NoRate(std::string* bytes, const Words&) {
    bool changed = false;
    const std::string start("\0\0\1", 3);
    // The flag that there is one, and a tick, of which 50 are a second; another flag is behind it.
    const std::string rate = "1" + bitsOf(std::string("\0\0\0\1\0\0\0\x32", 8));
    for (size_t at = bytes->find(start); at != std::string::npos; at = bytes->find(start, at + 3)) {
        if ((readBig(*bytes, at + 3, 1) & 0x1f) != 7) continue;
        size_t end = bytes->find(start, at + 3);
        if (end != std::string::npos && (*bytes)[end - 1] == 0) --end;
        const std::string unit =
                bytes->substr(at + 3, end == std::string::npos ? end : end - at - 3);
        std::string bits = bitsOf(withoutEmulation(unit));
        const size_t place = bits.find(rate);
        if (place == std::string::npos) continue;
        bits.replace(place, rate.size() + 1, "0");
        bytes->replace(at + 3, unit.size(), withEmulation(bytesOf(bits)));
        changed = true;
    }
    return changed;
}

// The name of a track becomes the word that its samples are encrypted, with the number of the key.
bool mkvEncrypt(std::string* bytes, const Words&) {
    const std::string name = "\x53\x6e\x91seventeen letters";
    const std::string word("\x6d\x80\x91\x62\x40\x8e\x50\x33\x81\x01\x50\x35\x87\x47\xe2\x84key1");
    const size_t at = bytes->find(name);
    if (at != std::string::npos) bytes->replace(at, word.size(), word);
    return at != std::string::npos;
}

const std::map<std::string, std::function<bool(std::string*, const Words&)>> kEdits = {
        {"ts-jump", tsJump},         {"ts-drop-times", tsDropTimes}, {"flv-times", flvTimes},
        {"mp4-matrix", mp4Matrix},   {"h264-no-rate", h264NoRate},   {"cut", cut},
        {"ts-scramble", tsScramble}, {"ts-mark", tsScramble},        {"mkv-encrypt", mkvEncrypt},
};

}  // namespace

void editBytes(const std::string& folder, const std::vector<std::string>& words) {
    std::string bytes = readFile(folder + "/" + words[1]);
    bool changed = false;
    if (words[0] == "ts-together") {
        bytes = tsTogether(bytes, readFile(folder + "/" + words[2]));
        changed = !bytes.empty();
    } else if (const auto edit = kEdits.find(words[0]); edit != kEdits.end()) {
        changed = edit->second(&bytes, words);
    }
    if (changed && writeFile(folder + "/" + words.back(), bytes)) return;
    std::cerr << "nothing was changed by " << words[0] << " in " << words[1] << "\n";
    abort();
}

}  // namespace oxa::test
