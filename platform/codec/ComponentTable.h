// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AString.h>
#include <utils/RefBase.h>

#include "codec/CodecComponent.h"

namespace android {

enum class CodecDirection { kDecoder, kEncoder };

// One row for each kind of media that a component takes or makes.
struct ComponentRow {
    const char* type;  // a MIME type, or "video/*" for what no other row names
    CodecDirection direction;
    sp<CodecComponent> (*create)(const AString& mime);  // null when the type is not served
};

// Thread-safe, like all below. Null when there is none; rows live as long as the process.
const ComponentRow* findComponent(const AString& mime, CodecDirection direction);

// By CodecComponent::name(); rows with a wildcard have no name.
const ComponentRow* findComponentByName(const AString& name);

// Adds a row that is found before all others: for tests and for programs with codecs of their own.
void addComponent(const ComponentRow& row);

}  // namespace android
