// Property: every catalogued block, filled with generated records that use every item of its
// format, is written, read back and written again; both texts are identical, and every value read
// back is bit for bit the value written (reals are compared through their shortest exact text,
// which tells every double apart, NaN payloads and the sign of zero included). Custom blocks of
// any format a file may declare read back what they loaded.
#include "BrelonOnfIdMap.h"
#include "LogCapture.h"
#include "OnfBlockSet.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>

namespace {

class RecordGenerator {
public:
    explicit RecordGenerator(unsigned seed) : m_Random(seed) {}

    int Int() {
        static const int kSpecial[] = {0, 1, 2147483647, -2147483647, 255, 256, 65536, -2};
        return Pick(4) == 0 ? kSpecial[Pick(8)] : static_cast<int>(m_Random());
    }
    double Real() {
        switch (Pick(8)) {
        case 0: {
            static const double kSpecial[] = {0.0,
                                              -0.0,
                                              std::numeric_limits<double>::infinity(),
                                              -std::numeric_limits<double>::infinity(),
                                              std::numeric_limits<double>::quiet_NaN(),
                                              std::numeric_limits<double>::denorm_min(),
                                              std::numeric_limits<double>::max(),
                                              0.1};
            return kSpecial[Pick(8)];
        }
        case 1: { // a NaN with a payload and a sign
            const uint64_t bits =
                0x7ff8000000000000ull | (m_Random() & 0x7ffff) | (uint64_t(Pick(2)) << 63);
            double value;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        }
        case 2: // any finite double
            for (;;) {
                const uint64_t bits = (uint64_t(m_Random()) << 32) | m_Random();
                double value;
                std::memcpy(&value, &bits, sizeof value);
                if (std::isfinite(value)) {
                    return value;
                }
            }
        default:
            return std::uniform_real_distribution<double>(-1e6, 1e6)(m_Random);
        }
    }
    std::string Name() {
        static const char kChars[] = "abcXYZ019_.-";
        std::string name(1 + Pick(8), 'a');
        for (char& c : name) {
            c = kChars[Pick(sizeof kChars - 1)];
        }
        return name;
    }
    std::vector<int> Ints() {
        std::vector<int> values(Pick(25));
        int run = Pick(100) - 50;
        for (int& value : values) {
            value = Pick(3) == 0 ? Int() : run++; // runs that the writer folds
        }
        return values;
    }
    std::vector<double> Reals() {
        std::vector<double> values(Pick(23));
        for (double& value : values) {
            value = Real();
        }
        return values;
    }
    int Key(bool directIndexed) {
        if (directIndexed) {
            return Pick(300);
        }
        const int key = Int();
        // -1 marks an empty record slot, and the smallest int a free id map slot.
        return key == -1 || key == std::numeric_limits<int>::min() ? 7 : key;
    }
    int Pick(int n) { return static_cast<int>(m_Random() % static_cast<unsigned>(n)); }

private:
    std::mt19937 m_Random;
};

void FillItem(OnfBlock& block, size_t index, size_t item, RecordGenerator& gen) {
    const auto it = static_cast<OnfBlock::Item>(item);
    switch (block.GetRecordMapEntry(item).m_Type) {
    case BDT_INTEGER:
        block.SetRecordItem(index, it, gen.Int());
        break;
    case BDT_REAL:
        block.SetRecordItem(index, it, gen.Real());
        break;
    case BDT_FLOAT: // a float that a double carries exactly
        block.SetRecordItem(index, it, static_cast<double>(static_cast<float>(gen.Real())));
        break;
    case BDT_STRING:
        block.SetRecordItem(index, it, gen.Name());
        break;
    case BDT_VECTOR:
        block.SetRecordItem(index, it, gen.Real(), gen.Real(), gen.Real());
        break;
    case BDT_TENSOR: {
        double values[6];
        for (double& value : values) {
            value = gen.Real();
        }
        block.SetRecordItem(index, it, values, 6);
        break;
    }
    case BDT_ORDERED_LIST:
        block.SetRecordItem(index, it, gen.Ints(), ONF_INT_LIST_SORTED);
        break;
    case BDT_INT_LIST:
        block.SetRecordItem(index, it, gen.Ints(), ONF_INT_LIST_ORDERED);
        break;
    case BDT_DOUBLE_LIST: {
        const std::vector<double> values = gen.Reals();
        block.SetRecordItem(index, it,
                            static_cast<int>(block.SetDoubleList(values.data(), values.size())));
        break;
    }
    default:
        break;
    }
}

// Makes a record with a fresh key and fills every item; false when the key was taken.
bool AddRecord(OnfBlockSet& db, OnfBlock& block, RecordGenerator& gen) {
    size_t index = 0;
    if (block.GetBlockFormatString().rfind("S|", 0) == 0) {
        QSV_IdDataBlock adapter(block, db.GetIdMapsPool(), true);
        const std::string name = gen.Name();
        if (db.GetIdMapsPool().GetIdMap(block.GetBlockIdType()).HasId(name)) {
            return false;
        }
        adapter.SetRecord(name, QSV_IdDataRecord(block));
        index = db.GetIdMapsPool().GetIdMap(block.GetBlockIdType()).GetIdx(name);
    } else {
        bool created = false;
        index = block.GetWarrantedRecordIdx(gen.Key(block.IsDirectIndexed()), created);
        if (!created) {
            return false;
        }
    }
    for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
        FillItem(block, index, item, gen);
    }
    return true;
}

// Every record as key and item texts, keyed by the record's key.
std::map<std::string, std::string> RecordTexts(const OnfBlock& block) {
    std::map<std::string, std::string> texts;
    const bool byName = block.GetBlockFormatString().rfind("S|", 0) == 0;
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        const std::string key = byName ? block.GetString(*it, QSV_DataRecordItem::ITEM_ID)
                                       : std::to_string(block.GetId(*it));
        std::string& text = texts[key];
        for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
            text += onf_test::ItemText(block, *it, item) + "|";
        }
    }
    return texts;
}

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

TEST(BlockRoundTrip, EveryCatalogueBlockReadsBackBitForBit) {
    onf_test::LogCapture log; // NaN and infinities are reported while reading
    RecordGenerator gen(20240611);
    for (QSV_OnfId id : QSV_OnfInfoPool::GetAllOnfIds()) {
        SCOPED_TRACE(testing::Message() << "block " << id);
        OnfBlockSet written;
        OnfBlock& block = written.AddEmptyBlock(id);
        for (int k = 0; k < 40; ++k) {
            AddRecord(written, block, gen);
        }
        ASSERT_GT(block.GetNumRecords(), 20u);
        const std::string text = Join(onf_test::WrittenLines(block));
        OnfBlockSet read;
        onf_test::LoadText(read, text);
        ASSERT_TRUE(read.HasBlock(id));
        const OnfBlock& back = read.GetBlock(id);
        EXPECT_EQ(back.GetNumRecords(), block.GetNumRecords());
        EXPECT_EQ(Join(onf_test::WrittenLines(back)), text);
        EXPECT_EQ(RecordTexts(back), RecordTexts(block));
    }
}

// A format that a file may declare for a custom block: one to eight characters, of every type,
// marks, and characters of no known type, upper and lower case.
std::string RandomFormat(RecordGenerator& gen) {
    static const char kChars[] = "IiRrFfSVTOLDbb||xX";
    std::string format(static_cast<size_t>(1 + gen.Pick(8)), ' ');
    for (char& c : format) {
        c = kChars[gen.Pick(sizeof kChars - 1)];
    }
    return format;
}

// What a custom block loaded it writes so that a reader finds the same records again: the records
// its text held, each item as it was. Formats that lead a writer astray are those without `b` at
// their end or in front of a list, optional values behind a line break or a list, marks alone,
// and characters of no known type.
TEST(BlockRoundTrip, EveryCustomFormatReadsBackWhatItLoaded) {
    onf_test::LogCapture log;
    RecordGenerator gen(20261125);
    for (int round = 0; round < 600; ++round) {
        const std::string format = round == 0 ? "|" : RandomFormat(gen);
        SCOPED_TRACE("format \"" + format + "\"");
        OnfBlockSet made;
        onf_test::LoadText(made, onf_test::CustomBlockText(format, 0, ""));
        OnfBlock& block = onf_test::FirstBlock(made);
        for (int k = 0; k < 12; ++k) {
            bool created = false;
            const size_t index = block.GetWarrantedRecordIdx(gen.Key(true), created);
            for (size_t item = 1; created && item < block.GetNumRecordItems(); ++item) {
                FillItem(block, index, item, gen);
            }
        }
        OnfBlockSet loaded;
        onf_test::LoadText(loaded, Join(onf_test::WrittenLines(block)));
        const OnfBlock& once = onf_test::FirstBlock(loaded);
        ASSERT_EQ(once.GetNumRecords(), block.GetNumRecords());
        const std::string text = Join(onf_test::WrittenLines(once));
        OnfBlockSet reloaded;
        onf_test::LoadText(reloaded, text);
        const OnfBlock& twice = onf_test::FirstBlock(reloaded);
        EXPECT_EQ(onf_test::Dump(twice), onf_test::Dump(once)) << text;
        EXPECT_EQ(Join(onf_test::WrittenLines(twice)), text);
    }
}

} // namespace
