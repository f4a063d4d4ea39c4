// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CaptureDevices"

#include <log/log.h>
#include <oxa/host/CaptureDevices.h>
#include <stdio.h>

#include <fstream>
#include <map>

#include "base/Module.h"
#include "live/DeviceModule.h"
#include "live/V4l2Modes.h"

namespace oxa::host {

namespace {

using Devices = std::vector<CaptureDevice>;

struct SoundCard {
    std::string id;
    std::string name;
};

void addCameras(const std::string& root, Devices* devices) {
    for (const android::V4l2Device& found : android::v4l2CaptureDevices(root)) {
        const auto kind = found.isReceiver ? CaptureKind::kReceiver : CaptureKind::kCamera;
        devices->push_back({kind, "v4l2:" + found.path, found.name, found.path});
    }
}

// Lines such as " 0 [PCH            ]: HDA-Intel - HDA Intel PCH"; each is followed by one that is
// of no use here.
std::map<int, SoundCard> soundCards(const std::string& root) {
    std::map<int, SoundCard> cards;
    std::ifstream file(root + "/proc/asound/cards");
    for (std::string line; std::getline(file, line);) {
        int number = 0;
        char id[32];
        const size_t name = line.find(" - ");
        if (sscanf(line.c_str(), " %d [%31[^] ]", &number, id) != 2) continue;
        cards[number] = {id, name == std::string::npos ? id : line.substr(name + 3)};
    }
    return cards;
}

// Lines such as "00-03: HDMI 0 : HDMI 0 : playback 1 : capture 1".
void addSoundCards(const std::string& root, Devices* devices) {
    const std::map<int, SoundCard> cards = soundCards(root);
    std::ifstream file(root + "/proc/asound/pcm");
    for (std::string line; std::getline(file, line);) {
        int card = 0;
        int device = 0;
        int length = 0;
        if (sscanf(line.c_str(), "%d-%d: %n", &card, &device, &length) != 2 || length == 0)
            continue;
        const auto known = cards.find(card);
        if (known == cards.end() || line.find(": capture") == std::string::npos) continue;
        CaptureDevice found;
        found.kind = CaptureKind::kSound;
        // The plug: a card need not have the rate that is asked for.
        found.source = "alsa:plughw:CARD=" + known->second.id + ",DEV=" + std::to_string(device);
        found.name = known->second.name + ", ";
        found.name.append(line, length, line.find(" :", length) - length);
        found.node = root + "/dev/snd/pcmC" + std::to_string(card);
        found.node.append("D").append(std::to_string(device)).append("c");
        devices->push_back(found);
    }
}

void addSoundServer(Devices* devices) {
    std::string error;
    const auto* const module = android::loadModule<android::DeviceModule>(&error);
    if (module == nullptr) {
        ALOGW("the sound server is not asked: %s", error.c_str());
        return;
    }
    module->registerDevices();
    for (const auto& [name, description] : module->listSources("pulse")) {
        devices->push_back({CaptureKind::kSound, "pulse:" + name, description, ""});
    }
}

}  // namespace

Devices captureDevices(const std::string& root) {
    Devices devices;
    addCameras(root, &devices);
    addSoundCards(root, &devices);
    addSoundServer(&devices);
    return devices;
}

}  // namespace oxa::host
