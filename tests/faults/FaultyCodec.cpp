// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Codecs of the platform with the planned fault in them, in place before main() begins.

#include "codec/ComponentTable.h"
#include "faults/FaultPlan.h"
#include "support/CodecShim.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr char kAvc[] = "video/avc";

const ComponentRow* gPlatformRow = nullptr;

// Fails instead of giving its Nth result; with N = 0 when it is started.
class FailingEncoder : public CodecShim {
  public:
    using CodecShim::CodecShim;

    status_t start(CodecComponent::Client* client) override {
        return plannedFault().number == 0 ? NO_INIT : CodecShim::start(client);
    }

  private:
    void onOutput(const CodecOutput& output) override {
        if (mFailed) return;
        mFailed = ++mResults >= plannedFault().number;
        if (mFailed) {
            CodecShim::onError(UNKNOWN_ERROR, ACTION_CODE_FATAL);
        } else {
            CodecShim::onOutput(output);
        }
    }

    int64_t mResults = 0;
    bool mFailed = false;
};

// Takes everything, and gives nothing after some results, not even its end.
class SilentDecoder : public CodecShim {
  public:
    using CodecShim::CodecShim;

  private:
    void onOutput(const CodecOutput& output) override {
        if (++mResults <= plannedFault().number) CodecShim::onOutput(output);
    }

    int64_t mResults = 0;
};

template <typename Shim>
void install(CodecDirection direction) {
    gPlatformRow = findComponent(kAvc, direction);
    addComponent({kAvc, direction, [](const AString& mime) -> sp<CodecComponent> {
                      return new Shim(gPlatformRow->create(mime));
                  }});
}

[[gnu::constructor]] void installPlannedFault() {
    const FaultKind kind = plannedFault().kind;
    if (kind == FaultKind::kEncoderError) install<FailingEncoder>(CodecDirection::kEncoder);
    if (kind == FaultKind::kSilentDecoder) install<SilentDecoder>(CodecDirection::kDecoder);
}

}  // namespace
}  // namespace oxa::test
