// The step from size_t to int where an index or pool position must fit a 32-bit slot.
#pragma once

#include <cstddef>
#include <string>

namespace onf_detail {
// `value` as an int. Throws std::overflow_error "Overflow error while casting from <size_t's
// type name> to <int's type name>" for a value of 0x80000000 or above.
int size_to_int(size_t value);
} // namespace onf_detail
