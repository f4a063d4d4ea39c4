// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "CameraRegistry"

#include "camera/CameraRegistry.h"

#include "camera/CameraAbilities.h"
#include "camera/CameraDevice.h"
#include "live/V4l2Modes.h"

namespace android {

namespace {

constexpr int kHdmiReceiverNumber = 1;

}  // namespace

RegisteredCamera::RegisteredCamera(int number, const std::string& source, bool repeat,
                                   const sp<LiveControl>& control)
    : mNumber(number), mSource(source), mRepeat(repeat), mControl(control) {}

bool RegisteredCamera::tryOpen() {
    AnnotatedLock lock(mLock);
    if (mFigures.open) return false;
    mFigures = Figures();
    mFigures.open = true;
    return true;
}

void RegisteredCamera::close() {
    AnnotatedLock lock(mLock);
    mFigures.open = false;
}

void RegisteredCamera::setHeld(const wp<CameraDevice>& device) {
    AnnotatedLock lock(mLock);
    mHeld = device;
}

sp<CameraDevice> RegisteredCamera::takeHeld() {
    AnnotatedLock lock(mLock);
    const wp<CameraDevice> held = mHeld;
    mHeld.clear();
    return held.promote();
}

RegisteredCamera::Figures RegisteredCamera::figures() const {
    AnnotatedLock lock(mLock);
    return mFigures;
}

CameraRegistry& CameraRegistry::instance() {
    static auto& registry = *new CameraRegistry;
    return registry;
}

void CameraRegistry::add(const sp<RegisteredCamera>& camera) {
    AnnotatedLock lock(mLock);
    mRegistered[camera->number()] = camera;
}

void CameraRegistry::remove(int number) {
    AnnotatedLock lock(mLock);
    mRegistered.erase(number);
}

void CameraRegistry::clear() {
    AnnotatedLock lock(mLock);
    mRegistered.clear();
}

sp<RegisteredCamera> CameraRegistry::find(int number) {
    AnnotatedLock lock(mLock);
    const Cameras& cameras = camerasLocked();
    const auto found = cameras.find(number);
    return found == cameras.end() ? nullptr : found->second;
}

sp<RegisteredCamera> CameraRegistry::findKnown(int number) {
    AnnotatedLock lock(mLock);
    const Cameras& cameras = mRegistered.empty() ? mDevices : mRegistered;
    const auto found = cameras.find(number);
    return found == cameras.end() ? nullptr : found->second;
}

std::vector<sp<RegisteredCamera>> CameraRegistry::list() {
    AnnotatedLock lock(mLock);
    std::vector<sp<RegisteredCamera>> result;
    for (const auto& [number, camera] : camerasLocked())
        result.push_back(camera);
    return result;
}

CameraRegistry::Cameras& CameraRegistry::camerasLocked() {
    if (!mRegistered.empty()) return mRegistered;
    Cameras found;
    int number = 0;
    for (const V4l2Device& device : v4l2CaptureDevices()) {
        const std::string source = "v4l2:" + device.path;
        const auto known = mDevices.find(number);
        // The same object as before, which knows whether it is open.
        found[number] = known != mDevices.end() && known->second->source() == source
                                ? known->second
                                : new RegisteredCamera(number, source, false, new LiveControl);
        if (++number == kHdmiReceiverNumber) ++number;
    }
    mDevices.swap(found);
    return mDevices;
}

}  // namespace android

namespace oxa::host {

using android::CameraRegistry;
using android::RegisteredCamera;
using android::sp;

bool registerCamera(int number, const std::string& source, const RegisteredCameraOptions& options) {
    if (number < 0 || source.empty()) return false;
    CameraRegistry::instance().add(
            new RegisteredCamera(number, source, options.repeat, new android::LiveControl));
    return true;
}

void unregisterCamera(int number) {
    CameraRegistry::instance().remove(number);
}

void clearCameras() {
    CameraRegistry::instance().clear();
}

std::vector<CameraEntry> cameras() {
    std::vector<CameraEntry> entries;
    for (const sp<RegisteredCamera>& camera : CameraRegistry::instance().list()) {
        entries.push_back({camera->number(), camera->source()});
    }
    return entries;
}

std::string cameraSourceError(const std::string& source) {
    android::CameraAbilities abilities;
    std::string cause;
    int error = 0;
    const bool opened = android::askCameraAbilities(source, nullptr, &abilities, &cause, &error);
    return opened ? "" : cause;
}

CameraHold holdCamera(int number, int width, int height, int frameRate, std::string* error) {
    const sp<RegisteredCamera> camera = CameraRegistry::instance().find(number);
    const sp<android::CameraDevice> device =
            camera == nullptr ? nullptr : android::CameraDevice::open(camera);
    *error = device == nullptr ? "it cannot be opened" : "";
    if (device == nullptr || !device->hold({width, height}, frameRate, error)) return nullptr;
    return std::make_shared<sp<android::CameraDevice>>(device);
}

CameraFigures cameraFigures(int number) {
    const sp<RegisteredCamera> camera = CameraRegistry::instance().find(number);
    return camera == nullptr ? CameraFigures() : camera->figures();
}

bool stallCamera(int number, bool stalled) {
    const sp<RegisteredCamera> camera = CameraRegistry::instance().find(number);
    if (camera != nullptr) camera->control()->setStalled(stalled);
    return camera != nullptr;
}

bool loseCamera(int number, bool lost) {
    const sp<RegisteredCamera> camera = CameraRegistry::instance().find(number);
    if (camera != nullptr) camera->control()->setLost(lost);
    return camera != nullptr;
}

}  // namespace oxa::host
