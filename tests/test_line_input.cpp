#include "BrelonLineInput.h"
#include "FailureExpect.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using onf_test::ExpectFailure;

std::vector<std::string> LinesOf(const TextLinesParser& parser) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < parser.GetNumLines(); ++i) {
        lines.emplace_back(parser.GetLines()[i]);
    }
    return lines;
}

std::vector<std::string> Split(TextLineSplitter& splitter, const char* line, char separator,
                               TextLineSplitter::Mode mode = TextLineSplitter::SPLIT_KEEP_QUOTED) {
    splitter.SplitLine(line, mode, separator, '"');
    return std::vector<std::string>(splitter.GetTokens(),
                                    splitter.GetTokens() + splitter.GetNumTokens());
}

using Lines = std::vector<std::string>;

TEST(TextLinesParser, EveryLineEndCutsAndNoneStaysOnTheLine) {
    const struct {
        std::string text;
        Lines lines;
    } cases[] = {
        {"", {}},
        {"a", {"a"}},
        {"a\n", {"a"}},
        {"\n", {""}},
        {"a\nb", {"a", "b"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\r", {"a", "b"}},
        {"\r\r\n\n", {"", "", ""}},
        {"   -1  \r\n110\n", {"   -1  ", "110"}},
        {std::string("a\0b\nc", 5), {"a", "c"}}, // a NUL ends the line's text
        {std::string("\0\0", 2), {""}},
        {"\xEF\xBB\xBF   -1\n\xEF\xBB\xBF", {"   -1", "\xEF\xBB\xBF"}}, // only a leading mark goes
    };
    for (const auto& c : cases) {
        TextLinesParser parser;
        parser.LoadTextFromBuffer(c.text.data(), c.text.size());
        EXPECT_EQ(LinesOf(parser), c.lines) << "input of " << c.text.size() << " bytes";
    }
}

TEST(TextLinesParser, LoadsFilesAndReportsTheSystemError) {
    char dir[] = "/tmp/onf_line_input_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string path = std::string(dir) + "/lines \xC3\xA4.onf";
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fputs("first\r\nsecond\rthird", file);
    std::fclose(file);

    TextLinesParser parser;
    std::string error;
    ASSERT_TRUE(
        parser.LoadTextFromFile(BrelonStringUtil::utf8_to_wide(path.c_str()).c_str(), error));
    EXPECT_EQ(LinesOf(parser), (Lines{"first", "second", "third"}));

    EXPECT_FALSE(parser.LoadTextFromFile(L"/nonexistent/none.onf", error));
    EXPECT_EQ(error, "No such file or directory");
    EXPECT_EQ(parser.GetNumLines(), 0u);
    EXPECT_FALSE(parser.LoadTextFromFile(BrelonStringUtil::utf8_to_wide(dir).c_str(), error));
    EXPECT_EQ(error, "Is a directory");

    std::remove(path.c_str());
    rmdir(dir);
}

TEST(TextLinesParser, CopyHoldsItsOwnLines) {
    auto original = std::make_unique<TextLinesParser>();
    original->LoadTextFromBuffer("one\ntwo\n", 8);
    TextLinesParser copy(*original);
    TextLinesParser assigned;
    assigned = *original;
    original.reset();
    EXPECT_EQ(LinesOf(copy), (Lines{"one", "two"}));
    EXPECT_EQ(LinesOf(assigned), (Lines{"one", "two"}));
}

TEST(TextLineSplitter, TokenRules) {
    const struct {
        const char* line;
        char separator;
        Lines tokens;
    } cases[] = {
        {"", ',', {}},
        {" \t\r ", ',', {}},
        {"a, b,", ',', {"a", "b", ""}},
        {",", ',', {"", ""}},
        {" , ", ',', {"", ""}},
        {"  1 ,\t2.5e3 , x y  ", ',', {"1", "2.5e3", "x y"}},
        {"\"a, b\", c", ',', {"\"a, b\"", "c"}},
        {"\"open, to the end", ',', {"\"open, to the end"}},
        {"LOADCASE = 12", '=', {"LOADCASE", "12"}},
        {" LABEL = \"x = y\" ", '=', {"LABEL", "\"x = y\""}},
        {"FORMAT = Ib = x", '=', {"FORMAT", "Ib", "x"}},
    };
    TextLineSplitter splitter(2);
    for (const auto& c : cases) {
        EXPECT_EQ(Split(splitter, c.line, c.separator), c.tokens) << "line \"" << c.line << "\"";
    }
    EXPECT_EQ(Split(splitter, "\"a,b\"", ',', TextLineSplitter::SPLIT_PLAIN),
              (Lines{"\"a", "b\""}));
    EXPECT_EQ(Split(splitter, nullptr, ','), Lines{});
}

TEST(TextLineSplitter, GrowsPastItsCapacityAndCopiesOwnTokens) {
    std::string line;
    Lines expected;
    for (int i = 0; i < 5000; ++i) {
        line += std::to_string(i) + ", ";
        expected.push_back(std::to_string(i));
    }
    expected.emplace_back("");
    auto splitter = std::make_unique<TextLineSplitter>(1);
    EXPECT_EQ(Split(*splitter, line.c_str(), ','), expected);

    Split(*splitter, "x, y", ',');
    TextLineSplitter copy(*splitter);
    TextLineSplitter assigned(1);
    Split(assigned, "a longer line, of its own, to be replaced", ',');
    assigned = *splitter;
    splitter.reset();
    for (const TextLineSplitter* own : {&copy, &assigned}) {
        ASSERT_EQ(own->GetNumTokens(), 2u);
        EXPECT_STREQ(own->GetToken(0), "x");
        EXPECT_STREQ(own->GetToken(1), "y");
    }
}

TEST(FormatUtil, IsIntAcceptsExactly32BitDecimalIntegers) {
    const struct {
        const char* text;
        bool expected;
    } cases[] = {
        {"0", true},
        {"-0", true},
        {"+17", true},
        {"2147483647", true},
        {"2147483648", false},
        {"-2147483648", true},
        {"-2147483649", false},
        {"000000000002147483647", true},
        {"99999999999999999999999", false},
        {"", false},
        {"+", false},
        {"-", false},
        {" 1", false},
        {"1 ", false},
        {"1.0", false},
        {"12a", false},
        {"--1", false},
        {"1e3", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(BrelonFormatUtil::is_int(c.text), c.expected) << "\"" << c.text << "\"";
    }
    EXPECT_FALSE(BrelonFormatUtil::is_int(nullptr));
}

TEST(StringUtil, Utf8RoundTripAndReplacementOfInvalidSequences) {
    const wchar_t* wide = L"Gr\u00FC\u00DFe \u20AC \U0001D11E";
    EXPECT_EQ(BrelonStringUtil::wide_to_utf8(wide), "Gr\xC3\xBC\xC3\x9F"
                                                    "e \xE2\x82\xAC \xF0\x9D\x84\x9E");
    EXPECT_EQ(BrelonStringUtil::utf8_to_wide(BrelonStringUtil::wide_to_utf8(wide).c_str()), wide);

    const struct {
        const char* utf8;
        std::wstring wide;
    } cases[] = {
        {"a\x80"
         "b",
         L"a\uFFFDb"},         // stray continuation byte
        {"a\xC3", L"a\uFFFD"}, // truncated at the end
        {"\xC3"
         "b",
         L"\uFFFDb"},                    // truncated before a good character
        {"\xC0\xAF", L"\uFFFD\uFFFD"},   // overlong
        {"\xE0\x80\xAF", L"\uFFFD"},     // overlong, three bytes
        {"\xED\xA0\x80", L"\uFFFD"},     // surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD"}, // above U+10FFFF
        {"\xFF", L"\uFFFD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(BrelonStringUtil::utf8_to_wide(c.utf8), c.wide);
    }
    const wchar_t bad[] = {L'x', static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), 0};
    EXPECT_EQ(BrelonStringUtil::wide_to_utf8(bad), "x\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(BrelonStringUtil::wide_to_utf8(nullptr), "");
    EXPECT_EQ(BrelonStringUtil::utf8_to_wide(nullptr), L"");
}

// ---------------------------------------------------------------------------------------------
// Block descriptor

using DD = QSV_DataDescriptor;
const char* const kDescriptorTag = "|%P|BrelonDbConnector|QSV_DataDescriptor";

TEST(DataDescriptor, ItemsMaskAndTypeChecks) {
    DD plain(static_cast<QSV_OnfId>(110));
    EXPECT_EQ(plain.GetMask(), 2u);
    EXPECT_EQ(plain.GetInteger(DD::RI_ONF_ID), 110);
    EXPECT_EQ(plain.GetSpare(), -1);
    EXPECT_EQ(DD().GetMask(), 0u);

    DD d(static_cast<QSV_OnfId>(200));
    d.SetInteger(DD::RI_LOADCASE, -3);
    d.SetString(DD::RI_LABEL, "\"wing\"");
    EXPECT_EQ(d.GetMask(), (1u << 1) | (1u << 5) | (1u << 13));
    EXPECT_EQ(d.GetInteger(DD::RI_LOADCASE), -3);
    EXPECT_EQ(d.GetString(DD::RI_LABEL), "\"wing\"");
    EXPECT_EQ(d.GetString(DD::RI_MODEL), "");
    d.Unset(DD::RI_LOADCASE);
    EXPECT_FALSE(d.IsSet(DD::RI_LOADCASE));
    EXPECT_EQ(d.GetInteger(DD::RI_LOADCASE), 0);

    // Texts are held apart from the integers: a copy owns its own, and a text set and unset
    // again compares equal to one never set.
    DD copy = d;
    copy.SetString(DD::RI_LABEL, "other");
    EXPECT_EQ(d.GetString(DD::RI_LABEL), "\"wing\"");
    copy = d;
    EXPECT_TRUE(copy == d);
    copy.Unset(DD::RI_LABEL);
    EXPECT_EQ(copy.GetString(DD::RI_LABEL), "");
    EXPECT_TRUE(copy == DD(static_cast<QSV_OnfId>(200)));
    d.Init();
    EXPECT_EQ(d.GetMask(), 0u);

    ExpectFailure([&] { d.SetString(DD::RI_LOADCASE, "x"); }, "", kDescriptorTag,
                  "Descriptor item LOADCASE holds an integer, not a string.");
    ExpectFailure([&] { d.GetInteger(DD::RI_TIME); }, "", kDescriptorTag,
                  "Descriptor item TIME holds a string, not an integer.");
    ExpectFailure([&] { d.GetString(DD::RI_LOADCASE); }, "", kDescriptorTag,
                  "Descriptor item LOADCASE holds an integer, not a string.");
    ExpectFailure([&] { d.SetInteger(static_cast<DD::ResultIndex>(14), 1); }, "", kDescriptorTag,
                  "Descriptor item 14 does not exist.");
    ExpectFailure([&] { d.CheckValidity(); }, "", kDescriptorTag,
                  "The block descriptor has no ONF block number (item ONF_ID), so it cannot "
                  "identify a block.");
    EXPECT_NO_THROW(plain.CheckValidity());
}

TEST(DataDescriptor, OrderIsStrictWeakAndSortsByBlockNumberFirst) {
    std::vector<DD> all;
    all.emplace_back();
    all.emplace_back(static_cast<QSV_OnfId>(-1));
    all.emplace_back(static_cast<QSV_OnfId>(110));
    all.emplace_back(static_cast<QSV_OnfId>(200));
    DD withCase(static_cast<QSV_OnfId>(110));
    withCase.SetInteger(DD::RI_LOADCASE, 1);
    all.push_back(withCase);
    withCase.SetInteger(DD::RI_LOADCASE, 2);
    all.push_back(withCase);
    DD named(static_cast<QSV_OnfId>(110));
    named.SetString(DD::RI_MODEL, "a");
    all.push_back(named);
    named.SetString(DD::RI_MODEL, "b");
    all.push_back(named);
    DD onlyLabel;
    onlyLabel.SetString(DD::RI_LABEL, "x");
    all.push_back(onlyLabel);

    for (size_t i = 0; i < all.size(); ++i) {
        EXPECT_FALSE(all[i] < all[i]);
        for (size_t j = 0; j < all.size(); ++j) {
            EXPECT_EQ(i == j, all[i] == all[j]) << i << " vs " << j;
            if (i != j) {
                EXPECT_NE(all[i] < all[j], all[j] < all[i]) << i << " vs " << j;
            }
            for (size_t k = 0; k < all.size(); ++k) {
                if (all[i] < all[j] && all[j] < all[k]) {
                    EXPECT_TRUE(all[i] < all[k]);
                }
            }
        }
    }
    EXPECT_TRUE(all[8] < all[1]); // no block number orders first
    EXPECT_TRUE(all[5] < all[3]); // 110 with anything before 200

    DD spare(static_cast<QSV_OnfId>(110));
    spare.SetSpare(7);
    EXPECT_TRUE(spare == all[2]);
    DD unsetAgain = withCase;
    unsetAgain.Unset(DD::RI_LOADCASE);
    EXPECT_TRUE(unsetAgain == all[2]);
}

} // namespace
