// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/DataSourceBase.h>
#include <utils/RefBase.h>
#include <utils/String8.h>

namespace android {

class DataSource : public DataSourceBase, public virtual RefBase {
  public:
    // For people: a path where one is known.
    virtual String8 toString() { return String8("<unspecified>"); }

  protected:
    ~DataSource() override = default;
};

}  // namespace android
