// The id map bases: what every id map and every pool of maps share.
#include "QSV_IdMap.h"

#include "QSV_Failure.h"

#include "containers/SizeCast.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <typeinfo>

namespace {
const char* const kIdMapTag = "|%P|BrelonUtilities|QSV_Failure";
}

QSV_IdMap::~QSV_IdMap() = default;

void QSV_IdMap::Reserve(size_t count) {
    ReserveStorage(count);
}

void QSV_IdMap::ReserveStorage(size_t /*count*/) {}

QSV_IdMapsPool::QSV_IdMapsPool() : m_IdMaps() {}

QSV_IdMapsPool::QSV_IdMapsPool(const QSV_IdMapsPool& other) : m_IdMaps() {
    std::copy(other.m_IdMaps, other.m_IdMaps + NUM_ID_MAPS, m_IdMaps);
}

QSV_IdMapsPool& QSV_IdMapsPool::operator=(const QSV_IdMapsPool& other) {
    std::copy(other.m_IdMaps, other.m_IdMaps + NUM_ID_MAPS, m_IdMaps);
    return *this;
}

QSV_IdMapsPool::~QSV_IdMapsPool() = default;

void QSV_IdMapsPool::ThrowNoIdMap(QSV_IdType type) {
    onf_detail::ThrowFailure(nullptr, kIdMapTag, "No ID-map of type %d exists in the pool.",
                             static_cast<int>(type));
}

void BrelonIdMapsUtil::merge_id_maps_pool(const QSV_IdMapsPool& from, QSV_IdMapsPool& to) {
    if (&from == &to) {
        return;
    }
    for (size_t type = 0; type < QSV_IdMapsPool::NUM_ID_MAPS; ++type) {
        if (from.m_IdMaps[type] != nullptr && to.m_IdMaps[type] != nullptr) {
            from.m_IdMaps[type]->CopyTo(*to.m_IdMaps[type]);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// The size cast

namespace {
// The readable name of a type, as the run-time type information gives it.
std::string TypeName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}
} // namespace

int onf_detail::size_to_int(size_t value) {
    if (value > static_cast<size_t>(std::numeric_limits<int>::max())) {
        throw std::overflow_error("Overflow error while casting from " + TypeName(typeid(size_t)) +
                                  " to " + TypeName(typeid(int)));
    }
    return static_cast<int>(value);
}
