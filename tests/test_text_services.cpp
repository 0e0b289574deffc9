#include "BrelonTextServices.h"
#include "FailureExpect.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <tuple>
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

// The list of `text` read by one route, followed by one more line: the values, or the failure's
// message; and the reader must stop in front of that line.
using ListRead = std::pair<std::vector<int>, std::string>;

// The block loader's route: the lines cut in place. It must read what the splitter's route reads
// and fail with the same words, and leave the views of the list's last line behind.
ListRead ReadIntsByViews(std::vector<std::string> text) {
    text.push_back("next record");
    MemoryLines lines(text);
    std::vector<onf_detail::TokenView> tokens(1);
    size_t numTokens = onf_detail::split_record_line(lines.ExtractLine(), tokens);
    std::vector<int> values{42}; // replaced, not appended to
    try {
        onf_detail::read_int_list_views(lines, tokens, numTokens, values);
    } catch (const QSV_Failure& failure) {
        return {values, failure.GetMessage()};
    }
    TextLineSplitter splitter(16);
    splitter.SplitLine(text[lines.GetCurrentIdx() - 1].c_str(), TextLineSplitter::SPLIT_KEEP_QUOTED,
                       ',', '"');
    EXPECT_EQ(numTokens, splitter.GetNumTokens());
    EXPECT_STREQ(lines.ExtractLine(), "next record");
    return {values, ""};
}

// Reads the list of `text`, followed by one more line, through the splitter and checks that the
// reader stops in front of that line; the route of lines cut in place must agree, failures too.
std::vector<int> ReadInts(std::vector<std::string> text) {
    const ListRead byViews = ReadIntsByViews(text);
    text.push_back("next record");
    MemoryLines lines(text);
    TextLineSplitter splitter(16);
    StartList(lines, splitter);
    std::vector<int> values{42};
    try {
        QSV_ListFormatUtil::read_onf_int_list(lines, values, splitter);
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(byViews.second, failure.GetMessage());
        throw;
    }
    EXPECT_EQ(byViews, ListRead(values, "")) << text[0];
    EXPECT_STREQ(lines.ExtractLine(), "next record");
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
    // Zeros, extreme subnormals and normals, infinities, NaNs with and without payload.
    // clang-format off
    std::vector<uint64_t> patterns = {0, uint64_t(1) << 63, 1, 0x000fffffffffffffULL,
        0x0010000000000000ULL, 0x7fefffffffffffffULL, 0x7ff0000000000000ULL, 0xfff0000000000000ULL,
        0x7ff8000000000000ULL, 0xfff8000000000000ULL, 0x7ff0000000000001ULL, 0x7fffffffffffffffULL};
    // clang-format on
    for (int i = 0; i < 200000; ++i) {
        uint64_t bits = random();
        // A third of the cases get a subnormal exponent, a third that of NaN and infinity.
        patterns.push_back(i % 3 == 0   ? bits
                           : i % 3 == 1 ? bits & 0x800fffffffffffffULL
                                        : bits | (0x7ffULL << 52));
    }
    for (uint64_t bits : patterns) {
        double value = FromBits(bits);
        std::string text = Text(value);
        ASSERT_LT(text.size(), FloatingPointFormatter::MAX_TEXT_SIZE);
        const char* end = nullptr;
        ASSERT_EQ(Bits(str_to_double(text.c_str(), &end)), bits) << text;
        ASSERT_EQ(end, text.c_str() + text.size()) << text;
        NumericValueState expected = std::isnan(value)   ? BrelonFormatUtil::NVS_NAN
                                     : std::isinf(value) ? BrelonFormatUtil::NVS_INFINITE
                                                         : BrelonFormatUtil::NVS_VALID;
        if (text.find_first_of(".e") == std::string::npos && value >= -2147483648.0 &&
            value <= 2147483647.0) {
            expected = BrelonFormatUtil::NVS_INVALID; // integer-shaped: the caller's is_int decides
        }
        ASSERT_EQ(is_valid_double(text.c_str(), text.size()), expected) << text;
    }
}

TEST(RealText, SpecialValuesHaveTheirDocumentedText) {
    // clang-format off
    const std::pair<uint64_t, const char*> cases[] = {
        {Bits(-0.0), "-0"}, {Bits(1.0), "1"}, {Bits(-2.5e-7), "-2.5e-07"}, {1, "5e-324"},
        {Bits(-HUGE_VAL), "-inf"}, {0x7ff8000000000000ULL, "nan"}, {0xfff8000000000000ULL, "-nan"},
        {0x7ff0000000000001ULL, "nan(0x1)"}, {0xfff8000000000abcULL, "-nan(0x8000000000abc)"}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(Text(FromBits(c.first)), c.second);
    }
    EXPECT_EQ("TR_T_" + BrelonStringUtil::String(0.5), "TR_T_0.5");
}

TEST(RealText, ReadsWhatPeopleWriteAndStopsWhereTheNumberEnds) {
    // clang-format off
    const std::tuple<const char*, double, size_t> cases[] = {
        {"-2e-3", -0.002, 5}, {"+7", 7.0, 2}, {"1.E5", 1e5, 4}, {".5", 0.5, 2}, {"5.", 5.0, 2},
        {"  3.25x", 3.25, 6}, {"1e+", 1.0, 1}, {"-1e999", -HUGE_VAL, 6}, {"1e-400", 0.0, 6},
        {"-Infinity", -HUGE_VAL, 9}, {"infinit", HUGE_VAL, 3}, {"abc", 0.0, 0}, {"-", 0.0, 0},
        {".", 0.0, 0}, {"0x10", 0.0, 1}, {"1,5", 1.0, 1},
        {"123456789012345678901234567890", 123456789012345678901234567890.0, 30}};
    // clang-format on
    for (const auto& [text, value, used] : cases) {
        const char* end = nullptr;
        EXPECT_EQ(Bits(str_to_double(text, &end)), Bits(value)) << text;
        EXPECT_EQ(size_t(end - text), used) << text;
    }
    EXPECT_EQ(str_to_double("2.5", nullptr), 2.5);
    // A payload that is no NaN (beyond 52 bits) leaves the parenthesis unread.
    const char* end = nullptr;
    EXPECT_EQ(Bits(str_to_double("-nan(0x10000000000000)", &end)), 0xfff8000000000000ULL);
    EXPECT_STREQ(end, "(0x10000000000000)");
}

TEST(RealText, ClassifiesNumberTextsForTheLoadersCounters) {
    using namespace BrelonFormatUtil;
    // clang-format off
    const std::pair<const char*, NumericValueState> cases[] = {
        {"1.5", NVS_VALID}, {"1e-400", NVS_VALID}, {"2147483648", NVS_VALID},
        {"1.7976931348623157e308", NVS_VALID}, {"1.7976931348623159e308", NVS_INFINITE},
        {"1e999", NVS_INFINITE}, {"-Infinity", NVS_INFINITE}, {"-NaN", NVS_NAN},
        {"nan(0x1)", NVS_NAN}, {"-2147483648", NVS_INVALID}, {"", NVS_INVALID},
        {"1.5x", NVS_INVALID}, {"1e", NVS_INVALID}, {"--1", NVS_INVALID}, {" 1.5", NVS_INVALID},
        {"nan(0x0)", NVS_INVALID}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(is_valid_double(c.first, std::strlen(c.first)), c.second) << c.first;
    }
    // Only `length` bytes count: no NUL is needed behind them.
    EXPECT_EQ(is_valid_double("2.5e3xyz", 5), NVS_VALID);
}

TEST(CsvLine, JoinsValuesAndGrowsPastItsCapacityWithoutCuttingAValue) {
    CsvLineWriter line(4, ", ");
    line.AppendValue(-12);
    line.AppendValue(0.5);
    line.AppendValue("");
    line.AppendValue(static_cast<const char*>(nullptr));
    EXPECT_STREQ(line.GetLine(), "-12, 0.5, , ");
    EXPECT_EQ(line.GetNumValues(), 4u);
    line.Clear();
    EXPECT_TRUE(line.IsEmpty());
    std::string expected;
    const std::string longText(3000, 'x');
    for (int i = 0; i < 50; ++i) {
        line.AppendValue(-1.25e-300);
        line.AppendValue(longText.c_str());
        expected += std::string(i > 0 ? ", " : "") + "-1.25e-300, " + longText;
    }
    EXPECT_EQ(std::string(line.GetLine(), line.GetLength()), expected);
    EXPECT_EQ(line.GetLine()[line.GetLength()], '\0');

    // Integers at every digit count and both ends of the range.
    std::vector<int> values = {0, INT_MAX, INT_MIN, INT_MIN + 1};
    for (int v = 1; v > 0 && v < INT_MAX / 10; v *= 10) {
        values.insert(values.end(), {v - 1, v, v + 1, -v, -v + 1});
    }
    for (int v : values) {
        ASSERT_EQ(BrelonFormatUtil::int_to_str(v), std::to_string(v));
    }
    // A record line of integers holds each one's digits whole, after the separator.
    std::mt19937 random(5);
    line.Clear();
    expected.clear();
    for (int i = 0; i < 2000; ++i) {
        const int v = static_cast<int>(random()) >> (random() % 31);
        line.AppendValue(v);
        expected += (i > 0 ? ", " : "") + std::to_string(v);
    }
    EXPECT_EQ(std::string(line.GetLine(), line.GetLength()), expected);
}

TEST(ListText, FoldsAscendingRunsExactlyAsTheStreamListDoes) {
    // clang-format off
    const std::pair<std::vector<int>, const char*> cases[] = {
        {{1, 2, 3, 4, 5}, "1-5"}, {{1, 3, 5, 7}, "1-7:2"}, {{1, 2}, "1, 2"}, {{1, 2, 3}, "1-3"},
        {{1, 2, 4}, "1, 2, 4"}, {{5, 4, 3}, "5, 4, 3"}, {{7, 7, 7}, "7, 7, 7"},
        {{1, 2, 3, 9, 10}, "1-3, 9, 10"}, {{1, 2, 3, 4, 10, 20, 30, 31}, "1-4, 10-30:10, 31"},
        {{0, 2, 4, 6, 1, 2, 3}, "0-6:2, 1-3"}, {{-3, -2, -1, 0}, "-3-0"}, {{-9, -7, -5}, "-9--5:2"},
        {{INT_MIN, -1, INT_MAX - 1}, "-2147483648-2147483646:2147483647"},
        {{INT_MAX, INT_MIN, -5}, "2147483647, -2147483648, -5"}, {{}, ""},
        {{0, 5, 1, 6, 2, 7, 3, 8, 4, 9}, "0, 5, 1, 6, 2, 7, 3, 8, 4, 9"},
        {{0, 5, 1, 6, 2, 7, 3, 8, 4, 9, 10}, "0, 5, 1, 6, 2, 7, 3, 8, 4, 9, \n10"}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(Folded(c.first), c.second);
    }
}

TEST(ListText, WrittenIntListsReadBackEqualOverSeveralLines) {
    std::mt19937 random(11);
    std::vector<std::vector<int>> lists = {{}, {0}, {INT_MIN, INT_MAX}, {5, 4, 3, 3}};
    for (int n : {10, 11, 35, 1000}) {
        std::vector<int> values;
        for (int next = -500; int(values.size()) < n;) { // runs of steps 1, 2 to 6, 0, -1, -2
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
        EXPECT_EQ(ReadInts(text), values);
    }
    // Ten tokens a line; a list that fills its last line whole leaves no empty line behind, and
    // the tail of one that does not is not lost.
    for (size_t count : {9u, 10u, 11u, 20u, 21u, 95u}) {
        std::vector<int> values;
        std::vector<std::string> expected(1);
        for (size_t i = 0; i < count; ++i) {
            values.push_back(static_cast<int>(i % 2 == 0 ? 100000 * i : 7 - i)); // no runs
            if (i > 0 && i % 10 == 0) {
                expected.emplace_back();
            }
            expected.back() += std::to_string(values.back()) + (i + 1 < count ? ", " : "");
        }
        EXPECT_EQ(WriteInts(values, QSV_ListFormatUtil::INT_LIST_ORDERED), expected) << count;
    }
    EXPECT_EQ(WriteInts({}, 2), std::vector<std::string>{""});
    EXPECT_EQ(WriteInts({9, 3, 3, 1, 2}, 1), std::vector<std::string>{"1-3, 9"});
    EXPECT_EQ(WriteInts({9, 3, 3, 1, 2}, 2), std::vector<std::string>{"9, 3, 3, 1, 2"});
}

TEST(ListText, WrittenRealListsReadBackBitForBitAndLeaveTheRecordLineAlone) {
    std::mt19937_64 random(3);
    CsvLineWriter csv(1024, ", ");
    csv.AppendValue(17);
    TextLineFormatter formatter(&csv);
    for (size_t n : {0, 1, 10, 11, 95}) {
        std::vector<double> values;
        for (size_t i = 0; i < n; ++i) {
            values.push_back(FromBits(random()));
        }
        onf_detail::VectorLinesWriter writer;
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
    EXPECT_STREQ(csv.GetLine(), "17");
}

TEST(ListText, ReadsHandWrittenRunsAndLineBreaks) {
    using V = std::vector<int>;
    EXPECT_EQ(ReadInts({"1-9:2"}), (V{1, 3, 5, 7, 9}));
    EXPECT_EQ(ReadInts({"1-10:4, -5--3, +4, 5-5"}), (V{1, 5, 9, -5, -4, -3, 4, 5}));
    EXPECT_EQ(ReadInts({"1,2 ,3,", "4-6,", "7"}), (V{1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(ReadInts({"2147483646-2147483647:5, -2147483648--2147483647"}),
              (V{2147483646, INT_MIN, INT_MIN + 1}));
    EXPECT_TRUE(ReadInts({"   "}).empty());

    V values = {5, -1, 5, 3, INT_MIN, 3, INT_MAX};
    QSV_ListFormatUtil::sort_remove_duplicates(values);
    EXPECT_EQ(values, (V{INT_MIN, -1, 3, 5, INT_MAX}));
}

TEST(ListText, BadListsFailWithTheLineAtFault) {
    const std::string at = "Error in ONF-file \"list.onf\", line ";
    const std::string notInt = "\" is neither an integer nor a run of integers.";
    const std::string range = "\" holds a value outside the 32-bit integer range.";
    // clang-format off
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"1, x"}, at + "1:\nThe list token \"x" + notInt},
        {{"1,", "2, 3-"}, at + "2:\nThe list token \"3-" + notInt},
        {{"1-5:"}, at + "1:\nThe list token \"1-5:" + notInt},
        {{"1 - 5"}, at + "1:\nThe list token \"1 - 5" + notInt},
        {{"\"7\""}, at + "1:\nThe list token \"\"7\"" + notInt},
        {{", 1"}, at + "1:\nThe list token \"" + notInt},
        {{"1.5"}, at + "1:\nThe list token \"1.5" + notInt},
        {{"2147483648"}, at + "1:\nThe list token \"2147483648" + range},
        {{"1-99999999999999999999"}, at + "1:\nThe list token \"1-99999999999999999999" + range},
        {{"1-5:0"}, at + "1:\nThe list run \"1-5:0\" has a step below 1."},
        {{"5-1:-1"}, at + "1:\nThe list run \"5-1:-1\" has a step below 1."},
        {{"1,", "10-1"}, at + "2:\nThe list run \"10-1\" ends below its first value."},
        {{"1-5:4294967297"}, at + "1:\nThe list token \"1-5:4294967297" + range},
        {{"1-2000000000"}, at + "1:\nThe list holds more than 67108864 values."},
        {{"1, 2,", ""}, at + "2:\nThe list goes on in an empty line."}};
    // clang-format on
    for (const auto& c : cases) {
        try {
            ReadInts(c.first);
            ADD_FAILURE() << "no failure for " << c.first[0];
        } catch (const QSV_Failure& failure) {
            EXPECT_EQ(failure.GetMessage(), c.second);
            EXPECT_EQ(failure.GetLogTag(), "|%P|BrelonUtilities|QSV_ListFormatUtil");
            EXPECT_EQ(failure.GetId(), "");
        }
    }
    // The continuation mark on the block's last line, and a bad real.
    TextLineSplitter splitter(16);
    MemoryLines lines({"1, 2,"});
    StartList(lines, splitter);
    std::vector<int> values;
    EXPECT_THROW(QSV_ListFormatUtil::read_onf_int_list(lines, values, splitter), QSV_Failure);
    MemoryLines reals({"1.5, 2x"});
    StartList(reals, splitter);
    std::vector<double> realValues;
    EXPECT_THROW(QSV_ListFormatUtil::read_onf_real_list(reals, realValues, splitter), QSV_Failure);
}

TEST(Strings, QuotedNamesKeepTheirQuotesAtTheEnds) {
    EXPECT_FALSE(BrelonStringUtil::is_quoted_str("\"", '"'));
    EXPECT_FALSE(BrelonStringUtil::is_quoted_str("'ab'", '"'));
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"\"WING SKIN\"", "\"<WING SKIN_NODE\""}, {"WING", "<WING_NODE"}, {"\"", "<\"_NODE"},
        {"\"\"", "\"<_NODE\""}};
    // clang-format on
    for (const auto& c : cases) {
        std::string text = c.first;
        BrelonStringUtil::extend_quoted_str(text, "<", "_NODE", '"');
        EXPECT_EQ(text, c.second);
    }
}

TEST(Paths, JoinAndExtensions) {
    std::wstring path = L"sub";
    BrelonFileNameUtil::make_path(L"dir", path, path);
    EXPECT_EQ(path, L"dir/sub");
    BrelonFileNameUtil::make_path(L"/tmp/job/", L"model.onf", path);
    EXPECT_EQ(path, L"/tmp/job/model.onf");
    BrelonFileNameUtil::make_path(L"", L"model.onf", path);
    EXPECT_EQ(path, L"model.onf");
    BrelonFileNameUtil::make_path(L"/tmp", L"/abs/model", path);
    EXPECT_EQ(path, L"/abs/model");
    // clang-format off
    const std::tuple<const wchar_t*, bool, const wchar_t*> cases[] = {
        {L"a.txt", true, L"a.onf"}, {L"a", false, L"a.onf"}, {L".profile", false, L".profile.onf"},
        {L"a.", false, L"a.onf"}, {L"dir.d/a", false, L"dir.d/a.onf"},
        {L"dir/a.b.c", true, L"dir/a.b.onf"}};
    // clang-format on
    for (const auto& [in, hasExt, withOnf] : cases) {
        EXPECT_EQ(BrelonFileNameUtil::path_has_ext(in), hasExt);
        std::wstring out = in;
        BrelonFileNameUtil::path_set_ext(out, L"onf", out);
        EXPECT_EQ(out, withOnf);
    }
    BrelonFileNameUtil::path_set_ext(L"a.txt", L"", path);
    EXPECT_EQ(path, L"a");
}

TEST(Files, WideNamesOpenInTheEnginesModes) {
    char pattern[] = "/tmp/onf_text_services_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::wstring name = BrelonStringUtil::utf8_to_wide(pattern) + L"/r\u00e9sultat.onf";
    const std::string path = BrelonStringUtil::wide_to_utf8(name.c_str());
    auto contents = [&path]() {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    };
    EXPECT_FALSE(BrelonFileUtil::FileExists(name));
    EXPECT_FALSE(BrelonFileUtil::FileExists(BrelonStringUtil::utf8_to_wide(pattern)));
    for (const wchar_t* mode : {L"wt", L"at"}) {
        FILE* file = BrelonFileUtil::wfopen(name.c_str(), mode);
        ASSERT_NE(file, nullptr);
        std::fputs("line\n", file);
        std::fclose(file);
    }
    EXPECT_TRUE(BrelonFileUtil::FileExists(name));
    EXPECT_EQ(contents(), "line\nline\n");
    EXPECT_EQ(BrelonFileUtil::wfopen(L"/nonexistent-dir/x.onf", L"wt"), nullptr);

    for (int mode : {2, 1}) {
        auto stream = BrelonStream::create_ofstream(name, mode);
        ASSERT_NE(stream, nullptr);
        *stream << "first\r\n";
    }
    EXPECT_EQ(contents(), "first\r\nfirst\r\n");
    EXPECT_EQ(BrelonStream::create_ofstream(name, 0), nullptr);
    EXPECT_EQ(BrelonStream::create_ofstream(L"/nonexistent-dir/x.onf", 2), nullptr);
    std::remove(path.c_str());
    rmdir(pattern);
}

TEST(Streams, GetlineDropsLfAndCrLf) {
    std::istringstream in("dos\r\nunix\nmid\rcr\n\r\nlast\r");
    std::vector<std::string> lines;
    for (std::string line; getline_dosunix(in, line);) {
        lines.push_back(line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"dos", "unix", "mid\rcr", "", "last"}));
}

TEST(Environment, FlagIsSetUnlessEmptyOrANegativeWord) {
    const char* name = "ONF_TEXT_SERVICES_TEST_FLAG";
    unsetenv(name);
    EXPECT_FALSE(BrelonSysUtil::is_env_flag_set(name));
    const std::pair<const char*, bool> cases[] = {
        {"", false}, {"0", false},  {"FALSE", false}, {"No", false},  {"oFF", false},
        {"1", true}, {"yes", true}, {"00", true},     {"offf", true}, {" 0", true}};
    for (const auto& c : cases) {
        setenv(name, c.first, 1);
        EXPECT_EQ(BrelonSysUtil::is_env_flag_set(name), c.second) << '"' << c.first << '"';
    }
    unsetenv(name);
}

// A list of exactly MAX_LIST_VALUES values reads; one more fails, be it in the run or behind it.
TEST(ListTextEdges, AListHoldsAtMostMaxListValues) {
    const size_t most = QSV_ListFormatUtil::MAX_LIST_VALUES;
    EXPECT_EQ(ReadInts({"1-" + std::to_string(most)}).size(), most);
    for (const std::string& text :
         {"0-" + std::to_string(most), "1-" + std::to_string(most) + ", 5"}) {
        onf_test::ExpectFailure([&] { ReadInts({text}); }, "",
                                "|%P|BrelonUtilities|QSV_ListFormatUtil",
                                "Error in ONF-file \"list.onf\", line 1:\nThe list holds more than "
                                "67108864 values.");
    }
}

// An extension given with its dot takes no second one; opening without a mode opens nothing.
TEST(PathsEdges, ExtensionsWithTheirDotAndFilesWithoutAMode) {
    std::wstring path;
    BrelonFileNameUtil::path_set_ext(L"dir/a.txt", L".onf", path);
    EXPECT_EQ(path, L"dir/a.onf");
    EXPECT_EQ(BrelonFileUtil::wfopen(L"any", nullptr), nullptr);
    EXPECT_EQ(BrelonFileUtil::wfopen(nullptr, L"r"), nullptr);
}

} // namespace
