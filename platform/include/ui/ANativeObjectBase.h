// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <system/window.h>

namespace android {

// Joins a C object (first base, so that its address is the object's) with a reference counted
// C++ class: references through either view count on the same object.
template <typename NativeType, typename Type, typename Reference,
          typename NativeBase = android_native_base_t>
class ANativeObjectBase : public NativeType, public Reference {
  public:
    void incStrong(const void* id) const { Reference::incStrong(id); }
    void decStrong(const void* id) const { Reference::decStrong(id); }

  protected:
    typedef ANativeObjectBase<NativeType, Type, Reference, NativeBase> BASE;

    ANativeObjectBase() {
        NativeType::common.incRef = incRef;
        NativeType::common.decRef = decRef;
    }

  private:
    static Type* self(NativeBase* base) {
        // `common` is the first member of the first base.
        return static_cast<Type*>(reinterpret_cast<NativeType*>(base));
    }
    static void incRef(NativeBase* base) { self(base)->incStrong(base); }
    static void decRef(NativeBase* base) { self(base)->decStrong(base); }
};

}  // namespace android
