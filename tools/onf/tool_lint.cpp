// What the record grammar reads without a word but is almost always a typo, and where each
// value the block loader counts as bad stands.
#include "OnfTool.h"
#include "OnfToolChecks.h"
#include "OnfToolFiles.h"

#include "BrelonTextServices.h"
#include "QSV_Failure.h"

#include <charconv>
#include <cstring>

namespace onf_tool {

namespace {

bool IsDigits(const TokenText& token) {
    if (token.begin == token.end) {
        return false;
    }
    for (const char* p = token.begin; p < token.end; ++p) {
        if (*p < '0' || *p > '9') {
            return false;
        }
    }
    return true;
}

std::string Quoted(const TokenText& token) {
    return "\"" + token.Text() + "\"";
}

// A token as a NUL-terminated text for the engine's judges, without allocating for the short
// tokens that numbers and keys are.
class TokenCString {
public:
    explicit TokenCString(const TokenText& token) {
        const size_t length = static_cast<size_t>(token.end - token.begin);
        if (length < sizeof m_Buffer) {
            std::memcpy(m_Buffer, token.begin, length);
            m_Buffer[length] = '\0';
            m_Text = m_Buffer;
        } else {
            m_Long.assign(token.begin, token.end);
            m_Text = m_Long.c_str();
        }
    }
    const char* Get() const { return m_Text; }

private:
    char m_Buffer[64];
    std::string m_Long;
    const char* m_Text;
};

// What the block loader counts a real's text as: NVS_VALID for a good real (an integer is a
// good real too), else its state. Plain decimal numbers are judged by from_chars alone.
NumericValueState RealState(const TokenText& token) {
    double value = 0;
    const char* begin = token.begin + (token.begin < token.end && *token.begin == '+' ? 1 : 0);
    const auto result = std::from_chars(begin, token.end, value);
    if (begin < token.end && *begin != 'i' && *begin != 'I' && *begin != 'n' && *begin != 'N' &&
        result.ec == std::errc() && result.ptr == token.end) {
        return BrelonFormatUtil::NVS_VALID;
    }
    const size_t length = static_cast<size_t>(token.end - token.begin);
    const NumericValueState state = BrelonFormatUtil::is_valid_double(token.begin, length);
    if (state == BrelonFormatUtil::NVS_INVALID &&
        BrelonFormatUtil::is_int(TokenCString(token).Get())) {
        return BrelonFormatUtil::NVS_VALID;
    }
    return state;
}

class LintVisitor : public RecordVisitor {
public:
    LintVisitor(int block, bool integerKey, bool numbers, FileLogScope& scope)
        : m_Block(block), m_IntegerKey(integerKey), m_Numbers(numbers), m_Scope(scope) {}

    void Record(size_t line, TokenText key) override {
        m_Key = key;
        if (!m_IntegerKey || BrelonFormatUtil::is_int(TokenCString(key).Get())) {
            return;
        }
        const std::string text = key.Text();
        const std::string read = std::to_string(ReadKey(key));
        std::string message;
        if (key.begin == key.end) {
            message = "an empty line in a block body reads as a record with id 0";
        } else if (read == "0" && (text[0] < '0' || text[0] > '9')) {
            message = "the id " + Quoted(key) + " reads as 0";
        } else {
            message = "the id " + Quoted(key) + " reads as " + read +
                      "; the characters behind its digits are ignored";
        }
        m_Scope.Report(QSV_LogMacros::LOG_WARNING, message, line + 1, 1, "ids read in part");
    }

    void Value(size_t line, size_t column, char c, size_t item, TokenText token) override {
        if (!m_Numbers || c == 'S') {
            return;
        }
        const bool integer = c == 'I' || c == 'i';
        const NumericValueState state = !integer ? RealState(token)
                                        : BrelonFormatUtil::is_int(TokenCString(token).Get())
                                            ? BrelonFormatUtil::NVS_VALID
                                            : BrelonFormatUtil::NVS_INVALID;
        if (state == BrelonFormatUtil::NVS_VALID) {
            return;
        }
        const std::string what = Quoted(token) + " for " + ItemLabel(m_Block, item);
        const std::string message = integer ? "invalid integer " + what
                                    : state == BrelonFormatUtil::NVS_INFINITE
                                        ? "the number " + what + " reads as infinity"
                                    : state == BrelonFormatUtil::NVS_NAN ? what + " is not a number"
                                                                         : "invalid number " + what;
        m_Scope.Report(QSV_LogMacros::LOG_ERROR, message, line + 1, column, "invalid numbers");
    }

    void LeftOver(size_t line, size_t column, const std::vector<TokenText>& tokens) override {
        if (tokens.size() == 1 && tokens[0].begin == tokens[0].end) {
            m_Scope.Report(QSV_LogMacros::LOG_WARNING,
                           "the line ends in a comma; the empty value behind it is ignored",
                           line + 1, column, "lines ending in a comma");
            return;
        }
        std::string values;
        bool numbers = true;
        for (const TokenText& token : tokens) {
            values += (values.empty() ? "" : ", ") + Quoted(token);
            numbers = numbers && IsDigits(token);
        }
        m_Scope.Report(QSV_LogMacros::LOG_WARNING,
                       Plural(tokens.size(), "value") + " behind the end of record " +
                           std::to_string(ReadKey(m_Key)) + (tokens.size() == 1 ? " is" : " are") +
                           " ignored: " + values +
                           (numbers ? "; a decimal comma splits a number in two" : ""),
                       line + 1, column, "records with values left over");
    }

private:
    int m_Block;
    bool m_IntegerKey;
    bool m_Numbers;
    FileLogScope& m_Scope;
    TokenText m_Key{"", ""};
};

} // namespace

void LintBlock(const TextLinesParser& lines, const BlockPlace& place,
               const OnfBlockTextReader::BLOCK_INFO& block, const std::string& format, bool numbers,
               FileLogScope& scope) {
    if (block.num_records <= 0 || format.empty()) {
        return;
    }
    const bool keyInFormat = format.find('|') != std::string::npos;
    LintVisitor visitor(block.block_id, !keyInFormat || format[0] == 'I', numbers, scope);
    WalkRecords(lines, place, format, visitor);
}

} // namespace onf_tool
