// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stdint.h>
#include <sys/types.h>

namespace android {

// Who calls, as this thread sees it: without a call from another process, this process itself.
class IPCThreadState {
  public:
    // The calling thread's own object, valid until the thread ends.
    static IPCThreadState* self();

    pid_t getCallingPid() const { return mCallingPid; }
    uid_t getCallingUid() const { return mCallingUid; }

    // From here on the thread acts for this process; the result brings the former caller back.
    int64_t clearCallingIdentity();
    void restoreCallingIdentity(int64_t token);

  private:
    IPCThreadState();
    ~IPCThreadState() = default;

    pid_t mCallingPid;
    uid_t mCallingUid;

    DISALLOW_EVIL_CONSTRUCTORS(IPCThreadState);
};

}  // namespace android
