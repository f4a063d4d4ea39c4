// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "CallbackRelay.h"

#include <log/log.h>
#include <media/stagefright/foundation/AString.h>

#include "FixedSites.h"

namespace android {

bool CallbackRelay::accepted(status_t err, const char* tag, const sites::CheckSite& site) {
    if (err == OK) return true;
    postVerdict(tag, AStringPrintf("%s:%d CHECK(err == OK) failed.", site.file, site.line));
    return false;
}

bool CallbackRelay::acceptedEq(status_t err, const char* tag, const sites::CheckSite& site) {
    if (err == OK) return true;
    postVerdict(tag, AStringPrintf("%s:%d CHECK_EQ( err,(status_t)OK) failed: %d vs. %d", site.file,
                                   site.line, err, OK));
    return false;
}

void CallbackRelay::postVerdict(const char* tag, const AString& text) {
    if (mCodecFailed || mVerdict != NULL) return;
    mVerdict = new AMessage(kWhatVerdict, this);
    mVerdict->setString("tag", tag);
    mVerdict->setString("text", text);
    mVerdict->post();
}

bool CallbackRelay::handleVerdict(const sp<AMessage>& msg) {
    if (mVerdict == NULL || msg != mVerdict) return false;
    if (mCodecFailed) return true;
    AString tag, text;
    msg->findString("tag", &tag);
    msg->findString("text", &text);
    __android_log_assert("the codec has failed", tag.c_str(), "%s", text.c_str());
}

}  // namespace android
