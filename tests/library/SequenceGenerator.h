// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <rapidcheck.h>

#include "library/CallSequence.h"

namespace oxa::test {

// Walks through the model at random, 5 to 40 calls. They shrink by leaving out calls, and those
// that are not allowed any more without them.
rc::Gen<Sequence> sequences();

}  // namespace oxa::test
