// Helpers shared by the stream-format tests.
#pragma once

#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <string>

namespace onf_stream_test {

// Runs `action` and returns the QSV_Failure it throws; records a test failure if none comes.
template <class Action>
QSV_Failure CatchFailure(Action&& action) {
    try {
        action();
    } catch (const QSV_Failure& failure) {
        return failure;
    }
    ADD_FAILURE() << "expected a QSV_Failure";
    return QSV_Failure("", "");
}

} // namespace onf_stream_test
