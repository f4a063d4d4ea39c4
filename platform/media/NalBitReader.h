// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "media/AvcStream.h"

namespace android {

// Bits of a NAL unit, without the bytes that keep start codes out of it.
class NalBitReader {
  public:
    explicit NalBitReader(const NalUnit& unit) {
        mBytes.reserve(unit.size);
        for (size_t i = 0; i < unit.size; ++i) {
            const bool escape =
                    i >= 2 && unit.data[i] == 3 && unit.data[i - 1] == 0 && unit.data[i - 2] == 0;
            if (!escape) mBytes.push_back(unit.data[i]);
        }
    }

    bool overrun() const { return mOverrun; }

    uint32_t bits(int count) {
        uint32_t value = 0;
        while (count-- > 0)
            value = value << 1 | bit();
        return value;
    }

    // Exponential Golomb code.
    uint32_t number() {
        int zeros = 0;
        while (zeros < 32 && !mOverrun && bit() == 0)
            ++zeros;
        return static_cast<uint32_t>((UINT64_C(1) << zeros) - 1 + bits(zeros));
    }

    int32_t signedNumber() {
        const uint32_t code = number();
        return code % 2 != 0 ? static_cast<int32_t>(code / 2 + 1) : -static_cast<int32_t>(code / 2);
    }

  private:
    uint32_t bit() {
        if (mPosition / 8 >= mBytes.size()) {
            mOverrun = true;
            return 0;
        }
        const uint32_t value = mBytes[mPosition / 8] >> (7 - mPosition % 8) & 1;
        ++mPosition;
        return value;
    }

    std::vector<uint8_t> mBytes;
    size_t mPosition = 0;
    bool mOverrun = false;
};

}  // namespace android
