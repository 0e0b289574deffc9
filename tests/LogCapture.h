// Test helper: collects every log line while it lives, then restores the sink it replaced.
#pragma once

#include "QSV_Failure.h"

#include <string>
#include <vector>

namespace onf_test {

struct LogLine {
    QSV_LogMacros::LogMsgType level;
    std::string tag;
    std::string message;
};

class LogCapture {
public:
    LogCapture() {
        m_Previous = QSV_LogMacros::SetLogSink(
            [this](QSV_LogMacros::LogMsgType level, const char*, int, const std::string& tag,
                   const std::string& message) { lines.push_back({level, tag, message}); });
    }
    ~LogCapture() { QSV_LogMacros::SetLogSink(m_Previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Number of lines with this level and exactly this message.
    size_t Count(QSV_LogMacros::LogMsgType level, const std::string& message) const {
        size_t n = 0;
        for (const LogLine& line : lines) {
            n += (line.level == level && line.message == message) ? 1 : 0;
        }
        return n;
    }
    bool Has(QSV_LogMacros::LogMsgType level, const std::string& message) const {
        return Count(level, message) > 0;
    }

    std::vector<LogLine> lines;

private:
    QSV_LogMacros::LogSink m_Previous;
};

} // namespace onf_test
