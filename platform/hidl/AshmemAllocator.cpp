// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AshmemAllocator"

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <errno.h>
#include <hidlmemory/mapping.h>
#include <log/log.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

namespace android {

using hardware::hidl_handle;
using hardware::hidl_memory;
using hardware::Return;
using hardware::Void;

namespace hidl::allocator::V1_0 {

namespace {

constexpr char kName[] = "ashmem";
constexpr uint64_t kMaxSize = INT32_MAX;

// Null, with a line in the log, when there is no memory.
native_handle_t* createMemory(uint64_t size) {
    if (size == 0 || size > kMaxSize) {
        ALOGE("no memory of %llu bytes", static_cast<unsigned long long>(size));
        return nullptr;
    }
    const int fd = memfd_create(kName, MFD_CLOEXEC);
    native_handle_t* handle = nullptr;
    if (fd >= 0 && ftruncate(fd, static_cast<off_t>(size)) == 0) {
        handle = native_handle_create(1, 0);
    }
    if (handle != nullptr) {
        handle->data[0] = fd;
        return handle;
    }
    ALOGE("no memory of %llu bytes: %s", static_cast<unsigned long long>(size), strerror(errno));
    if (fd >= 0) close(fd);
    return nullptr;
}

class AshmemAllocator : public IAllocator {
  public:
    Return<void> allocate(uint64_t size, allocate_cb _hidl_cb) override {
        hidl_handle handle;
        handle.setTo(createMemory(size), true);
        if (handle.getNativeHandle() == nullptr) {
            _hidl_cb(false, hidl_memory());
        } else {
            _hidl_cb(true, hidl_memory(kName, std::move(handle), static_cast<size_t>(size)));
        }
        return Void();
    }
};

}  // namespace

const char* IAllocator::descriptor = "android.hidl.allocator@1.0::IAllocator";

Return<void> IAllocator::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

sp<IAllocator> IAllocator::getService(const std::string& serviceName, bool getStub) {
    static auto& allocator = *new sp<IAllocator>(new AshmemAllocator);
    return serviceName == kName && !getStub ? allocator : nullptr;
}

}  // namespace hidl::allocator::V1_0

namespace hidl::memory::V1_0 {

const char* IMemory::descriptor = "android.hidl.memory@1.0::IMemory";

Return<void> IMemory::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

}  // namespace hidl::memory::V1_0

namespace hardware {

namespace {

class MappedMemory : public hidl::memory::V1_0::IMemory {
  public:
    MappedMemory(void* base, size_t size) : mBase(base), mSize(size) {}
    ~MappedMemory() override { munmap(mBase, mSize); }

    Return<void> update() override { return Void(); }
    Return<void> updateRange(uint64_t /*start*/, uint64_t /*length*/) override { return Void(); }
    Return<void> read() override { return Void(); }
    Return<void> readRange(uint64_t /*start*/, uint64_t /*length*/) override { return Void(); }
    Return<void> commit() override { return Void(); }
    Return<void*> getPointer() override { return mBase; }
    Return<uint64_t> getSize() override { return mSize; }

  private:
    void* const mBase;
    const size_t mSize;
};

}  // namespace

sp<hidl::memory::V1_0::IMemory> mapMemory(const hidl_memory& memory) {
    const native_handle_t* handle = memory.handle();
    if (handle == nullptr || handle->numFds < 1 || memory.size() == 0) {
        ALOGE("empty memory cannot be mapped");
        return nullptr;
    }
    if (memory.name() != hidl::allocator::V1_0::kName) {
        ALOGE("memory '%s' cannot be mapped", memory.name().c_str());
        return nullptr;
    }
    const auto size = static_cast<size_t>(memory.size());
    void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, handle->data[0], 0);
    if (base == MAP_FAILED) {
        ALOGE("memory cannot be mapped: %s", strerror(errno));
        return nullptr;
    }
    return new MappedMemory(base, size);
}

}  // namespace hardware

}  // namespace android
