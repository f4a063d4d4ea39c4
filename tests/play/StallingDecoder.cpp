// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "play/StallingDecoder.h"

#include <atomic>
#include <thread>

#include "codec/ComponentTable.h"

namespace oxa::test {

using namespace android;

namespace {

constexpr char kAvc[] = "video/avc";

const ComponentRow* gPlatformRow = nullptr;
std::atomic<int> gStallPicture{-1};
std::atomic<std::chrono::milliseconds> gStallLength{std::chrono::milliseconds(0)};

}  // namespace

void StallingDecoder::install() {
    if (gPlatformRow != nullptr) return;
    gPlatformRow = findComponent(kAvc, CodecDirection::kDecoder);
    addComponent({kAvc, CodecDirection::kDecoder, [](const AString& mime) -> sp<CodecComponent> {
                      return new StallingDecoder(gPlatformRow->create(mime));
                  }});
}

void StallingDecoder::setStall(int picture, std::chrono::milliseconds length) {
    gStallPicture = picture;
    gStallLength = length;
}

void StallingDecoder::onOutput(const CodecOutput& output) {
    if (output.picture != nullptr && mPictures++ == gStallPicture) {
        std::this_thread::sleep_for(gStallLength.load());
    }
    CodecShim::onOutput(output);
}

}  // namespace oxa::test
