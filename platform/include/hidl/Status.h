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
    return_status(return_status&& other) = default;
    return_status& operator=(return_status&& other) = default;
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;

    bool isOk() const { return mStatus.isOk(); }
    bool isDeadObject() const { return mStatus.transactionError() == DEAD_OBJECT; }
    std::string description() const { return mStatus.description(); }

  protected:
    // Ends the process when the call has failed.
    void assertOk() const;

  private:
    Status mStatus;
};

}  // namespace details

// The answer of a service's method: its result, or why there is none. Taking the result of a call
// that has failed ends the process; an answer that is not looked at does no harm.
template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : mValue(std::move(value)) {}
    Return(const Status& status) : details::return_status(status) {}
    // As the interface has them, without noexcept.
    Return(Return&& other) = default;             // NOLINT(performance-noexcept-move-constructor)
    Return& operator=(Return&& other) = default;  // NOLINT(performance-noexcept-move-constructor)

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
    // As the interface has them, without noexcept.
    Return(Return&& other) = default;             // NOLINT(performance-noexcept-move-constructor)
    Return& operator=(Return&& other) = default;  // NOLINT(performance-noexcept-move-constructor)

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
    // As the interface has them, without noexcept.
    Return(Return&& other) = default;             // NOLINT(performance-noexcept-move-constructor)
    Return& operator=(Return&& other) = default;  // NOLINT(performance-noexcept-move-constructor)
};

static inline Return<void> Void() {
    return Return<void>();
}

}  // namespace android::hardware
