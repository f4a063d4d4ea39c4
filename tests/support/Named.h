// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace oxa::test {

// What a row of a table of cases begins with. Without, a test would be listed with the bytes of its
// row, pointers among them.
struct Named {
    const char* name;

    friend std::ostream& operator<<(std::ostream& out, const Named& row) { return out << row.name; }
};

// The name of a row is that of its test.
template <typename Row>
std::string rowName(const testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

}  // namespace oxa::test
