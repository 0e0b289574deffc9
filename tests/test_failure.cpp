#include "QSV_Failure.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <memory>

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

} // namespace
