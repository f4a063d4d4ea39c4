// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

// What ALSA's library prints to standard error by itself (several lines on a machine without a
// sound card) goes into the log. `handlerSetter` is the library's function of that name, as the
// module that has loaded it finds it; null is harmless.
constexpr char kAlsaHandlerSetter[] = "snd_lib_error_set_handler";
void routeAlsaLog(void* handlerSetter);

}  // namespace android
