// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace android {

// A module is a part of the platform that most jobs do without, in a shared object of its own
// beside this library. What it links - a window system, filters, capture devices - costs a program
// more time and memory to load than all else, so it is loaded when it is first asked for, and
// stays.
//
// A module exports constants, structures of functions, one for each that asks for it; `Functions`
// is the type of one and has the module's name in `kModule`, the constant's in `kName`. Any thread.
// Null, with the reason in `error`, when it cannot be loaded.
const void* loadModule(const char* module, const char* name, std::string* error);

template <typename Functions>
const Functions* loadModule(std::string* error) {
    return static_cast<const Functions*>(loadModule(Functions::kModule, Functions::kName, error));
}

}  // namespace android
