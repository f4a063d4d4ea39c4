// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hidl/HidlSupport.h>
#include <utils/Errors.h>

#include <string>
#include <utility>

namespace android::hardware {

// Whether a call has reached its service and come back.
class Status final {
  public:
    enum Exception {
        EX_NONE = 0,
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(OK); }
    // OK or an error of the transport, e.g. DEAD_OBJECT.
    static Status fromStatusT(status_t status) { return Status(status); }

    Status() = default;

    int32_t exceptionCode() const { return isOk() ? EX_NONE : EX_TRANSACTION_FAILED; }
    status_t transactionError() const { return mError; }
    bool isOk() const { return mError == OK; }
    // For people.
    std::string description() const;

  private:
    explicit Status(status_t error) : mError(error) {}

    status_t mError = OK;
};

namespace details {

class return_status {
  public:
    return_status() = default;
    return_status(const Status& status) : mStatus(status) {}
    // The result that was assigned to is looked at or not with the other one.
    return_status(return_status&& other) noexcept { *this = std::move(other); }
    return_status& operator=(return_status&& other) noexcept {
        std::swap(mStatus, other.mStatus);
        std::swap(mChecked, other.mChecked);
        return *this;
    }
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    // Ends the process when the call has failed and nobody has looked.
    ~return_status() {
        if (!mChecked) assertOk();
    }

    // Asking is looking, whatever the answer.
    bool isOk() const {
        mChecked = true;
        return mStatus.isOk();
    }
    bool isDeadObject() const {
        mChecked = true;
        return mStatus.transactionError() == DEAD_OBJECT;
    }
    // For people; not a look.
    std::string description() const { return mStatus.description(); }

    // Ends the process when the call has failed.
    void assertOk() const {
        mChecked = true;
        if (!mStatus.isOk()) endProcess();
    }

  private:
    [[noreturn]] void endProcess() const;

    Status mStatus;
    mutable bool mChecked = false;
};

}  // namespace details

// The answer of a service's method: its result, or why there is none. Taking the result of a call
// that has failed ends the process, and so does dropping the answer without having asked: every
// call whose service may die needs isOk().
template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : mValue(std::move(value)) {}
    Return(const Status& status) : details::return_status(status) {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    operator T() const {
        assertOk();
        return mValue;
    }
    T withDefault(T value) { return isOk() ? mValue : value; }

  private:
    T mValue{};
};

template <typename T>
class Return<sp<T>> : public details::return_status {
  public:
    Return(sp<T> value) : mValue(std::move(value)) {}
    Return(T* value) : mValue(value) {}
    Return(const Status& status) : details::return_status(status) {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    operator sp<T>() const {
        assertOk();
        return mValue;
    }
    sp<T> withDefault(sp<T> value) { return isOk() ? mValue : value; }

  private:
    sp<T> mValue;
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() = default;
    Return(const Status& status) : details::return_status(status) {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;
};

static inline Return<void> Void() {
    return Return<void>();
}

}  // namespace android::hardware
