// The init file: size hints stored, overwritten, written and read back, and a read that
// replaces block 97 as a whole.
#include "OnfInitFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

const QSV_OnfId kHints = static_cast<QSV_OnfId>(97);
const QSV_OnfId kNodes = static_cast<QSV_OnfId>(110);
const QSV_OnfId kElements = static_cast<QSV_OnfId>(140);

std::wstring TempFile(const std::string& name) {
    const std::string path = testing::TempDir() + "init_" + name + ".onf";
    return std::wstring(path.begin(), path.end());
}

TEST(InitFile, HintsAreOverwrittenWrittenAndReadBackInPlaceOfWhatWasHeld) {
    const std::wstring name = TempFile("roundtrip");
    OnfInitFile written(name);
    EXPECT_EQ(written.GetNumItems(kNodes), 0);
    written.AppendInit(kNodes, 2, 600, 599);
    written.AppendInit(kElements, -3, 0, 0);
    written.AppendInit(kNodes, 1, 500, 480);
    EXPECT_EQ(written.GetBlock(kHints).GetNumRecords(), 2u);
    written.Write();

    OnfInitFile read(name);
    read.AppendInit(static_cast<QSV_OnfId>(130), 1, 1, 1);
    read.Read();
    EXPECT_EQ(read.GetNumItems(static_cast<QSV_OnfId>(130)), 0);
    EXPECT_EQ(read.GetNumItems(kNodes), 480);
    const OnfConstObject nodes = read.GetConstObject(kHints, kNodes);
    EXPECT_EQ(OnfBlock::GetInt(nodes, QSV_DataRecordItem::INIT_ITEM_FIRST_ID), 1);
    EXPECT_EQ(OnfBlock::GetInt(nodes, QSV_DataRecordItem::INIT_ITEM_LAST_ID), 500);
    const OnfConstObject elements = read.GetConstObject(kHints, kElements);
    EXPECT_EQ(OnfBlock::GetInt(elements, QSV_DataRecordItem::INIT_ITEM_FIRST_ID), -3);
}

TEST(InitFile, AnEmptyFileHoldsBlock97WithACountOfZero) {
    const std::wstring name = TempFile("empty");
    OnfInitFile(name).Write();
    std::ostringstream text;
    text << std::ifstream(std::string(name.begin(), name.end())).rdbuf();
    EXPECT_NE(text.str().find("# ONF init file\n"), std::string::npos);
    EXPECT_NE(text.str().find("   -1\n   97\n0\n   -1\n"), std::string::npos);
    OnfInitFile read(name);
    read.Read();
    EXPECT_EQ(read.GetBlock(kHints).GetNumRecords(), 0u);
    EXPECT_THROW(OnfInitFile(TempFile("missing")).Read(), QSV_Failure);
}

} // namespace
