#include "LogCapture.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfBlock";

TEST(Failure, CodeAndTypeFollowTheIdentifier) {
    QSV_Failure plain("message", kTag);
    EXPECT_STREQ(plain.what(), "message");
    EXPECT_EQ(plain.GetCode(), -14);
    EXPECT_TRUE(plain.GetId().empty());
    EXPECT_EQ(plain.GetTypeName(), "QSV_Failure");
    EXPECT_EQ(plain.GetLogTag(), kTag);

    QSV_Failure identified("270312164733", "message", kTag);
    EXPECT_EQ(identified.GetCode(), -1);
    EXPECT_EQ(identified.GetId(), "270312164733");
    EXPECT_EQ(identified.GetNested(), nullptr);
}

TEST(Failure, BacktraceIsTakenAtConstruction) {
    QSV_Failure failure("message", kTag);
    EXPECT_FALSE(failure.GetBacktrace().empty());
}

TEST(Failure, CloneOfAWrappedFailureOwnsItsOwnNestedCopy) {
    QSV_Failure inner("111111111111", "inner", kTag);
    std::unique_ptr<QSV_Exception> clone;
    {
        QSV_Failure outer(inner, "222222222222", "outer", kTag);
        ASSERT_NE(outer.GetNested(), nullptr);
        clone.reset(outer.Clone());
        EXPECT_NE(clone->GetNested(), outer.GetNested());
    }
    ASSERT_NE(clone->GetNested(), nullptr);
    EXPECT_EQ(clone->GetMessage(), "outer");
    EXPECT_EQ(clone->GetNested()->GetMessage(), "inner");
    EXPECT_EQ(clone->GetNested()->GetId(), "111111111111");

    QSV_Failure copy(*static_cast<QSV_Failure*>(clone.get()));
    clone.reset();
    ASSERT_NE(copy.GetNested(), nullptr);
    EXPECT_EQ(copy.GetNested()->GetMessage(), "inner");
}

TEST(Failure, ThrowSiteCutsTheMessageAt1023Bytes) {
    std::string longText(2000, 'x');
    try {
        onf_detail::ThrowFailure("", kTag, "%s", longText.c_str());
        FAIL() << "no failure";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage().size(), 1023u);
        EXPECT_EQ(failure.GetCode(), -14);
    }
}

TEST(MessageFormat, SizeConversionAndBufferEnd) {
    char buffer[16];
    size_t big = static_cast<size_t>(1) << 40;
    EXPECT_EQ(onf_format(buffer, sizeof buffer, "%Iu", big), 13);
    EXPECT_STREQ(buffer, "1099511627776");
    EXPECT_EQ(QSV_MESSAGE("line %Iu, block %d, %6Iu|%%", static_cast<size_t>(7), -3,
                          static_cast<size_t>(42)),
              "line 7, block -3,     42|%");
    // Cut output keeps the NUL in the last byte and reports the full length.
    EXPECT_EQ(onf_format(buffer, sizeof buffer, "%s", "0123456789abcdefghij"), 20);
    EXPECT_STREQ(buffer, "0123456789abcde");
    // Only an I in front of a size conversion is one; an empty text is no error, and there is
    // no buffer to write into without bytes.
    EXPECT_EQ(QSV_MESSAGE("%dx %Iu Ix", 5, static_cast<size_t>(7)), "5x 7 Ix");
    EXPECT_EQ(onf_format(buffer, sizeof buffer, ""), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(onf_format(nullptr, sizeof buffer, "x"), -1);
    EXPECT_EQ(onf_format(buffer, 0, "x"), -1);
    buffer[8] = 'Z'; // nothing is written past the size given
    EXPECT_EQ(onf_format(buffer, 8, "%s", "abc"), 3);
    EXPECT_EQ(buffer[8], 'Z');
}

TEST(Logging, SinkReceivesEveryLevelWithTheTagUnexpanded) {
    onf_test::LogCapture capture;
    QSV_LOG(LOG_TRACE, kTag, "value %Iu", static_cast<size_t>(5));
    QSV_LOG(LOG_ERROR, kTag, "bad %d", 1);
    ASSERT_EQ(capture.lines.size(), 2u);
    EXPECT_EQ(capture.lines[0].level, QSV_LogMacros::LOG_TRACE);
    EXPECT_EQ(capture.lines[0].tag, kTag);
    EXPECT_EQ(capture.lines[0].message, "value 5");
    EXPECT_EQ(capture.lines[1].message, "bad 1");
}

// An assignment takes every part of the other failure, its nested failure as a copy of its own.
TEST(FailureEdges, AssignmentTakesEveryPartAndOwnsTheNestedCopy) {
    QSV_Failure target("333333333333", "old", "|old|");
    QSV_Failure& same = target;
    target = same;
    EXPECT_EQ(target.GetMessage(), "old");
    {
        const QSV_Failure inner("111111111111", "inner", kTag);
        const QSV_Failure outer(inner, "222222222222", "outer", kTag);
        target = outer;
    }
    EXPECT_EQ(target.GetId(), "222222222222");
    EXPECT_EQ(target.GetLogTag(), kTag);
    EXPECT_EQ(target.GetMessage(), "outer");
    EXPECT_FALSE(target.GetBacktrace().empty());
    ASSERT_NE(target.GetNested(), nullptr);
    EXPECT_EQ(target.GetNested()->GetMessage(), "inner");
}

// Without a sink of the caller's, errors and warnings go to standard error, the tag's %P marks
// replaced by the process id; other levels are not shown.
TEST(LoggingEdges, TheDefaultSinkShowsErrorsAndWarningsWithTheProcessId) {
    QSV_LogMacros::SetLogSink(nullptr);
    testing::internal::CaptureStderr();
    QSV_LOG(LOG_ERROR, "|%P|Engine|%P", "bad %d", 1);
    QSV_LOG(LOG_WARNING, "plain", "odd");
    QSV_LOG(LOG_INFO, kTag, "progress");
    QSV_LOG(LOG_DETAIL, kTag, "detail");
    QSV_LOG(LOG_TRACE, kTag, "trace");
    const std::string pid = std::to_string(static_cast<long>(getpid()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "|" + pid + "|Engine|" + pid + " ERROR: bad 1\nplain WARNING: odd\n");
}

// Frames of the engine name their functions as written in C++, offsets kept; frames without a
// name stay as the system gave them.
TEST(FailureEdges, BacktraceNamesFramesReadably) {
    const QSV_Failure failure("message", kTag);
    const std::vector<std::string>& frames = failure.GetBacktrace();
    ASSERT_GE(frames.size(), 2u);
    // The frames start at the construction; where the sanitizers intercept the capture, the
    // capture's own frame comes first.
    const auto end = frames.begin() + 2;
    const auto named = std::find_if(frames.begin(), end, [](const std::string& frame) {
        return frame.find("(QSV_Exception::QSV_Exception(") != std::string::npos ||
               frame.find("(QSV_Failure::QSV_Failure(") != std::string::npos;
    });
    ASSERT_NE(named, end) << frames[0];
    EXPECT_NE(named->find(")+0x"), std::string::npos) << *named;
    for (const std::string& frame : frames) {
        EXPECT_EQ(frame.find("(_Z"), std::string::npos) << frame;
    }
}

} // namespace
