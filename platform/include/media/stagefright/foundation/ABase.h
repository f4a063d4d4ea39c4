// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

// In the private part of a class whose objects must not be copied.
#define DISALLOW_EVIL_CONSTRUCTORS(name) \
    name(const name&) = delete;          \
    name& operator=(const name&) = delete
