// The record grammar of a block: what LoadBlock makes of body lines, every report and failure
// of a load in its exact words, and the line rules of WriteRecord. Custom blocks with explicit
// formats exercise the grammar independently of the catalogue.
#include "BrelonLineInput.h"
#include "FailureExpect.h"
#include "LogCapture.h"
#include "OnfBlockSet.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>

using onf_test::CustomBlockText;
using onf_test::Dump;
using onf_test::LoadText;
using QSV_LogMacros::LOG_DETAIL;
using QSV_LogMacros::LOG_ERROR;

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfBlock";

struct GrammarCase {
    const char* name;
    const char* format;
    size_t count;
    const char* body;
    const char* dump;  // the records afterwards, as onf_test::Dump writes them
    const char* error; // a part of the level 1 report, or "" for none
};

const char* const kMismatch = "being decoded does not match the";
const char* const kInvalid = "Invalid numeric value(s) encountered while loading ONF-Block -1.";

const GrammarCase kCases[] = {
    {"absent optional keeps the slot", "Iib", 1, "1, 2\n", "1:2,0", ""},
    {"mandatory value continues on the next line", "IRb", 2, "1, 5\n2.5\n", "1:5,2.5", kMismatch},
    {"optionals never continue, a mandatory does", "iIb", 2, "1\n6\n", "1:0,6", kMismatch},
    {"sign and trailing text of keys", "Ib", 2, "+7, 1\n8x, 2\n", "7:1;8:2", ""},
    {"tokens behind the format are ignored", "Ib", 2, "1, 2, 3, 4\n2, 5\n", "1:2;2:5", ""},
    {"key named by the format", "I|SFb", 1, "5, abc, 2.5\n", "5:abc,2.5", ""},
    {"bar anywhere names the key", "SI|b", 1, "3, 4\n", "3:4", ""},
    {"float narrowed to 32 bits", "Fb", 1, "1, 0.1\n", "1:0.10000000149011612", ""},
    {"vector and tensor on one line", "VTb", 1, "1, 1, 2, 3, 4, 5, 6, 7, 8, 9\n",
     "1:1 2 3,4 5 6 7 8 9", ""},
    {"lists start on lines of their own", "IbLbOb", 3, "1, 4\n3, 1, 3\n5, 5, 1\n",
     "1:4,{3 1 3},{1 5}", kMismatch},
    {"list runs and continued lines", "bLb", 3, "1\n1-3, 7-11:2, \n20\n", "1:{1 2 3 7 9 11 20}",
     kMismatch},
    {"real list", "bDb", 2, "1\n0.5, 1e+300, -0\n", "1:{0.5 1e+300 -0}", kMismatch},
    {"quoted string keeps its separator", "Sb", 1, "1, \"a, b\"\n", "1:\"a, b\"", ""},
    {"integer wraps at 32 bits and is counted", "Ib", 1, "1, 4294967297\n", "1:1", kInvalid},
    {"text for an integer reads 0", "Ib", 1, "1, abc\n", "1:0", kInvalid},
    {"real text for an integer stops at the point", "IRb", 1, "1, 1.5, 3\n", "1:1,3", kInvalid},
    {"an empty line is a record with key 0", "iib", 2, "1, 5\n\n", "0:0,0;1:5,0", ""},
    {"an empty block loads quietly", "Ib", 0, "", "", ""},
};

class GrammarTest : public testing::TestWithParam<GrammarCase> {};

TEST_P(GrammarTest, LoadsRecords) {
    const GrammarCase& c = GetParam();
    onf_test::LogCapture log;
    OnfBlockSet db;
    LoadText(db, CustomBlockText(c.format, c.count, c.body));
    EXPECT_EQ(Dump(onf_test::FirstBlock(db)), c.dump);
    std::string errors;
    for (const onf_test::LogLine& line : log.lines) {
        errors += line.level == LOG_ERROR ? line.message : "";
    }
    if (*c.error == '\0') {
        EXPECT_EQ(errors, "");
    } else {
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
    }
}

INSTANTIATE_TEST_SUITE_P(Block, GrammarTest, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<GrammarCase>& info) {
                             std::string name = info.param.name;
                             for (char& ch : name) {
                                 ch = isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                             }
                             return name;
                         });

// A block body whose load ends early, and the words it ends with.
struct EarlyEnd {
    const char* format;
    size_t count;
    const char* body;
    const char* message;
    const char* dump; // a report: the records read before it
    const char* id;   // a failure: its identifier
};

// Reports end the load without an exception and leave what was read.
TEST(BlockLoadReports, ExactWords) {
    const EarlyEnd reports[] = {
        {"Ib", 2, "1, 2\n1, 3\n",
         "An error was encountered while reading the ONF-file:\n\"mem.onf\"\n--> ONF-block -1 "
         "contains more than one record with id = 1.",
         "1:2", ""},
        {"IIb", 1, "1, 2\n",
         "A format syntax error was encountered while reading the ONF-file:\n\"mem.onf\"\n--> the "
         "lines defining ONF-block -1 are depleted prematurely at line 8.",
         "1:2,0", ""},
        // clang-format off
        {"IRb", 2, "1, 5\n2.5\n",
         "A format error was encountered while reading the ONF-file:\n\"mem.onf\"\n--> the ONF-block -1 being decoded does not match the specification!",
         "1:5,2.5", ""},
        // clang-format on
    };
    for (const EarlyEnd& r : reports) {
        onf_test::LogCapture log;
        OnfBlockSet db;
        LoadText(db, CustomBlockText(r.format, r.count, r.body));
        ASSERT_EQ(log.lines.size(), 1u) << r.message;
        EXPECT_EQ(log.lines[0].level, LOG_ERROR);
        EXPECT_EQ(log.lines[0].tag, kTag);
        EXPECT_EQ(log.lines[0].message, r.message);
        EXPECT_EQ(Dump(onf_test::FirstBlock(db)), r.dump);
    }
}

TEST(BlockLoadReports, BadNumbersAreCountedByKind) {
    onf_test::LogCapture log;
    OnfBlockSet db;
    LoadText(db, CustomBlockText("RRb", 2, "1, nan, inf\n2, abc, -inf\n"));
    ASSERT_EQ(log.lines.size(), 4u);
    EXPECT_EQ(log.lines[0].level, LOG_ERROR);
    EXPECT_EQ(log.lines[0].message, kInvalid);
    EXPECT_EQ(log.lines[1].level, LOG_DETAIL);
    EXPECT_EQ(log.lines[1].message, "NaN     values encountered: 1.");
    EXPECT_EQ(log.lines[2].message, "Inf     values encountered: 2.");
    EXPECT_EQ(log.lines[3].message, "Invalid values encountered: 1.");
    EXPECT_EQ(Dump(onf_test::FirstBlock(db)), "1:nan,inf;2:0,-inf");
}

// Record lines are cut where they stand, eight bytes at a time, while list lines go through the
// shared splitter: a record line must give the tokens the splitter gives, wherever a comma, quote
// or blank falls within a word of the line.
TEST(BlockLoadTokens, RecordLinesCutAsTheSplitterCutsThem) {
    const char* const rests[] = {"abcdefgh,ijklmnopq,r",
                                 "  a  ,\tb\t, c \r",
                                 "\"x, y\", z",
                                 "\"open, and running, to the end",
                                 "a\"b,c\"d, e\"f\"",
                                 ",,",
                                 "a token much longer than one word of eight bytes",
                                 "q\"\", \"\"r,  ,\v",
                                 "\xC3\xA9t\xC3\xA9 ,\"\""};
    for (const char* rest : rests) {
        for (size_t pad = 0; pad < 8; ++pad) {
            const std::string line = "7," + std::string(pad, ' ') + rest;
            TextLineSplitter splitter(4);
            splitter.SplitLine(line.c_str(), TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
            std::string format;
            std::string dump = "7:";
            for (size_t i = 1; i < splitter.GetNumTokens(); ++i) {
                format += 'S';
                dump += (i > 1 ? "," : "") + std::string(splitter.GetToken(i));
            }
            OnfBlockSet db;
            LoadText(db, CustomBlockText(format + "b", 1, line + "\n"));
            EXPECT_EQ(Dump(onf_test::FirstBlock(db)), dump) << line;
        }
    }
}

// Failures leave LoadFrom; the block being loaded is dropped.
TEST(BlockLoadFailures, ExactWords) {
    const EarlyEnd failures[] = {
        {"Ib", 1, "1, 2\n2, 3\n",
         "Error in ONF-file mem.onf, block -1:\nLine 8 is outside of the expected range for the "
         "block.\nThe block is expected to contain 1 records, but it\nactually contains more "
         "records/items!",
         "", "270312164733"},
        {"Vb", 1, "1, 1, 2\n",
         "Error in ONF-file \"mem.onf\", line 7 (in ONF data block -1):\nA vector with 3 "
         "components is expected, but some values are missing!",
         "", "221112190655"},
        {"IbTb", 2, "1, 2\n1, 2, 3, 4, 5\n",
         "Error in ONF-file \"mem.onf\", line 8 (in ONF data block -1):\nA tensor with 6 "
         "components is expected, but some values are missing!",
         "", "101217102547"},
        {"Ib", 1, "2000000000, 1\n",
         "Error in ONF-file mem.onf, block -1:\nThe record id 2000000000 in line 7 cannot serve "
         "as a record index.\nThe ids of this block must lie between 0 and 65535.",
         "", ""},
        {"Ib", 1, "-1, 1\n",
         "Error in ONF-file mem.onf, block -1:\nThe record id -1 in line 7 cannot serve as a "
         "record index.\nThe ids of this block must lie between 0 and 65535.",
         "", ""},
    };
    for (const EarlyEnd& f : failures) {
        OnfBlockSet db;
        onf_test::ExpectFailure([&] { LoadText(db, CustomBlockText(f.format, f.count, f.body)); },
                                f.id, kTag, f.message);
        EXPECT_TRUE(db.GetDataBlocks(QSV_DataDescriptorPattern()).empty());
    }
}

// ---- Writing ----------------------------------------------------------------------------------

OnfBlock& NewCustomBlock(OnfBlockSet& db, const std::string& format) {
    return static_cast<OnfBlock&>(
        db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(5000)), 0, 0, format));
}

TEST(BlockWriting, TenValuesALine) {
    OnfBlockSet db;
    OnfBlock& block = NewCustomBlock(db, "RRRRRRRRRRRRb");
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(1, created);
    for (int item = 1; item <= 12; ++item) {
        block.SetRecordItem(index, static_cast<OnfBlock::Item>(item), double(item));
    }
    EXPECT_EQ(onf_test::WrittenRecordLines(block),
              (std::vector<std::string>{"1, 1, 2, 3, 4, 5, 6, 7, 8, 9", "10, 11, 12"}));
}

TEST(BlockWriting, LineBreaksOfOptionalsAndLists) {
    struct Case {
        const char* format;
        const char* body;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        // Values behind an optional start a fresh line, so that a reader finds them again.
        {"iIb", "1, 2, 3\n", {"1, 2", "3"}},
        {"iib", "1, 2, 3\n", {"1, 2, 3"}},
        // A list goes out on lines of its own; the `b` behind it adds no empty line.
        {"IbLbIb", "1, 4\n5, 6\n7\n", {"1, 4", "5, 6", "7"}},
        {"bLb", "1\n\n", {"1", ""}},
        {"VTb", "1, 1, 2, 3, 4, 5, 6, 7, 8, 9\n", {"1, 1, 2, 3, 4, 5, 6, 7, 8, 9"}},
        {"IIIIIIIIIVb",
         "1, 1, 2, 3, 4, 5, 6, 7, 8, 9\n0.5, 1, 2\n",
         {"1, 1, 2, 3, 4, 5, 6, 7, 8, 9", "0.5, 1, 2"}},
        // A format without a final `b` still ends its block's last line.
        {"I", "1, 2\n", {"1, 2"}},
    };
    for (const Case& c : cases) {
        onf_test::LogCapture log;
        OnfBlockSet db;
        const size_t lines = std::count(c.body, c.body + std::strlen(c.body), '\n');
        LoadText(db, CustomBlockText(c.format, lines, c.body));
        EXPECT_EQ(onf_test::WrittenRecordLines(onf_test::FirstBlock(db)), c.lines) << c.format;
    }
}

TEST(BlockWriting, HeaderOfEmptyCustomBlock) {
    OnfBlockSet db;
    NewCustomBlock(db, "Ib").SetUserHeader("made by a test");
    EXPECT_EQ(onf_test::WrittenLines(onf_test::FirstBlock(db)),
              (std::vector<std::string>{"#", "# DATA BLOCK NON_ONF: Custom dynamic format block",
                                        "#", "# made by a test", "#", "   -1", "   -3", "FORMAT=Ib",
                                        "   -3", "   NON_ONF", "0", "   -1"}));
}

TEST(BlockWriting, DescriptorSectionAndIdOrder) {
    OnfBlockSet db;
    QSV_DataDescriptor descriptor(static_cast<QSV_OnfId>(110));
    descriptor.SetInteger(QSV_DataDescriptor::RI_LOADCASE, 3);
    descriptor.SetString(QSV_DataDescriptor::RI_MODEL, "wing");
    OnfBlock& nodes = static_cast<OnfBlock&>(db.CreateDataBlock(descriptor, 0));
    bool created = false;
    for (int id : {2, 300, -5, 1}) {
        nodes.GetWarrantedRecordIdx(id, created);
    }
    const std::vector<std::string> lines = onf_test::WrittenLines(nodes);
    const std::vector<std::string> expected = {"#",
                                               "# DATA BLOCK 110: ONF_NODES",
                                               "#",
                                               "   -1",
                                               "   -2",
                                               "MODEL=wing",
                                               "LOADCASE=3",
                                               "   -2",
                                               "   110",
                                               "4",
                                               "1, 0, 0, 0, 0, 0",
                                               "2, 0, 0, 0, 0, 0",
                                               "300, 0, 0, 0, 0, 0",
                                               "-5, 0, 0, 0, 0, 0",
                                               "   -1"};
    EXPECT_EQ(lines, expected);
    // A deleted record is neither counted nor written.
    nodes.DeleteRecord(static_cast<size_t>(nodes.GetRecordIdx(300)));
    EXPECT_EQ(onf_test::WrittenRecordLines(nodes).size(), 3u);
    EXPECT_EQ(onf_test::WrittenLines(nodes)[9], "3");
}

TEST(BlockWriting, RecordsGoOutInIdOrderWhereverOneIsOutOfPlace) {
    // Ids made in ascending order, one record deleted; then the same with one id out of place as
    // the last record, which only a look at every record tells.
    for (const bool late : {false, true}) {
        OnfBlockSet db;
        OnfBlock& nodes = static_cast<OnfBlock&>(
            db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(110)), 0));
        bool created = false;
        std::vector<std::string> expected;
        for (int id = 2; id <= 40; id += 2) {
            nodes.GetWarrantedRecordIdx(id, created);
            expected.push_back(std::to_string(id) + ", 0, 0, 0, 0, 0");
        }
        nodes.DeleteRecord(static_cast<size_t>(nodes.GetRecordIdx(10)));
        expected.erase(expected.begin() + 4);
        nodes.GetWarrantedRecordIdx(-5, created); // among the largest ids as unsigned numbers
        expected.push_back("-5, 0, 0, 0, 0, 0");
        if (late) {
            nodes.GetWarrantedRecordIdx(25, created);
            expected.insert(expected.begin() + 11, "25, 0, 0, 0, 0, 0");
        }
        EXPECT_EQ(onf_test::WrittenRecordLines(nodes), expected) << late;
    }
}

} // namespace
