// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MetaDataBase.h>
#include <utils/RefBase.h>

namespace android {

class MetaData final : public MetaDataBase, public RefBase {
  public:
    MetaData() = default;
    // The compiler wants both bases named. NOLINTNEXTLINE(readability-redundant-member-init)
    MetaData(const MetaData& from) : MetaDataBase(from), RefBase() {}
    MetaData(const MetaDataBase& from) : MetaDataBase(from) {}

  protected:
    ~MetaData() override = default;

  private:
    MetaData& operator=(const MetaData&) = delete;
};

}  // namespace android
