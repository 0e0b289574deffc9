// String items on their way through a file: a string that a record line can carry is written as
// it stands; one that it cannot is written so that it reads back as one token and leaves every
// other value of its record and block in place.
#include "LogCapture.h"
#include "OnfBlockSet.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A custom block of two records, 1 and 2, whose strings are all `text` and integers all 7.
OnfBlock& FilledBlock(OnfBlockSet& db, const std::string& format, const std::string& text) {
    OnfBlock& block = static_cast<OnfBlock&>(
        db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(5000)), 0, 0, format));
    bool created = false;
    for (int id = 1; id <= 2; ++id) {
        const size_t index = block.GetWarrantedRecordIdx(id, created);
        for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
            const auto it = static_cast<OnfBlock::Item>(item);
            if (block.GetRecordMapEntry(item).m_Type == BDT_STRING) {
                block.SetRecordItem(index, it, text);
            } else {
                block.SetRecordItem(index, it, 7);
            }
        }
    }
    return block;
}

std::string Text(const OnfBlock& block) {
    std::string text;
    for (const std::string& line : onf_test::WrittenLines(block)) {
        text += line + "\n";
    }
    return text;
}

// The block read back from its written text: its records, and the record lines it writes in turn.
struct ReadBack {
    std::string dump;
    std::vector<std::string> lines;
};

ReadBack WriteAndRead(const OnfBlock& block) {
    onf_test::LogCapture log;
    OnfBlockSet db;
    onf_test::LoadText(db, Text(block));
    EXPECT_TRUE(log.lines.empty()) << log.lines.front().message;
    const OnfBlock& read = onf_test::FirstBlock(db);
    return {onf_test::Dump(read), onf_test::WrittenRecordLines(read)};
}

TEST(StringItems, CarriedStringsAreWrittenAsTheyStand) {
    // Each comes back unchanged wherever it stands, so its bytes are those of today's files.
    for (const std::string text : {"abc", "a b", "", "\"a, b\"", "x\ty", "#x", "-1", "a\"\"b"}) {
        for (const char* format : {"SIb", "ISb", "IbSb", "IIIIIIIIISb"}) {
            OnfBlockSet db;
            const OnfBlock& block = FilledBlock(db, format, text);
            SCOPED_TRACE(std::string(format) + " [" + text + "]");
            const ReadBack back = WriteAndRead(block);
            EXPECT_EQ(back.dump, onf_test::Dump(block));
            EXPECT_EQ(back.lines, onf_test::WrittenRecordLines(block));
        }
    }
    // A quote left open reads to the end of its line: as the line's last value it stays, in
    // front of another value it would take that value along.
    OnfBlockSet db;
    EXPECT_EQ(onf_test::WrittenRecordLines(FilledBlock(db, "ISb", "12\" pipe, x")),
              (std::vector<std::string>{"1, 7, 12\" pipe, x", "2, 7, 12\" pipe, x"}));
    OnfBlockSet quotedDb;
    const OnfBlock& quoted = FilledBlock(quotedDb, "SIb", "12\" pipe, x");
    EXPECT_EQ(onf_test::WrittenRecordLines(quoted),
              (std::vector<std::string>{"1, \"12\"\" pipe, x\", 7", "2, \"12\"\" pipe, x\", 7"}));
    EXPECT_EQ(WriteAndRead(quoted).dump, "1:\"12\"\" pipe, x\",7;2:\"12\"\" pipe, x\",7");
}

TEST(StringItems, OtherStringsAreQuotedAndSpareTheRestOfTheBlock) {
    struct Case {
        const char* text;
        const char* readBack; // the string as the engine holds it after a read
    };
    const Case cases[] = {
        {"Steel, grade 2", "\"Steel, grade 2\""},
        {" lead", "\" lead\""},
        {"trail\t", "\"trail\t\""},
        {"   -1", "\"   -1\""},
        {"say \"hi\", twice", "\"say \"\"hi\"\", twice\""},
        {"two\nlines", "two lines"}, // a line break cannot stand inside a line
        {"ends\r\n", "\"ends  \""},
    };
    for (const Case& c : cases) {
        for (const char* format : {"SIb", "IbSb", "IIIIIIIIISIb", "SSIb"}) {
            OnfBlockSet db;
            const OnfBlock& block = FilledBlock(db, format, c.text);
            OnfBlockSet expectedDb;
            const std::string expected =
                onf_test::Dump(FilledBlock(expectedDb, format, c.readBack));
            SCOPED_TRACE(std::string(format) + " [" + c.text + "]");
            const ReadBack back = WriteAndRead(block);
            EXPECT_EQ(back.dump, expected);
            EXPECT_EQ(back.lines, onf_test::WrittenRecordLines(
                                      block)); // read back, the text writes itself again
        }
    }
    OnfBlockSet db;
    EXPECT_EQ(onf_test::WrittenRecordLines(FilledBlock(db, "SIb", "a, b")),
              (std::vector<std::string>{"1, \"a, b\", 7", "2, \"a, b\", 7"}));
}

} // namespace
