#include "QSV_Failure.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <execinfo.h>
#include <memory>
#include <unistd.h>

// ---------------------------------------------------------------------------------------------
// QSV_Exception

QSV_Exception::QSV_Exception(const std::string& message, const std::string& tag)
    : m_LogTag(tag), m_Message(message), m_Backtrace(QSV_Backtrace::GetBacktrace()) {}

QSV_Exception::QSV_Exception(const std::string& id, const std::string& message,
                             const std::string& tag)
    : m_Id(id), m_LogTag(tag), m_Message(message), m_Backtrace(QSV_Backtrace::GetBacktrace()) {}

QSV_Exception::QSV_Exception(const QSV_Exception& nested, const std::string& id,
                             const std::string& message, const std::string& tag)
    : m_Id(id), m_LogTag(tag), m_Message(message), m_Nested(nested.Clone()),
      m_Backtrace(QSV_Backtrace::GetBacktrace()) {}

QSV_Exception::QSV_Exception(const QSV_Exception& other)
    : std::exception(other), m_Id(other.m_Id), m_LogTag(other.m_LogTag),
      m_Message(other.m_Message), m_Nested(other.m_Nested ? other.m_Nested->Clone() : nullptr),
      m_Backtrace(other.m_Backtrace) {}

QSV_Exception& QSV_Exception::operator=(const QSV_Exception& other) {
    if (this == &other) {
        return *this;
    }
    QSV_Exception* nested = other.m_Nested ? other.m_Nested->Clone() : nullptr;
    delete m_Nested;
    m_Nested = nested;
    m_Id = other.m_Id;
    m_LogTag = other.m_LogTag;
    m_Message = other.m_Message;
    m_Backtrace = other.m_Backtrace;
    return *this;
}

QSV_Exception::~QSV_Exception() { delete m_Nested; }

const char* QSV_Exception::what() const noexcept { return m_Message.c_str(); }

const std::string& QSV_Exception::GetMessage() const { return m_Message; }

const std::string& QSV_Exception::GetLogTag() const { return m_LogTag; }

// ---------------------------------------------------------------------------------------------
// QSV_Failure

QSV_Failure::QSV_Failure(const std::string& message, const std::string& tag)
    : QSV_Exception(message, tag) {}

QSV_Failure::QSV_Failure(const std::string& id, const std::string& message,
                         const std::string& tag)
    : QSV_Exception(id, message, tag) {}

QSV_Failure::QSV_Failure(const QSV_Exception& nested, const std::string& id,
                         const std::string& message, const std::string& tag)
    : QSV_Exception(nested, id, message, tag) {}

QSV_Failure::QSV_Failure(const QSV_Failure& other) = default;

QSV_Failure& QSV_Failure::operator=(const QSV_Failure& other) = default;

QSV_Failure::~QSV_Failure() = default;

QSV_Exception* QSV_Failure::Clone() const {
    if (m_Nested != nullptr) {
        return new QSV_Failure(*m_Nested, m_Id, m_Message, m_LogTag);
    }
    return new QSV_Failure(m_Id, m_Message, m_LogTag);
}

std::string QSV_Failure::GetTypeName() const { return "QSV_Failure"; }

int QSV_Failure::GetCode() const { return m_Id.empty() ? -14 : -1; }

// ---------------------------------------------------------------------------------------------
// Backtrace

namespace {

// "lib.so(_ZN3Foo3BarEv+0x1c) [0x7f...]" becomes "lib.so(Foo::Bar()+0x1c) [0x7f...]".
std::string DemangleFrame(const char* frame) {
    std::string text(frame);
    size_t open = text.find('(');
    size_t plus = text.find('+', open == std::string::npos ? 0 : open);
    if (open == std::string::npos || plus == std::string::npos || plus <= open + 1) {
        return text;
    }
    std::string mangled = text.substr(open + 1, plus - open - 1);
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), std::free);
    if (status != 0 || !name) {
        return text;
    }
    return text.substr(0, open + 1) + name.get() + text.substr(plus);
}

} // namespace

std::vector<std::string> QSV_Backtrace::GetBacktrace() {
    constexpr int kMaxFrames = 64;
    void* frames[kMaxFrames];
    int count = backtrace(frames, kMaxFrames);
    std::vector<std::string> lines;
    std::unique_ptr<char*, void (*)(void*)> symbols(backtrace_symbols(frames, count), std::free);
    if (!symbols) {
        return lines;
    }
    lines.reserve(static_cast<size_t>(count));
    for (int i = 1; i < count; ++i) { // frame 0 is this function
        lines.push_back(DemangleFrame(symbols.get()[i]));
    }
    return lines;
}

// ---------------------------------------------------------------------------------------------
// Message formatting

namespace {

// The suite writes "%Iu" for a size_t argument; the C library knows it as "%zu".
std::string TranslateSizeConversions(const char* format) {
    std::string out;
    out.reserve(std::strlen(format) + 8);
    for (const char* p = format; *p != '\0'; ++p) {
        out += *p;
        if (*p != '%') {
            continue;
        }
        ++p;
        while (*p != '\0' && std::strchr("-+ #0123456789.*'", *p) != nullptr) {
            out += *p++;
        }
        if (*p == 'I' && p[1] != '\0' && std::strchr("udxXo", p[1]) != nullptr) {
            out += 'z';
            ++p;
        }
        if (*p == '\0') {
            break;
        }
        out += *p;
    }
    return out;
}

} // namespace

int onf_vformat(char* buffer, size_t size, const char* format, va_list args) {
    if (buffer == nullptr || size == 0) {
        return -1;
    }
    int length;
    if (std::strchr(format, 'I') != nullptr) {
        std::string translated = TranslateSizeConversions(format);
        length = std::vsnprintf(buffer, size, translated.c_str(), args);
    } else {
        length = std::vsnprintf(buffer, size, format, args);
    }
    buffer[size - 1] = '\0';
    if (length < 0) {
        buffer[0] = '\0';
        return -1;
    }
    return length;
}

int onf_format(char* buffer, size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int length = onf_vformat(buffer, size, format, args);
    va_end(args);
    return length;
}

std::string QSV_MESSAGE(const char* format, ...) {
    char buffer[ONF_MESSAGE_BUFFER_SIZE];
    va_list args;
    va_start(args, format);
    onf_vformat(buffer, sizeof buffer, format, args);
    va_end(args);
    return buffer;
}

void onf_detail::ThrowFailure(const char* id, const char* tag, const char* format, ...) {
    char buffer[ONF_MESSAGE_BUFFER_SIZE];
    va_list args;
    va_start(args, format);
    onf_vformat(buffer, sizeof buffer, format, args);
    va_end(args);
    if (id == nullptr || *id == '\0') {
        throw QSV_Failure(std::string(buffer), std::string(tag));
    }
    throw QSV_Failure(std::string(id), std::string(buffer), std::string(tag));
}

// ---------------------------------------------------------------------------------------------
// Logging

namespace {

const char* LevelName(QSV_LogMacros::LogMsgType level) {
    switch (level) {
    case QSV_LogMacros::LOG_ERROR:
        return "ERROR";
    case QSV_LogMacros::LOG_WARNING:
        return "WARNING";
    case QSV_LogMacros::LOG_INFO:
        return "INFO";
    case QSV_LogMacros::LOG_DETAIL:
        return "DETAIL";
    case QSV_LogMacros::LOG_TRACE:
        return "TRACE";
    }
    return "LOG";
}

std::string ExpandProcessId(const std::string& tag) {
    std::string out;
    size_t pos = 0;
    for (size_t hit; (hit = tag.find("%P", pos)) != std::string::npos; pos = hit + 2) {
        out.append(tag, pos, hit - pos);
        out += std::to_string(static_cast<long>(getpid()));
    }
    out.append(tag, pos, std::string::npos);
    return out;
}

void DefaultSink(QSV_LogMacros::LogMsgType level, const char*, int, const std::string& tag,
                 const std::string& message) {
    if (level != QSV_LogMacros::LOG_ERROR && level != QSV_LogMacros::LOG_WARNING) {
        return;
    }
    std::fprintf(stderr, "%s %s: %s\n", ExpandProcessId(tag).c_str(), LevelName(level),
                 message.c_str());
}

QSV_LogMacros::LogSink& CurrentSink() {
    static QSV_LogMacros::LogSink sink = DefaultSink;
    return sink;
}

} // namespace

QSV_LogMacros::LogSink QSV_LogMacros::SetLogSink(LogSink sink) {
    LogSink previous = CurrentSink();
    CurrentSink() = sink ? std::move(sink) : LogSink(DefaultSink);
    return previous;
}

void QSV_LogMacros::log_msg(LogMsgType type, const char* source_file, int line, const char* tag,
                            const char* format, ...) {
    char buffer[ONF_MESSAGE_BUFFER_SIZE];
    va_list args;
    va_start(args, format);
    onf_vformat(buffer, sizeof buffer, format, args);
    va_end(args);
    CurrentSink()(type, source_file, line, std::string(tag != nullptr ? tag : ""),
                  std::string(buffer));
}
