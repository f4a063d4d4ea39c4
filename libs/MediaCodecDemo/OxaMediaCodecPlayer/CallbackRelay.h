// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>

namespace android {

namespace sites {
struct CheckSite;
}

// What the two relays of codec callbacks share: to tell a codec that has failed from one that was
// misused. A codec that fails by itself refuses the calls that are still on their way to it, and
// its error callback is then in the relay's queue already. So a refusal is judged by a message that
// the relay posts to itself, behind that callback; without one it is a fatal assertion.
class CallbackRelay : public AHandler {
  public:
    // False when the codec has refused a call, which answered `err`. `tag` and `site` are those of
    // the assertion. On the thread of the relay's looper.
    bool accepted(status_t err, const char* tag, const sites::CheckSite& site);
    // The same for an assertion that tells the status, too.
    bool acceptedEq(status_t err, const char* tag, const sites::CheckSite& site);

  protected:
    // The error callback has come.
    void setCodecFailed() { mCodecFailed = true; }
    // Whether `msg` was the relay's own.
    bool handleVerdict(const sp<AMessage>& msg);

  private:
    enum { kWhatVerdict = 5649 };

    void postVerdict(const char* tag, const AString& text);

    sp<AMessage> mVerdict;  // the first refusal; nobody else's message is taken for it
    bool mCodecFailed = false;
};

}  // namespace android
