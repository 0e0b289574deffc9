// Patterns, the block set, the database base and the block copy between databases.
#include "database/DatabaseDetail.h"

using namespace onf_detail;

// ---- QSV_DataDescriptorPattern ------------------------------------------------------------------

QSV_DataDescriptorPattern::QSV_DataDescriptorPattern() = default;

QSV_DataDescriptorPattern::QSV_DataDescriptorPattern(const QSV_DataDescriptor& descriptor)
    : m_Descriptor(descriptor) {}

bool QSV_DataDescriptorPattern::Matches(const QSV_DataDescriptor& descriptor) const {
    if (m_Descriptor) {
        for (int i = 0; i < QSV_DataDescriptor::NUM_ITEMS; ++i) {
            const auto item = static_cast<QSV_DataDescriptor::ResultIndex>(i);
            if (!m_Descriptor->IsSet(item)) {
                continue;
            }
            if (!descriptor.IsSet(item)) {
                return false;
            }
            const bool isString = QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[i].type ==
                                  QSV_DataDescriptor::ITEM_TYPE_STRING;
            if (isString ? descriptor.GetString(item) != m_Descriptor->GetString(item)
                         : descriptor.GetInteger(item) != m_Descriptor->GetInteger(item)) {
                return false;
            }
        }
    }
    // An unset item reads 0: a plain block is iteration 0 of variant 0.
    if (m_FirstInteger >= 0 &&
        descriptor.GetInteger(QSV_DataDescriptor::RI_ITERATION) != m_FirstInteger) {
        return false;
    }
    return m_SecondInteger < 0 ||
           descriptor.GetInteger(QSV_DataDescriptor::RI_VARIANT) == m_SecondInteger;
}

// ---- QSV_DataBlockSet ---------------------------------------------------------------------------

namespace {

int DescriptorNumber(const QSV_DataDescriptor& descriptor) {
    return descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
}

} // namespace

QSV_DataBlockSet::QSV_DataBlockSet() = default;

QSV_DataBlockSet::~QSV_DataBlockSet() = default;

void QSV_DataBlockSet::StoreDataBlockInstance(const QSV_DataDescriptor& descriptor,
                                              QSV_DataBlock* block) {
    if (block == nullptr) {
        ThrowFailure(nullptr, TAG_DATA_BLOCK_SET, MSG_NULL_BLOCK, DescriptorNumber(descriptor));
    }
    std::unique_ptr<QSV_DataBlock> owned(block);
    auto it = m_Blocks.find(descriptor);
    if (it == m_Blocks.end()) {
        m_Blocks.emplace(descriptor, std::move(owned));
    } else if (it->second.get() == block) {
        owned.release(); // stored already: ownership stays where it is
    } else {
        it->second = std::move(owned);
    }
}

QSV_DataBlock& QSV_DataBlockSet::GetDataBlockInstance(const QSV_DataDescriptor& descriptor) {
    auto it = m_Blocks.find(descriptor);
    if (it == m_Blocks.end()) {
        ThrowFailure(nullptr, TAG_DATA_BLOCK_SET, MSG_UNKNOWN_BLOCK, DescriptorNumber(descriptor));
    }
    return *it->second;
}

const QSV_DataBlock&
QSV_DataBlockSet::GetDataBlockInstance(const QSV_DataDescriptor& descriptor) const {
    return const_cast<QSV_DataBlockSet*>(this)->GetDataBlockInstance(descriptor);
}

bool QSV_DataBlockSet::HasBlockInstance(const QSV_DataDescriptor& descriptor) const {
    return m_Blocks.find(descriptor) != m_Blocks.end();
}

bool QSV_DataBlockSet::DeleteDataBlockInstance(const QSV_DataDescriptor& descriptor) {
    return m_Blocks.erase(descriptor) > 0;
}

std::vector<QSV_DataBlock*>
QSV_DataBlockSet::GetDataBlocksInstances(const QSV_DataDescriptorPattern& pattern) const {
    std::vector<QSV_DataBlock*> blocks;
    for (const auto& entry : m_Blocks) {
        if (pattern.Matches(entry.first)) {
            blocks.push_back(entry.second.get());
        }
    }
    return blocks;
}

std::vector<QSV_DataDescriptor>
QSV_DataBlockSet::GetDescriptors(const QSV_DataDescriptorPattern& pattern) const {
    std::vector<QSV_DataDescriptor> descriptors;
    for (const auto& entry : m_Blocks) {
        if (pattern.Matches(entry.first)) {
            descriptors.push_back(entry.first);
        }
    }
    return descriptors;
}

void QSV_DataBlockSet::Clear() {
    m_Blocks.clear();
}

void QSV_DataBlockSet::FlushToDisk() const {
    for (const auto& entry : m_Blocks) {
        entry.second->SaveData();
    }
}

// ---- QSV_Database -------------------------------------------------------------------------------

QSV_Database::QSV_Database() = default;

QSV_Database::~QSV_Database() = default;

bool QSV_Database::IsInitialized() const {
    return m_IsInitialized;
}

QSV_DataBlock& QSV_Database::FetchDataBlock(const QSV_DataDescriptor& descriptor, int kind,
                                            long long sizeHint, const std::string& format) {
    if (HasBlock(descriptor)) {
        return GetDataBlock(descriptor);
    }
    return CreateDataBlock(descriptor, kind, sizeHint, format);
}

QSV_DataBlock& QSV_Database::FetchDataBlock(const QSV_DataDescriptor& descriptor, size_t sizeHint) {
    if (HasBlock(descriptor)) {
        return GetDataBlock(descriptor);
    }
    return CreateDataBlock(descriptor, sizeHint);
}

bool QSV_Database::HasBlock(const QSV_DataDescriptor& descriptor) const {
    return m_DataBlockSet.HasBlockInstance(descriptor);
}

const QSV_DataBlock& QSV_Database::GetDataBlock(const QSV_DataDescriptor& descriptor) const {
    return m_DataBlockSet.GetDataBlockInstance(descriptor);
}

QSV_DataBlock& QSV_Database::GetDataBlock(const QSV_DataDescriptor& descriptor) {
    return m_DataBlockSet.GetDataBlockInstance(descriptor);
}

std::vector<QSV_DataBlock*> QSV_Database::GetDataBlocks(const QSV_DataDescriptorPattern& pattern) {
    return m_DataBlockSet.GetDataBlocksInstances(pattern);
}

void QSV_Database::DeleteDataBlock(const QSV_DataDescriptor& descriptor) {
    m_DataBlockSet.DeleteDataBlockInstance(descriptor);
}

size_t QSV_Database::DeleteDataBlocks(const QSV_DataDescriptorPattern& pattern) {
    size_t count = 0;
    for (const QSV_DataDescriptor& descriptor : m_DataBlockSet.GetDescriptors(pattern)) {
        count += m_DataBlockSet.DeleteDataBlockInstance(descriptor) ? 1 : 0;
    }
    return count;
}

std::vector<QSV_DataDescriptor>
QSV_Database::FindBlocks(const QSV_DataDescriptorPattern& pattern) const {
    return m_DataBlockSet.GetDescriptors(pattern);
}

void QSV_Database::InitDb(const QSV_IdMapsPool& pool, QSV_DatabaseDefs::AccessMode mode,
                          size_t sizeHint, const std::wstring& folder) {
    InitDb(mode, sizeHint, folder, &pool);
}

// ---- copy_datablocks ----------------------------------------------------------------------------

namespace {

// The target block for a copy of `source`: the one `to` has, else a new one in the catalogue's
// format when the source is in it, else in the source's own format text.
QSV_DataBlock& FetchTargetBlock(QSV_Database& to, const QSV_DataDescriptor& descriptor,
                                const QSV_DataBlock& source) {
    const size_t numRecords = source.GetNumRecords();
    const int id = descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
    const bool catalogued =
        descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID) && id >= 0 &&
        QSV_OnfInfoPool::ExistsOnfBlock(id) &&
        QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(id)).GetFormatString() ==
            source.GetFormatString();
    if (catalogued) {
        return to.FetchDataBlock(descriptor, numRecords);
    }
    return to.FetchDataBlock(descriptor, 0, static_cast<long long>(numRecords),
                             source.GetFormatString());
}

void CopyRecords(const QSV_DataBlock& source, const QSV_IdMapsPool& sourcePool,
                 QSV_DataBlock& target, QSV_IdMapsPool& targetPool) {
    const QSV_ConstIdDataBlock reader(source, sourcePool);
    QSV_IdDataBlock writer(target, targetPool, true);
    QSV_ConstIdDataRecord sourceRecord(source);
    QSV_IdDataRecord targetRecord(target);
    for (QSV_DataBlock::IndexIterator it = source.Begin(); it.IsValid(); ++it) {
        reader.GetRecordByIndex(it.GetIndex(), sourceRecord);
        targetRecord = sourceRecord;
        if (sourceRecord.HasKeyName()) {
            writer.SetRecord(sourceRecord.GetKeyName(), targetRecord);
        } else {
            writer.SetRecord(sourceRecord.GetKeyId(), targetRecord);
        }
    }
}

} // namespace

size_t BrelonDatabaseUtils::copy_datablocks(const QSV_Database& from, QSV_Database& to,
                                            const QSV_DataDescriptorPattern& pattern,
                                            int emptyBlockAction) {
    // A database copied onto itself already holds every record it would receive.
    if (&from == &to) {
        return 0;
    }
    size_t copied = 0;
    for (const QSV_DataDescriptor& descriptor : from.FindBlocks(pattern)) {
        const QSV_DataBlock& source = from.GetDataBlock(descriptor);
        if (emptyBlockAction == 0 && source.GetNumRecords() == 0) {
            continue;
        }
        QSV_DataBlock& target = FetchTargetBlock(to, descriptor, source);
        CopyRecords(source, from.GetIdMapsPool(), target, to.GetIdMapsPool());
        ++copied;
    }
    return copied;
}
