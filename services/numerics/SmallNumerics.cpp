// The line fit, the CRC-32 and the hash of degree-of-freedom lists.
#include "BrelonNumerics.h"

#include <algorithm>
#include <cmath>

namespace {

// Eight tables for reading eight bytes a step ("slicing by eight"): table 0 is the classic
// byte table of the reflected polynomial, table k advances a byte by k more zero bytes.
struct CrcTables {
    uint32_t t[8][256];
    constexpr CrcTables() : t{} {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int bit = 0; bit < 8; ++bit) {
                c = (c & 1u) != 0 ? (c >> 1) ^ 0xEDB88320u : c >> 1;
            }
            t[0][i] = c;
        }
        for (int k = 1; k < 8; ++k) {
            for (uint32_t i = 0; i < 256; ++i) {
                t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFFu];
            }
        }
    }
};

constexpr CrcTables kCrc;

// Four bytes as a little-endian word, whatever the machine's order.
inline uint32_t Le32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

// The set of components 1 to 6 named by `dof` (6, or 123 for 1, 2 and 3) as bits; 0 when
// the number is not such a set.
int ComponentBits(int dof) {
    if (dof <= 0) {
        return 0;
    }
    int bits = 0;
    for (; dof > 0; dof /= 10) {
        const int digit = dof % 10;
        if (digit < 1 || digit > 6) {
            return 0;
        }
        bits |= 1 << (digit - 1);
    }
    return bits;
}

} // namespace

bool Interpolations::FindLine2D(double x1, double y1, double x2, double y2, double& a, double& b) {
    const double dx = x2 - x1;
    const double size = std::max(std::fabs(x1), std::fabs(x2));
    if (!(std::fabs(dx) > 1e-12 * size) || dx == 0.0) {
        return false;
    }
    const double slope = (y2 - y1) / dx;
    const double intercept = y1 - slope * x1;
    if (!std::isfinite(slope) || !std::isfinite(intercept)) {
        return false;
    }
    a = slope;
    b = intercept;
    return true;
}

void BrelonCrc32::Update(const void* data, size_t size) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    uint32_t crc = m_Crc;
    const auto& t = kCrc.t;
    for (; size >= 8; size -= 8, p += 8) {
        const uint32_t one = Le32(p) ^ crc;
        const uint32_t two = Le32(p + 4);
        crc = t[7][one & 0xFFu] ^ t[6][(one >> 8) & 0xFFu] ^ t[5][(one >> 16) & 0xFFu] ^
              t[4][one >> 24] ^ t[3][two & 0xFFu] ^ t[2][(two >> 8) & 0xFFu] ^
              t[1][(two >> 16) & 0xFFu] ^ t[0][two >> 24];
    }
    for (; size > 0; --size, ++p) {
        crc = (crc >> 8) ^ t[0][(crc ^ *p) & 0xFFu];
    }
    m_Crc = crc;
}

// Constraint records take this number into their ids, and two different sets of components
// meeting in one id would silently share a record; so the common lists (components 1 to 6,
// in any order or digit notation) get a number of their own, and only unusual lists share
// the remaining 36 numbers through a hash.
int BrelonFemUtil::hash_dof_vector(const std::vector<int>& dofs) {
    int bits = 0;
    bool allComponents = true;
    uint32_t hash = 2166136261u; // FNV-1a over the values, byte by byte, low byte first
    for (int dof : dofs) {
        const int b = ComponentBits(dof);
        allComponents = allComponents && b != 0;
        bits |= b;
        const uint32_t u = static_cast<uint32_t>(dof);
        for (int shift = 0; shift < 32; shift += 8) {
            hash = (hash ^ ((u >> shift) & 0xFFu)) * 16777619u;
        }
    }
    if (allComponents) {
        return bits; // 0 for an empty list, else 1 to 63
    }
    return 64 + static_cast<int>(hash % 36u);
}

void BrelonAlgorithmUtil::radix_sort_ascending(int* values, size_t count) {
    if (count < 2) {
        return;
    }
    if (count <= 32) { // insertion sort beats the four counting passes here
        for (size_t i = 1; i < count; ++i) {
            const int v = values[i];
            size_t j = i;
            for (; j > 0 && values[j - 1] > v; --j) {
                values[j] = values[j - 1];
            }
            values[j] = v;
        }
        return;
    }
    // Keys are the values with the sign bit flipped, so that unsigned byte order is the
    // signed order: negatives first.
    auto key = [](int v) { return static_cast<uint32_t>(v) ^ 0x80000000u; };
    std::vector<size_t> histogram(4 * 256, 0);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t k = key(values[i]);
        for (int d = 0; d < 4; ++d) {
            ++histogram[d * 256 + ((k >> (8 * d)) & 0xFFu)];
        }
    }
    std::vector<int> scratch(count);
    int* src = values;
    int* dst = scratch.data();
    for (int d = 0; d < 4; ++d) {
        size_t* counts = &histogram[d * 256];
        const int shift = 8 * d;
        if (counts[(key(src[0]) >> shift) & 0xFFu] == count) {
            continue; // every key has the same byte here: the pass would change nothing
        }
        size_t offset = 0;
        for (int bucket = 0; bucket < 256; ++bucket) {
            const size_t n = counts[bucket];
            counts[bucket] = offset;
            offset += n;
        }
        for (size_t i = 0; i < count; ++i) {
            dst[counts[(key(src[i]) >> shift) & 0xFFu]++] = src[i];
        }
        std::swap(src, dst);
    }
    if (src != values) {
        std::copy(src, src + count, values);
    }
}
