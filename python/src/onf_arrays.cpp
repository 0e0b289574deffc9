// Paths, texts and arrays between the engine and numpy.
#include "onf_python.h"

#include "BrelonLineInput.h"

#include <algorithm>
#include <cstdio>

namespace onf_python {

namespace {

// The code points U+DC80 to U+DCFF stand for the bytes 0x80 to 0xFF that are no UTF-8.
constexpr uint32_t ESCAPE_BASE = 0xDC00;

bool IsContinuation(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

// The length of the UTF-8 sequence at `text` (at most `left` bytes), 0 when it is invalid:
// overlong forms, surrogates and values above U+10FFFF are invalid, as Python's decoder has it.
size_t SequenceLength(const unsigned char* text, size_t left) {
    const unsigned char c = text[0];
    size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (c < 0x80) {
        return 1;
    } else if (c >= 0xC2 && c <= 0xDF) {
        length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        length = 3;
        low = c == 0xE0 ? 0xA0 : 0x80;
        high = c == 0xED ? 0x9F : 0xBF;
    } else if (c >= 0xF0 && c <= 0xF4) {
        length = 4;
        low = c == 0xF0 ? 0x90 : 0x80;
        high = c == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (left < length || text[1] < low || text[1] > high) {
        return 0;
    }
    for (size_t k = 2; k < length; ++k) {
        if (!IsContinuation(text[k])) {
            return 0;
        }
    }
    return length;
}

// Appends the code points of `text` to `out`.
void Decode(const std::string& text, std::vector<uint32_t>& out) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t length = SequenceLength(bytes + pos, text.size() - pos);
        if (length == 0) {
            out.push_back(ESCAPE_BASE + bytes[pos]);
            ++pos;
            continue;
        }
        static const unsigned char kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
        uint32_t code = bytes[pos] & kLeadMask[length];
        for (size_t k = 1; k < length; ++k) {
            code = (code << 6) | (bytes[pos + k] & 0x3F);
        }
        out.push_back(code);
        pos += length;
    }
}

void Encode(uint32_t code, std::string& out) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code >= ESCAPE_BASE + 0x80 && code <= ESCAPE_BASE + 0xFF) {
        out += static_cast<char>(code - ESCAPE_BASE);
    } else if (code >= 0xD800 && code <= 0xDFFF) {
        char message[80];
        std::snprintf(message, sizeof message,
                      "a text holds the lone surrogate U+%04X, which has no UTF-8 form",
                      static_cast<unsigned>(code));
        throw py::value_error(message);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

} // namespace

std::wstring WidePath(const py::bytes& path) {
    return BrelonStringUtil::utf8_to_wide(std::string(path).c_str());
}

py::array ViewOf(const std::vector<int>& values, const py::object& owner) {
    // A view of nothing still needs a pointer that numpy does not take for "allocate".
    static const int kNone = 0;
    const int* data = values.empty() ? &kNone : values.data();
    py::array_t<int> view({static_cast<py::ssize_t>(values.size())}, {sizeof(int)}, data, owner);
    view.attr("setflags")(py::arg("write") = false);
    return std::move(view);
}

py::array StringArray(const std::vector<std::string>& texts) {
    std::vector<uint32_t> codes;
    std::vector<size_t> starts;
    starts.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        starts.push_back(codes.size());
        Decode(text, codes);
    }
    starts.push_back(codes.size());
    size_t width = 1; // numpy has no zero-width unicode type
    for (size_t i = 0; i + 1 < starts.size(); ++i) {
        width = std::max(width, starts[i + 1] - starts[i]);
    }
    py::array strings(py::dtype("<U" + std::to_string(width)),
                      std::vector<py::ssize_t>{static_cast<py::ssize_t>(texts.size())});
    auto* out = static_cast<uint32_t*>(strings.mutable_data());
    std::fill(out, out + texts.size() * width, 0u);
    for (size_t i = 0; i < texts.size(); ++i) {
        std::copy(codes.begin() + static_cast<std::ptrdiff_t>(starts[i]),
                  codes.begin() + static_cast<std::ptrdiff_t>(starts[i + 1]), out + i * width);
    }
    return strings;
}

std::string TextAt(const py::array& strings, size_t index) {
    const size_t width = static_cast<size_t>(strings.itemsize()) / sizeof(uint32_t);
    const auto* codes = reinterpret_cast<const uint32_t*>(
        static_cast<const char*>(strings.data()) + index * static_cast<size_t>(strings.strides(0)));
    std::string text;
    for (size_t k = 0; k < width && codes[k] != 0; ++k) {
        Encode(codes[k], text);
    }
    return text;
}

py::str PyText(const std::string& text) {
    PyObject* decoded =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(decoded);
}

} // namespace onf_python
