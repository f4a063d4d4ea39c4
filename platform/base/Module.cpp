// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Module"

#include "base/Module.h"

#include <dlfcn.h>
#include <log/log.h>

namespace android {

namespace {

// By its full name, so that nothing but what was installed with this library is ever loaded.
std::string modulePath(const char* module) {
    Dl_info self = {};
    dladdr(reinterpret_cast<const void*>(&modulePath), &self);
    const std::string library = self.dli_fname;
    return library.substr(0, library.rfind('/') + 1) + OXA_MODULE_FOLDER + "/" + module + ".so";
}

}  // namespace

const void* loadModule(const char* module, const char* name, std::string* error) {
    // Opening it again gives the same one.
    void* object = dlopen(modulePath(module).c_str(), RTLD_NOW | RTLD_LOCAL);
    const void* functions = object != nullptr ? dlsym(object, name) : nullptr;
    if (functions == nullptr) {
        *error = std::string("cannot load the platform's module: ") + dlerror();
        ALOGE("%s", error->c_str());
    }
    return functions;
}

}  // namespace android
