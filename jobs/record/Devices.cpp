// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/Devices.h"

#include <oxa/host/CaptureDevices.h>

namespace oxa::jobs {

namespace {

Device::Kind kindOf(host::CaptureKind kind) {
    switch (kind) {
        case host::CaptureKind::kCamera:
            return Device::Kind::kCamera;
        case host::CaptureKind::kReceiver:
            return Device::Kind::kReceiver;
        case host::CaptureKind::kSound:
            break;
    }
    return Device::Kind::kSound;
}

}  // namespace

std::vector<Device> listDevices() {
    std::vector<Device> devices;
    for (const host::CaptureDevice& found : host::captureDevices()) {
        devices.push_back({kindOf(found.kind), found.source, found.name, found.node});
    }
    return devices;
}

}  // namespace oxa::jobs
