// The optimisation result file, written and read back by both routes.
#include "FailureExpect.h"
#include "ONFOptResultFile.h"
#include "test_stream_util.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <numeric>
#include <sstream>
#include <unistd.h>

using onf_stream_test::CatchFailure;
using onf_test::ExpectFailure;

namespace {

std::string TempName(const std::string& stem) {
    return ::testing::TempDir() + "stream_" + stem + "_" + std::to_string(getpid()) + ".onf";
}

void WriteText(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
}

std::string Dump(const ONFOptResultFile& file) {
    std::ostringstream os;
    os << file;
    return os.str();
}

// Reads `name` by the block route and by the stream route.
std::pair<ONFOptResultFile, ONFOptResultFile> ReadBothWays(const std::string& name) {
    ONFOptResultFile byBlocks(name);
    byBlocks.Read();
    ONFOptResultFile byStream(name);
    std::ifstream is(name, std::ios::binary);
    is >> byStream;
    return {byBlocks, byStream};
}

// A result file of several design iterations over a model of `nodes` nodes and `elements`
// elements. Values are multiples of 1/8 below 10^4, so seven digits hold them exactly.
ONFOptResultFile MakeResults(const std::string& name, int nodes, int elements, int iterations) {
    ONFOptResultFile file(name);
    for (int it = 1; it <= iterations; ++it) {
        ONFOptDataBlockEntry<ONFOptResTitle> title(it, "Design iteration " + std::to_string(it));
        title.PushBackItem(ONFOptResTitle("Objective mass"));
        file.GetOptDBTitle().PushBackEntry(title);
        ONFOptDataBlockEntry<ONFOptResNodalScalar> scalar(it, "Temperature");
        ONFOptDataBlockEntry<ONFOptResNodalDisp> disp(it, "Displacement");
        ONFOptDataBlockEntry<ONFOptResNodalVector> vector(it, "Reaction");
        for (int n = 1; n <= nodes; ++n) {
            scalar.PushBackItem(ONFOptResNodalScalar(n, (n % 8000) / 8.0 - it));
            disp.PushBackItem(ONFOptResNodalDisp(n, n / 1024.0, -it / 8.0, (n % 77) * 0.125));
        }
        vector.PushBackItem(ONFOptResNodalVector(nodes, 1.5, 0.0, -it));
        file.GetOptDBNodalScalar().PushBackEntry(scalar);
        file.GetOptDBNodalDisp().PushBackEntry(disp);
        file.GetOptDBNodalVector().PushBackEntry(vector);
        ONFOptDataBlockEntry<ONFOptResElemScalar> density(it, "Density");
        for (int e = 1; e <= elements; ++e) {
            density.PushBackItem(ONFOptResElemScalar(100000 + e, (e % 9) / 8.0));
        }
        file.GetOptDBElemScalar().PushBackEntry(density);
    }
    std::vector<int> all(static_cast<size_t>(nodes));
    std::iota(all.begin(), all.end(), 1);
    file.GetOptDBNodeGroup().AddItem(ONFNodeGroup(2, "ALL_NODES", all));
    file.GetOptDBNodeGroup().AddItem(ONFNodeGroup(1, "corners", {1, 7, nodes}));
    std::vector<int> shell;
    for (int e = 1; e <= elements; e += 3) {
        shell.push_back(100000 + e);
    }
    shell.push_back(5);
    file.GetOptDBElementGroup().AddItem(ONFElementGroup(9, "shell", shell));
    return file;
}

const char* const EMPTY_FILE_BLOCKS[] = {
    "# DATA BLOCK 700: ONF OPT Result Title",
    "# DATA BLOCK 710: ONF OPT Result Nodal Scalar Value",
    "# DATA BLOCK 720: ONF OPT Result Nodal Vector Value",
    "# DATA BLOCK 730: ONF OPT Result Nodal Displacement Value",
    "# DATA BLOCK 740: ONF OPT Result Element Scalar Value",
    "# DATA BLOCK 200: ONF NODE GROUP DEFINITION",
    "# DATA BLOCK 210: ONF ELEMENT GROUP DEFINITION"};

} // namespace

TEST(StreamResultFile, EmptyFileHoldsHeaderAndSevenEmptyBlocks) {
    const std::string name = TempName("empty");
    ONFOptResultFile(name).Write();
    std::ifstream in(name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    std::string expected = "# ONF version 1.0\n# ONF optimisation result file\n#\n";
    for (const char* title : EMPTY_FILE_BLOCKS) {
        const std::string number = std::string(title).substr(13, 3);
        expected += "#\n" + std::string(title) + "\n#\n   -1\n" + number + "\n0\n   -1\n";
    }
    EXPECT_EQ(text.str(), expected);

    const auto read = ReadBothWays(name);
    EXPECT_EQ(Dump(read.first), expected);
    EXPECT_EQ(Dump(read.second), expected);
    std::remove(name.c_str());
}

TEST(StreamResultFile, RealisticResultsReadBackAlikeByBothRoutes) {
    const std::string name = TempName("large");
    const ONFOptResultFile original = MakeResults(name, 6000, 4500, 4);
    original.Write();
    const auto read = ReadBothWays(name);
    const std::string expected = Dump(original);
    EXPECT_EQ(Dump(read.first), expected);
    EXPECT_EQ(Dump(read.second), expected);
    EXPECT_EQ(read.first.GetOptDBNodalDisp().GetEntry(3).GetItem(5999).GetValueDispX(),
              6000 / 1024.0);
    EXPECT_LT(expected.size(), 2000000u); // runs fold: the 6000 node ids take one token

    // Neither route clears: a second reading adds entries, but groups keep their first id.
    ONFOptResultFile twice = read.first;
    twice.Read();
    EXPECT_EQ(twice.GetSizeDBNodalScalar(), 8);
    EXPECT_EQ(twice.GetNumNodeGroup(), 2);
    std::remove(name.c_str());
}

TEST(StreamResultFile, CommentsAndSectionsInBothRoutes) {
    const std::string name = TempName("comments");
    const std::string block700 = "   -1\n700\n1\n3\nthird\n0\n   -1\n";
    WriteText(name, "# head\n" + block700 + "# between\n" + block700);
    auto read = ReadBothWays(name);
    EXPECT_EQ(read.first.GetSizeDBTitle(), 2);
    EXPECT_EQ(read.second.GetSizeDBTitle(), 2);

    // A blank ahead of "#" is no comment to the stream: reading ends quietly there.
    WriteText(name, block700 + " # indented\n" + block700);
    read = ReadBothWays(name);
    EXPECT_EQ(read.first.GetSizeDBTitle(), 2);
    EXPECT_EQ(read.second.GetSizeDBTitle(), 1);

    // A descriptor section passes the block route and is block -2 to the stream.
    WriteText(name, "   -1\n   -2\n   -2\n710\n0\n   -1\n");
    ONFOptResultFile byBlocks(name);
    byBlocks.Read();
    ONFOptResultFile byStream(name);
    std::ifstream is(name);
    ExpectFailure([&] { is >> byStream; }, "161050150210", "|%P|BrelonOnfEngine|ONFOPTResultFile",
                  "A not admissible data block with ID -2 was found.");

    WriteText(name, "   -1\n   -3\nFORMAT = ib\n   -3\nNON_ONF\n0\n   -1\n");
    ExpectFailure([&] { ONFOptResultFile(name).Read(); }, "161050150211",
                  "|%P|BrelonOnfEngine|ONFOPTResultFile",
                  "A not admissible data block with ID -1 was found.");
    std::remove(name.c_str());
}

TEST(StreamResultFile, StreamMarkersAreChecked) {
    const struct {
        const char* text;
        const char* id;
        const char* message;
    } cases[] = {
        {"-2\n700\n", "161049150210",
         "The start ID string of an ONF data block had a wrong format."},
        {"-1\n999\n", "161050150210", "A not admissible data block with ID 999 was found."},
        {"-1\n700\n0\n-3\n", "161051150210",
         "The end ID string of an ONF data block had a wrong format."},
        {"-1\n700\n0\nend\n", "161051150210",
         "The end ID string of an ONF data block had a wrong format."},
    };
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        ONFOptResultFile file(std::string("s.onf"));
        ExpectFailure([&] { is >> file; }, c.id, "|%P|BrelonOnfEngine|ONFOPTResultFile", c.message);
    }
    // The end marker on a last line without a line end is not looked at.
    for (const char* text : {"-1\n700\n0\n-1", "-1\n700\n0\n7", "", "-1\n710\n1\n3\nt\n0\n-1\n"}) {
        std::istringstream is(text);
        ONFOptResultFile file(std::string("s.onf"));
        EXPECT_NO_THROW(is >> file) << text;
    }
}

TEST(StreamResultFile, BlockRouteFailsCleanlyWhenRecordsRunShort) {
    const std::string name = TempName("short");
    // Two entries declared and three lines present: the reader accepts the count, the second
    // entry finds no line.
    WriteText(name, "   -1\n710\n2\n1\ntitle\n0\n   -1\n");
    ExpectFailure([&] { ONFOptResultFile(name).Read(); }, "",
                  "|%P|BrelonOnfEngine|ONFOptDataBlockEntry",
                  "The ONF file \"" + name +
                      "\" ends a data block at line 7 before all of its records were read.");
    // An empty group has no list line, which the block route always takes.
    WriteText(name, "   -1\n200\n1\n4, 0\nempty\n   -1\n");
    EXPECT_EQ(CatchFailure([&] { ONFOptResultFile(name).Read(); }).GetLogTag(),
              "|%P|BrelonOnfEngine|ONFGroup");
    std::remove(name.c_str());
}
