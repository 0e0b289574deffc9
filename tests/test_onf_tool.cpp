// What `onf` finds again in a file's text and how it tells it: the walk of records that must
// read a body as the engine's loader does, the places of messages, the findings of one file,
// and the words, numbers and names that the commands share.
#include "OnfTool.h"
#include "OnfToolLocate.h"

#include "BrelonOnfTxtDatabase.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace onf_tool;

namespace {

std::shared_ptr<OnfBlockTextReader> Reader(const std::string& text,
                                           const wchar_t* name = L"t.onf") {
    return std::make_shared<OnfBlockTextReader>(text.data(), text.size(), name,
                                                OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
}

// The keys of the records that the walk finds, as the loader reads them.
class Keys : public RecordVisitor {
public:
    void Record(size_t, TokenText key) override { keys.push_back(ReadKey(key)); }
    void Value(size_t, size_t, char, size_t, TokenText) override {}
    void LeftOver(size_t, size_t, const std::vector<TokenText>&) override { ++leftOvers; }
    std::vector<int> keys;
    size_t leftOvers = 0;
};

struct WalkCase {
    const char* what;
    const char* block; // the lines from the block number on, body included
};

// Bodies that take every path of the record grammar: records over several lines, lists over
// several lines and lists that start on a line with other values, optional items present and
// absent, keys in the format, vectors and tensors.
const WalkCase kWalkCases[] = {
    {"nodes, one continued", "110\n3\n1, 0, 0, 1, 2, 3\n2, 0, 0\n4, 5, 6\n3, 0, 0, 7, 8, 9\n"},
    {"elements with a list over two lines",
     "140\n2\n1, 4, 20, 1, 0, 0, 0, 0\n1, 2, 3, 4, 5, 6, 7, 8, 9, 10,\n11, 12, 13, 14, 15, 16,"
     " 17, 18, 19, 20\n2, 3, 8, 1, 0, 0, 0, 0\n1-8\n"},
    {"two lists", "151\n2\n7, 2\n1, 3\n4-6\n9, 1\n\n8\n"},
    {"a list on the line of its record", "170\n2\n1, 2, 5, 6\n2, 1\n7\n"},
    {"accelerations", "176\n1\n1, 1\n0, 0, -9.81\n0\n0, 0, 0\n0\n0, 0, 0\n0, 0, 0\n0, 0, 0\n"
                      "1, TARGET, 2\n3, 4\n"},
    {"a key in the format", "180\n1\n1, LC, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0\n7\n\n\n\n\n\n"},
    {"optional items present and absent",
     "   -3\nFORMAT = Iirb\n   -3\nNON_ONF\n3\n1, 2, 3, 4.5\n2, 5\n3, 6, 7\n"},
    {"a tensor",
     "   -3\nFORMAT = ITb\n   -3\nNON_ONF\n2\n1, 9, 1, 2, 3, 4, 5, 6\n2, 9, 0, 0, 0, 0, 0, 0\n"},
    {"a mandatory value on the next line",
     "   -3\nFORMAT = RRb\n   -3\nNON_ONF\n2\n1, 1.5\n2.5\n2, 3, 4\n"},
};

} // namespace

// The walk and the loader agree on every record of each body, so that a message at a record's
// line points where the engine read it.
TEST(RecordWalk, FindsTheRecordsTheLoaderReads) {
    for (const WalkCase& c : kWalkCases) {
        const std::string text = std::string("   -1\n") + c.block + "   -1\n";
        auto reader = Reader(text);
        BrelonOnfTxtDatabase database(L"");
        database.LoadFrom(*reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS);
        const OnfBlockTextReader::BLOCK_INFO& info = reader->GetBlocksInfo().at(0);
        const auto& loaded = static_cast<const OnfBlock&>(database.GetDataBlock(info.descriptor));
        std::set<int> ids;
        for (auto it = loaded.Begin(); it.IsValid(); ++it) {
            ids.insert(loaded.GetId(*it));
        }
        Keys walk;
        WalkRecords(reader->GetLines(), LocateBlocks(reader->GetLines()).at(0), ReadFormat(info),
                    walk);
        EXPECT_EQ(std::set<int>(walk.keys.begin(), walk.keys.end()), ids) << c.what;
        EXPECT_EQ(walk.keys.size(), loaded.GetNumRecords()) << c.what;
        EXPECT_EQ(walk.leftOvers, 0u) << c.what;
    }
}

// The places of blocks follow the reader's outer grammar: sections, and the closing marker.
TEST(RecordWalk, PlacesEachBlockAsTheReaderDoes) {
    auto reader = Reader("# head\n\n   -1\n   -2\nLOADCASE = 2\n   -2\n   -3\nFORMAT = IRb\n   -3\n"
                         "NON_ONF\n1\n1, 2.5\n   -1\n   -1\n110\n0\n   -1\n");
    const std::vector<BlockPlace> places = LocateBlocks(reader->GetLines());
    ASSERT_EQ(places.size(), 2u);
    EXPECT_EQ(places[0].start, 2u);
    EXPECT_EQ(places[0].idLine, 9u);
    EXPECT_EQ(places[0].countLine, 10u);
    EXPECT_EQ(places[0].bodyStart, 11u);
    EXPECT_EQ(places[0].end, 12u);
    EXPECT_EQ(places[1].bodyStart, places[1].end); // no body
}

namespace {

// Everything a scope printed, and its counts.
struct Printed {
    std::string text;
    size_t errors = 0;
    size_t warnings = 0;
};

template <class Fill>
Printed PrintedBy(const std::string& file, std::shared_ptr<MessageLocator> locator, Fill fill) {
    char* buffer = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&buffer, &size);
    Printed printed;
    {
        FileLogScope scope(file, out);
        scope.SetLocator(locator);
        fill(scope);
        scope.Flush();
        printed.errors = scope.GetNumErrors();
        printed.warnings = scope.GetNumWarnings();
    }
    std::fclose(out);
    printed.text.assign(buffer, size);
    std::free(buffer);
    return printed;
}

} // namespace

// Messages come out in the order of their lines, each once; a kind of finding shows its first
// ones and counts the rest; a detail line follows the finding before it.
TEST(FileFindings, SortedOnceAndCapped) {
    const Printed printed = PrintedBy("f.onf", nullptr, [](FileLogScope& scope) {
        scope.Report(QSV_LogMacros::LOG_WARNING, "late", 9);
        scope.Report(QSV_LogMacros::LOG_ERROR, "first\nsecond line", 2);
        scope.Report(QSV_LogMacros::LOG_DETAIL, "detail of the first");
        scope.Report(QSV_LogMacros::LOG_ERROR, "first\nsecond line", 2);
        scope.Report(QSV_LogMacros::LOG_ERROR, "whole file");
        for (size_t i = 0; i < LOCATED_FINDINGS_SHOWN + 3; ++i) {
            scope.Report(QSV_LogMacros::LOG_ERROR, "bad", 20 + i, 4, "bad values");
        }
    });
    EXPECT_EQ(printed.errors, 2 + LOCATED_FINDINGS_SHOWN + 3);
    EXPECT_EQ(printed.warnings, 1u);
    const std::string head = "f.onf: error: whole file\n"
                             "f.onf:2: error: first\n"
                             "f.onf:2:   second line\n"
                             "f.onf:9: warning: late\n"
                             "f.onf:20:4: error: bad\n";
    EXPECT_EQ(printed.text.substr(0, head.size()), head);
    EXPECT_NE(
        printed.text.find("f.onf:39:4: error: bad\nf.onf: error: 3 more bad values not shown"),
        std::string::npos)
        << printed.text;
    EXPECT_EQ(printed.text.find("f.onf:40:4"), std::string::npos);
}

// The engine's messages point where they say or where the reader stopped; a file name of their
// own holding "line 7" does not mislead.
TEST(FileFindings, EngineMessagesPointToTheirLines) {
    const wchar_t* name = L"a line 7.onf";
    const std::string body = "   -1\n110\n1\n1, 0, 0, 1.0, 2.0\n   -1\n";
    auto reader = Reader(body, name);
    auto locator = std::make_shared<FileMessageLocator>(reader, "a line 7.onf");
    const Printed printed = PrintedBy("a line 7.onf", locator, [&](FileLogScope& scope) {
        BrelonOnfTxtDatabase database(L"");
        try {
            locator->SetCurrentBlock(0);
            database.LoadFrom(*reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS);
        } catch (const QSV_Failure& failure) {
            scope.ReportFailure(failure);
        }
    });
    EXPECT_EQ(
        printed.text.rfind("a line 7.onf:4: error: Error in ONF-file \"a line 7.onf\", line 4", 0),
        0u)
        << printed.text;
}

// A reader that fails keeps the blocks in front of the failure; the failing block is the next
// one, and each failure points to the line of it that is wrong.
TEST(FileFindings, ReaderFailuresPointIntoTheFailingBlock) {
    const struct {
        const char* text;
        size_t line;
    } cases[] = {
        {"   -1\n97\n0\n   -1\n   -1\n110\n3\n1, 0, 0, 1, 2, 3\n   -1\n", 7},
        {"   -1\n   -2\nONF_ID = 120\n   -2\n110\n0\n   -1\n", 5},
        {"   -1\n110\n1\n1, 0, 0, 1, 2, 3\n", 4},
    };
    for (const auto& c : cases) {
        auto reader = Reader("");
        auto locator = std::make_shared<FileMessageLocator>(reader, "t.onf");
        const Printed printed = PrintedBy("t.onf", locator, [&](FileLogScope& scope) {
            try {
                reader->LoadBuffer(c.text, std::strlen(c.text), L"t.onf",
                                   OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
                ADD_FAILURE() << c.text;
            } catch (const QSV_Failure& failure) {
                scope.ReportFailure(failure);
            }
        });
        EXPECT_EQ(printed.text.rfind("t.onf:" + std::to_string(c.line) + ": error: ", 0), 0u)
            << printed.text;
    }
}

TEST(Words, BlockOperandsNumbersAndSizes) {
    const struct {
        const char* text;
        bool ok;
        int number;
    } operands[] = {{"110", true, 110},       {"-1", true, -1},     {"non_onf", true, -1},
                    {"ONF_NODES", true, 110}, {"nodes", true, 110}, {"Onf_Elements", true, 140},
                    {"12y", false, 0},        {"", false, 0},       {"ONF_", false, 0},
                    {"99999999999", false, 0}};
    for (const auto& o : operands) {
        int number = 0;
        EXPECT_EQ(ParseBlockOperand(o.text, number), o.ok) << o.text;
        if (o.ok) {
            EXPECT_EQ(number, o.number) << o.text;
        }
    }
    EXPECT_EQ(Plural(1, "record"), "1 record");
    EXPECT_EQ(Plural(0, "property", "properties"), "0 properties");
    EXPECT_EQ(ReadableSize(1), "1 byte");
    EXPECT_EQ(ReadableSize(1023), "1023 bytes");
    EXPECT_EQ(ReadableSize(1536), "1.5 KiB");
    EXPECT_EQ(ReadableSize(143923386), "137.3 MiB");
}

// Every JSON text the command prints parses: quotes, controls and bytes that are no UTF-8.
TEST(Words, JsonStringsAreAlwaysValid) {
    EXPECT_EQ(JsonString("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
    EXPECT_EQ(JsonString("\xc3\xa9"), "\"\xc3\xa9\"");
    EXPECT_EQ(JsonString("\xc3(\xff\xed\xa0\x80"), "\"\\ufffd(\\ufffd\\ufffd\\ufffd\\ufffd\"");
}
