// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

struct AMessage;
class MetaData;
class MetaDataBase;

// As in the first release of Android 11: no answer. Only declared.
void convertMessageToMetaData(const sp<AMessage>& format, sp<MetaData>& meta);

status_t convertMetaDataToMessage(const sp<MetaData>& meta, sp<AMessage>* format);
status_t convertMetaDataToMessage(const MetaDataBase* meta, sp<AMessage>* format);

}  // namespace android
