// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>

#include "support/CodecShim.h"

namespace oxa::test {

// The platform's AVC decoder, which stands still for a while before one of its pictures. From
// install() on it is the decoder of all AVC in this process.
class StallingDecoder : public CodecShim {
  public:
    static void install();
    // For decoders that are made afterwards: the stall comes before this picture, counted from 0.
    static void setStall(int picture, std::chrono::milliseconds length);

  private:
    using CodecShim::CodecShim;

    void onOutput(const android::CodecOutput& output) override;

    int mPictures = 0;
};

}  // namespace oxa::test
