// Log channels with wide printf formats, and a capture of what was logged.
#pragma once

#include "orx/base/export.h"

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace Logging {

enum class ELevel
{
    eDebug = 0,
    eInfo = 1,
    eWarning = 2,
    eError = 3
};

/// One argument of a log message: any arithmetic or enumeration value, pointer, narrow or wide text.
/// `%s` takes both kinds of text; a null text prints as "(null)".
class ORX_EXPORT CArgument
{
public:
    using Value =
        std::variant<int, unsigned int, long long, unsigned long long, double, std::wstring, const void*>;

    template <typename T>
    requires(std::is_integral_v<T> || std::is_enum_v<T>) CArgument(T value) : m_value(FromIntegral(value)) {}
    CArgument(double value) : m_value(value) {}
    CArgument(const std::string& text);
    CArgument(std::string_view text);
    CArgument(const char* text);
    CArgument(const std::wstring& text) : m_value(text) {}
    CArgument(const wchar_t* text);
    CArgument(const void* address) : m_value(address) {}

    const Value& Get() const { return m_value; }

private:
    template <typename T>
    static Value FromIntegral(T value)
    {
        if constexpr (std::is_enum_v<T>) {
            return FromIntegral(static_cast<std::underlying_type_t<T>>(value));
        } else if constexpr (sizeof(T) <= sizeof(int)) {
            // Kept as wide as printf takes them, so that "%x" of a negative int has eight digits.
            using Promoted = std::conditional_t<std::is_same_v<T, unsigned int>, unsigned int, int>;
            return Value(static_cast<Promoted>(value));
        } else if constexpr (std::is_signed_v<T>) {
            return Value(static_cast<long long>(value));
        } else {
            return Value(static_cast<unsigned long long>(value));
        }
    }

    Value m_value;
};

/// A wide printf format together with the place in the source that logs it.
struct CFormat
{
    CFormat(const wchar_t* wideText, const char* sourceFile = __builtin_FILE(),
            int sourceLine = __builtin_LINE(), const char* sourceFunction = __builtin_FUNCTION())
        : text(wideText), file(sourceFile), line(sourceLine), function(sourceFunction)
    {}

    const wchar_t* text;
    const char* file;
    int line;
    const char* function;
};

/// A named log channel, such as L"ORX.Lumorad.CCTImage"; each source file has one static logger.
///
/// A message is formatted as wide printf does. An argument that does not fit its conversion never crashes: the
/// message is then logged unformatted. All operations may be called from any thread.
class ORX_EXPORT CLogger
{
public:
    explicit CLogger(std::wstring channel) : m_channel(std::move(channel)) {}

    template <typename... Args>
    void Debug(CFormat format, const Args&... args) const
    {
        if (IsEnabled(ELevel::eDebug)) {
            Log(ELevel::eDebug, format, {CArgument(args)...});
        }
    }
    template <typename... Args>
    void Info(CFormat format, const Args&... args) const
    {
        if (IsEnabled(ELevel::eInfo)) {
            Log(ELevel::eInfo, format, {CArgument(args)...});
        }
    }
    template <typename... Args>
    void Warning(CFormat format, const Args&... args) const
    {
        if (IsEnabled(ELevel::eWarning)) {
            Log(ELevel::eWarning, format, {CArgument(args)...});
        }
    }
    template <typename... Args>
    void Error(CFormat format, const Args&... args) const
    {
        if (IsEnabled(ELevel::eError)) {
            Log(ELevel::eError, format, {CArgument(args)...});
        }
    }

    const std::wstring& GetChannel() const { return m_channel; }

private:
    static bool IsEnabled(ELevel level);
    void Log(ELevel level, const CFormat& format, const std::vector<CArgument>& arguments) const;

    std::wstring m_channel;
};

/// Messages below this level are dropped before they are formatted. The initial level is warning, or what the
/// environment variable LXCV_LOG_LEVEL names: debug, info, warning or error. Captures see every level.
ORX_EXPORT void SetLevel(ELevel level);

struct CRecord
{
    ELevel level;
    std::wstring channel;
    std::wstring text; ///< formatted, with its trailing line ends
};

/// While it lives, collects every message of the process, of all levels and threads, and keeps messages from
/// the console. Captures nest: a message goes to the innermost one.
class ORX_EXPORT CCapture
{
public:
    CCapture();
    ~CCapture();
    CCapture(const CCapture&) = delete;
    CCapture& operator=(const CCapture&) = delete;

    std::vector<CRecord> GetRecords() const;

    /// Number of records with this level, channel and text.
    int Count(ELevel level, std::wstring_view channel, std::wstring_view text) const;

    void Clear();
};

} // namespace Logging
