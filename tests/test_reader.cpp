#include "LogCapture.h"
#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Reader = OnfBlockTextReader;
using DD = QSV_DataDescriptor;
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlockTextReader";
const char* const kUnknown = "The ONF-file \"mem.onf\" contains a data-block of type %d, which "
                             "is unknown to the interface and will be skipped.";

std::unique_ptr<Reader> Read(const std::string& text,
                             Reader::UnknownBlockAction action = Reader::UNKNOWN_BLOCK_WARN) {
    return std::make_unique<Reader>(text.data(), text.size(), L"mem.onf", action);
}

// The message of the failure that reading `text` raises; checks tag and identifier on the way.
std::string FailureOf(const std::string& text) {
    try {
        Read(text, Reader::UNKNOWN_BLOCK_KEEP);
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetLogTag(), kTag);
        EXPECT_EQ(failure.GetId(), "");
        return failure.GetMessage();
    }
    return "<no failure>";
}

std::vector<std::string> BodyOf(Reader& reader, size_t block) {
    std::vector<std::string> lines;
    reader.ProvideBlock(block);
    while (const char* line = reader.ExtractLine()) {
        lines.emplace_back(line);
    }
    return lines;
}

std::string Unknown(int id) {
    char text[256];
    std::snprintf(text, sizeof(text), kUnknown, id);
    return text;
}

const std::string kModel = "#\n# a model\n\n"
                           "   -1\n"
                           "   -2\n"
                           "  # comment inside the descriptor\n"
                           "LOADCASE = 3\n"
                           "\n"
                           "LABEL=\"x = y\"\n"
                           "   -2\n"
                           "110\n"
                           "2\n"
                           "1, 0, 0.0, 0.0, 0.0\n"
                           "   -2\n"
                           "2, 0, 1.0, 0.0, 0.0\n"
                           "   -1   \r\n"
                           "   -1\n"
                           "   -3\n"
                           "format = IRb\n"
                           "   -3\n"
                           " non_Onf \n"
                           "1\n"
                           "7, 2.5\n"
                           "   -1";

TEST(Reader, DecodesBlocksSectionsAndBodies) {
    auto reader = Read(kModel);
    const auto& blocks = reader->GetBlocksInfo();
    ASSERT_EQ(blocks.size(), 2u);

    EXPECT_EQ(blocks[0].block_id, 110);
    EXPECT_EQ(blocks[0].first_line, 12u);
    EXPECT_EQ(blocks[0].num_lines, 3u);
    EXPECT_EQ(blocks[0].num_records, 2);
    EXPECT_EQ(blocks[0].format, "");
    EXPECT_EQ(blocks[0].descriptor.GetMask(),
              (1u << DD::RI_ONF_ID) | (1u << DD::RI_LOADCASE) | (1u << DD::RI_LABEL));
    EXPECT_EQ(blocks[0].descriptor.GetInteger(DD::RI_ONF_ID), 110);
    EXPECT_EQ(blocks[0].descriptor.GetInteger(DD::RI_LOADCASE), 3);
    EXPECT_EQ(blocks[0].descriptor.GetString(DD::RI_LABEL), "\"x = y\"");

    EXPECT_EQ(blocks[1].block_id, -1);
    EXPECT_EQ(blocks[1].format, "IRb");
    EXPECT_EQ(blocks[1].descriptor.GetMask(), 0u);
    EXPECT_EQ(blocks[1].num_lines, 1u);

    EXPECT_EQ(BodyOf(*reader, 0),
              (std::vector<std::string>{"1, 0, 0.0, 0.0, 0.0", "   -2", "2, 0, 1.0, 0.0, 0.0"}));
    EXPECT_EQ(reader->GetCurrentIdx(), 15u);
    EXPECT_STREQ(reader->GetLine(), "   -1   ");
    reader->Rewind();
    EXPECT_EQ(reader->GetCurrentIdx(), 12u);
    EXPECT_EQ(BodyOf(*reader, 1), std::vector<std::string>{"7, 2.5"});
    EXPECT_EQ(reader->GetNumBlockLines(), 1u);
    EXPECT_TRUE(reader->FileName() == L"mem.onf");

    reader->ProvideBlock(7); // out of range: no lines, no crash
    EXPECT_EQ(reader->ExtractLine(), nullptr);
    EXPECT_EQ(reader->GetNumBlockLines(), 0u);

    DD wanted(static_cast<QSV_OnfId>(110));
    EXPECT_FALSE(reader->AlreadyLoaded(wanted));
    wanted.SetInteger(DD::RI_LOADCASE, 3);
    wanted.SetString(DD::RI_LABEL, "\"x = y\"");
    EXPECT_TRUE(reader->AlreadyLoaded(wanted));
}

TEST(Reader, EveryFailureWithItsExactText) {
    const std::string end = "110\n0\n   -1\n";
    const struct {
        std::string text;
        std::string message;
    } cases[] = {
        {"\n  x\n", "Invalid statement encountered in file: mem.onf, line: 2\nExpected line "
                    "image: \"   -1\"\nLine image found:    \"  x\""},
        {"  -1\n110\n0\n   -1\n", "Invalid statement encountered in file: mem.onf, line: 1\n"
                                  "Expected line image: \"   -1\"\nLine image found:    \"  -1\""},
        {"   -1\n110\n", "ONF file mem.onf ends unexpectedly around line 1"},
        {"   -1\n   -2\nSTEP=1\n   -2\n", "ONF file mem.onf ends unexpectedly around line 5"},
        {"   -1\n   -3\nFORMAT=Ib\n   -3\n", "ONF file mem.onf ends unexpectedly around line 5"},
        {"   -1\n   -2\nloadcase=1\n   -2\n" + end,
         "Error parsing descriptor data from ONF file mem.onf at line 3.\nError message: "
         "Unknown descriptor item \"loadcase\"."},
        {"   -1\n   -2\nSTEP 1\n   -2\n" + end,
         "Error parsing descriptor data from ONF file mem.onf at line 3.\nError message: Syntax "
         "error while decoding a <Key> = <Value> pair."},
        {"   -1\n   -2\nSTEP = 1 = 2\n   -2\n" + end,
         "Error parsing descriptor data from ONF file mem.onf at line 3.\nError message: Syntax "
         "error while decoding a <Key> = <Value> pair."},
        {"   -1\n   -2\nSTEP = 1.5\n   -2\n" + end,
         "Error parsing descriptor data from ONF file mem.onf at line 3.\nError message: Integer "
         "value expected on the right-hand side of the expression."},
        {"   -1\n   -2\nSTEP = 1\n\n#\n",
         "Error parsing descriptor data from ONF file mem.onf at line 6.\nError message: "
         "Unexpected end of file within a descriptor definition."},
        {"   -1\n   -3\nFORM = Ib\n   -3\n" + end,
         "Error parsing format data from ONF file mem.onf at line 3.\nError message: Unknown "
         "keyword found in the block-format section: FORM."},
        {"   -1\n   -3\nFORMAT = Ib\nformat = IIb\n   -3\n" + end,
         "Error parsing format data from ONF file mem.onf at line 4.\nError message: A second "
         "format string was found in the block-format section."},
        {"   -1\n   -3\nFORMAT = Ib\nOTHER = IIb\n   -3\n" + end,
         "Error parsing format data from ONF file mem.onf at line 4.\nError message: A second "
         "format string was found in the block-format section."},
        {"   -1\n   -3\n# nothing\n   -3\n" + end,
         "Error parsing format data from ONF file mem.onf at line 4.\nError message: No format "
         "string was found in the block-format section."},
        {"   -1\n   -3\nFORMAT\n   -3\n" + end,
         "Error parsing format data from ONF file mem.onf at line 3.\nError message: Syntax "
         "error while decoding a <Key> = <Value> pair."},
        {"   -1\n   -3\nFORMAT = Ib\n",
         "Error parsing format data from ONF file mem.onf at line 4.\nError message: Unexpected "
         "end of file within a format definition."},
        {"   -1\n   -2\nONF_ID = 5\n   -2\n   -3\nFORMAT=Ib\n   -3\nNON_ONF\n0\n   -1\n",
         "The ONF-file \"mem.onf\" contains an ONF-entry in a descriptor for non-onf block at "
         "line 8."},
        {"   -1\nNON_ONF\n0\n   -1\n",
         "The ONF-file \"mem.onf\" contains non-onf block at line 2 with missing format "
         "information."},
        {"   -1\n   -2\nONF_ID = 111\n   -2\n" + end,
         "The ONF-file \"mem.onf\" contains an inconsistent descriptor entry for ONF-block 110."},
        {"   -1\n   -2\nONF = 5\n   -2\n4711\n0\n   -1\n",
         "The ONF-file \"mem.onf\" contains an inconsistent descriptor entry for ONF-block 4711."},
        {"   -1\n110\n1\n1, 0, 0.0, 0.0, 0.0\n",
         "File ended before all lines could be loaded for block with id: 110"},
        {"   -1\n   -3\nFORMAT=Ib\n   -3\n4711\n",
         "File ended before all lines could be loaded for block with id: 4711"},
        {"   -1\n110\n3\na\n\n   -1\n",
         "A wrong number of records is stored for block with id = 110\n2 lines found in the "
         "block body, which is less than\nthe declared number of records (3)"},
        {"   -1\n110\n-1\n   -1\n",
         "A wrong number of records is stored for block with id = 110\n0 lines found in the "
         "block body, which is less than\nthe declared number of records (18446744073709551615)"},
        {"   -1\n110\n4294967297\n   -1\n", // wraps at 32 bits to 1
         "A wrong number of records is stored for block with id = 110\n0 lines found in the "
         "block body, which is less than\nthe declared number of records (1)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FailureOf(c.text), c.message) << "input:\n" << c.text;
    }
}

TEST(Reader, LoadFailureNamesTheFileAndTheSystemError) {
    try {
        Reader reader(L"/nonexistent/d\u00E9j\u00E0.onf", Reader::UNKNOWN_BLOCK_WARN);
        FAIL() << "no failure";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(),
                  "Loading of file \"/nonexistent/d\xC3\xA9j\xC3\xA0.onf\" "
                  "failed.\nSystem error message:\nNo such file or directory");
        EXPECT_EQ(failure.GetLogTag(), kTag);
    }
}

// Accepted texts and what they decode to: id, first line, lines, records of each kept block.
TEST(Reader, GrammarEdgeCases) {
    struct Block {
        int32_t id;
        size_t first;
        size_t lines;
        int64_t records;
    };
    const struct {
        std::string text;
        std::vector<Block> blocks;
    } cases[] = {
        {"", {}},
        {"# only\n  \t\n   # comments\r\n", {}},
        {"   -1\n110\n1\n   -2\n   -3\n#\n\n   -1\n", {{110, 3, 4, 1}}},
        {"   -1 \t\n+110xyz\n  2abc\na\nb\n   -1", {{110, 3, 2, 2}}},
        {"   -1\n110\n0\n   -1\n", {{110, 0, 0, 0}}},
        {"   -1\n110\n0\nstray\n   -1\n", {{110, 0, 1, 0}}}, // hands out the file's first lines
        {"   -1\r\n110\r\n1\r\nx\r\n   -1\r\n", {{110, 3, 1, 1}}},
        {"   -1\r110\r1\rx\r   -1\r", {{110, 3, 1, 1}}},
        {"   -1\n# comment as id\n0\n   -1\n", {{0, 0, 0, 0}}},
        {"   -1\n110\n0\n   -1\n   -1\n-5\n0\n   -1\n", {{110, 0, 0, 0}, {-5, 0, 0, 0}}},
        {std::string("   -1\n110\n1\nx\0   -1\n   -1\n", 26), {{110, 3, 1, 1}}},
    };
    for (const auto& c : cases) {
        auto reader = Read(c.text, Reader::UNKNOWN_BLOCK_KEEP);
        const auto& blocks = reader->GetBlocksInfo();
        ASSERT_EQ(blocks.size(), c.blocks.size()) << c.text;
        for (size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_EQ(blocks[i].block_id, c.blocks[i].id) << c.text;
            EXPECT_EQ(blocks[i].first_line, c.blocks[i].first) << c.text;
            EXPECT_EQ(blocks[i].num_lines, c.blocks[i].lines) << c.text;
            EXPECT_EQ(blocks[i].num_records, c.blocks[i].records) << c.text;
        }
    }
    auto stray = Read("   -1\n110\n0\nstray\n   -1\n");
    EXPECT_EQ(BodyOf(*stray, 0), std::vector<std::string>{"   -1"});
}

TEST(Reader, UnknownBlocksByAction) {
    const std::string plain = "   -1\n4711\n0\n   -1\n";
    const std::string formatted = "   -1\n   -3\nFORMAT=Ib\n   -3\n4711\n0\n   -1\n";
    const struct {
        const std::string& text;
        int action;
        size_t kept;
        bool warned;
    } cases[] = {
        {plain, Reader::UNKNOWN_BLOCK_WARN, 0, true},
        {formatted, Reader::UNKNOWN_BLOCK_WARN, 1, true},
        {plain, Reader::UNKNOWN_BLOCK_KEEP, 1, false},
        {plain, 2, 0, false},
        {formatted, 2, 1, false},
    };
    for (const auto& c : cases) {
        onf_test::LogCapture log;
        auto reader = Read(c.text, static_cast<Reader::UnknownBlockAction>(c.action));
        ASSERT_EQ(reader->GetBlocksInfo().size(), c.kept) << c.action;
        EXPECT_EQ(log.lines.size(), c.warned ? 1u : 0u);
        EXPECT_EQ(log.Count(QSV_LogMacros::LOG_WARNING, Unknown(4711)), c.warned ? 1u : 0u);
        if (c.kept == 1) {
            const auto& block = reader->GetBlocksInfo()[0];
            EXPECT_EQ(block.block_id, 4711);
            EXPECT_EQ(block.descriptor.GetInteger(DD::RI_ONF_ID), -1);
            EXPECT_EQ(block.descriptor.GetSpare(), -1);
        }
    }
}

// Any unambiguous prefix of a key finds it; case, digits, foreign bytes and ambiguity do not.
TEST(Reader, DescriptorKeyPrefixes) {
    const struct {
        const char* key;
        int item; // -1: unknown descriptor item
    } cases[] = {
        {"LOADCASE", DD::RI_LOADCASE},
        {"LOAD", DD::RI_LOADCASE},
        {"L", -1},
        {"LA", DD::RI_LABEL},
        {"SUBC", DD::RI_SUBCASE},
        {"SUBS", DD::RI_SUBSTEP},
        {"SUB", -1},
        {"S", -1},
        {"STEP", DD::RI_STEP},
        {"ST", DD::RI_STEP},
        {"T", DD::RI_TIME},
        {"STEPS", -1},
        {"STEPXY", -1},
        {"loadcase", -1},
        {"LOADCASE1", -1},
        {"LOAD CASE", -1},
        {"\xC4", -1},
        {"Q", -1},
        {"MODEL", DD::RI_MODEL},
        {"E", DD::RI_EIGENMODE},
        {"O", DD::RI_ONF_ID},
    };
    for (const auto& c : cases) {
        const bool isString =
            c.item >= 0 && DD::RD_NAME_TYPE_ITEMS[c.item].type == DD::ITEM_TYPE_STRING;
        const std::string value = (c.item == DD::RI_ONF_ID) ? "110" : isString ? "\"s\"" : "4";
        const std::string text =
            std::string("   -1\n   -2\n") + c.key + " = " + value + "\n   -2\n110\n0\n   -1\n";
        if (c.item < 0) {
            EXPECT_EQ(FailureOf(text),
                      std::string("Error parsing descriptor data from ONF file mem.onf at line "
                                  "3.\nError message: Unknown descriptor item \"") +
                          c.key + "\".");
            continue;
        }
        auto reader = Read(text);
        const DD& d = reader->GetBlocksInfo().at(0).descriptor;
        const auto index = static_cast<DD::ResultIndex>(c.item);
        EXPECT_TRUE(d.IsSet(index)) << c.key;
        if (isString) {
            EXPECT_EQ(d.GetString(index), value) << c.key;
        } else {
            EXPECT_EQ(d.GetInteger(index), std::stoi(value)) << c.key;
        }
    }
    EXPECT_EQ(FailureOf("   -1\n   -2\n = 1\n   -2\n110\n0\n   -1\n"),
              "Error parsing descriptor data from ONF file mem.onf at line 3.\nError message: "
              "Unknown descriptor item \"\".");
}

TEST(Reader, DeepCopySurvivesItsOriginal) {
    auto original = Read(kModel);
    original->ProvideBlock(0);
    original->ExtractLine();
    Reader copy(*original);
    original.reset();
    EXPECT_EQ(copy.GetBlocksInfo().size(), 2u);
    EXPECT_STREQ(copy.ExtractLine(), "   -2");
    EXPECT_EQ(BodyOf(copy, 1), std::vector<std::string>{"7, 2.5"});
    DD lookedUp(static_cast<QSV_OnfId>(110));
    lookedUp.SetInteger(DD::RI_LOADCASE, 3);
    lookedUp.SetString(DD::RI_LABEL, "\"x = y\"");
    EXPECT_TRUE(copy.AlreadyLoaded(lookedUp));
}

TEST(Reader, ReadsFromFileAndLoadsAgain) {
    char dir[] = "/tmp/onf_reader_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string path = std::string(dir) + "/model.onf";
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fwrite(kModel.data(), 1, kModel.size(), file);
    std::fclose(file);
    const std::wstring wide(path.begin(), path.end());

    Reader reader(wide.c_str(), Reader::UNKNOWN_BLOCK_WARN);
    EXPECT_EQ(reader.GetBlocksInfo().size(), 2u);
    reader.LoadFile(wide.c_str(), Reader::UNKNOWN_BLOCK_WARN);
    EXPECT_EQ(reader.GetBlocksInfo().size(), 2u); // replaced, not appended
    reader.DecodeFile(Reader::UNKNOWN_BLOCK_WARN);
    EXPECT_EQ(reader.GetBlocksInfo().size(), 4u); // appended
    std::remove(path.c_str());
    rmdir(dir);
}

// Every prefix of a good file and many byte mutations of it either decode or fail cleanly.
TEST(Reader, DamagedFilesFailCleanly) {
    onf_test::LogCapture quiet;
    auto attempt = [](const std::string& text) {
        try {
            auto reader = Read(text, Reader::UNKNOWN_BLOCK_KEEP);
            for (size_t b = 0; b < reader->GetBlocksInfo().size(); ++b) {
                BodyOf(*reader, b);
            }
        } catch (const QSV_Failure&) {
        }
    };
    for (size_t n = 0; n <= kModel.size(); ++n) {
        attempt(kModel.substr(0, n));
    }
    const char bytes[] = {'-', '1', '2', '3', '\n', '\r', '\0', ' ', '#', '=', '"', 'N'};
    uint32_t state = 12345;
    for (int round = 0; round < 3000; ++round) {
        std::string text = kModel;
        for (int k = 0; k < 3; ++k) {
            state = state * 1664525u + 1013904223u;
            text[(state >> 8) % text.size()] = bytes[(state >> 24) % sizeof(bytes)];
        }
        attempt(text);
    }
}

} // namespace
