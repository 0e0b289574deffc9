// Number items of a block body read through the loader's quick paths must come out exactly as
// the general conversion and validity test give them: same stored bits, same counts of bad
// values in the block's report.
#include "BrelonOnfTxtDatabase.h"
#include "BrelonTextServices.h"
#include "LogCapture.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"
#include "QSV_DataDescriptor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Item = QSV_DataRecordItem::DataRecordItem;

const std::vector<std::string> kTokens = {"12.3456789012",
                                          "-3.1415926535",
                                          "0.5772156649",
                                          "1.5",
                                          "+5",
                                          "-0",
                                          "007",
                                          "1e400",
                                          "-1e400",
                                          "1e-400",
                                          "+-5",
                                          ".5",
                                          "5.",
                                          "-.5",
                                          "+.5e-3",
                                          "1E5",
                                          "1e",
                                          "1e+",
                                          "0x10",
                                          "nan",
                                          "-inf",
                                          "inf",
                                          "2147483648",
                                          "-2147483648",
                                          "abc",
                                          "12abc",
                                          "+",
                                          "-",
                                          "99999999999",
                                          "4.9e-324",
                                          "1.7976931348623157e308"};

// What the loader's general path counts for a real token: nothing for a valid real or an
// integer, else one in the counter of its state.
void CountReal(const std::string& token, size_t counters[4]) {
    const NumericValueState state = BrelonFormatUtil::is_valid_double(token.c_str(), token.size());
    if (state == BrelonFormatUtil::NVS_VALID ||
        (state == BrelonFormatUtil::NVS_INVALID && BrelonFormatUtil::is_int(token.c_str()))) {
        return;
    }
    ++counters[state];
}

// The loader's integer reading: optional sign, digits up to the first other byte, wrapping.
int WrappedInt(const std::string& token) {
    size_t i = token[0] == '+' || token[0] == '-' ? 1 : 0;
    uint32_t value = 0;
    for (; i < token.size() && token[i] >= '0' && token[i] <= '9'; ++i) {
        value = value * 10u + static_cast<uint32_t>(token[i] - '0');
    }
    return static_cast<int>(token[0] == '-' ? 0u - value : value);
}

bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(LoaderNumbers, QuickPathsStoreAndCountAsTheGeneralConversion) {
    std::string body;
    size_t counters[4] = {0, 0, 0, 0};
    size_t invalidInts = 0;
    for (size_t k = 0; k < kTokens.size(); ++k) {
        const std::string& t = kTokens[k];
        body += std::to_string(k) + ", " + t + ", " + t + ", " + t + ", " + t + ", 0, " + t + "\n";
        invalidInts += BrelonFormatUtil::is_int(t.c_str()) ? 0 : 1;
        for (int n = 0; n < 4; ++n) { // R, F and two vector parts
            CountReal(t, counters);
        }
    }
    const std::string text = "   -1\n   -3\nFORMAT=IRFVb\n   -3\nNON_ONF\n" +
                             std::to_string(kTokens.size()) + "\n" + body + "   -1\n";
    const std::string path = testing::TempDir() + "loader_numbers.onf";
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(nullptr, file);
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    BrelonOnfTxtDatabase db(std::wstring(path.begin(), path.end()));
    onf_test::LogCapture log;
    db.InitDb(QSV_DatabaseDefs::AccessMode(0), 0, L"", nullptr); // the block in its own format
    std::remove(path.c_str());
    const std::vector<QSV_DataBlock*> blocks = db.GetDataBlocks(QSV_DataDescriptorPattern());
    ASSERT_EQ(1u, blocks.size());
    const OnfBlock& block = static_cast<const OnfBlock&>(*blocks[0]);

    for (size_t k = 0; k < kTokens.size(); ++k) {
        SCOPED_TRACE(kTokens[k]);
        const char* t = kTokens[k].c_str();
        const double real = BrelonFormatUtil::str_to_double(t, nullptr);
        const long long index = block.GetRecordIdx(static_cast<int>(k));
        ASSERT_GE(index, 0);
        const size_t i = static_cast<size_t>(index);
        EXPECT_EQ(WrappedInt(kTokens[k]), block.GetInt(i, Item(1)));
        EXPECT_TRUE(SameBits(real, block.GetReal(i, Item(2))));
        DataRecordEntry entry;
        block.GetRecordItem(i, 3, entry);
        float single = 0;
        std::memcpy(&single, entry.m_Value, sizeof single);
        EXPECT_TRUE(SameBits(static_cast<float>(real), single));
        double vector[3];
        block.GetVector(i, Item(4), vector);
        EXPECT_TRUE(SameBits(real, vector[0]));
        EXPECT_TRUE(SameBits(real, vector[2]));
    }
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_DETAIL,
                        "NaN     values encountered: " + std::to_string(counters[3]) + "."));
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_DETAIL,
                        "Inf     values encountered: " + std::to_string(counters[2]) + "."));
    EXPECT_TRUE(
        log.Has(QSV_LogMacros::LOG_DETAIL,
                "Invalid values encountered: " + std::to_string(counters[1] + invalidInts) + "."));
}

} // namespace
