// Failures and logging: the one way the engine fails (QSV_Failure) and the one way it talks
// without failing (QSV_LogMacros::log_msg).
#pragma once

#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// Base of every failure of the suite. Carries a message, a log tag such as
// "|%P|BrelonOnfEngine|OnfBlock", an optional twelve-digit identifier, an optional nested
// failure (owned) and the backtrace taken when it was constructed.
class QSV_Exception : public std::exception {
public:
    QSV_Exception(const std::string& message, const std::string& tag);
    QSV_Exception(const std::string& id, const std::string& message, const std::string& tag);
    // Wraps `nested`: the new object owns nested.Clone().
    QSV_Exception(const QSV_Exception& nested, const std::string& id, const std::string& message,
                  const std::string& tag);
    // Copies strings and backtrace; the nested failure is cloned, so no two objects share it.
    QSV_Exception(const QSV_Exception& other);
    QSV_Exception& operator=(const QSV_Exception& other);

    ~QSV_Exception() override;
    const char* what() const noexcept override;
    // A new heap copy, owned by the caller.
    virtual QSV_Exception* Clone() const = 0;
    virtual const std::string& GetMessage() const;
    virtual const std::string& GetLogTag() const;
    virtual std::string GetTypeName() const = 0;
    virtual int GetCode() const = 0;

    // Empty without an identifier.
    const std::string& GetId() const { return m_Id; }
    // Null without a nested failure; alive as long as this object.
    const QSV_Exception* GetNested() const { return m_Nested; }
    const std::vector<std::string>& GetBacktrace() const { return m_Backtrace; }

protected:
    std::string m_Id;
    std::string m_LogTag;
    std::string m_Message;
    QSV_Exception* m_Nested = nullptr;
    std::vector<std::string> m_Backtrace;
};

// The failure the engine throws, by value.
class QSV_Failure : public QSV_Exception {
public:
    QSV_Failure(const std::string& message, const std::string& tag);
    QSV_Failure(const std::string& id, const std::string& message, const std::string& tag);
    QSV_Failure(const QSV_Exception& nested, const std::string& id, const std::string& message,
                const std::string& tag);
    QSV_Failure(const QSV_Failure& other);
    QSV_Failure& operator=(const QSV_Failure& other);
    ~QSV_Failure() override;

    QSV_Exception* Clone() const override;
    std::string GetTypeName() const override; // "QSV_Failure"
    int GetCode() const override;             // -1 with an identifier, -14 without
};

namespace QSV_Backtrace {
// The frames of the calling stack, one printable line each, innermost first.
std::vector<std::string> GetBacktrace();
} // namespace QSV_Backtrace

namespace QSV_LogMacros {
enum LogMsgType { LOG_ERROR = 1, LOG_WARNING = 2, LOG_INFO = 4, LOG_DETAIL = 5, LOG_TRACE = 6 };

// Receives every log line, whatever its level: the tag as the engine passed it (with "%P"
// unexpanded) and the message fully formatted and cut at 1023 bytes.
using LogSink = std::function<void(LogMsgType level, const char* sourceFile, int line,
                                   const std::string& tag, const std::string& message)>;

// Installs `sink` and returns the one it replaces. An empty sink restores the default, which
// writes levels 1 and 2 to standard error, one line each, with "%P" expanded to the process id.
LogSink SetLogSink(LogSink sink);

// Formats one message (printf rules, "%Iu" taking a size_t) and hands it to the sink. No
// compile-time format check: "%Iu" is not a printf form the compilers know.
void log_msg(LogMsgType type, const char* source_file, int line, const char* tag,
             const char* format, ...);
} // namespace QSV_LogMacros

// The formatted text (printf rules, "%Iu" taking a size_t), cut at 1023 bytes.
std::string QSV_MESSAGE(const char* format, ...);

// The size of every message buffer of the engine: messages are cut at 1023 bytes.
constexpr size_t ONF_MESSAGE_BUFFER_SIZE = 1024;

// Prints into `buffer` with snprintf semantics ("%Iu" taking a size_t), stores a NUL in the
// last byte in all cases and returns the length, or -1 on an encoding error.
int onf_format(char* buffer, size_t size, const char* format, ...);
int onf_vformat(char* buffer, size_t size, const char* format, va_list args);

namespace onf_detail {
// Builds the message in a 1024-byte buffer and throws QSV_Failure by value. A null or empty
// `id` takes the two-part constructor.
[[noreturn]] void ThrowFailure(const char* id, const char* tag, const char* format, ...);
} // namespace onf_detail

// Writes a log line with the caller's source position.
#define QSV_LOG(level, tag, ...)                                                                   \
    QSV_LogMacros::log_msg(QSV_LogMacros::level, __FILE__, __LINE__, tag, __VA_ARGS__)
