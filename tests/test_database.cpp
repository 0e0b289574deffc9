// The text database and its line sink: sessions on a file (InitDb, ReleaseDb), the file header,
// the four load actions on repeated blocks, and the writer's failures.
#include "FailureExpect.h"
#include "LogCapture.h"
#include "OnfBlockSet.h"
#include "OnfBlockTextWriter.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

using onf_test::BlockText;
using onf_test::Dump;
using onf_test::ExpectFailure;
using onf_test::LoadText;

std::string TempPath(const std::string& name) {
    return testing::TempDir() + "onf_database_" + name;
}

std::wstring Wide(const std::string& text) {
    return BrelonStringUtil::utf8_to_wide(text.c_str());
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

const char* const kDbTag = "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase";
const char* const kWriterTag = "|%P|BrelonOnfEngine|OnfBlockTextWriter";

TEST(DatabaseSession, MissingFile) {
    const std::string path = TempPath("missing.onf");
    std::remove(path.c_str());
    BrelonOnfTxtDatabase readOnly(Wide(path));
    ExpectFailure([&] { readOnly.InitDb(QSV_DatabaseDefs::ACCESS_READ_ONLY, 1024, L"", nullptr); },
                  "", kDbTag, "Trying to open file " + path + ", which does not exist.");
    BrelonOnfTxtDatabase readWrite(Wide(TempPath("missing")));
    readWrite.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, L"", nullptr);
    EXPECT_TRUE(readWrite.IsInitialized());
    EXPECT_EQ(readWrite.GetFilePath(), Wide(path)); // the extension is added
    EXPECT_TRUE(readWrite.FindBlocks(QSV_DataDescriptorPattern()).empty());
    BrelonOnfTxtDatabase withExtension(L"name.txt");
    withExtension.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 0, L"folder", nullptr);
    EXPECT_EQ(withExtension.GetFilePath(), L"folder/name.txt");
}

TEST(DatabaseSession, ReleaseWritesAndInitReadsBack) {
    const std::string path = TempPath("session.onf");
    for (bool flag : {false, true}) {
        std::remove(path.c_str());
        {
            BrelonOnfTxtDatabase db(Wide(path));
            db.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, L"", nullptr);
            db.SetHeader("model file");
            OnfBlock& nodes = static_cast<OnfBlock&>(
                db.FetchDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(110)), 0));
            bool created = false;
            nodes.SetRecordItem(nodes.GetWarrantedRecordIdx(3, created),
                                static_cast<OnfBlock::Item>(3), 1.0, 2.0, 0.5);
            db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(-1)), 0, 0, "IRb");
            db.ReleaseDb(flag);
            EXPECT_FALSE(db.IsInitialized());
            EXPECT_TRUE(db.FindBlocks(QSV_DataDescriptorPattern()).empty());
        }
        const std::string text = ReadFile(path);
        EXPECT_EQ(text.rfind("#\n# ONF version 1.0\n# model file\n#\n", 0), 0u);
        BrelonOnfTxtDatabase db(Wide(path));
        db.InitDb(QSV_DatabaseDefs::ACCESS_READ_ONLY, 1024, L"", nullptr);
        ASSERT_EQ(db.FindBlocks(QSV_DataDescriptorPattern()).size(), 2u);
        const auto& nodes = static_cast<const OnfBlock&>(
            db.GetDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(110))));
        EXPECT_EQ(Dump(nodes), "3:0,0,1 2 0.5");
        // The custom block keeps its format through InitDb; read-only never writes.
        db.ReleaseDb(false);
        EXPECT_EQ(ReadFile(path), text);
    }
}

TEST(DatabaseSession, StreamDatabaseWritesBlocksWithoutHeader) {
    FILE* stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    BrelonOnfTxtDatabase db(stream);
    db.SetHeader("never written");
    db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(-1)), 0, 0, "Ib");
    db.ReleaseDb(false);
    std::rewind(stream);
    char buffer[256] = {};
    EXPECT_EQ(std::string(buffer, std::fread(buffer, 1, sizeof buffer, stream)),
              "#\n# DATA BLOCK NON_ONF: Custom dynamic format block\n#\n   -1\n   -3\nFORMAT=Ib\n  "
              " -3\n   NON_ONF\n0\n   -1\n");
    std::fclose(stream);
}

TEST(DatabaseSession, HeaderLinesAndEmptySet) {
    const std::string path = TempPath("empty.onf");
    OnfBlockSet db;
    db.SetHeader("header");
    db.SetUserHeader("user header");
    {
        OnfBlockTextWriter writer(Wide(path).c_str(), OnfBlockTextWriter::WRITE_NEW);
        db.WriteSet(writer);
        EXPECT_EQ(writer.GetNumLinesWritten(), 4u);
    }
    EXPECT_EQ(ReadFile(path), "#\n# ONF version 1.0\n# header\n# user header\n");
    {
        OnfBlockTextWriter writer(Wide(path).c_str(), OnfBlockTextWriter::WRITE_APPEND);
        db.WriteSet(writer); // no header in append mode
        EXPECT_EQ(writer.GetNumLinesWritten(), 0u);
    }
    OnfBlockTextReader reader(Wide(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    EXPECT_TRUE(reader.GetBlocksInfo().empty());
}

// Block 97 twice (records keyed by block number) and a block 110 that only the set has.
std::string RepeatedBlocks() {
    return BlockText(97, 1, "110, 1, 10, 10\n") + BlockText(97, 1, "110, 2, 20, 20\n");
}

TEST(DatabaseLoadActions, RepeatedBlocks) {
    struct Case {
        BrelonOnfTxtDatabase::BlockSetLoadAction action;
        const char* dump;
        bool keepsOtherBlocks;
    };
    const Case cases[] = {
        {BrelonOnfTxtDatabase::LOAD_REPLACE_SET, "110:1,10,10", false},
        {BrelonOnfTxtDatabase::LOAD_ADD_MISSING, "110:1,10,10", true},
        {BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS, "110:2,20,20", true},
    };
    for (const Case& c : cases) {
        OnfBlockSet db;
        db.AddEmptyBlock(static_cast<QSV_OnfId>(110));
        LoadText(db, RepeatedBlocks(), c.action);
        EXPECT_EQ(Dump(db.GetBlock(static_cast<QSV_OnfId>(97))), c.dump) << c.action;
        EXPECT_EQ(db.HasBlock(static_cast<QSV_OnfId>(110)), c.keepsOtherBlocks) << c.action;
    }
    // A block the set has already: action 1 leaves it, action 2 replaces it.
    OnfBlockSet db;
    LoadText(db, BlockText(97, 1, "140, 5, 6, 7\n"));
    LoadText(db, RepeatedBlocks(), BrelonOnfTxtDatabase::LOAD_ADD_MISSING);
    EXPECT_EQ(Dump(db.GetBlock(static_cast<QSV_OnfId>(97))), "140:5,6,7");
}

TEST(DatabaseLoadActions, MergeByNumberRenumbersClashingIds) {
    onf_test::LogCapture log;
    OnfBlockSet db;
    db.AddEmptyBlock(static_cast<QSV_OnfId>(200));
    const std::string text = BlockText(200, 2, "7, 2\nleft\n1, 2\n3, 1\ntop\n5\n") +
                             BlockText(200, 2, "7, 3\nright\n4-6\n9, 0\nbottom\n\n");
    LoadText(db, text, BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER);
    const OnfBlock& groups = db.GetBlock(static_cast<QSV_OnfId>(200));
    std::string records;
    for (int id : {3, 7, 8, 9}) {
        const size_t index = static_cast<size_t>(groups.GetRecordIdx(id));
        records += std::to_string(id) + ":" + onf_test::ItemText(groups, index, 2) +
                   onf_test::ItemText(groups, index, 3) + " ";
    }
    EXPECT_EQ(records, "3:top{5} 7:left{1 2} 8:right{4 5 6} 9:bottom{} ");
    EXPECT_EQ(groups.GetNumRecords(), 4u);
    EXPECT_EQ(db.FindBlocks(QSV_DataDescriptorPattern()).size(), 1u);
}

// The body of a groups block of `count` records whose member lists make it about 16 KiB a record.
std::string GroupRecords(int firstId, int count) {
    std::string body;
    for (int id = firstId; id < firstId + count; ++id) {
        body += std::to_string(id) + ", 1\nG" + std::to_string(id) + "\n";
        for (int line = 0; line < 400; ++line) {
            body += "2, 4, 6, 8, 10, 12, 14, 16, 18, 20,\n"; // no runs: ten values a line
        }
        body += "1\n";
    }
    return body;
}

// A reader may give each block's text back once the load is done with it. What was loaded stays
// whole, a block that a merge joins to another descriptor's head is still read on its own
// afterwards, and a block's lines read as empty only once its text is gone. Small pages, so that
// a few blocks of some KiB fill whole pages.
TEST(DatabaseLoadActions, TextGoesBackAsBlocksAreDoneWith) {
    const bool hugeByDefault = onf_detail::LargeBuffer::GetHugePages();
    onf_detail::LargeBuffer::SetHugePages(false);
    // Blocks 0 and 1 merge; block 2 has a descriptor of its own and joins the merge as well.
    const std::string text =
        BlockText(200, 60, GroupRecords(1, 60)) + BlockText(200, 60, GroupRecords(61, 60)) +
        "   -1\n   -2\nLOADCASE=3\n   -2\n200\n60\n" + GroupRecords(121, 60) + "   -1\n";
    ASSERT_GT(text.size(), onf_detail::LargeBuffer::MAPPED_BYTES);
    for (const bool release : {false, true}) {
        OnfBlockTextReader reader(text.data(), text.size(), L"mem.onf",
                                  OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
        reader.SetReleaseLoadedText(release);
        OnfBlockSet db;
        db.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER);
        const OnfBlock& merged = db.GetBlock(static_cast<QSV_OnfId>(200));
        EXPECT_EQ(merged.GetNumRecords(), 180u) << release;
        const QSV_DataDescriptor& own = reader.GetBlocksInfo()[2].descriptor;
        ASSERT_TRUE(db.HasBlock(own));
        const auto& third = static_cast<const OnfBlock&>(db.GetDataBlock(own));
        EXPECT_EQ(third.GetNumRecords(), 60u) << release;
        const size_t last = static_cast<size_t>(third.GetRecordIdx(180));
        EXPECT_EQ(third.GetIntListView(last, static_cast<OnfBlock::Item>(3)).size(), 4001u);
        for (size_t block = 0; block < 3; ++block) {
            EXPECT_EQ(reader.IsBlockTextReleased(block), release) << block;
            const OnfBlockTextReader::BLOCK_INFO& info = reader.GetBlocksInfo()[block];
            const std::string middle = reader.GetLines().GetLine(info.first_line + 1000);
            EXPECT_EQ(middle, release ? "" : "2, 4, 6, 8, 10, 12, 14, 16, 18, 20,") << block;
            // The lines around a body are no part of it and stay.
            EXPECT_STREQ(reader.GetLines().GetLine(info.first_line - 1), "60");
            EXPECT_STREQ(reader.GetLines().GetLine(info.first_line + info.num_lines), "   -1");
        }
        if (release) {
            ExpectFailure([&] { reader.ProvideBlock(1); }, "",
                          "|%P|BrelonOnfEngine|OnfBlockTextReader",
                          "The text of block 2 of ONF-file \"mem.onf\" was given back after the "
                          "block was loaded; it cannot be read again.");
        }
    }
    onf_detail::LargeBuffer::SetHugePages(hugeByDefault);
}

// Writes down what a tolerant load tells: one entry a call, failures by their identifier.
class EventLog : public OnfBlockLoadListener {
public:
    std::string events;

    void OnLoading(size_t index, const BlockInfo&) override { Add("loading", index); }
    void OnLoaded(size_t index, const BlockInfo&, const OnfBlock&) override {
        Add("loaded", index);
    }
    void OnMerged(size_t index, const BlockInfo&, size_t head) override {
        Add("merged", index, "into " + std::to_string(head));
    }
    void OnSkipped(size_t index, const BlockInfo&) override { Add("skipped", index); }
    void OnUnknown(size_t index, const BlockInfo& info) override {
        Add("unknown", index, std::to_string(info.block_id));
    }
    void OnFailed(size_t index, const BlockInfo&, const std::exception& failure) override {
        const auto* known = dynamic_cast<const QSV_Failure*>(&failure);
        Add("failed", index, known != nullptr ? known->GetId() : "?");
    }

private:
    void Add(const char* what, size_t index, const std::string& detail = std::string()) {
        events += std::string(events.empty() ? "" : "; ") + what + " " + std::to_string(index) +
                  (detail.empty() ? "" : " " + detail);
    }
};

// What a tolerant load of all of `reader` into `db` tells.
std::string TolerantLoad(OnfBlockSet& db, OnfBlockTextReader& reader,
                         BrelonOnfTxtDatabase::BlockSetLoadAction action) {
    EventLog log;
    db.LoadFrom(reader, action, log);
    return log.events;
}

TEST(DatabaseLoadActions, TolerantLoadHandsEachFailureOnAndGoesOn) {
    // Block 1, a custom block whose vector lacks two of its values, fails to load.
    const std::string text = onf_test::CustomBlockText("IVb", 1, "1, 5, 1.0, 2.0, 3.0\n") +
                             onf_test::CustomBlockText("IVb", 1, "1, 5, 2.0\n") +
                             BlockText(4711, 0, "") + BlockText(97, 1, "110, 1, 10, 10\n");
    OnfBlockTextReader reader(text.data(), text.size(), L"mem.onf",
                              OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    OnfBlockSet db;
    EXPECT_EQ(TolerantLoad(db, reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS),
              "loading 0; loaded 0; loading 1; failed 1 221112190655; unknown 2 4711; loading 3; "
              "loaded 3");
    // The failed block left the custom block of the same descriptor as it was.
    EXPECT_EQ(Dump(onf_test::FirstBlock(db)), "1:5,1 2 3");
    EXPECT_EQ(Dump(db.GetBlock(static_cast<QSV_OnfId>(97))), "110:1,10,10");

    // Strict, the first failure leaves, and the blocks loaded before it stay.
    OnfBlockSet strict;
    ExpectFailure([&] { strict.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS); },
                  "221112190655", "|%P|BrelonOnfEngine|OnfBlock",
                  "Error in ONF-file \"mem.onf\", line 15 (in ONF data block -1):\nA vector with "
                  "3 components is expected, but some values are missing!");
    EXPECT_EQ(Dump(onf_test::FirstBlock(strict)), "1:5,1 2 3");

    // A merge by number takes the first block of a number that loads as the head.
    const std::string groups = BlockText(200, 1, "1, 2000000000, BIG\n1-2000000000\n") +
                               BlockText(200, 2, "7, 2\nleft\n1, 2\n3, 1\ntop\n5\n") +
                               BlockText(200, 1, "7, 3\nright\n4-6\n");
    OnfBlockTextReader groupsReader(groups.data(), groups.size(), L"mem.onf",
                                    OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    OnfBlockSet merged;
    EXPECT_EQ(TolerantLoad(merged, groupsReader, BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER),
              "loading 0; failed 0; loading 1; loading 2; merged 2 into 1; loaded 1");
    EXPECT_EQ(merged.GetBlock(static_cast<QSV_OnfId>(200)).GetNumRecords(), 3u);
}

TEST(DatabaseUpdateForExport, ListsGetIndices) {
    OnfBlockSet db;
    OnfBlock& groups = db.AddEmptyBlock(static_cast<QSV_OnfId>(200)); // item 3: node ids
    bool created = false;
    const size_t index = groups.GetWarrantedRecordIdx(1, created);
    groups.SetRecordItem(index, static_cast<OnfBlock::Item>(3), std::vector<int>{50, 40},
                         ONF_INT_LIST_ORDERED);
    db.UpdateForExport();
    QSV_IntArray indices;
    groups.GetIntList(static_cast<size_t>(groups.GetInt(index, static_cast<OnfBlock::Item>(3))),
                      indices);
    ASSERT_EQ(indices.Size(), 2u);
    const QSV_IdMap& nodes = db.GetIdMapsPool().GetIdMap(ID_NODE);
    EXPECT_EQ(nodes.GetId(static_cast<size_t>(indices[0])), 50);
    EXPECT_EQ(nodes.GetId(static_cast<size_t>(indices[1])), 40);
}

TEST(TextWriter, Failures) {
    ExpectFailure(
        [] {
            OnfBlockTextWriter writer(L"/nonexistent-folder/a.onf", OnfBlockTextWriter::WRITE_NEW);
        },
        "", kWriterTag, "Unable to open file: /nonexistent-folder/a.onf");
    const std::string path = TempPath("mode.onf");
    ExpectFailure(
        [&] {
            OnfBlockTextWriter(Wide(path).c_str(), static_cast<OnfBlockTextWriter::WriteMode>(2));
        },
        "", kWriterTag, "Unable to open file: " + path);
    ExpectFailure(
        [] {
            OnfBlockTextWriter writer(static_cast<FILE*>(nullptr));
            writer.WriteLine("x");
        },
        "", kWriterTag, "Unable to write into ONF file: ");
    // A full disk shows when the stream's buffer goes out, at the latest when the set is done.
    ExpectFailure(
        [] {
            OnfBlockTextWriter writer(L"/dev/full", OnfBlockTextWriter::WRITE_NEW);
            OnfBlockSet db;
            db.WriteSet(writer);
        },
        "", kWriterTag,
        "An error occurred while writing to file: /dev/full\nLine: 2\nSystem error message: No "
        "space left on device\nDisk full?");
}

TEST(TextWriter, StreamsAndLineCount) {
    FILE* stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    {
        OnfBlockTextWriter writer(stream);
        EXPECT_EQ(writer.GetWriteMode(), OnfBlockTextWriter::WRITE_APPEND);
        for (int i = 0; i < 10; ++i) {
            writer.WriteLine(std::string("line"));
        }
        writer.ClearLines();
        EXPECT_EQ(writer.GetNumLinesWritten(), 0u);
        writer.WriteLine("last");
        EXPECT_EQ(writer.GetNumLinesWritten(), 1u);
    }
    EXPECT_GE(fputs("after\n", stream), 0); // the writer left the stream open
    std::rewind(stream);
    char buffer[128] = {};
    const size_t size = std::fread(buffer, 1, sizeof buffer - 1, stream);
    std::string expected;
    for (int i = 0; i < 10; ++i) {
        expected += "line\n";
    }
    EXPECT_EQ(std::string(buffer, size), expected + "last\nafter\n");
    std::fclose(stream);
}

} // namespace
