// Which kind of file a text holds: the files each file object writes are told as its kind, and
// the header comments decide only where no block does, in every spelling a person writes them.
#include "BrelonOnfEngine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

namespace {

OnfFileKind KindOfText(const std::string& text) {
    const OnfBlockTextReader reader(text.data(), text.size(), L"kinds.onf",
                                    OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    return OnfFileKindOf(reader);
}

OnfFileKind KindOfFile(const std::wstring& name) {
    const OnfBlockTextReader reader(name.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    return OnfFileKindOf(reader);
}

std::string Block(int number) {
    return "   -1\n" + std::to_string(number) + "\n0\n   -1\n";
}

TEST(FileKindRule, EachFileObjectsOwnFileIsToldAsItsKind) {
    const std::string path = testing::TempDir() + "file_kind_rule.onf";
    const std::wstring name(path.begin(), path.end());
    const std::pair<OnfFileKind, std::function<void()>> writers[] = {
        {ONF_FILE_MODEL, [&] { OnfModelFile(name, nullptr).Write(); }},
        {ONF_FILE_GROUPS, [&] { OnfGroupsFile(name).Write(); }},
        {ONF_FILE_INIT, [&] { OnfInitFile(name).Write(); }},
        {ONF_FILE_MODIFICATION, [&] { OnfModifFile(name).Write(); }},
        {ONF_FILE_OPT_RESULT, [&] { ONFOptResultFile(path).Write(); }},
    };
    for (const auto& writer : writers) {
        std::remove(path.c_str());
        writer.second();
        EXPECT_EQ(KindOfFile(name), writer.first) << OnfFileKindName(writer.first);
    }
    std::remove(path.c_str());
}

TEST(FileKindRule, HeaderCommentsDecideOnlyWhereNoBlockDoes) {
    const struct {
        std::string text;
        OnfFileKind kind;
    } cases[] = {
        {"#\n  ##  ONF groups file \t\n" + Block(4711), ONF_FILE_GROUPS},
        {"\n# written by hand\n\n#ONF init file\n" + Block(10032), ONF_FILE_INIT},
        {"# ONF init file, edited\n" + Block(10032), ONF_FILE_GENERIC},
        {Block(4711) + "# ONF init file\n" + Block(4712), ONF_FILE_GENERIC},
        {"# ONF init file\n" + Block(110), ONF_FILE_MODEL},
        {"# ONF model input file\n" + Block(200), ONF_FILE_MODEL},
        {"# ONF model input file\n" + Block(110) + Block(97), ONF_FILE_GENERIC},
        {"# ONF model input file\n" + Block(110) + Block(200) + Block(740), ONF_FILE_OPT_RESULT},
        {Block(210), ONF_FILE_GROUPS},
        {"", ONF_FILE_GENERIC},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(KindOfText(test.text), test.kind) << test.text;
    }
}

TEST(FileKindRule, BlocksAreNamedByTheCatalogueOrTheResultFile) {
    EXPECT_EQ(OnfBlockName(110), "ONF_NODES");
    EXPECT_EQ(OnfBlockName(740), static_cast<const char*>(ONFOptResElemScalar::header));
    EXPECT_EQ(OnfBlockName(4711), "");
    EXPECT_EQ(OnfBlockName(-1), "");
    EXPECT_STREQ(OnfFileKindName(static_cast<OnfFileKind>(99)), "ONF file");
}

} // namespace
