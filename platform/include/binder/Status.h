// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

namespace android::binder {

// How a call of an interface that is described in AIDL ended. Within one process calls only fail
// where they cannot be made at all.
class Status final {
  public:
    Status() = default;

    static Status ok() { return Status(); }
    static Status fromStatusT(status_t status) {
        Status result;
        result.mTransactionError = status;
        return result;
    }

    bool isOk() const { return mTransactionError == OK; }
    status_t transactionError() const { return mTransactionError; }

  private:
    status_t mTransactionError = OK;
};

}  // namespace android::binder
