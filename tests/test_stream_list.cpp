// Stream primitives, lists and groups of the result file.
#include "BrelonLineInput.h"
#include "FailureExpect.h"
#include "LogCapture.h"
#include "OnfBlockTextReader.h"
#include "onf_base.h"
#include "onf_list.h"
#include "test_stream_util.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>

using onf_stream_test::CatchFailure;
using onf_test::ExpectFailure;
using QSV_LogMacros::LOG_DETAIL;
using QSV_LogMacros::LOG_TRACE;
using QSV_LogMacros::LOG_WARNING;

namespace {

std::string Written(const ONFList& values) {
    std::ostringstream os;
    os << values;
    return os.str();
}

// The values read from `text` into a list of `size`, and the text left unread.
std::pair<std::vector<int>, std::string> ReadList(const std::string& text, int size) {
    std::istringstream is(text);
    ONFList list;
    list.Resize(size);
    is >> list;
    std::string rest;
    std::getline(is, rest, '\0');
    return {list.GetData(), rest};
}

} // namespace

// One line end is consumed and counted, and nothing else, not even a blank.
TEST(StreamBase, LineEndsAreCountedOnceAndNothingElseIsConsumed) {
    const std::pair<const char*, std::string> cases[] = {
        {"\r\nx", "1 x"}, {"\n\rx", "1 \rx"}, {"\rx", "1 x"}, {" \nx", "0  \nx"}, {"x", "0 x"}};
    for (const auto& c : cases) {
        ONF_LINE_NR = 0;
        std::istringstream is(c.first);
        const bool found = onf_check_if_newline(is);
        std::string rest;
        std::getline(is, rest, '\0');
        EXPECT_EQ(std::to_string(ONF_LINE_NR) + " " + rest, c.second);
        EXPECT_EQ(found, ONF_LINE_NR == 1);
    }
}

TEST(StreamBase, GetNewlineLogsWhatItFoundInsteadOfALineEnd) {
    onf_test::LogCapture log;
    ONF_LINE_NR = 4;
    std::istringstream token("7 8");
    int value = 0;
    token >> value >> get_newline >> value;
    EXPECT_EQ(value, 8); // the token stays for the next read
    EXPECT_TRUE(
        log.Has(LOG_TRACE, "ONF get_newline called but no end-line marker found in line 4."));

    std::istringstream end("7");
    end >> value >> get_newline;
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Reached end of file, read lines 4."));
    std::istringstream bad("x\n");
    bad >> value >> get_newline;
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Got failed bit in line 4."));
    EXPECT_EQ(log.lines.size(), 3u);
}

TEST(StreamBase, SeparatorMayStandAfterBlanksAndLineEnds) {
    for (const char* text : {"5 , 6", "5\n,6", "5 6", "5", "5 ;6"}) {
        ONF_LINE_NR = 0;
        std::istringstream is(text);
        int a = 0;
        if (std::string(text).find(',') != std::string::npos) {
            EXPECT_NO_THROW(is >> a >> get_separator >> a);
            EXPECT_EQ(a, 6);
        } else {
            ExpectFailure([&] { is >> a >> get_separator; }, "161000150210",
                          "|%P|BrelonOnfEngine|ONFBaseUtil",
                          "The ONF separator character ',' was not found ..");
        }
    }
}

TEST(StreamBase, LineCounterRunsFromTheLastFileConstruction) {
    ONF_LINE_NR = 9;
    ONFFile file(std::string("r\xC3\xA9sult.onf"));
    EXPECT_EQ(file.GetFileName(), L"r\u00E9sult.onf");
    EXPECT_EQ(onf_line_nr_msg(), ".");
    std::istringstream is("a\r\n");
    std::string line;
    onf_getline_dosunix(is, line);
    onf_getline_dosunix(is, line); // a failed read counts as well
    ONFFile copy(file);            // a copy goes on counting
    EXPECT_EQ(onf_line_nr_msg(), " in line 2.");
    EXPECT_EQ(CatchFailure([&] { is >> get_separator; }).GetMessage(),
              "The ONF separator character ',' was not found  in line 2..");
}

TEST(StreamList, TextFoldsAscendingRunsOfThreeOrMore) {
    const std::pair<std::vector<int>, const char*> cases[] = {
        {{1, 2, 3, 4, 5}, "1-5"},
        {{1, 3, 5, 7}, "1-7:2"},
        {{1, 2}, "1, 2"},
        {{1, 2, 4}, "1, 2, 4"},
        {{5, 4, 3}, "5, 4, 3"},
        {{7, 7, 7}, "7, 7, 7"},
        {{1, 2, 3, 9, 10}, "1-3, 9, 10"},
        {{-3, -2, -1, 0, 8}, "-3-0, 8"},
        {{1, 2, 3, 4, 20, 30, 40, 50}, "1-4, 20-50:10"},
        {{1, 3, 2, 4, 3, 5, 4, 6, 5, 7, 6}, "1, 3, 2, 4, 3, 5, 4, 6, 5, 7, \n6"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Written(c.first), c.second);
    }
    EXPECT_EQ(Written(std::set<int>{9, 1, 7, 3, 5}), "1-9:2"); // a set gives its values ascending
    onf_test::LogCapture log;
    EXPECT_EQ(Written({}), " \n");
    EXPECT_TRUE(log.Has(LOG_TRACE, "Writing empty ONFlist"));
}

TEST(StreamList, ReadingStopsAtTheListSize) {
    using Result = std::pair<std::vector<int>, std::string>;
    EXPECT_EQ(ReadList("1-9:2, 11", 3), Result({1, 3, 5}, ", 11"));
    EXPECT_EQ(ReadList("4,1-3,\n 2147483646-2147483647:1000, 0", 6),
              Result({4, 1, 2, 3, 2147483646, 0}, ""));
    EXPECT_EQ(ReadList("3 -4", 1), Result({3}, " -4")); // "-" after a blank is no run

    ONF_LINE_NR = 0;
    ONFList kept(std::vector<int>{7, 8, 9});
    std::istringstream broken("1-2 3");
    ExpectFailure([&] { broken >> kept; }, "161048150210", "|%P|BrelonOnfEngine|ONFList",
                  "The ONF list separator character was not found.");
    EXPECT_EQ(kept.GetData(), (std::vector<int>{1, 2, 9})); // what was read before is stored
}

// Runs the writer never makes would read as fewer or other values than the text meant.
TEST(StreamList, RunsThatCannotBeMeantFailWithTheLine) {
    const std::pair<const char*, std::string> cases[] = {
        {"1, 10-1", "The ONF list run 10-1 ends below its first value in line 3."},
        {"1-5:0", "The ONF list run 1-5:0 has a step below 1 in line 3."},
        {"5-1:-1", "The ONF list run 5-1:-1 has a step below 1 in line 3."}};
    for (const auto& c : cases) {
        ONF_LINE_NR = 3;
        ExpectFailure([&] { ReadList(c.first, 4); }, "", "|%P|BrelonOnfEngine|ONFList", c.second);
    }
}

TEST(StreamList, EmptyListReadsOneZero) {
    onf_test::LogCapture log;
    ONF_LINE_NR = 0;
    EXPECT_TRUE(ReadList("0", 0).first.empty());
    EXPECT_EQ(log.lines.size(), 1u);
    EXPECT_TRUE(log.Has(LOG_TRACE, "Reading empty ONFlist"));
    EXPECT_TRUE(ReadList("7", 0).first.empty());
    EXPECT_TRUE(log.Has(LOG_WARNING, "Empty ONF-list . is not correctly defined with a '0'"));
}

TEST(StreamList, RandomListsReadBackAsWritten) {
    std::mt19937 random(42);
    for (int round = 0; round < 200; ++round) {
        std::vector<int> values;
        int value = static_cast<int>(random() % 2000) - 1000;
        const size_t size = random() % 60;
        while (values.size() < size) {
            value += static_cast<int>(random() % 4) - 1; // runs of steps 1 and 2, repeats, falls
            values.push_back(value);
        }
        const std::string text = Written(values);
        EXPECT_EQ(ReadList(text, static_cast<int>(values.size())).first, values) << text;
    }
}

TEST(StreamList, ItemAccessAndGrowth) {
    ONFList list(7); // one value, not seven
    EXPECT_EQ(list.GetItem(-1), -1);
    EXPECT_EQ(list.GetItem(1), -1);
    list.SetItem(-2, 5);
    list.SetItem(10, 4); // grows to 15, new values 0
    EXPECT_EQ(list.GetData(), (std::vector<int>{7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0}));
}

TEST(StreamGroup, WrittenGroupsReadBackByTheStream) {
    std::ostringstream os;
    os << ONFNodeGroup(12, "top nodes", {1, 2, 3, 8}) << ONFElementGroup(3, "empty", {});
    EXPECT_EQ(os.str(), "12, 4\ntop nodes\n1-3, 8\n3, 0\nempty\n");

    std::istringstream is(os.str());
    ONFNodeGroup first;
    ONFElementGroup second(1, "old", {9});
    is >> first >> second;
    EXPECT_FALSE(is.fail());
    std::ostringstream again;
    again << first << second;
    EXPECT_EQ(again.str(), os.str());
    EXPECT_EQ(ONFNodeGroup::GetBlockID(), 200);
    EXPECT_EQ(ONFElementGroup::GetHeader(), "ONF ELEMENT GROUP DEFINITION");
}

TEST(StreamGroup, CountFarBeyondTheInputFailsWithoutAllocating) {
    ONF_LINE_NR = 0;
    std::istringstream huge("1, 2000000000\nname\n1-2000000000\n");
    ONFNodeGroup group;
    EXPECT_EQ(CatchFailure([&] { huge >> group; }).GetMessage(),
              "The ONF group 1 declares 2000000000 values, more than the 67108864 values a list "
              "may hold in line 2.");
    std::istringstream shortList("1, 60000000\nname\n1, 2\n");
    EXPECT_EQ(CatchFailure([&] { shortList >> group; }).GetId(), "161048150210");
}

TEST(StreamGroup, BlockRouteReadsIdNameAndList) {
    const std::string text = "   -1\n200\n2\n-3, 5\nside\n1-3, \n8, 9\nx7, 1\nother\n4\n   -1\n"
                             "   -1\n200\n1\n5\n   -1\n";
    OnfBlockTextReader reader(text.data(), text.size(), L"g.onf",
                              OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    TextLineSplitter splitter(64);
    reader.ProvideBlock(0);
    ONFNodeGroup group;
    group.LoadFrom(reader, splitter);
    EXPECT_EQ(group.GetID(), -3);
    EXPECT_EQ(group.GetName(), "side");
    EXPECT_EQ(group.GetList().GetData(), (std::vector<int>{1, 2, 3, 8, 9}));
    group.LoadFrom(reader, splitter); // an id without digits reads as 0
    EXPECT_EQ(group.GetID(), 0);
    EXPECT_EQ(group.GetList().GetData(), (std::vector<int>{4}));
    reader.ProvideBlock(1);
    ExpectFailure([&] { group.LoadFrom(reader, splitter); }, "054022160910",
                  "|%P|BrelonOnfEngine|ONFGroup",
                  "Wrong record format encountered in the ONF group-block!");
}
