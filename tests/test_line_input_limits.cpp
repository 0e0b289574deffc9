// Line input at its edges: every code point on its way to UTF-8 and back, with the first and last
// value of each sequence length and both ends of the surrogate range; a parser loaded again; the
// first and last descriptor items, and items that do not exist; a file of no known size.
#include "BrelonLineInput.h"
#include "QSV_DataDescriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

size_t Utf8Length(char32_t c) {
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

TEST(StringUtilEdges, EveryCodePointTakesTheFewestBytesAndComesBack) {
    for (char32_t c = 1; c <= 0x10FFFF; ++c) {
        if (c == 0xD800) {
            c = 0xE000;
        }
        const wchar_t wide[] = {static_cast<wchar_t>(c), 0};
        const std::string utf8 = BrelonStringUtil::wide_to_utf8(wide);
        ASSERT_EQ(utf8.size(), Utf8Length(c)) << std::hex << c;
        ASSERT_EQ(BrelonStringUtil::utf8_to_wide(utf8.c_str()), std::wstring(wide))
            << std::hex << c;
    }
}

TEST(StringUtilEdges, SurrogatesAreNoCharacters) {
    const wchar_t wide[] = {0xD7FF, 0xDFFF, 0xE000, 0};
    EXPECT_EQ(BrelonStringUtil::wide_to_utf8(wide), "\xED\x9F\xBF\xEF\xBF\xBD\xEE\x80\x80");
    EXPECT_EQ(BrelonStringUtil::utf8_to_wide("\xED\xBF\xBF"), L"\uFFFD");
}

// A parser loaded a second time holds only the second text's lines.
TEST(TextLinesParserEdges, ASecondLoadReplacesTheLines) {
    TextLinesParser parser;
    parser.LoadTextFromBuffer("one\ntwo\nthree\n", 14);
    parser.LoadTextFromBuffer("four\n", 5);
    ASSERT_EQ(parser.GetNumLines(), 1u);
    EXPECT_STREQ(parser.GetLines()[0], "four");
}

// Items 0 and 13 are the first and last; unsetting an item that does not exist changes nothing.
TEST(DataDescriptorEdges, FirstAndLastItemsAndNoOthers) {
    using DD = QSV_DataDescriptor;
    DD d(static_cast<QSV_OnfId>(200));
    d.SetString(DD::RI_MODEL, "model");
    d.SetString(DD::RI_LABEL, "label");
    const DD before = d;
    for (int item : {-1, 14, 31}) {
        d.Unset(static_cast<DD::ResultIndex>(item));
        EXPECT_FALSE(d.IsSet(static_cast<DD::ResultIndex>(item)));
    }
    EXPECT_TRUE(d == before);
    EXPECT_EQ(d.GetString(DD::RI_MODEL), "model");
    d.Unset(DD::RI_MODEL);
    d.Unset(DD::RI_LABEL);
    EXPECT_EQ(d.GetMask(), 1u << DD::RI_ONF_ID);
    EXPECT_EQ(d.GetString(DD::RI_MODEL), "");
}

// A file whose size the system does not know, as a pipe, is read whole, chunk after chunk.
TEST(TextLinesParserEdges, APipeIsReadToItsEnd) {
    const std::string path = testing::TempDir() + "onf_pipe_" + std::to_string(getpid());
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    std::string text;
    for (int line = 0; line < 5000; ++line) {
        text += "line " + std::to_string(line) + "\n";
    }
    std::thread writer([&] {
        FILE* out = std::fopen(path.c_str(), "w");
        std::fwrite(text.data(), 1, text.size(), out);
        std::fclose(out);
    });
    TextLinesParser parser;
    std::string error;
    const bool loaded =
        parser.LoadTextFromFile(BrelonStringUtil::utf8_to_wide(path.c_str()).c_str(), error);
    writer.join();
    ::unlink(path.c_str());
    ASSERT_TRUE(loaded) << error;
    ASSERT_EQ(parser.GetNumLines(), 5000u);
    EXPECT_STREQ(parser.GetLines()[4999], "line 4999");
}

} // namespace
