// Number text: integers two digits at a time, reals as the shortest text that reads back to the
// same bits, and the exact, locale-free reading and classification of real texts.
#include "BrelonTextServices.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

namespace {

constexpr uint64_t kSignBit = uint64_t(1) << 63;
constexpr uint64_t kExponentMask = uint64_t(0x7ff) << 52;
constexpr uint64_t kSignificandMask = (uint64_t(1) << 52) - 1;
// The significand of the quiet NaN that std::numeric_limits and the hardware produce.
constexpr uint64_t kDefaultNanSignificand = uint64_t(1) << 51;

uint64_t ToBits(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

double FromBits(uint64_t bits) {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

const char kDigitPairs[] = "00010203040506070809"
                           "10111213141516171819"
                           "20212223242526272829"
                           "30313233343536373839"
                           "40414243444546474849"
                           "50515253545556575859"
                           "60616263646566676869"
                           "70717273747576777879"
                           "80818283848586878889"
                           "90919293949596979899";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsSpace(char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}
char ToLower(char c) {
    return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

// True when [p, end) starts with `word` (lower case) in any case.
bool StartsWithWord(const char* p, const char* end, const char* word) {
    for (; *word != '\0'; ++p, ++word) {
        if (p == end || ToLower(*p) != *word) {
            return false;
        }
    }
    return true;
}

int HexValue(char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    c = ToLower(c);
    return (c >= 'a' && c <= 'f') ? c - 'a' + 10 : -1;
}

// Reads "(0x<hex>)" at p into a NaN significand; false when the text is not exactly that form
// or the significand is 0 or beyond 52 bits (neither would be a NaN).
bool ReadNanPayload(const char* p, const char* end, uint64_t& significand, const char*& after) {
    if (end - p < 5 || p[0] != '(' || p[1] != '0' || ToLower(p[2]) != 'x') {
        return false;
    }
    p += 3;
    uint64_t value = 0;
    const char* first = p;
    for (; p != end && HexValue(*p) >= 0; ++p) {
        if (value > (kSignificandMask >> 4)) {
            return false;
        }
        value = (value << 4) | uint64_t(HexValue(*p));
    }
    if (p == first || p == end || *p != ')' || value == 0) {
        return false;
    }
    significand = value;
    after = p + 1;
    return true;
}

// The shape of a number text found at the start of a range.
enum NumberShape { SHAPE_NONE, SHAPE_INTEGER, SHAPE_DECIMAL, SHAPE_INFINITY, SHAPE_NAN };

struct ScannedNumber {
    NumberShape shape = SHAPE_NONE;
    bool negative = false;
    const char* digits = nullptr; // first byte after the sign
    const char* end = nullptr;    // first byte behind the number
    uint64_t nanSignificand = kDefaultNanSignificand;
    // Decimal exponent of the first significant digit, saturated; meaningless for zero.
    int64_t magnitude = 0;
    bool isZero = true;
};

// Scans the decimal digits, point and exponent at number.digits, noting the decimal exponent of
// the first significant digit so that overflow can be told from underflow without a conversion.
void ScanDecimal(const char* end, ScannedNumber& number) {
    constexpr int64_t kSaturation = int64_t(1) << 40;
    const char* p = number.digits;
    bool sawPoint = false;
    size_t numDigits = 0;
    int64_t integerSignificant = 0; // digits in front of the point from the first non-zero one
    int64_t fractionZeros = 0;      // zeros behind the point ahead of the first non-zero digit
    for (; p != end; ++p) {
        if (IsDigit(*p)) {
            ++numDigits;
            bool significant = !number.isZero || *p != '0';
            number.isZero = number.isZero && *p == '0';
            if (!sawPoint && significant && integerSignificant < kSaturation) {
                ++integerSignificant;
            } else if (sawPoint && !significant && fractionZeros < kSaturation) {
                ++fractionZeros;
            }
        } else if (*p == '.' && !sawPoint) {
            sawPoint = true;
        } else {
            break;
        }
    }
    if (numDigits == 0) {
        return; // SHAPE_NONE
    }
    number.magnitude = integerSignificant > 0 ? integerSignificant - 1 : -(fractionZeros + 1);
    number.shape = sawPoint ? SHAPE_DECIMAL : SHAPE_INTEGER;
    number.end = p;
    if (p != end && (*p == 'e' || *p == 'E')) {
        const char* q = p + 1;
        bool negativeExponent = false;
        if (q != end && (*q == '+' || *q == '-')) {
            negativeExponent = *q == '-';
            ++q;
        }
        if (q == end || !IsDigit(*q)) {
            return; // "1e", "1e+": the number ends in front of the "e"
        }
        int64_t exponent = 0;
        for (; q != end && IsDigit(*q); ++q) {
            exponent = exponent < kSaturation ? exponent * 10 + (*q - '0') : exponent;
        }
        number.magnitude += negativeExponent ? -exponent : exponent;
        number.shape = SHAPE_DECIMAL;
        number.end = q;
    }
}

// Finds the longest number text at the start of [text, end), leading whitespace skipped.
ScannedNumber ScanNumber(const char* text, const char* end, bool skipSpace) {
    ScannedNumber number;
    const char* p = text;
    while (skipSpace && p != end && IsSpace(*p)) {
        ++p;
    }
    if (p != end && (*p == '+' || *p == '-')) {
        number.negative = *p == '-';
        ++p;
    }
    number.digits = p;
    if (StartsWithWord(p, end, "inf")) {
        number.shape = SHAPE_INFINITY;
        number.end = StartsWithWord(p, end, "infinity") ? p + 8 : p + 3;
    } else if (StartsWithWord(p, end, "nan")) {
        number.shape = SHAPE_NAN;
        number.end = p + 3;
        const char* after = nullptr;
        if (ReadNanPayload(p + 3, end, number.nanSignificand, after)) {
            number.end = after;
        }
    } else {
        ScanDecimal(end, number);
    }
    return number;
}

// The value of a scanned decimal or integer text: exact, through std::from_chars, which leaves
// the value alone on overflow and underflow; the magnitude then tells which of the two it was.
double DecimalValue(const ScannedNumber& number) {
    double value = 0.0;
    std::from_chars_result result = std::from_chars(number.digits, number.end, value);
    if (result.ec == std::errc::result_out_of_range) {
        value = number.magnitude > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return number.negative ? -value : value;
}

double ScannedValue(const ScannedNumber& number) {
    switch (number.shape) {
    case SHAPE_INFINITY:
        return number.negative ? -std::numeric_limits<double>::infinity()
                               : std::numeric_limits<double>::infinity();
    case SHAPE_NAN:
        return FromBits((number.negative ? kSignBit : 0) | kExponentMask | number.nanSignificand);
    case SHAPE_INTEGER:
    case SHAPE_DECIMAL:
        return DecimalValue(number);
    default:
        return 0.0;
    }
}

// True when the integer-shaped text (digits only) has a value in the 32-bit signed range.
bool IntegerFitsInt32(const ScannedNumber& number) {
    const char* p = number.digits;
    while (p != number.end && *p == '0') {
        ++p;
    }
    size_t numDigits = size_t(number.end - p);
    if (numDigits > 10) {
        return false;
    }
    int64_t value = 0;
    for (; p != number.end; ++p) {
        value = value * 10 + (*p - '0');
    }
    return value <= (number.negative ? int64_t(2147483648LL) : int64_t(2147483647LL));
}

// Decimal digits of `value`.
size_t CountDigits(uint32_t value) {
    size_t digits = 1;
    for (; value >= 10000; value /= 10000) {
        digits += 4;
    }
    return digits + (value >= 10) + (value >= 100) + (value >= 1000);
}

} // namespace

// The digits go straight to their places, two at a time from the last, once their count is known:
// no digit is copied twice.
size_t onf_detail::format_int(int value, char* buffer) {
    uint32_t magnitude = value < 0 ? 0u - uint32_t(value) : uint32_t(value);
    const size_t sign = value < 0 ? 1 : 0;
    buffer[0] = '-'; // overwritten by the first digit when there is no sign
    const size_t length = sign + CountDigits(magnitude);
    char* p = buffer + length;
    while (magnitude >= 100) {
        const char* pair = kDigitPairs + (magnitude % 100) * 2;
        magnitude /= 100;
        *--p = pair[1];
        *--p = pair[0];
    }
    if (magnitude >= 10) {
        *--p = kDigitPairs[magnitude * 2 + 1];
        *--p = kDigitPairs[magnitude * 2];
    } else {
        *--p = char('0' + magnitude);
    }
    return length;
}

size_t FloatingPointFormatter::Format(double value, char* buffer) const {
    uint64_t bits = ToBits(value);
    if ((bits & kExponentMask) != kExponentMask) {
        std::to_chars_result result = std::to_chars(buffer, buffer + MAX_TEXT_SIZE - 1, value);
        *result.ptr = '\0';
        return size_t(result.ptr - buffer);
    }
    size_t length = 0;
    if ((bits & kSignBit) != 0) {
        buffer[length++] = '-';
    }
    uint64_t significand = bits & kSignificandMask;
    const char* word = significand == 0 ? "inf" : "nan";
    std::memcpy(buffer + length, word, 3);
    length += 3;
    if (significand != 0 && significand != kDefaultNanSignificand) {
        std::memcpy(buffer + length, "(0x", 3);
        length += 3;
        std::to_chars_result result =
            std::to_chars(buffer + length, buffer + MAX_TEXT_SIZE - 2, significand, 16);
        length = size_t(result.ptr - buffer);
        buffer[length++] = ')';
    }
    buffer[length] = '\0';
    return length;
}

void FloatingPointFormatter::Append(double value, std::string& out) const {
    char buffer[MAX_TEXT_SIZE];
    out.append(buffer, Format(value, buffer));
}

std::string FloatingPointFormatter::ToString(double value) const {
    char buffer[MAX_TEXT_SIZE];
    return std::string(buffer, Format(value, buffer));
}

// The common case, a plain decimal text, goes straight to std::from_chars, whose grammar for it is
// the one described on the declaration; infinities, NaNs and out-of-range values take the scanner.
double BrelonFormatUtil::str_to_double(const char* text, const char** end) {
    if (text == nullptr) {
        if (end != nullptr) {
            *end = text;
        }
        return 0.0;
    }
    const char* textEnd = text + std::strlen(text);
    const char* p = text;
    while (IsSpace(*p)) {
        ++p;
    }
    const char* digits = (*p == '-' || *p == '+') ? p + 1 : p;
    if (IsDigit(*digits) || *digits == '.') {
        double value = 0.0;
        std::from_chars_result result = std::from_chars(digits, textEnd, value);
        if (result.ec == std::errc()) {
            if (end != nullptr) {
                *end = result.ptr;
            }
            return *p == '-' ? -value : value;
        }
    }
    ScannedNumber number = ScanNumber(p, textEnd, false);
    if (end != nullptr) {
        *end = number.shape == SHAPE_NONE ? text : number.end;
    }
    return ScannedValue(number);
}

BrelonFormatUtil::NumericValueState BrelonFormatUtil::is_valid_double(const char* text,
                                                                      size_t length) {
    if (text == nullptr || length == 0) {
        return NVS_INVALID;
    }
    const char* end = text + length;
    ScannedNumber number = ScanNumber(text, end, false);
    if (number.shape == SHAPE_NONE || number.end != end) {
        return NVS_INVALID;
    }
    if (number.shape == SHAPE_NAN) {
        return NVS_NAN;
    }
    if (number.shape == SHAPE_INFINITY) {
        return NVS_INFINITE;
    }
    // Only a text whose first significant digit stands at 10^308 or above can overflow.
    if (!number.isZero && number.magnitude >= 308) {
        double value = DecimalValue(number);
        if (value == std::numeric_limits<double>::infinity() ||
            value == -std::numeric_limits<double>::infinity()) {
            return NVS_INFINITE;
        }
    }
    if (number.shape == SHAPE_INTEGER && IntegerFitsInt32(number)) {
        return NVS_INVALID;
    }
    return NVS_VALID;
}

std::string BrelonFormatUtil::int_to_str(int value) {
    char buffer[12];
    return std::string(buffer, onf_detail::format_int(value, buffer));
}

std::string BrelonStringUtil::String(double value) {
    return FloatingPointFormatter().ToString(value);
}
