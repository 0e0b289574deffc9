#include "BrelonTextServices.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <unistd.h>

namespace {

using BrelonFormatUtil::is_valid_double;
using BrelonFormatUtil::str_to_double;

uint64_t Bits(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

double FromBits(uint64_t bits) {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string Text(double value) {
    return FloatingPointFormatter().ToString(value);
}

// Lines in memory, handed out the way the block reader hands out a block's body.
class MemoryLines : public TextLinesProvider {
public:
    explicit MemoryLines(std::vector<std::string> lines) : m_Lines(std::move(lines)) {}
    const char* GetLine() const override { return m_Lines[m_Next].c_str(); }
    const char* ExtractLine() override {
        return m_Next < m_Lines.size() ? m_Lines[m_Next++].c_str() : nullptr;
    }
    void Rewind() override { m_Next = 0; }
    size_t GetCurrentIdx() const override { return m_Next; }
    const std::wstring& FileName() const override { return m_Name; }

private:
    std::vector<std::string> m_Lines;
    size_t m_Next = 0;
    std::wstring m_Name = L"list.onf";
};

// Positions `lines` on its first line and splits it, as the block loader does ahead of a list.
void StartList(MemoryLines& lines, TextLineSplitter& splitter) {
    splitter.SplitLine(lines.ExtractLine(), TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
}

std::vector<int> ReadInts(const std::vector<std::string>& text, size_t* linesLeft = nullptr) {
    std::vector<std::string> withTail = text;
    withTail.push_back("next record");
    MemoryLines lines(withTail);
    TextLineSplitter splitter(16);
    StartList(lines, splitter);
    std::vector<int> values{42}; // replaced, not appended to
    QSV_ListFormatUtil::read_onf_int_list(lines, values, splitter);
    if (linesLeft != nullptr) {
        *linesLeft = withTail.size() - lines.GetCurrentIdx();
    }
    return values;
}

std::vector<std::string> WriteInts(const std::vector<int>& values, int type) {
    onf_detail::VectorLinesWriter writer;
    CsvLineWriter csv(1024, ", ");
    TextLineFormatter formatter(&csv);
    QSV_ListFormatUtil::write_onf_int_list(values, type, writer, formatter);
    return writer.GetLines();
}

std::string Folded(const std::vector<int>& values) {
    std::string text;
    onf_detail::fold_int_list(values.data(), values.size(), text);
    return text;
}

TEST(RealText, EveryBitPatternReadsBackToTheSameBits) {
    std::mt19937_64 random(20240611);
    std::vector<uint64_t> patterns = {0,
                                      uint64_t(1) << 63,      // -0
                                      1,                      // smallest subnormal
                                      0x000fffffffffffffULL,  // largest subnormal
                                      0x0010000000000000ULL,  // smallest normal
                                      0x7fefffffffffffffULL,  // largest finite
                                      0x7ff0000000000000ULL,  // inf
                                      0xfff0000000000000ULL,  // -inf
                                      0x7ff8000000000000ULL,  // default quiet NaN
                                      0xfff8000000000000ULL,  // the NaN arithmetic makes
                                      0x7ff0000000000001ULL,  // signalling NaN
                                      0xfff8000000000abcULL,  // NaN with payload
                                      0x7fffffffffffffffULL}; // all-ones NaN
    for (int i = 0; i < 200000; ++i) {
        uint64_t bits = random();
        // Bias a third of the cases towards subnormals and NaN / infinity exponents.
        if (i % 3 == 1) {
            bits &= 0x800fffffffffffffULL;
        } else if (i % 3 == 2) {
            bits |= 0x7ff0000000000000ULL;
        }
        patterns.push_back(bits);
    }
    for (uint64_t bits : patterns) {
        std::string text = Text(FromBits(bits));
        ASSERT_LT(text.size(), FloatingPointFormatter::MAX_TEXT_SIZE);
        const char* end = nullptr;
        double back = str_to_double(text.c_str(), &end);
        ASSERT_EQ(Bits(back), bits) << text;
        ASSERT_EQ(end, text.c_str() + text.size()) << text;
        NumericValueState expected = std::isnan(FromBits(bits))   ? BrelonFormatUtil::NVS_NAN
                                     : std::isinf(FromBits(bits)) ? BrelonFormatUtil::NVS_INFINITE
                                                                  : BrelonFormatUtil::NVS_VALID;
        if (text.find_first_of(".e") == std::string::npos && FromBits(bits) >= -2147483648.0 &&
            FromBits(bits) <= 2147483647.0) {
            expected = BrelonFormatUtil::NVS_INVALID; // integer-shaped: the caller's is_int decides
        }
        ASSERT_EQ(is_valid_double(text.c_str(), text.size()), expected) << text;
    }
}

TEST(RealText, SpecialValuesAndNamesHaveTheirDocumentedText) {
    EXPECT_EQ(Text(-0.0), "-0");
    EXPECT_EQ(Text(0.1), "0.1");
    EXPECT_EQ(Text(1.0), "1");
    EXPECT_EQ(Text(-2.5e-7), "-2.5e-07");
    EXPECT_EQ(Text(FromBits(1)), "5e-324");
    EXPECT_EQ(Text(HUGE_VAL), "inf");
    EXPECT_EQ(Text(-HUGE_VAL), "-inf");
    EXPECT_EQ(Text(FromBits(0x7ff8000000000000ULL)), "nan");
    EXPECT_EQ(Text(FromBits(0xfff8000000000000ULL)), "-nan");
    EXPECT_EQ(Text(FromBits(0x7ff0000000000001ULL)), "nan(0x1)");
    EXPECT_EQ(Text(FromBits(0xfff8000000000abcULL)), "-nan(0x8000000000abc)");
    EXPECT_EQ("TR_T_" + BrelonStringUtil::String(0.5), "TR_T_0.5");
    EXPECT_EQ(BrelonStringUtil::String(1e20), "1e+20");
}

TEST(RealText, ReadsWhatPeopleWriteAndStopsWhereTheNumberEnds) {
    struct Case {
        const char* text;
        double value;
        size_t used;
    };
    const Case cases[] = {
        {"1.5", 1.5, 3},
        {"-2e-3", -0.002, 5},
        {"+7", 7.0, 2},
        {"1.E5", 1e5, 4},
        {".5", 0.5, 2},
        {"5.", 5.0, 2},
        {"  3.25x", 3.25, 6},
        {"1e", 1.0, 1},
        {"1e+", 1.0, 1},
        {"2E+2", 200.0, 4},
        {"0.1", 0.1, 3},
        {"1e999", HUGE_VAL, 5},
        {"-1e999", -HUGE_VAL, 6},
        {"1e-400", 0.0, 6},
        {"INF", HUGE_VAL, 3},
        {"-Infinity", -HUGE_VAL, 9},
        {"infinit", HUGE_VAL, 3},
        {"abc", 0.0, 0},
        {"", 0.0, 0},
        {"-", 0.0, 0},
        {".", 0.0, 0},
        {"0x10", 0.0, 1},
        {"1,5", 1.0, 1},
        {"123456789012345678901234567890", 123456789012345678901234567890.0, 30},
    };
    for (const Case& c : cases) {
        const char* end = nullptr;
        double value = str_to_double(c.text, &end);
        EXPECT_EQ(Bits(value), Bits(c.value)) << c.text;
        EXPECT_EQ(size_t(end - c.text), c.used) << c.text;
    }
    EXPECT_EQ(str_to_double("2.5", nullptr), 2.5);
    EXPECT_TRUE(std::isnan(str_to_double("NaN", nullptr)));
    // A payload that is no NaN (0, or beyond 52 bits) leaves the parenthesis unread.
    const char* end = nullptr;
    EXPECT_EQ(Bits(str_to_double("nan(0x0)", &end)), 0x7ff8000000000000ULL);
    EXPECT_STREQ(end, "(0x0)");
    EXPECT_EQ(Bits(str_to_double("-nan(0x10000000000000)", &end)), 0xfff8000000000000ULL);
    EXPECT_STREQ(end, "(0x10000000000000)");
}

TEST(RealText, ClassifiesNumberTextsForTheLoadersCounters) {
    using namespace BrelonFormatUtil;
    struct Case {
        const char* text;
        NumericValueState state;
    };
    const Case cases[] = {
        {"1.5", NVS_VALID},
        {"-2e-3", NVS_VALID},
        {"1.E5", NVS_VALID},
        {"1e-400", NVS_VALID},
        {"0.0", NVS_VALID},
        {"99999999999", NVS_VALID},
        {"1.7976931348623157e308", NVS_VALID},
        {"1.7976931348623159e308", NVS_INFINITE},
        {"1e999", NVS_INFINITE},
        {"-inf", NVS_INFINITE},
        {"Infinity", NVS_INFINITE},
        {"nan", NVS_NAN},
        {"-NaN", NVS_NAN},
        {"nan(0x1)", NVS_NAN},
        {"7", NVS_INVALID},
        {"-2147483648", NVS_INVALID},
        {"2147483648", NVS_VALID},
        {"", NVS_INVALID},
        {"abc", NVS_INVALID},
        {"1.5x", NVS_INVALID},
        {"1e", NVS_INVALID},
        {"--1", NVS_INVALID},
        {" 1.5", NVS_INVALID},
        {"1.5 ", NVS_INVALID},
        {"nan(0x0)", NVS_INVALID},
        {"infinit", NVS_INVALID},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(is_valid_double(c.text, std::strlen(c.text)), c.state) << c.text;
    }
    // Only `length` bytes count: no NUL is needed behind them.
    EXPECT_EQ(is_valid_double("2.5e3xyz", 5), NVS_VALID);
    EXPECT_EQ(is_valid_double("2.5e3xyz", 4), NVS_INVALID);
}

TEST(IntegerText, MatchesTheStandardLibraryAcrossDigitCounts) {
    std::vector<int> values = {0, 9, 10, 99, 100, 101, INT_MAX, INT_MIN, INT_MIN + 1, -1, -10};
    for (int v = 1; v > 0 && v < INT_MAX / 10; v *= 10) {
        values.insert(values.end(), {v - 1, v, v + 1, -v, -v + 1});
    }
    std::mt19937 random(7);
    for (int i = 0; i < 10000; ++i) {
        values.push_back(int(random()));
    }
    for (int v : values) {
        ASSERT_EQ(BrelonFormatUtil::int_to_str(v), std::to_string(v));
    }
}

TEST(CsvLine, JoinsValuesGrowsPastItsCapacityAndStartsAfreshAfterClear) {
    CsvLineWriter line(4, ", ");
    EXPECT_TRUE(line.IsEmpty());
    EXPECT_STREQ(line.GetLine(), "");
    line.AppendValue(-12);
    line.AppendValue(0.5);
    line.AppendValue("");
    line.AppendValue("name");
    line.AppendValue(static_cast<const char*>(nullptr));
    EXPECT_STREQ(line.GetLine(), "-12, 0.5, , name, ");
    EXPECT_EQ(line.GetLength(), std::strlen("-12, 0.5, , name, "));
    EXPECT_EQ(line.GetNumValues(), 5u);

    line.Clear();
    EXPECT_TRUE(line.IsEmpty());
    std::string expected;
    const std::string longText(3000, 'x');
    for (int i = 0; i < 50; ++i) {
        line.AppendValue(-1.25e-300);
        line.AppendValue(longText.c_str());
        expected += std::string(i > 0 ? ", " : "") + "-1.25e-300, " + longText;
    }
    EXPECT_EQ(std::string(line.GetLine()), expected);

    CsvLineWriter plain(1024, "");
    plain.AppendValue(1);
    plain.AppendValue(2);
    EXPECT_STREQ(plain.GetLine(), "12");
}

TEST(ListText, FoldsAscendingRunsExactlyAsTheStreamListDoes) {
    struct Case {
        std::vector<int> values;
        const char* text;
    };
    const Case cases[] = {
        {{1, 2, 3, 4, 5}, "1-5"},
        {{1, 3, 5, 7}, "1-7:2"},
        {{1, 2}, "1, 2"},
        {{1, 2, 3}, "1-3"},
        {{1, 2, 4}, "1, 2, 4"},
        {{5, 4, 3}, "5, 4, 3"},
        {{7, 7, 7}, "7, 7, 7"},
        {{1, 2, 3, 9, 10}, "1-3, 9, 10"},
        {{1, 2, 3, 4, 10, 20, 30, 31}, "1-4, 10-30:10, 31"},
        {{-3, -2, -1, 0}, "-3-0"},
        {{-9, -7, -5}, "-9--5:2"},
        {{INT_MIN, -1, INT_MAX - 1}, "-2147483648-2147483646:2147483647"},
        {{INT_MAX, INT_MIN, -5}, "2147483647, -2147483648, -5"},
        {{0, 2, 4, 6, 1, 2, 3}, "0-6:2, 1-3"},
        {{}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Folded(c.values), c.text);
    }
    std::vector<int> eleven = {0, 5, 1, 6, 2, 7, 3, 8, 4, 9, 10};
    EXPECT_EQ(Folded(eleven), "0, 5, 1, 6, 2, 7, 3, 8, 4, 9, \n10");
    std::vector<int> ten(eleven.begin(), eleven.end() - 1);
    EXPECT_EQ(Folded(ten), "0, 5, 1, 6, 2, 7, 3, 8, 4, 9");
}

TEST(ListText, WrittenIntListsReadBackEqualOverSeveralLines) {
    std::mt19937 random(11);
    std::vector<std::vector<int>> lists = {{}, {0}, {INT_MIN, INT_MAX}, {5, 4, 3, 3}};
    for (int n : {10, 11, 35, 1000}) {
        std::vector<int> values;
        int next = -500;
        while (int(values.size()) < n) {
            int kind = int(random() % 4);
            int step = kind == 0 ? 1 : kind == 1 ? int(random() % 5) + 2 : -int(random() % 3);
            next += int(random() % 50) - 20;
            for (int k = 0, len = int(random() % 6) + 1; k < len; ++k, next += step) {
                values.push_back(next);
            }
        }
        lists.push_back(values);
    }
    for (const std::vector<int>& values : lists) {
        std::vector<std::string> text = WriteInts(values, QSV_ListFormatUtil::INT_LIST_ORDERED);
        ASSERT_FALSE(text.empty());
        for (size_t i = 0; i + 1 < text.size(); ++i) {
            ASSERT_EQ(text[i].substr(text[i].size() - 2), ", ")
                << "a continued line ends in \", \"";
        }
        size_t linesLeft = 0;
        EXPECT_EQ(ReadInts(text, &linesLeft), values);
        EXPECT_EQ(linesLeft, 1u) << "the reader stands behind the list's last line";
    }
    EXPECT_EQ(WriteInts({}, 2), std::vector<std::string>{""});
    EXPECT_EQ(WriteInts({9, 3, 3, 1, 2}, QSV_ListFormatUtil::INT_LIST_SORTED),
              std::vector<std::string>{"1-3, 9"});
    EXPECT_EQ(WriteInts({9, 3, 3, 1, 2}, 2), std::vector<std::string>{"9, 3, 3, 1, 2"});
}

TEST(ListText, WritingAListLeavesTheRecordLineAlone) {
    onf_detail::VectorLinesWriter writer;
    CsvLineWriter csv(1024, ", ");
    TextLineFormatter formatter(&csv);
    csv.AppendValue(17);
    QSV_ListFormatUtil::write_onf_int_list({1, 2, 3}, 2, writer, formatter);
    QSV_ListFormatUtil::write_onf_real_list({0.5}, writer, formatter);
    EXPECT_STREQ(csv.GetLine(), "17");
    EXPECT_EQ(writer.GetLines(), (std::vector<std::string>{"1-3", "0.5"}));
}

TEST(ListText, WrittenRealListsReadBackBitForBit) {
    std::mt19937_64 random(3);
    for (size_t n : {size_t(0), size_t(1), size_t(10), size_t(11), size_t(95)}) {
        std::vector<double> values;
        for (size_t i = 0; i < n; ++i) {
            values.push_back(FromBits(random()));
        }
        onf_detail::VectorLinesWriter writer;
        TextLineFormatter formatter(nullptr);
        QSV_ListFormatUtil::write_onf_real_list(values, writer, formatter);
        EXPECT_EQ(writer.GetNumLinesWritten(), n == 0 ? 1 : (n + 9) / 10);

        std::vector<std::string> text = writer.GetLines();
        text.push_back("next record");
        MemoryLines lines(text);
        TextLineSplitter splitter(16);
        StartList(lines, splitter);
        std::vector<double> back = {1.0};
        QSV_ListFormatUtil::read_onf_real_list(lines, back, splitter);
        ASSERT_EQ(back.size(), values.size());
        for (size_t i = 0; i < n; ++i) {
            ASSERT_EQ(Bits(back[i]), Bits(values[i])) << i;
        }
        EXPECT_STREQ(lines.ExtractLine(), "next record");
    }
}

TEST(ListText, ReadsHandWrittenRunsAndLineBreaks) {
    EXPECT_EQ(ReadInts({"1-9:2"}), (std::vector<int>{1, 3, 5, 7, 9}));
    EXPECT_EQ(ReadInts({"1-10:4"}), (std::vector<int>{1, 5, 9}));
    EXPECT_EQ(ReadInts({"-5--3, +4"}), (std::vector<int>{-5, -4, -3, 4}));
    EXPECT_EQ(ReadInts({"5-1, 8"}), (std::vector<int>{8}));
    EXPECT_EQ(ReadInts({"1,2 ,3"}), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ReadInts({"1, 2,", "3,", "4-6"}), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(ReadInts({"2147483646-2147483647:5"}), (std::vector<int>{2147483646}));
    EXPECT_EQ(ReadInts({"-2147483648--2147483647"}), (std::vector<int>{INT_MIN, INT_MIN + 1}));
    size_t linesLeft = 0;
    EXPECT_TRUE(ReadInts({"   "}, &linesLeft).empty());
    EXPECT_EQ(linesLeft, 1u);
}

TEST(ListText, BadListsFailWithTheLineAtFault) {
    const std::string at = "Error in ONF-file \"list.onf\", line ";
    struct Case {
        std::vector<std::string> text;
        std::string message;
    };
    const Case cases[] = {
        {{"1, x"}, at + "1:\nThe list token \"x\" is neither an integer nor a run of integers."},
        {{"1,", "2, 3-"},
         at + "2:\nThe list token \"3-\" is neither an integer nor a run of integers."},
        {{"1-5:"}, at + "1:\nThe list token \"1-5:\" is neither an integer nor a run of integers."},
        {{"1 - 5"},
         at + "1:\nThe list token \"1 - 5\" is neither an integer nor a run of integers."},
        {{"\"7\""},
         at + "1:\nThe list token \"\"7\"\" is neither an integer nor a run of integers."},
        {{", 1"}, at + "1:\nThe list token \"\" is neither an integer nor a run of integers."},
        {{"1.5"}, at + "1:\nThe list token \"1.5\" is neither an integer nor a run of integers."},
        {{"2147483648"},
         at + "1:\nThe list token \"2147483648\" holds a value outside the 32-bit integer range."},
        {{"1-99999999999999999999"},
         at + "1:\nThe list token \"1-99999999999999999999\" holds a "
              "value outside the 32-bit integer range."},
        {{"1-5:0"}, at + "1:\nThe list run \"1-5:0\" has a step below 1."},
        {{"5-1:-1"}, at + "1:\nThe list run \"5-1:-1\" has a step below 1."},
        {{"1-2000000000"}, at + "1:\nThe list holds more than 67108864 values."},
        {{"1, 2,", ""}, at + "2:\nThe list goes on in an empty line."},
    };
    for (const Case& c : cases) {
        try {
            ReadInts(c.text);
            ADD_FAILURE() << "no failure for " << c.text[0];
        } catch (const QSV_Failure& failure) {
            EXPECT_EQ(failure.GetMessage(), c.message);
            EXPECT_EQ(failure.GetLogTag(), "|%P|BrelonUtilities|QSV_ListFormatUtil");
            EXPECT_EQ(failure.GetId(), "");
        }
    }

    // The continuation mark on the block's last line: nothing behind it to go on with.
    MemoryLines lines({"1, 2,"});
    TextLineSplitter splitter(16);
    StartList(lines, splitter);
    std::vector<int> values;
    try {
        QSV_ListFormatUtil::read_onf_int_list(lines, values, splitter);
        ADD_FAILURE() << "no failure at the end of the lines";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(),
                  at + "1:\nThe list goes on past the last line of its block.");
    }

    MemoryLines reals({"1.5, 2x"});
    StartList(reals, splitter);
    std::vector<double> realValues;
    try {
        QSV_ListFormatUtil::read_onf_real_list(reals, realValues, splitter);
        ADD_FAILURE() << "no failure for a bad real";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(), at + "1:\nThe list token \"2x\" is not a real value.");
    }
}

TEST(ListText, SortRemoveDuplicates) {
    std::vector<int> values = {5, -1, 5, 3, INT_MIN, 3, INT_MAX};
    QSV_ListFormatUtil::sort_remove_duplicates(values);
    EXPECT_EQ(values, (std::vector<int>{INT_MIN, -1, 3, 5, INT_MAX}));
}

TEST(Strings, QuotedNamesKeepTheirQuotesAtTheEnds) {
    EXPECT_TRUE(BrelonStringUtil::is_quoted_str("\"a b\"", '"'));
    EXPECT_TRUE(BrelonStringUtil::is_quoted_str("\"\"", '"'));
    EXPECT_FALSE(BrelonStringUtil::is_quoted_str("\"", '"'));
    EXPECT_FALSE(BrelonStringUtil::is_quoted_str("\"ab", '"'));
    EXPECT_FALSE(BrelonStringUtil::is_quoted_str("'ab'", '"'));
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {{"\"WING SKIN\"", "\"<WING SKIN_NODE\""},
                          {"WING", "<WING_NODE"},
                          {"\"", "<\"_NODE"},
                          {"", "<_NODE"},
                          {"\"\"", "\"<_NODE\""}};
    for (const Case& c : cases) {
        std::string text = c.text;
        BrelonStringUtil::extend_quoted_str(text, "<", "_NODE", '"');
        EXPECT_EQ(text, c.expected);
    }
}

TEST(Paths, JoinAndExtensions) {
    std::wstring path;
    BrelonFileNameUtil::make_path(L"/tmp/job", L"model.onf", path);
    EXPECT_EQ(path, L"/tmp/job/model.onf");
    BrelonFileNameUtil::make_path(L"/tmp/job/", L"model.onf", path);
    EXPECT_EQ(path, L"/tmp/job/model.onf");
    BrelonFileNameUtil::make_path(L"", L"model.onf", path);
    EXPECT_EQ(path, L"model.onf");
    BrelonFileNameUtil::make_path(L"/tmp", L"/abs/model", path);
    EXPECT_EQ(path, L"/abs/model");
    path = L"sub";
    BrelonFileNameUtil::make_path(L"dir", path, path);
    EXPECT_EQ(path, L"dir/sub");

    struct Case {
        const wchar_t* path;
        bool hasExt;
        const wchar_t* withOnf;
    };
    const Case cases[] = {
        {L"a.onf", true, L"a.onf"},
        {L"a.txt", true, L"a.onf"},
        {L"a", false, L"a.onf"},
        {L".profile", false, L".profile.onf"},
        {L"a.", false, L"a.onf"},
        {L"dir.d/a", false, L"dir.d/a.onf"},
        {L"dir/a.b.c", true, L"dir/a.b.onf"},
        {L"", false, L".onf"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(BrelonFileNameUtil::path_has_ext(c.path), c.hasExt);
        std::wstring out = c.path;
        BrelonFileNameUtil::path_set_ext(out, L"onf", out);
        EXPECT_EQ(out, c.withOnf);
    }
    BrelonFileNameUtil::path_set_ext(L"a.txt", L".onf", path);
    EXPECT_EQ(path, L"a.onf");
    BrelonFileNameUtil::path_set_ext(L"a.txt", L"", path);
    EXPECT_EQ(path, L"a");
}

class Files : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/onf_text_services_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_Dir = pattern;
        m_Name = BrelonStringUtil::utf8_to_wide(m_Dir.c_str()) + L"/r\u00e9sultat.onf";
    }
    void TearDown() override {
        std::remove(BrelonStringUtil::wide_to_utf8(m_Name.c_str()).c_str());
        rmdir(m_Dir.c_str());
    }
    std::string Contents() {
        std::ifstream in(BrelonStringUtil::wide_to_utf8(m_Name.c_str()), std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string m_Dir;
    std::wstring m_Name;
};

TEST_F(Files, WideNamesOpenInTextModesAndExistAfterwards) {
    EXPECT_FALSE(BrelonFileUtil::FileExists(m_Name));
    EXPECT_FALSE(BrelonFileUtil::FileExists(BrelonStringUtil::utf8_to_wide(m_Dir.c_str())));
    FILE* file = BrelonFileUtil::wfopen(m_Name.c_str(), L"wt");
    ASSERT_NE(file, nullptr);
    std::fputs("one\n", file);
    std::fclose(file);
    file = BrelonFileUtil::wfopen(m_Name.c_str(), L"at");
    ASSERT_NE(file, nullptr);
    std::fputs("two\n", file);
    std::fclose(file);
    EXPECT_TRUE(BrelonFileUtil::FileExists(m_Name));
    EXPECT_EQ(Contents(), "one\ntwo\n");
    EXPECT_EQ(BrelonFileUtil::wfopen(L"/nonexistent-dir/x.onf", L"wt"), nullptr);
    EXPECT_EQ(BrelonFileUtil::wfopen(nullptr, L"wt"), nullptr);
}

TEST_F(Files, OutputStreamsTruncateOrAppendByMode) {
    auto stream = BrelonStream::create_ofstream(m_Name, BrelonStream::OFSTREAM_TRUNCATE);
    ASSERT_NE(stream, nullptr);
    *stream << "first\r\n";
    stream.reset();
    stream = BrelonStream::create_ofstream(m_Name, BrelonStream::OFSTREAM_APPEND);
    ASSERT_NE(stream, nullptr);
    *stream << "second";
    stream.reset();
    EXPECT_EQ(Contents(), "first\r\nsecond");
    stream = BrelonStream::create_ofstream(m_Name, 2);
    stream.reset();
    EXPECT_EQ(Contents(), "");
    EXPECT_EQ(BrelonStream::create_ofstream(m_Name, 0), nullptr);
    EXPECT_EQ(BrelonStream::create_ofstream(L"/nonexistent-dir/x.onf", 2), nullptr);
}

TEST(Streams, GetlineDropsLfAndCrLf) {
    std::istringstream in("dos\r\nunix\nmid\rcr\n\r\nlast\r");
    std::vector<std::string> lines;
    std::string line;
    while (getline_dosunix(in, line)) {
        lines.push_back(line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"dos", "unix", "mid\rcr", "", "last"}));
}

TEST(Environment, FlagIsSetUnlessEmptyOrANegativeWord) {
    const char* name = "ONF_TEXT_SERVICES_TEST_FLAG";
    unsetenv(name);
    EXPECT_FALSE(BrelonSysUtil::is_env_flag_set(name));
    EXPECT_FALSE(BrelonSysUtil::is_env_flag_set(nullptr));
    struct Case {
        const char* value;
        bool set;
    };
    const Case cases[] = {{"", false},   {"0", false},   {"false", false}, {"FALSE", false},
                          {"No", false}, {"oFF", false}, {"1", true},      {"yes", true},
                          {"on", true},  {"00", true},   {"offf", true},   {" 0", true}};
    for (const Case& c : cases) {
        setenv(name, c.value, 1);
        EXPECT_EQ(BrelonSysUtil::is_env_flag_set(name), c.set) << '"' << c.value << '"';
    }
    unsetenv(name);
}

} // namespace
