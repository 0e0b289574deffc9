// Result items and data blocks of the result file.
#include "BrelonLineInput.h"
#include "FailureExpect.h"
#include "OnfBlockTextReader.h"
#include "onf_datablock.h"
#include "test_stream_util.h"

#include <gtest/gtest.h>

#include <cstring>
#include <locale>
#include <random>
#include <sstream>

using onf_stream_test::CatchFailure;
using onf_test::ExpectFailure;

namespace {

// A reader over one block 710 whose body is `body`, positioned on it.
struct BlockLines {
    explicit BlockLines(const std::string& body, int count = 1)
        : text("   -1\n710\n" + std::to_string(count) + "\n" + body + "   -1\n"),
          reader(text.data(), text.size(), L"items.onf", OnfBlockTextReader::UNKNOWN_BLOCK_KEEP) {
        reader.ProvideBlock(0);
    }
    std::string text;
    OnfBlockTextReader reader;
    TextLineSplitter splitter{16};
};

template <class T>
std::string Written(const T& value) {
    std::ostringstream os;
    os.precision(6);
    os.setf(std::ios_base::scientific, std::ios_base::floatfield);
    os.setf(std::ios_base::showpoint);
    os << value;
    return os.str();
}

} // namespace

TEST(StreamItems, EachItemReadsAndWritesOneLine) {
    std::istringstream is("Iteration 3\n7, 5.0e-01\n8 ,\n1.5 , 2, 3\n-2,1,-2.5,0\n9, 2.25\n");
    ONFOptResTitle title;
    ONFOptResNodalScalar scalar;
    ONFOptResNodalVector vector;
    ONFOptResNodalDisp disp;
    ONFOptResElemScalar element;
    is >> title >> scalar >> vector >> disp >> element;
    EXPECT_FALSE(is.fail());
    EXPECT_EQ(Written(title) + Written(scalar) + Written(vector) + Written(disp) + Written(element),
              "Iteration 3\n7, 5.000000e-01\n8, 1.500000e+00, 2.000000e+00, 3.000000e+00\n"
              "-2, 1.000000e+00, -2.500000e+00, 0.000000e+00\n9, 2.250000e+00\n");
    is.setstate(std::ios_base::failbit); // a failed stream reads nothing: the title stays
    is >> title;
    EXPECT_EQ(title.GetSubtitle(), "Iteration 3");
}

// Item lines take a fast path for the result file's own number format: it must write what the
// stream writes under any other locale object with the same punctuation.
TEST(StreamItems, FastRealTextEqualsTheStreamsText) {
    std::mt19937_64 random(7);
    std::ostringstream fast;
    std::ostringstream slow;
    slow.imbue(std::locale(std::locale::classic(), new std::numpunct<char>()));
    for (std::ostringstream* os : {&fast, &slow}) {
        os->setf(std::ios_base::scientific, std::ios_base::floatfield);
        os->setf(std::ios_base::showpoint);
    }
    for (int i = 0; i < 3000; ++i) {
        uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        fast.precision(1 + i % 17);
        slow.precision(1 + i % 17);
        fast << ONFOptResNodalVector(-i, value, 1.0 / (i + 1), i * 1e-310);
        slow << ONFOptResNodalVector(-i, value, 1.0 / (i + 1), i * 1e-310);
    }
    EXPECT_EQ(fast.str(), slow.str());
}

TEST(StreamItems, BadNumberFailsOnlyForElementScalars) {
    std::istringstream nodal("12, abc\n");
    ONFOptResNodalScalar scalar(3, 1.0);
    nodal >> scalar; // no failure: the fail bit is left for the block level
    EXPECT_TRUE(nodal.fail());
    EXPECT_EQ(scalar.GetID(), 3);

    ONF_LINE_NR = 4;
    std::istringstream element("12, abc\nnext");
    ONFOptResElemScalar item;
    ExpectFailure([&] { element >> item; }, "", "|%P|BrelonOnfEngine|ONFOptResElemScalar",
                  "Cannot parse ONF block 740 around line 5. Line Image: \" 12, abc \"");
    std::string rest;
    std::getline(element, rest);
    EXPECT_EQ(rest, "next");
}

TEST(StreamItems, BlockRouteNeedsEnoughTokens) {
    BlockLines good("-3, 1.5, 2.0\nabc, 2\n", 2);
    ONFOptResNodalScalar scalar;
    scalar.LoadFrom(good.reader, good.splitter); // the third token is ignored
    EXPECT_EQ(scalar.GetID(), -3);
    EXPECT_EQ(scalar.GetValue(), 1.5);
    scalar.LoadFrom(good.reader, good.splitter);
    EXPECT_EQ(scalar.GetID(), 0);

    const auto expectWrong = [](auto item, const char* id, const char* tagClass, const char* body) {
        BlockLines lines(body);
        ExpectFailure([&] { item.LoadFrom(lines.reader, lines.splitter); }, id,
                      "|%P|BrelonOnfEngine|" + std::string(tagClass), "Wrong ONF format!");
    };
    expectWrong(ONFOptResNodalScalar(), "100916043212", "ONFOptResNodalScalar", "5\n");
    expectWrong(ONFOptResNodalVector(), "100916043414", "ONFOptResNodalVector", "5, 1, 2\n");
    expectWrong(ONFOptResElemScalar(), "100916043622", "ONFOptResElemScalar", "5\n");
}

TEST(StreamBlocks, ResultBlockTextAndReadingAddsEntries) {
    ONFOptDataBlock<ONFOptResElemScalar> block;
    ONFOptDataBlockEntry<ONFOptResElemScalar> entry(2, "Stress");
    entry.PushBackItem(ONFOptResElemScalar(10, 1.0));
    block.PushBackEntry(entry);
    block.PushBackEntry(ONFOptDataBlockEntry<ONFOptResElemScalar>(3, "Empty"));
    const std::string text = Written(block);
    EXPECT_EQ(text, "#\n# DATA BLOCK 740: ONF OPT Result Element Scalar Value\n#\n   -1\n740\n2\n"
                    "2\nStress\n1\n10, 1.000000e+00\n3\nEmpty\n0\n   -1\n");

    std::istringstream is(text.substr(text.find("740\n") + 4));
    is >> block; // appended behind the two entries there are
    ASSERT_EQ(block.GetSize(), 4);
    EXPECT_EQ(block.GetEntry(2).GetTitle(), "Stress");
    EXPECT_EQ(block.GetEntry(2).GetItem(0).GetValue(), 1.0);
    EXPECT_EQ(block.GetEntry(3).GetCount(), 0);
}

TEST(StreamBlocks, IndexOutOfRangeIsASystemFailure) {
    ONFOptDataBlock<ONFOptResNodalScalar> block;
    block.Resize(1);
    const auto& constBlock = block;
    const QSV_Failure entry = CatchFailure([&] { constBlock.GetEntry(-1); });
    ExpectFailure(entry, "161516150210", "|%P|BrelonOnfEngine|ONFOptDataBlock", entry.GetMessage());
    const QSV_Failure item = CatchFailure([&] { block.GetEntry(0).GetItem(0); });
    ExpectFailure(item, "161515150210", "|%P|BrelonOnfEngine|ONFOptDataBlockEntry",
                  item.GetMessage());
    EXPECT_EQ(item.GetMessage().rfind("System exception ", 0), 0u);
}

TEST(StreamBlocks, FailureInsideAnEntryIsNestedWithItsNumber) {
    ONF_LINE_NR = 0;
    std::istringstream is("2\n1\nfirst\n1\n5, 1.0\n2\nsecond\n2\n6, 2.0\n7, abc\n");
    ONFOptDataBlock<ONFOptResElemScalar> block;
    const QSV_Failure failure = CatchFailure([&] { is >> block; });
    ExpectFailure(failure, "161518150210", "|%P|BrelonOnfEngine|ONFOptDataBlock",
                  "Error has occurred while reading an ONF file, data block item 2");
    ASSERT_NE(failure.GetNested(), nullptr);
    EXPECT_EQ(failure.GetNested()->GetMessage(),
              "Cannot parse ONF block 740 around line 9. Line Image: \" 7, abc \"");

    std::istringstream truncated("1\n1\nfirst\n3\n5, 1.0\n");
    ONFOptDataBlock<ONFOptResNodalScalar> nodal;
    const QSV_Failure cut = CatchFailure([&] { truncated >> nodal; });
    EXPECT_EQ(cut.GetId(), "161518150210");
    ASSERT_NE(cut.GetNested(), nullptr);
    EXPECT_EQ(cut.GetNested()->GetId(), "161000150210");
}

TEST(StreamBlocks, GroupBlockKeepsTheFirstGroupOfAnId) {
    std::istringstream is("3\n4, 1\nfirst\n9\n2, 2\nsecond\n1, 2\n4, 1\nagain\n7\n");
    ONFDataBlock<ONFNodeGroup> block;
    is >> block;
    ASSERT_EQ(block.GetSize(), 2);
    EXPECT_EQ(block.GetItem(0).GetName(), "first");
    EXPECT_EQ(block.FindIndex(2), 1);
    EXPECT_EQ(Written(block), "#\n# DATA BLOCK 200: ONF NODE GROUP DEFINITION\n#\n   -1\n200\n2\n"
                              "2, 2\nsecond\n1, 2\n4, 1\nfirst\n9\n   -1\n");

    std::istringstream bad("2\n1, 1\na\n5\n2 1\nb\n");
    const QSV_Failure failure = CatchFailure([&] { bad >> block; });
    ExpectFailure(failure, "161509150210", "|%P|BrelonOnfEngine|ONFDataBlock",
                  "Error has occurred while reading an ONF file, data block item 4");
    ASSERT_NE(failure.GetNested(), nullptr);
    EXPECT_EQ(failure.GetNested()->GetId(), "161000150210");
}

TEST(StreamBlocks, HugeCountsInShortInputStopOrFail) {
    // A title reads quietly at the end of the input: the block stops instead of making two
    // thousand million entries.
    std::istringstream titles("2000000000\n1\nonly\n2000000000\nline\n");
    ONFOptDataBlock<ONFOptResTitle> block;
    titles >> block;
    ASSERT_EQ(block.GetSize(), 1);
    ASSERT_EQ(block.GetEntry(0).GetSize(), 2); // the title read at the end is empty
    EXPECT_EQ(block.GetEntry(0).GetItem(0).GetSubtitle(), "line");
    EXPECT_EQ(block.GetEntry(0).GetCount(), block.GetEntry(0).GetSize());

    BlockLines lines("1\ntitle\n2000000000\n5, 1.0\n", 1);
    ONFOptDataBlock<ONFOptResNodalScalar> nodal;
    const QSV_Failure failure =
        CatchFailure([&] { nodal.LoadFrom(lines.reader, 1, lines.splitter); });
    ExpectFailure(failure, "", "|%P|BrelonOnfEngine|ONFOptResNodalScalar",
                  "The ONF file \"items.onf\" ends a data block at line 8 before all of its "
                  "records were read.");
    EXPECT_EQ(nodal.GetSize(), 0);
}

// Callers use the header constants both as strings and as C strings.
TEST(StreamBlocks, HeaderConstantsCompareAsTextInEitherForm) {
    EXPECT_EQ(ONFOptResNodalDisp::header, "ONF OPT Result Nodal Displacement Value");
    EXPECT_EQ(ONFNodeGroup::GetHeader(), "ONF NODE GROUP DEFINITION");
    EXPECT_STREQ(ONFOptResTitle::header, "ONF OPT Result Title");
    EXPECT_STREQ(ONFElementGroup::GetHeader(), "ONF ELEMENT GROUP DEFINITION");
    const std::string copied = ONFOptResElemScalar::header;
    EXPECT_EQ(copied, ONFOptResElemScalar::GetHeader());
}
