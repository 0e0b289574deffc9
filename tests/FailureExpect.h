// Test helper: checks that a failure carries exactly the expected identifier, log tag and
// message.
#pragma once

#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace onf_test {

// Checks a failure already caught: identifier ("" for none), log tag and message, word for word.
inline void ExpectFailure(const QSV_Failure& failure, const std::string& id, const std::string& tag,
                          const std::string& message) {
    EXPECT_EQ(failure.GetMessage(), message);
    EXPECT_EQ(failure.GetId(), id);
    EXPECT_EQ(failure.GetLogTag(), tag);
}

// Runs `action`, which must throw a QSV_Failure with exactly this identifier ("" for none), log
// tag and message.
template <typename F, typename = std::enable_if_t<std::is_invocable_v<F&>>>
void ExpectFailure(F&& action, const std::string& id, const std::string& tag,
                   const std::string& message) {
    try {
        action();
        ADD_FAILURE() << "no failure, expected: " << message;
    } catch (const QSV_Failure& failure) {
        ExpectFailure(failure, id, tag, message);
    }
}

} // namespace onf_test
