// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <media/stagefright/foundation/AString.h>
#include <string.h>
#include <utils/Errors.h>
#include <utils/Log.h>

#define LITERAL_TO_STRING_INTERNAL(x) #x
#define LITERAL_TO_STRING(x) LITERAL_TO_STRING_INTERNAL(x)

// Who defines the group before this header is included keeps its own.
#ifndef CHECK_OP

// Ends the process unless the condition holds. The text is "<file>:<line> CHECK(<condition as
// written>) failed.", the tag that of the file that contains the check.
#define CHECK(condition)                    \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s", \
                        __FILE__ ":" LITERAL_TO_STRING(__LINE__) " CHECK(" #condition ") failed.")

// The locals keep the names that they have on a device: an operand that itself names `a` or `b`
// is refused here instead of comparing with itself there.
#define CHECK_OP(x, y, suffix, op)                                                                \
    do {                                                                                          \
        const auto& a = x;                                                                        \
        const auto& b = y;                                                                        \
        if (!(a op b)) {                                                                          \
            AString comparison(__FILE__ ":" LITERAL_TO_STRING(__LINE__) " CHECK_" #suffix "( " #x \
                                                                        "," #y ") failed: ");     \
            comparison.append(a);                                                                 \
            comparison.append(" vs. ");                                                           \
            comparison.append(b);                                                                 \
            LOG_ALWAYS_FATAL("%s", comparison.c_str());                                           \
        }                                                                                         \
    } while (false)

// Each side is evaluated once; the text is "<file>:<line> CHECK_EQ( <x>,<y>) failed: <value of x>
// vs. <value of y>", macros in the operands expanded. Operands are what AString::append takes.
#define CHECK_EQ(x, y) CHECK_OP(x, y, EQ, ==)
#define CHECK_NE(x, y) CHECK_OP(x, y, NE, !=)
#define CHECK_LE(x, y) CHECK_OP(x, y, LE, <=)
#define CHECK_LT(x, y) CHECK_OP(x, y, LT, <)
#define CHECK_GE(x, y) CHECK_OP(x, y, GE, >=)
#define CHECK_GT(x, y) CHECK_OP(x, y, GT, >)

// Ends the process; the arguments are a literal format behind the fixed text, and its values.
#define TRESPASS(...) \
    LOG_ALWAYS_FATAL(__FILE__ ":" LITERAL_TO_STRING(__LINE__) " Should not be here. " __VA_ARGS__)

#endif  // CHECK_OP

namespace android {

// The name of a status value of <utils/Errors.h>, else `unknown`.
inline const char* asString(status_t status, const char* unknown = "??") {
    constexpr struct {
        status_t value;
        const char* name;
    } kNames[] = {
            {NO_ERROR, "NO_ERROR"},
            {UNKNOWN_ERROR, "UNKNOWN_ERROR"},
            {NO_MEMORY, "NO_MEMORY"},
            {INVALID_OPERATION, "INVALID_OPERATION"},
            {BAD_VALUE, "BAD_VALUE"},
            {BAD_TYPE, "BAD_TYPE"},
            {NAME_NOT_FOUND, "NAME_NOT_FOUND"},
            {PERMISSION_DENIED, "PERMISSION_DENIED"},
            {NO_INIT, "NO_INIT"},
            {ALREADY_EXISTS, "ALREADY_EXISTS"},
            {DEAD_OBJECT, "DEAD_OBJECT"},
            {FAILED_TRANSACTION, "FAILED_TRANSACTION"},
            {BAD_INDEX, "BAD_INDEX"},
            {NOT_ENOUGH_DATA, "NOT_ENOUGH_DATA"},
            {WOULD_BLOCK, "WOULD_BLOCK"},
            {TIMED_OUT, "TIMED_OUT"},
            {UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
            {FDS_NOT_ALLOWED, "FDS_NOT_ALLOWED"},
    };
    for (const auto& known : kNames) {
        if (known.value == status) return known.name;
    }
    return unknown;
}

}  // namespace android
