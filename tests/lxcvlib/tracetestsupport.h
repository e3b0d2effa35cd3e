// A trace of a test's own, in a folder and at a time of its own.
#pragma once

#include "lxctrace.h"
#include "orx/platform/clock.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace LxCV::TestSupport {

// Hostile formats are what these two are for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

/// Writes a line of level 3 by a format that the compiler does not check.
inline void Unchecked(LxCTrace& trace, const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    trace.MessageEx(format, args);
    va_end(args);
}

/// What the C library makes of a format in a line of 1024 bytes.
inline std::string FormattedByTheCLibrary(const char* format, ...)
{
    std::array<char, 1024> line{};
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(line.data(), line.size(), format, args);
    va_end(args);
    return line.data();
}

#pragma GCC diagnostic pop

/// A trace beside the one of the process.
class COpenTrace : public LxCTrace
{
public:
    COpenTrace() = default;
    ~COpenTrace() = default;

    void MessageByList(const char* format, ...) __attribute__((format(printf, 2, 3)))
    {
        std::va_list args;
        va_start(args, format);
        MessageEx(format, args);
        va_end(args);
    }

    void ErrorByList(const char* format, ...) __attribute__((format(printf, 2, 3)))
    {
        std::va_list args;
        va_start(args, format);
        ErrorEx(format, args);
        va_end(args);
    }
};

/// The clock stands at 2015-03-04 05:06:07.089 in the zone UTC.
class LxCTraceTest : public testing::Test
{
protected:
    static constexpr unsigned long sc_ulNoLimit = 1'000'000;

    LxCTraceTest()
    {
        constexpr std::chrono::seconds c_moment(1425445567); // date -ud '2015-03-04 05:06:07' +%s
        m_Clock.SetNow(std::chrono::system_clock::time_point(c_moment + std::chrono::milliseconds(89)));
    }

    bool Init(unsigned long maxFileSize = sc_ulNoLimit, int fileCount = 2)
    {
        return m_Trace.Init("Module", m_Folder.GetPath().string(), maxFileSize, fileCount, "base");
    }

    /// No prefix, so that lines hold the message alone.
    bool InitBare(unsigned long maxFileSize = sc_ulNoLimit, int fileCount = 2)
    {
        m_Trace.SetOptions(0);
        return Init(maxFileSize, fileCount);
    }

    bool InitSilent(unsigned long lines, int options = LxCTrace::eO_Level)
    {
        constexpr unsigned long c_ulBytesPerLine = 1024;
        m_Trace.SetOptions(LxCTrace::eO_Silent | options);
        return Init(lines * c_ulBytesPerLine);
    }

    std::string Text(const std::string& name = "base_0.txt") const
    {
        return ::TestSupport::ReadFile(m_Folder / name);
    }

    bool Exists(const std::string& name) const { return std::filesystem::exists(m_Folder / name); }

    ::TestSupport::CEnvironmentVariable m_Zone{"TZ", "UTC"};
    platform::ManualClock m_Clock;
    platform::ScopedClock m_ClockScope{m_Clock};
    ::TestSupport::CTemporaryFolder m_Folder;
    COpenTrace m_Trace;
};

} // namespace LxCV::TestSupport
