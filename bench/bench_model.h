// The benchmark model: a structured grid of hexahedra held in plain arrays, the best-case
// writer that turns them into ONF text and the best-case parser that reads that text back.
// The writer and the parser follow the catalogue's record formats, so the text is the one the
// engine writes and reads; they are the yardsticks the engine's own benchmarks are measured by.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace onf_bench {

// Nodes, struct of arrays: one entry per node.
struct NodeArrays {
    std::vector<int> id, cs, displacementCs;
    std::vector<double> x, y, z;
};

// Elements: one entry per element; the nodes of element e are
// nodes[nodeStart[e]] .. nodes[nodeStart[e + 1] - 1], so nodeStart has one entry more.
struct ElementArrays {
    std::vector<int> id, type, numNodes, property, material, flag1, flag2, flag3;
    std::vector<size_t> nodeStart{0};
    std::vector<int> nodes;
};

// Named groups of one kind, members stored like element nodes.
struct GroupArrays {
    std::vector<int> id;
    std::vector<std::string> name;
    std::vector<size_t> memberStart{0};
    std::vector<int> members;
};

struct ModelArrays {
    NodeArrays nodes;
    ElementArrays elements;
    GroupArrays nodeGroups, elementGroups;

    size_t NumRecords() const { return nodes.id.size() + elements.id.size(); }
};

// A grid of about `numNodes` nodes (nx * ny * nz with nx = ny) and the hexahedra between
// them, ids with gaps as decks number by parts, coordinates with twelve significant digits,
// plus node and element groups (slabs, a boundary skin, scattered picks). Deterministic.
void BuildGridModel(size_t numNodes, ModelArrays& model);

// Appends text to a 1 MiB buffer and hands it to the file in whole buffers.
class BufferedFileWriter {
public:
    explicit BufferedFileWriter(FILE* file);
    ~BufferedFileWriter(); // flushes
    BufferedFileWriter(const BufferedFileWriter&) = delete;
    BufferedFileWriter& operator=(const BufferedFileWriter&) = delete;

    void Append(const char* text, size_t length);
    void Append(const std::string& text) { Append(text.data(), text.size()); }
    void AppendInt(int value);
    void AppendReal(double value); // shortest text that reads back to the same bits
    void EndLine() { Append("\n", 1); }
    void Flush();
    bool Failed() const { return m_Failed; }

private:
    FILE* m_File;
    std::vector<char> m_Buffer;
    size_t m_Used = 0;
    bool m_Failed = false;
};

// The model file (blocks 110 and 140) and the groups file (blocks 200 and 210), each with
// its comment header. Formats and block names come from the catalogue. False on a write error.
bool WriteModelFile(const ModelArrays& model, FILE* file);
bool WriteGroupsFile(const ModelArrays& model, FILE* file);

// Parses the text of a model or groups file in place (`text` is changed: line ends become
// NULs; text[size] must exist) into `model`, which is cleared first. Blocks other than 110, 140,
// 200 and 210 are skipped. False, with `error` set, on text that does not follow the grammar.
bool ParseOnfText(char* text, size_t size, ModelArrays& model, std::string& error);

// The whole file in one read(): `size` bytes and a NUL behind them (bytes.size() == size + 1),
// so that the parser can end the last line in place. False if it cannot be read.
bool ReadWholeFile(const std::string& path, std::vector<char>& bytes, size_t& size);

} // namespace onf_bench
