// Helpers of the modification file tests: record texts of the blocks the engine reads, and a
// file object read from such text through a file in the test's temporary folder.
#pragma once

#include "OnfModifFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace onf_test {

inline std::string Join(const std::vector<int>& values) {
    std::string text;
    for (size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(values[i]);
    }
    return text;
}

inline std::string Block(int number, const std::vector<std::string>& records) {
    std::string text =
        "   -1\n" + std::to_string(number) + "\n" + std::to_string(records.size()) + "\n";
    for (const std::string& record : records) {
        text += record;
    }
    return text + "   -1\n";
}

// Block 821: flags 0 to 4 as given, values 0 to 4 as given (printed with 17 digits).
inline std::string Material(int id, int parent, const std::vector<int>& flags,
                            const std::vector<double>& values) {
    std::string text = std::to_string(id) + ", 7, " + std::to_string(parent) + ", T" +
                       std::to_string(id) + ", M" + std::to_string(id) + "\n" + Join(flags) + "\n";
    char number[40];
    for (size_t k = 0; k < values.size(); ++k) {
        std::snprintf(number, sizeof number, "%.17g", values[k]);
        text += (k == 0 ? "" : ", ") + std::string(number);
    }
    return text + "\n";
}

// Block 840: the element's added materials and plies.
inline std::string Element(int id, const std::vector<int>& materials,
                           const std::vector<int>& plies) {
    return std::to_string(id) + ", 3, " + std::to_string(materials.size()) + ", " +
           std::to_string(plies.size()) + "\n" + Join(materials) + "\n" + Join(plies) + "\n";
}

// Block 841: a child element with its material and parent, on nodes 1, 2, 3.
inline std::string Child(int id, int material, int parent) {
    return std::to_string(id) + ", 4, 3, 3, " + std::to_string(material) + ", " +
           std::to_string(parent) + "\n1, 2, 3\n";
}

inline std::wstring TempFile(const std::string& name) {
    const std::string path = ::testing::TempDir() + name;
    return std::wstring(path.begin(), path.end());
}

inline std::string ReadAll(const std::wstring& path) {
    std::ifstream in(std::string(path.begin(), path.end()), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Writes `text` to the temporary file `name` (by default one named after the running test, as
// tests may run in parallel processes) and reads it into a new file object.
inline std::unique_ptr<OnfModifFile> ReadModif(const std::string& text, std::string name = "") {
    if (name.empty()) {
        name =
            std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".onf";
    }
    const std::wstring path = TempFile(name);
    std::ofstream(std::string(path.begin(), path.end()), std::ios::binary) << text;
    auto file = std::make_unique<OnfModifFile>(path);
    file->Read();
    return file;
}

inline const OnfBlock& Blk(const OnfModifFile& file, int number) {
    return file.GetBlock(static_cast<QSV_OnfId>(number));
}

inline size_t Idx(const OnfModifFile& file, int number, int id) {
    return static_cast<size_t>(Blk(file, number).GetRecordIdx(id));
}

} // namespace onf_test
