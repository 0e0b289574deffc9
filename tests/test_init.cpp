// The init file: size hints stored, overwritten, written and read back, and a read that
// replaces block 97 as a whole.
#include "OnfInitFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

const QSV_OnfId kNodes = static_cast<QSV_OnfId>(110);
const QSV_OnfId kElements = static_cast<QSV_OnfId>(140);

std::wstring TempFile(const std::string& name) {
    const std::string path = testing::TempDir() + "init_" + name + ".onf";
    return std::wstring(path.begin(), path.end());
}

std::string ReadText(const std::wstring& name) {
    std::ifstream in(std::string(name.begin(), name.end()), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(InitFile, HintsAreStoredPerBlockAndOverwritten) {
    OnfInitFile init(L"unused.onf");
    EXPECT_EQ(init.GetNumItems(kNodes), 0);
    init.AppendInit(kNodes, 1, 500, 480);
    init.AppendInit(kElements, 10, 20, 11);
    init.AppendInit(kNodes, 2, 600, 599);
    EXPECT_EQ(init.GetNumItems(kNodes), 599);
    EXPECT_EQ(init.GetNumItems(kElements), 11);
    EXPECT_EQ(init.GetBlock(static_cast<QSV_OnfId>(97)).GetNumRecords(), 2u);
    const OnfConstObject nodes = init.GetConstObject(static_cast<QSV_OnfId>(97), kNodes);
    EXPECT_EQ(OnfBlock::GetInt(nodes, QSV_DataRecordItem::INIT_ITEM_FIRST_ID), 2);
    EXPECT_EQ(OnfBlock::GetInt(nodes, QSV_DataRecordItem::INIT_ITEM_LAST_ID), 600);
}

TEST(InitFile, WrittenHintsReadBackAndReplaceWhatTheObjectHeld) {
    const std::wstring name = TempFile("roundtrip");
    OnfInitFile written(name);
    written.AppendInit(kNodes, 1, 500, 480);
    written.AppendInit(kElements, -3, 0, 0);
    written.Write();
    EXPECT_NE(ReadText(name).find("# ONF init file\n"), std::string::npos);

    OnfInitFile read(name);
    read.AppendInit(static_cast<QSV_OnfId>(130), 1, 1, 1);
    read.Read();
    EXPECT_EQ(read.GetNumItems(kNodes), 480);
    EXPECT_EQ(read.GetNumItems(static_cast<QSV_OnfId>(130)), 0);
    const OnfConstObject elements = read.GetConstObject(static_cast<QSV_OnfId>(97), kElements);
    EXPECT_EQ(OnfBlock::GetInt(elements, QSV_DataRecordItem::INIT_ITEM_FIRST_ID), -3);
}

TEST(InitFile, AnEmptyFileHoldsBlock97WithACountOfZero) {
    const std::wstring name = TempFile("empty");
    OnfInitFile(name).Write();
    EXPECT_NE(ReadText(name).find("   -1\n   97\n0\n   -1\n"), std::string::npos);
    OnfInitFile read(name);
    read.Read();
    EXPECT_TRUE(read.HasBlock(static_cast<QSV_OnfId>(97)));
    EXPECT_EQ(read.GetBlock(static_cast<QSV_OnfId>(97)).GetNumRecords(), 0u);

    OnfInitFile missing(TempFile("missing"));
    EXPECT_THROW(missing.Read(), QSV_Failure);
}

} // namespace
