// The descriptor of a block instance.
#include "QSV_DataDescriptor.h"

#include "QSV_Failure.h"

#include <algorithm>
#include <iterator>

namespace {

const char* const TAG = "|%P|BrelonDbConnector|QSV_DataDescriptor";

// Fails for an item number outside the table or an item of the other type.
void CheckItem(int index, int type) {
    if (index < 0 || index >= QSV_DataDescriptor::NUM_ITEMS) {
        onf_detail::ThrowFailure(nullptr, TAG, "Descriptor item %d does not exist.", index);
    }
    const QSV_DataDescriptor::NameAndType& row = QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[index];
    if (row.type != type) {
        onf_detail::ThrowFailure(
            nullptr, TAG, "Descriptor item %s holds %s, not %s.", row.name,
            row.type == QSV_DataDescriptor::ITEM_TYPE_STRING ? "a string" : "an integer",
            type == QSV_DataDescriptor::ITEM_TYPE_STRING ? "a string" : "an integer");
    }
}

} // namespace

// Keys are chosen so that most have a short unambiguous prefix; the file reader accepts those.
const QSV_DataDescriptor::NameAndType QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[NUM_ITEMS] = {
    {"MODEL", ITEM_TYPE_STRING},     {"ONF_ID", ITEM_TYPE_INTEGER},
    {"VARIANT", ITEM_TYPE_INTEGER},  {"ITERATION", ITEM_TYPE_INTEGER},
    {"ANALYSIS", ITEM_TYPE_INTEGER}, {"LOADCASE", ITEM_TYPE_INTEGER},
    {"SUBCASE", ITEM_TYPE_INTEGER},  {"STEP", ITEM_TYPE_INTEGER},
    {"SUBSTEP", ITEM_TYPE_INTEGER},  {"EIGENMODE", ITEM_TYPE_INTEGER},
    {"TIME", ITEM_TYPE_STRING},      {"RESULT", ITEM_TYPE_STRING},
    {"COMPONENT", ITEM_TYPE_STRING}, {"LABEL", ITEM_TYPE_STRING},
};

// The members start empty by their own initialisers, as Init leaves them.
QSV_DataDescriptor::QSV_DataDescriptor() = default;

QSV_DataDescriptor::QSV_DataDescriptor(QSV_OnfId id) {
    SetInteger(RI_ONF_ID, static_cast<int>(id));
}

QSV_DataDescriptor::QSV_DataDescriptor(const QSV_DataDescriptor& other)
    : m_Mask(other.m_Mask), m_Spare(other.m_Spare) {
    std::copy(std::begin(other.m_Integers), std::end(other.m_Integers), std::begin(m_Integers));
    if (other.m_Strings) {
        m_Strings.reset(new std::string[NUM_STRING_ITEMS]);
        std::copy(other.m_Strings.get(), other.m_Strings.get() + NUM_STRING_ITEMS, m_Strings.get());
    }
}

QSV_DataDescriptor& QSV_DataDescriptor::operator=(const QSV_DataDescriptor& other) {
    if (this != &other) {
        QSV_DataDescriptor copy(other);
        *this = std::move(copy);
    }
    return *this;
}

QSV_DataDescriptor::~QSV_DataDescriptor() = default;

void QSV_DataDescriptor::Init() {
    for (int i = 0; i < NUM_ITEMS; ++i) {
        m_Integers[i] = 0;
    }
    m_Strings.reset();
    m_Mask = 0;
    m_Spare = -1;
}

const std::string& QSV_DataDescriptor::StringOf(int index) const {
    static const std::string kEmpty;
    return m_Strings ? m_Strings[StringSlot(index)] : kEmpty;
}

void QSV_DataDescriptor::SetInteger(ResultIndex index, int value) {
    CheckItem(index, ITEM_TYPE_INTEGER);
    m_Integers[index] = value;
    m_Mask |= 1u << index;
}

void QSV_DataDescriptor::SetString(ResultIndex index, const std::string& value) {
    CheckItem(index, ITEM_TYPE_STRING);
    if (!m_Strings) {
        m_Strings.reset(new std::string[NUM_STRING_ITEMS]);
    }
    m_Strings[StringSlot(index)] = value;
    m_Mask |= 1u << index;
}

void QSV_DataDescriptor::Unset(ResultIndex index) {
    const int i = static_cast<int>(index);
    if (i < 0 || i >= NUM_ITEMS) {
        return;
    }
    m_Integers[index] = 0;
    if (m_Strings && RD_NAME_TYPE_ITEMS[i].type == ITEM_TYPE_STRING) {
        m_Strings[StringSlot(i)].clear();
    }
    m_Mask &= ~(1u << index);
}

int QSV_DataDescriptor::GetInteger(ResultIndex index) const {
    CheckItem(index, ITEM_TYPE_INTEGER);
    return m_Integers[index];
}

std::string QSV_DataDescriptor::GetString(ResultIndex index) const {
    CheckItem(index, ITEM_TYPE_STRING);
    return StringOf(index);
}

bool QSV_DataDescriptor::IsSet(ResultIndex index) const {
    const int i = static_cast<int>(index);
    return i >= 0 && i < NUM_ITEMS && (m_Mask & (1u << i)) != 0;
}

// Blocks sort by number first so that a set of blocks keyed by descriptors visits them in the
// order a reader expects in a file; the rest only has to be consistent. Unset items hold 0 and
// "" (Init, Unset), so comparing all items after the masks are equal is exact.
bool QSV_DataDescriptor::operator<(const QSV_DataDescriptor& other) const {
    const bool hasId = IsSet(RI_ONF_ID);
    const bool otherHasId = other.IsSet(RI_ONF_ID);
    if (hasId != otherHasId) {
        return !hasId;
    }
    if (m_Integers[RI_ONF_ID] != other.m_Integers[RI_ONF_ID]) {
        return m_Integers[RI_ONF_ID] < other.m_Integers[RI_ONF_ID];
    }
    if (m_Mask != other.m_Mask) {
        return m_Mask < other.m_Mask;
    }
    for (int i = 0; i < NUM_ITEMS; ++i) {
        if (RD_NAME_TYPE_ITEMS[i].type == ITEM_TYPE_INTEGER) {
            if (m_Integers[i] != other.m_Integers[i]) {
                return m_Integers[i] < other.m_Integers[i];
            }
        } else {
            const int order = StringOf(i).compare(other.StringOf(i));
            if (order != 0) {
                return order < 0;
            }
        }
    }
    return false;
}

bool QSV_DataDescriptor::operator==(const QSV_DataDescriptor& other) const {
    return !(*this < other) && !(other < *this);
}

void QSV_DataDescriptor::CheckValidity() const {
    if (!IsSet(RI_ONF_ID)) {
        onf_detail::ThrowFailure(nullptr, TAG,
                                 "The block descriptor has no ONF block number (item %s), so it "
                                 "cannot identify a block.",
                                 RD_NAME_TYPE_ITEMS[RI_ONF_ID].name);
    }
}
