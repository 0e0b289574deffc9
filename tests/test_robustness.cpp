// Faults of the world around a file (a full disk, a missing folder, a read-only file) and hostile
// file contents (empty files, a line of 100 MB, NUL bytes, foreign line ends, bytes that are not
// UTF-8, ids at the 32-bit limits, counts and runs far beyond what the file holds): the engine
// answers each with its failure in exact words, or reads the file as it reads a clean one.
#include "BrelonOnfTxtDatabase.h"
#include "FailureExpect.h"
#include "LogCapture.h"
#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"
#include "OnfBlockTextWriter.h"
#include "OnfGroupsFile.h"
#include "OnfInitFile.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "OnfResultRequestFile.h"
#include "OnfTemporaryFile.h"
#include "onf_list.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define ONF_TEST_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ONF_TEST_UNDER_ASAN 1
#endif
#endif
#ifndef ONF_TEST_UNDER_ASAN
#define ONF_TEST_UNDER_ASAN 0
#endif

namespace {

using onf_test::ExpectFailure;

const char* const kWriterTag = "|%P|BrelonOnfEngine|OnfBlockTextWriter";
const char* const kReaderTag = "|%P|BrelonOnfEngine|OnfBlockTextReader";
const char* const kBlockTag = "|%P|BrelonOnfEngine|OnfBlock";
const char* const kListTag = "|%P|BrelonUtilities|QSV_ListFormatUtil";
const OnfBlock::Item kFirst = static_cast<OnfBlock::Item>(1);
const OnfBlock::Item kGroupName = static_cast<OnfBlock::Item>(2);

// A folder of this process's own under the test folder, made on first use.
const std::string& Dir() {
    static const std::string dir = [] {
        std::string made = testing::TempDir() + "onf_robustness_" + std::to_string(getpid()) + "/";
        std::filesystem::create_directories(made);
        return made;
    }();
    return dir;
}

std::wstring Wide(const std::string& path) {
    return BrelonStringUtil::utf8_to_wide(path.c_str());
}

std::string Put(const std::string& name, const std::string& bytes) {
    const std::string path = Dir() + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string Get(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The failure that `f` raises; a test failure if it raises none.
QSV_Failure Failure(const std::function<void()>& f) {
    try {
        f();
    } catch (const QSV_Failure& failure) {
        return failure;
    }
    ADD_FAILURE() << "no failure";
    return QSV_Failure("", "");
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string Example(const char* name) {
    return Get(std::string(ONF_EXAMPLES_DIR) + "/" + name);
}

// Each file kind written to `path`: its Write on a file object holding a little content.
struct WriteCase {
    const char* kind;
    std::function<void(const std::string& path)> write;
};

std::vector<WriteCase> WriteCases() {
    return {
        {"model",
         [](const std::string& path) {
             OnfModelFile model(Wide(path), nullptr);
             model.AppendNode(1, 0, 0, 1.0, 2.0, 3.0);
             model.Write();
         }},
        {"groups",
         [](const std::string& path) {
             OnfGroupsFile groups(Wide(path));
             groups.AppendNodeGroup(1, "TOP", {1, 2, 3});
             groups.Write();
         }},
        {"init",
         [](const std::string& path) {
             OnfInitFile init(Wide(path));
             init.AppendInit(static_cast<QSV_OnfId>(110), 1, 9, 9);
             init.Write();
         }},
        {"modif", [](const std::string& path) { OnfModifFile(Wide(path)).Write(); }},
        {"requests",
         [](const std::string& path) {
             OnfResultRequestFile requests(Wide(path));
             requests.Write(OnfResultRequestFile::GroupItems());
         }},
        {"temporary",
         [](const std::string& path) {
             OnfTemporaryFile temporary;
             temporary.AppendLcResReq(1, 2, 3, 4);
             temporary.Write(Wide(path));
         }},
    };
}

TEST(WriteFaults, AFullDiskAMissingFolderAndAFolderInPlaceOfTheFileFailForEveryFileKind) {
    // The stream's buffer hides a full disk until it is handed on: the writer's flush reports it,
    // with the number of lines that reached the buffer.
    const std::regex fullDisk(
        "An error occurred while writing to file: /dev/full\nLine: [1-9][0-9]*\n"
        "System error message: No space left on device\nDisk full\\?");
    for (const WriteCase& c : WriteCases()) {
        SCOPED_TRACE(c.kind);
        const QSV_Failure full = Failure([&] { c.write("/dev/full"); });
        EXPECT_TRUE(std::regex_match(full.GetMessage(), fullDisk)) << full.GetMessage();
        EXPECT_EQ(full.GetLogTag(), kWriterTag);
        const std::string missing = Dir() + "no_such_folder/" + c.kind + ".onf";
        ExpectFailure([&] { c.write(missing); }, "", kWriterTag, "Unable to open file: " + missing);
        ExpectFailure([&] { c.write(Dir()); }, "", kWriterTag, "Unable to open file: " + Dir());
    }
}

TEST(WriteFaults, AReadOnlyFileIsRefusedAndKeepsItsContent) {
    const std::string path = Put("read_only.onf", "# kept\n");
    chmod(path.c_str(), 0444);
    if (access(path.c_str(), W_OK) == 0) {
        GTEST_SKIP() << "this user may write any file (root): permissions cannot refuse a write";
    }
    for (const WriteCase& c : WriteCases()) {
        SCOPED_TRACE(c.kind);
        ExpectFailure([&] { c.write(path); }, "", kWriterTag, "Unable to open file: " + path);
        EXPECT_EQ(Get(path), "# kept\n");
    }
}

// Names in `folder` that start with a dot: the temporary files a save makes beside its target.
std::vector<std::string> Temporaries(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name[0] == '.') {
            names.push_back(name);
        }
    }
    return names;
}

// A file size limit strikes in the middle of a model; the old file is what stays.
TEST(WriteFaults, AFileSizeLimitLeavesTheOldFile) {
    const std::string path = Put("limited.onf", "# old\n");
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = saved;
    limit.rlim_cur = 1 << 16;
    setrlimit(RLIMIT_FSIZE, &limit);
    OnfModelFile model(Wide(path), nullptr);
    for (int id = 1; id <= 10000; ++id) {
        model.AppendNode(id, 0, 0, 1.0 / id, 2.0, 3.0);
    }
    const QSV_Failure failure = Failure([&] { model.Write(); });
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_NE(failure.GetMessage().find("System error message: File too large"), std::string::npos)
        << failure.GetMessage();
    EXPECT_EQ(Get(path), "# old\n");
    EXPECT_EQ(Temporaries(Dir()), std::vector<std::string>());
}

// Only a regular file is replaced: a link stays a link to the file it names, a file of two names
// changes under both, and a device is written as it is, failing or not.
TEST(WriteFaults, LinksAndDevicesKeepWhatTheyAre) {
    const std::string target = Put("linked.onf", "# old\n");
    const std::string link = Dir() + "link.onf";
    const std::string second = Dir() + "second_name.onf";
    std::filesystem::remove(link);
    std::filesystem::remove(second);
    std::filesystem::create_symlink(target, link);
    std::filesystem::create_hard_link(target, second);
    OnfModelFile model(Wide(link), nullptr);
    model.AppendNode(7, 0, 0, 1.0, 2.0, 3.0);
    model.Write();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_NE(Get(target).find("\n7, 0, 0"), std::string::npos) << Get(target);
    EXPECT_EQ(Get(second), Get(target));
    EXPECT_EQ(std::filesystem::hard_link_count(target), 2u);

    model.SetFilename(Wide("/dev/null"));
    model.Write();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    model.SetFilename(Wide("/dev/full"));
    EXPECT_THROW(model.Write(), QSV_Failure);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

// The new file keeps the old one's permission bits; until it is complete it is a hidden file
// beside the target, which a program's signal handler can remove.
TEST(WriteFaults, AReplacedFileKeepsItsModeAndItsTemporaryCanBeRemovedOnASignal) {
    const std::string path = Put("mode.onf", "# old\n");
    chmod(path.c_str(), 0640);
    BrelonOutputFile file;
    ASSERT_TRUE(file.Open(path, BrelonOutputFile::REPLACE));
    ASSERT_TRUE(file.PutLine("# new"));
    EXPECT_EQ(Temporaries(Dir()).size(), 1u);
    ASSERT_TRUE(file.Commit());
    struct stat info;
    stat(path.c_str(), &info);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(Get(path), "# new\n");

    ASSERT_TRUE(file.Open(path, BrelonOutputFile::REPLACE));
    BrelonOutputFile::RemoveTemporaries();
    EXPECT_EQ(Temporaries(Dir()), std::vector<std::string>());
    EXPECT_FALSE(file.Commit());
    EXPECT_EQ(Get(path), "# new\n");
}

// Files stored one after the other replace their old ones only at Commit: one that is stored but
// given up leaves its old file and no temporary, even after its stream is closed.
TEST(WriteFaults, AStoredFileReplacesTheOldOneOnlyWhenCommitted) {
    const std::string path = Put("stored.onf", "# old\n");
    for (const bool commit : {false, true}) {
        BrelonOutputFile file;
        ASSERT_TRUE(file.Open(path, BrelonOutputFile::REPLACE));
        ASSERT_TRUE(file.PutLine("# new"));
        ASSERT_TRUE(file.Store());
        EXPECT_EQ(file.GetStream(), nullptr);
        EXPECT_EQ(Get(path), "# old\n");
        if (commit) {
            ASSERT_TRUE(file.Commit());
        } else {
            file.Discard();
        }
        EXPECT_EQ(Get(path), commit ? "# new\n" : "# old\n");
        EXPECT_EQ(Temporaries(Dir()), std::vector<std::string>());
    }
}

// Lines appended to a file are taken back when the write fails before the writer is done.
TEST(WriteFaults, AFailedAppendCutsTheFileBackToItsOldLength) {
    const std::string path = Put("appended.onf", "# old\n");
    for (const bool fails : {true, false}) {
        try {
            OnfBlockTextWriter writer(Wide(path).c_str(), OnfBlockTextWriter::WRITE_APPEND);
            writer.WriteLine("one");
            writer.Flush();
            BrelonOutputFile::InjectFaults(fails ? 1 : 0, EIO, false);
            writer.WriteLine("two");
        } catch (const QSV_Failure&) {
        }
        EXPECT_EQ(Get(path), fails ? "# old\n" : "# old\none\ntwo\n");
    }
}

// The result file's Write reports nothing when the file cannot be opened; it leaves no file.
TEST(WriteFaults, TheResultFileWritesNothingWhereNoFileCanBeMade) {
    const std::string missing = Dir() + "no_such_folder/result.onf";
    ONFOptResultFile(Wide(missing)).Write();
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(HostileText, AnEmptyFileHoldsNoBlockForEveryReader) {
    const std::string path = Put("empty.onf", "");
    EXPECT_TRUE(OnfBlockTextReader(Wide(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN)
                    .GetBlocksInfo()
                    .empty());
    OnfModelFile model(Wide(path), nullptr);
    model.Read();
    EXPECT_EQ(model.GetNumNodes(), 0u);
    OnfGroupsFile groups(Wide(path));
    groups.Read();
    EXPECT_EQ(groups.GetGroupMaxId(static_cast<QSV_OnfId>(200)), 0);
    OnfModifFile(Wide(path)).Read();
    OnfResultRequestFile requests(Wide(path));
    requests.Read();
    EXPECT_TRUE(requests.IsEmpty());
    OnfTemporaryFile().Read(Wide(path));
    OnfInitFile(Wide(path)).Read();
    ONFOptResultFile byBlocks(Wide(path));
    byBlocks.Read();
    ONFOptResultFile byStream(Wide(path));
    std::istringstream in("");
    in >> byStream;
    EXPECT_EQ(byBlocks.GetSizeDBTitle() + byStream.GetSizeDBTitle(), 0);
}

// LF, CR LF and a lone CR each end a line: the same file in the three forms reads to the same
// content. The stream route reads title and name lines up to a line feed, so there a lone CR
// does not end a line; CR LF does.
TEST(HostileText, LineEndsOfEveryPlatformReadAlike) {
    const std::string lf = Example("model_full.onf");
    std::string written[3];
    const std::string forms[3] = {lf, Replace(lf, "\n", "\r\n"), Replace(lf, "\n", "\r")};
    for (int i = 0; i < 3; ++i) {
        OnfModelFile model(Wide(Put("line_ends_" + std::to_string(i) + ".onf", forms[i])), nullptr);
        model.Read();
        model.SetFilename(Wide(Dir() + "line_ends_out.onf"));
        model.Write();
        written[i] = Get(Dir() + "line_ends_out.onf");
    }
    EXPECT_EQ(written[1], written[0]);
    EXPECT_EQ(written[2], written[0]);

    std::ostringstream result;
    ONFOptResultFile original(Wide(Dir() + "result.onf"));
    original.GetOptDBTitle().Resize(1);
    original.GetOptDBElemScalar().Resize(1);
    original.GetOptDBElemScalar().GetEntry(0).Resize(2);
    result << original;
    ONFOptResultFile byStream(Wide(Dir() + "result.onf"));
    std::istringstream in(Replace(result.str(), "\n", "\r\n"));
    in >> byStream;
    ONFOptResultFile byBlocksCrLf(Wide(Put("result_crlf.onf", in.str())));
    byBlocksCrLf.Read();
    ONFOptResultFile byBlocksCr(Wide(Put("result_cr.onf", Replace(result.str(), "\n", "\r"))));
    byBlocksCr.Read();
    for (const ONFOptResultFile* file : {&byStream, &byBlocksCrLf, &byBlocksCr}) {
        std::ostringstream again;
        again << *file;
        EXPECT_EQ(again.str(), result.str());
    }
}

// A NUL byte ends the text of its line; the line count and the lines behind it are untouched.
TEST(HostileText, ANulByteCutsItsLineAndNothingElse) {
    const std::string text = std::string("   -1\n   -3\nFORMAT=Sb\n   -3\nNON_ONF\n2\n1, AB") +
                             '\0' + "CD, x\n2, EF\n   -1\n";
    BrelonOnfTxtDatabase db(Wide(Put("nul.onf", text)));
    db.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr);
    const auto blocks = db.FindBlocks(QSV_DataDescriptorPattern());
    ASSERT_EQ(blocks.size(), 1u);
    const OnfBlock& block = dynamic_cast<const OnfBlock&>(db.GetDataBlock(blocks[0]));
    EXPECT_STREQ(block.GetString(static_cast<size_t>(block.GetRecordIdx(1)), kFirst), "AB");
    EXPECT_STREQ(block.GetString(static_cast<size_t>(block.GetRecordIdx(2)), kFirst), "EF");
}

// Names and strings are byte text: bytes that are no UTF-8 travel through reading and writing
// unchanged. File names are wide: an invalid code point becomes U+FFFD on the way to the system.
TEST(HostileText, BytesThatAreNotUtf8PassThroughNamesStringsAndFileNames) {
    const std::string odd = "\xff\xfe\xc0\x80_\xed\xa0\x80";
    OnfGroupsFile groups(Wide(Dir() + "odd_groups.onf"));
    groups.AppendNodeGroup(1, odd, {1, 2});
    groups.Write();
    OnfGroupsFile back(Wide(Dir() + "odd_groups.onf"));
    back.Read();
    const OnfBlock& block = back.GetBlock(static_cast<QSV_OnfId>(200));
    EXPECT_EQ(std::string(block.GetString(static_cast<size_t>(block.GetRecordIdx(1)), kGroupName)),
              odd);

    std::wstring name = Wide(Dir() + "odd_");
    name += static_cast<wchar_t>(0xD800);
    name += L".onf";
    OnfInitFile(name).Write();
    EXPECT_TRUE(std::filesystem::exists(Dir() + "odd_\xef\xbf\xbd.onf"));
    std::wstring missing = Wide(Dir() + "missing_");
    missing += static_cast<wchar_t>(0x110000);
    BrelonOnfTxtDatabase db(missing);
    ExpectFailure([&] { db.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr); }, "",
                  "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase",
                  "Trying to open file " + Dir() +
                      "missing_\xef\xbf\xbd.onf, which does not exist.");
}

// The reader keeps a long line whole; a failure that quotes it is cut at the engine's message
// size, and nothing is copied beyond a few times the file.
TEST(HostileText, ALineOf100MegabytesIsQuotedInAFailureCutToItsBufferSize) {
    const std::string path = Put("long_line.onf", std::string(size_t(100) << 20, 'x'));
    const QSV_Failure failure = Failure(
        [&] { OnfBlockTextReader(Wide(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN); });
    const std::string head = "Invalid statement encountered in file: " + path +
                             ", line: 1\nExpected line image: \"   -1\"\nLine image found:    \"";
    EXPECT_EQ(failure.GetMessage(), head + std::string(1023 - head.size(), 'x'));
    EXPECT_EQ(failure.GetLogTag(), kReaderTag);
    std::remove(path.c_str());
}

TEST(Limits, IdsAtThe32BitLimitsReadAndWriteBackInUnsignedOrder) {
    const std::string text =
        "   -1\n110\n4\n2147483647, 0, 0, 1, 2, 3\n-2147483648, 0, 0, 4, 5, 6\n"
        "0, 0, 0, 7, 8, 9\n1, 0, 0, 0, 0, 0\n   -1\n";
    OnfModelFile model(Wide(Put("limits.onf", text)), nullptr);
    model.Read();
    EXPECT_EQ(model.GetNumNodes(), 4u);
    EXPECT_EQ(model.GetNodeGlobalCoordinates(INT_MIN)(2), 6.0);
    EXPECT_EQ(model.GetNodeGlobalCoordinates(INT_MAX)(0), 1.0);
    model.SetFilename(Wide(Dir() + "limits_out.onf"));
    model.Write();
    const std::string written = Get(Dir() + "limits_out.onf");
    const size_t zero = written.find("\n0, 0, 0, 7");
    const size_t one = written.find("\n1, 0, 0, 0");
    const size_t max = written.find("\n2147483647, 0, 0, 1");
    const size_t min = written.find("\n-2147483648, 0, 0, 4");
    EXPECT_TRUE(zero < one && one < max && max < min && min != std::string::npos) << written;
}

// Keys of a block without id map are record indices: one far beyond the block's size fails
// instead of making that many records, and so does a negative one. Small records keep the whole
// sparse range below 65536 whatever the block's text holds.
TEST(Limits, AKeyFarBeyondADirectlyIndexedBlockFailsInsteadOfAllocating) {
    for (const auto& [key, last] : {std::pair{"2147483647", "65535"}, {"-5", "65535"}}) {
        SCOPED_TRACE(key);
        const std::string path = Put("direct.onf", std::string("   -1\n400\n1\n") + key +
                                                       ", 510, -1, -1, -1, -1, 0\n\n0\n   -1\n");
        OnfResultRequestFile requests(Wide(path));
        ExpectFailure([&] { requests.Read(); }, "", kBlockTag,
                      "Error in ONF-file " + path + ", block 400:\nThe record id " + key +
                          " in line 4 cannot serve as a record index.\nThe ids of this block must "
                          "lie between 0 and " +
                          last + ".");
    }
}

// A record costs its format's size whatever its line holds. A long format of optional items
// over lines of one character each must not make a block far larger than its file: the
// declared records fail before they are made, on every load route, and a key of a directly
// indexed block stays below what the block's text pays for.
TEST(Limits, LongRecordsOverShortLinesStayWithinTheBudgetOfTheirText) {
    const std::string head =
        "   -1\n   -3\nFORMAT=i" + std::string(2000, 'r') + "\n   -3\nNON_ONF\n";
    std::string lines;
    for (int k = 0; k < 100; ++k) {
        lines += "1\n";
    }
    const std::string path = Put("long_format.onf", head + "100\n" + lines + "   -1\n");
    const std::string message = "Error in ONF-file " + path +
                                ", block -1:\nIts 100 records of 16008 bytes each need 1600800 "
                                "bytes, but its 200 bytes of record lines allow at most 1061376 "
                                "bytes of records.";
    const char* const tag = "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase";
    BrelonOnfTxtDatabase initialised(Wide(path));
    ExpectFailure([&] { initialised.InitDb(QSV_DatabaseDefs::ACCESS_READ_ONLY, 0, L"", nullptr); },
                  "", tag, message);
    for (int action = 0; action < 4; ++action) {
        SCOPED_TRACE(action);
        OnfBlockTextReader reader(Wide(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
        BrelonOnfTxtDatabase loaded(L"");
        ExpectFailure(
            [&] {
                loaded.LoadFrom(reader,
                                static_cast<BrelonOnfTxtDatabase::BlockSetLoadAction>(action));
            },
            "", tag, message);
    }

    // One record: 65 slots of 16008 bytes fit the budget of its line, a 66th does not.
    const auto initOneRecord = [&](const char* key) {
        const std::string one = Put("long_key.onf", head + "1\n" + key + "\n   -1\n");
        BrelonOnfTxtDatabase(Wide(one)).InitDb(QSV_DatabaseDefs::ACCESS_READ_ONLY, 0, L"", nullptr);
    };
    EXPECT_NO_THROW(initOneRecord("64"));
    ExpectFailure([&] { initOneRecord("65"); }, "", kBlockTag,
                  "Error in ONF-file " + Dir() +
                      "long_key.onf, block -1:\nThe record id 65 in line 7 cannot serve as a "
                      "record index.\nThe ids of this block must lie between 0 and 64.");
}

// A folded run expands to its values, so a few bytes could ask for gigabytes: one list holds at
// most 2^26 values, on both routes.
TEST(Limits, AFoldedRunBeyondTheListLimitFailsOnBothRoutes) {
    const std::string path =
        Put("long_run.onf", "   -1\n200\n1\n1, 2000000000, BIG\n1-2000000000\n   -1\n");
    OnfGroupsFile groups(Wide(path));
    ExpectFailure([&] { groups.Read(); }, "", kListTag,
                  "Error in ONF-file \"" + path +
                      "\", line 5:\nThe list holds more than 67108864 values.");

    ONFOptResultFile result(Wide(Dir() + "result.onf"));
    std::istringstream in("   -1\n200\n1\n7, 2000000000\nBIG\n1-2000000000\n   -1\n");
    const QSV_Failure failure = Failure([&] { in >> result; });
    ASSERT_NE(failure.GetNested(), nullptr);
    EXPECT_EQ(failure.GetNested()->GetMessage(),
              "The ONF group 7 declares 2000000000 values, more than the 67108864 values a list "
              "may hold in line 5.");
}

// The message of the failure that `action` ends in, with the address space limited to what the
// process holds now and `mib` MiB beside it; "std::bad_alloc" for a bare one.
std::string FailureUnderLimit(size_t mib, const std::function<void()>& action) {
    rlimit saved;
    getrlimit(RLIMIT_AS, &saved);
    rlimit limit = saved;
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0;
    statm >> pages;
    limit.rlim_cur = pages * sysconf(_SC_PAGESIZE) + (mib << 20);
    setrlimit(RLIMIT_AS, &limit);
    std::string message = "no failure";
    try {
        action();
    } catch (const QSV_Failure& failure) {
        message = failure.GetMessage();
    } catch (const std::bad_alloc&) {
        message = "std::bad_alloc";
    }
    setrlimit(RLIMIT_AS, &saved);
    return message;
}

std::string GroupsFailureUnderLimit(const std::string& path, size_t mib) {
    return FailureUnderLimit(mib, [&path] {
        OnfGroupsFile groups(Wide(path));
        groups.Read();
    });
}

// Twenty folded runs of 2^26 values each in a file of 629 bytes: each list is allowed, all of them
// are more than the memory left, which is made small here by a limit on the address space. The
// load fails in words, naming file, block and line, before it allocates, never with a bare
// std::bad_alloc. So does a file of 3000 groups of runs of half a million values each, none large
// on its own. (Under AddressSanitizer, whose shadow memory needs the address space, the limit
// cannot be set.)
TEST(Limits, AFileExpandingPastTheMemoryLeftFailsInWordsBeforeAllocating) {
#if ONF_TEST_UNDER_ASAN
    GTEST_SKIP() << "the address space limit cannot be set under AddressSanitizer";
#endif
    std::string records;
    for (int group = 1; group <= 20; ++group) {
        records +=
            std::to_string(group) + ", 67108864, G" + std::to_string(group) + "\n1-67108864\n";
    }
    const std::string path = Put("runs.onf", "   -1\n200\n20\n" + records + "   -1\n");
    const std::regex expected("Error in ONF-file \"" + path +
                              "\", block 200, line [0-9]+:\nThe list run \"1-67108864\" makes the "
                              "list 67108864 values long, about 1024 MiB with what a list of ids "
                              "makes beside it, but [0-9]+ MiB of memory are left\\.");
    const std::string message = GroupsFailureUnderLimit(path, 1500);
    EXPECT_TRUE(std::regex_match(message, expected)) << message;

    std::string small;
    for (int group = 1; group <= 3000; ++group) {
        small += std::to_string(group) + ", 524288, G" + std::to_string(group) + "\n1-524288\n";
    }
    const std::string smallPath = Put("small_runs.onf", "   -1\n200\n3000\n" + small + "   -1\n");
    const std::string smallMessage = GroupsFailureUnderLimit(smallPath, 1000);
    EXPECT_EQ(smallMessage.rfind("Error in ONF-file \"" + smallPath + "\", block 200, line ", 0),
              0u)
        << smallMessage;

    // The stream route's group of 60 million values, with 64 MiB left.
    ONF_LINE_NR = 0;
    std::istringstream stream("1, 60000000\nname\n1-60000000\n");
    ONFNodeGroup group;
    EXPECT_EQ(FailureUnderLimit(64, [&] { stream >> group; }),
              "The ONF group 1 declares 60000000 values, about 228 MiB, "
              "more than the memory left in line 2.");
}

// Results of many load cases come as many small blocks, each under a descriptor of its own: a
// database keeps every one, so what a block costs beside its records decides what such a file
// costs. A few hundred bytes a block (1.8 KiB before its descriptor's texts were made only when
// set and its layout was shared by its catalogue number). The heap's own count is what the
// sanitizers' allocators do not keep.
TEST(Limits, ABlockUnderADescriptorCostsAFewHundredBytes) {
#if ONF_TEST_UNDER_ASAN
    GTEST_SKIP() << "the sanitizers' allocator keeps no heap count";
#endif
    constexpr int kBlocks = 4000;
    std::string text;
    for (int i = 1; i <= kBlocks; ++i) {
        text += "   -1\n   -2\nLOADCASE=" + std::to_string(i) + "\n   -2\n110\n1\n" +
                std::to_string(i) + ", 0, 0, 1.0, 2.0, 3.0\n   -1\n";
    }
    const std::string path = Put("tiny_blocks.onf", text);
    BrelonOnfTxtDatabase db(Wide(path));
    const size_t before = mallinfo2().uordblks;
    db.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr);
    const size_t after = mallinfo2().uordblks;
    ASSERT_EQ(db.GetDataBlocks(QSV_DataDescriptorPattern()).size(), size_t(kBlocks));
    EXPECT_LT(double(after - before) / kBlocks, 800.0);
}

// Counts of entries and items far beyond the text allocate nothing up front: the stream route
// stops at the end of the input, the block route fails at the first line that is not there.
TEST(Limits, CountsFarBeyondTheFileStopAtItsEnd) {
    ONFOptResultFile byStream(Wide(Dir() + "result.onf"));
    std::istringstream in("   -1\n710\n2000000000\n1\ntitle\n2000000000\n5, 1.5\n");
    EXPECT_THROW(in >> byStream, QSV_Failure);
    ASSERT_EQ(byStream.GetSizeDBNodalScalar(), 1);
    // The item that failed half-way is not kept: the entry's count tells the items it holds.
    EXPECT_EQ(byStream.GetOptDBNodalScalar().GetEntry(0).GetCount(), 1);
    EXPECT_EQ(byStream.GetOptDBNodalScalar().GetEntry(0).GetItems().size(), 1u);

    const std::string path =
        Put("counts.onf", "   -1\n710\n1\n1\ntitle\n2000000000\n5, 1.5\n   -1\n");
    ONFOptResultFile byBlocks(Wide(path));
    ExpectFailure([&] { byBlocks.Read(); }, "", "|%P|BrelonOnfEngine|ONFOptResNodalScalar",
                  "The ONF file \"" + path +
                      "\" ends a data block at line 8 before all of its records were read.");
    EXPECT_EQ(byBlocks.GetSizeDBNodalScalar(), 0);
}

// The record budget of a block's text holds exactly: 66 records of 16008 bytes fit the 1060608
// bytes that 66 key lines allow, a 67th record over one more line does not.
TEST(Limits, TheRecordBudgetOfATextHoldsToTheLastRecord) {
    const auto blockOf = [](int records) {
        std::string text = "   -1\n   -3\nFORMAT=i" + std::string(2000, 'r') +
                           "\n   -3\nNON_ONF\n" + std::to_string(records) + "\n";
        for (int key = 0; key < records; ++key) {
            text += std::to_string(key) + "\n";
        }
        return Put("budget.onf", text + "   -1\n");
    };
    const auto init = [](const std::string& path) {
        BrelonOnfTxtDatabase(Wide(path))
            .InitDb(QSV_DatabaseDefs::ACCESS_READ_ONLY, 0, L"", nullptr);
    };
    EXPECT_NO_THROW(init(blockOf(66)));
    const std::string path = blockOf(67);
    ExpectFailure([&] { init(path); }, "", "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase",
                  "Error in ONF-file " + path +
                      ", block -1:\nIts 67 records of 16008 bytes each need 1072536 bytes, but "
                      "its 191 bytes of record lines allow at most 1060800 bytes of records.");
}

} // namespace
