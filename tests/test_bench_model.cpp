// The benchmark model's writer and parser: the yardsticks must do the same work as the engine.
#include "bench_model.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using onf_bench::ModelArrays;

std::string WriteToString(const ModelArrays& model, bool groups) {
    FILE* file = std::tmpfile();
    EXPECT_NE(nullptr, file);
    EXPECT_TRUE(groups ? onf_bench::WriteGroupsFile(model, file)
                       : onf_bench::WriteModelFile(model, file));
    std::string text(static_cast<size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(text.size(), std::fread(&text[0], 1, text.size(), file));
    std::fclose(file);
    return text;
}

bool Parse(std::string text, ModelArrays& model, std::string& error) {
    return onf_bench::ParseOnfText(&text[0], text.size(), model, error); // text[size] is a NUL
}

TEST(BenchModel, WrittenFilesParseBackToTheSameArrays) {
    ModelArrays built, read;
    onf_bench::BuildGridModel(3000, built);
    ASSERT_EQ(2940u, built.nodes.id.size()); // 14 x 14 x 15
    ASSERT_EQ(2366u, built.elements.id.size());
    std::string error;
    const std::string modelText = WriteToString(built, false);
    ASSERT_TRUE(Parse(modelText, read, error)) << error;
    EXPECT_EQ(built.nodes.id, read.nodes.id);
    EXPECT_EQ(built.nodes.x, read.nodes.x); // bit for bit
    EXPECT_EQ(built.nodes.z, read.nodes.z);
    EXPECT_EQ(built.elements.type, read.elements.type);
    EXPECT_EQ(built.elements.nodeStart, read.elements.nodeStart);
    EXPECT_EQ(built.elements.nodes, read.elements.nodes);
    EXPECT_EQ(0u, modelText.find("#\n# "));
    EXPECT_NE(std::string::npos, modelText.find("\n   -1\n   110\n2940\n1, 0, 0, 12.3456789012, "));

    ASSERT_TRUE(Parse(WriteToString(built, true), read, error)) << error;
    EXPECT_EQ(built.nodeGroups.name, read.nodeGroups.name);
    EXPECT_EQ(built.nodeGroups.members, read.nodeGroups.members);
    EXPECT_EQ(built.elementGroups.memberStart, read.elementGroups.memberStart);
    EXPECT_EQ(built.elementGroups.members, read.elementGroups.members);
}

TEST(BenchModel, ListsFoldRunsAndBreakAfterTenTokens) {
    ModelArrays model;
    auto& g = model.elementGroups;
    std::vector<int> members = {1, 2, 3, 7, 20, 30, 40, 41};
    for (int v = 100; v < 124; v += 2) {
        members.push_back(v * 3 + (v % 4)); // no run of three with one step
    }
    g.id = {0, 1};
    g.name = {"MIXED", "EMPTY"};
    g.members = members;
    g.memberStart = {0, members.size(), members.size()};
    const std::string text = WriteToString(model, true);
    EXPECT_NE(std::string::npos,
              text.find("   210\n2\n0, 20\nMIXED\n1-3, 7, 20-40:10, 41, 300, 308, 312, 320, 324, "
                        "332, \n336, 344, 348, 356, 360, 368\n1, 0\nEMPTY\n\n   -1\n"))
        << text;
    ModelArrays read;
    std::string error;
    ASSERT_TRUE(Parse(text, read, error)) << error;
    EXPECT_EQ(g.members, read.elementGroups.members);
    EXPECT_EQ(g.memberStart, read.elementGroups.memberStart);
}

TEST(BenchModel, ParserFollowsTheRecordGrammar) {
    // CRLF ends, comments between blocks, a descriptor, an unknown block, a record that goes
    // on where its tokens run out, a list over two lines, a name with blanks around it.
    const std::string text = "# c\r\n\r\n   -1\r\n   -2\r\nNAME=x\r\n   -2\r\n   110\r\n2\r\n"
                             "5, 1\r\n2, 1.5, 2.5, 3.5\r\n6, 0, 0, -1, 1e-3, 4\r\n   -1\r\n"
                             "   -1\r\n   999\r\n1\r\n1, 2\r\n   -1\r\n"
                             "   -1\n   200\n1\n4, 3\n  BASE  \n1-2, \n9\n   -1\n";
    ModelArrays m;
    std::string error;
    ASSERT_TRUE(Parse(text, m, error)) << error;
    EXPECT_EQ((std::vector<int>{5, 6}), m.nodes.id);
    EXPECT_EQ((std::vector<int>{1, 0}), m.nodes.cs);
    EXPECT_EQ((std::vector<int>{2, 0}), m.nodes.displacementCs);
    EXPECT_EQ((std::vector<double>{3.5, 4}), m.nodes.z);
    EXPECT_EQ(1e-3, m.nodes.y[1]);
    EXPECT_EQ(std::vector<std::string>{"BASE"}, m.nodeGroups.name);
    EXPECT_EQ((std::vector<int>{1, 2, 9}), m.nodeGroups.members);

    EXPECT_FALSE(Parse("   -1\n   110\n1\n1, 0, 0, 1, 2, 3\n", m, error)); // no end marker
    EXPECT_EQ("bad ONF text at line 4", error);
    EXPECT_FALSE(Parse("   -1\n   110\n1\n1, 0, 0, 1, 2, 3\n   -1\nstray\n", m, error));
    EXPECT_EQ("bad ONF text at line 6", error);
}

} // namespace
