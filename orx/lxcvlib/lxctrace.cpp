// Lines to a ring of files or to a ring in memory, and timers.
#include "lxctrace.h"

#include "orx/btservices/btsingletoninstance.h"
#include "orx/logging/logger.h"
#include "orx/platform/clock.h"
#include "orx/platform/paths.h"
#include "orx/platform/threads.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <locale.h>
#include <mutex>
#include <new>
#include <span>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

template class BtSingleton<LxCV::LxCTrace>;

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCTrace");

/// What the calling thread last learned about a thread filter, so that it asks for each filter once.
struct SFilterAnswer
{
    std::uint64_t filterNumber;
    bool relevant;
};
constinit thread_local SFilterAnswer t_FilterAnswer{0, true};

std::atomic<std::uint64_t> s_uiLastFilterNumber{0};

/// While it lives, the calling thread formats numbers as C does and wide text as UTF-8.
class CTextLocale
{
public:
    CTextLocale() : m_Before(uselocale(GetLocale())) {}
    ~CTextLocale() { uselocale(m_Before); }
    CTextLocale(const CTextLocale&) = delete;
    CTextLocale& operator=(const CTextLocale&) = delete;

private:
    /// Never freed, since lines are written until the process ends.
    static locale_t GetLocale()
    {
        static const locale_t s_locale = [] {
            const locale_t classic = newlocale(LC_ALL_MASK, "C", locale_t{});
            const locale_t withUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", classic);
            return withUtf8 != locale_t{} ? withUtf8 : classic;
        }();
        return s_locale;
    }

    locale_t m_Before;
};

/// Whether a printf format has a conversion that is unknown or not complete, or that writes through its argument
/// ("%n"), or whose width or precision has more than four digits: no line can hold that, and the C library takes
/// memory and time in proportion to it.
bool IsHarmful(const char* format)
{
    constexpr std::size_t c_mostDigits = 4;
    while ((format = std::strchr(format, '%')) != nullptr) {
        ++format;
        for (std::size_t length = 1; length > 0; format += length) {
            length = std::strspn(format, "0"); // a flag, or leading zeros
            const std::size_t digits = std::strspn(format + length, "0123456789");
            if (digits > c_mostDigits) {
                return true;
            }
            length += digits;
            length += std::strspn(format + length, "$#-+ 'I*.hlLqjzZt");
        }
        if (*format == '\0' || std::strchr("%diouxXeEfFgGaAcCsSpm", *format) == nullptr) {
            return true;
        }
        ++format;
    }
    return false;
}

/// Formats into `line`, cut to its size. Returns the length of the text.
__attribute__((format(printf, 2, 0))) std::size_t FormatInto(std::span<char> line, const char* format,
                                                             LxCTrace::ArgumentList args)
{
    line.front() = '\0';
    int length = -1;
    if (!IsHarmful(format)) {
        const CTextLocale locale;
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has begun it
        length = std::vsnprintf(line.data(), line.size(), format, args);
    }
    if (length < 0) {
        std::snprintf(line.data(), line.size(), "%s", format);
    }
    return std::strlen(line.data());
}

/// Appends to the text of `used` bytes in `line`, cut to the line's size. Returns the new length.
__attribute__((format(printf, 3, 4))) std::size_t AppendTo(std::span<char> line, std::size_t used,
                                                           const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    const std::size_t added = FormatInto(line.subspan(used), format, args);
    va_end(args);
    return used + added;
}

bool Write(std::FILE* file, std::string_view text)
{
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

/// Opens a file to write behind its end, and makes it where it is not there. Null for a pipe, which could keep the
/// process waiting or end it.
/// @param furtherFlags of open
std::FILE* Open(const std::string& pathText, int furtherFlags = 0)
{
    constexpr int c_flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK;
    constexpr mode_t c_anyone = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH; // less the umask
    const int descriptor = open(platform::NativePath(pathText).c_str(), c_flags | furtherFlags, c_anyone);
    if (descriptor < 0) {
        return nullptr;
    }
    struct stat status = {};
    const bool usable = fstat(descriptor, &status) == 0 && !S_ISFIFO(status.st_mode);
    std::FILE* const file = usable ? fdopen(descriptor, "a") : nullptr;
    if (file == nullptr) {
        close(descriptor);
    }
    return file;
}

/// Appends one line to a file that is opened for this alone.
bool AppendLine(const std::string& pathText, std::string_view prefix, std::string_view message)
{
    std::FILE* const file = Open(pathText);
    if (file == nullptr) {
        return false;
    }
    const bool written = Write(file, prefix) && Write(file, message);
    return std::fclose(file) == 0 && written;
}

bool MakeEmptyFile(const std::string& pathText)
{
    std::FILE* const file = Open(pathText, O_TRUNC);
    return file != nullptr && std::fclose(file) == 0;
}

double MillisecondsSince(std::int64_t start, std::int64_t now)
{
    std::int64_t frequency = 1;
    platform::Clock::QueryFrequency(frequency);
    constexpr double c_dMillisecondsPerSecond = 1000.0;
    // The difference of any two counts fits 64 bits without a sign error when it is taken without one.
    const auto ticks =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(now) - static_cast<std::uint64_t>(start));
    return static_cast<double>(ticks) * c_dMillisecondsPerSecond /
           static_cast<double>(std::max<std::int64_t>(frequency, 1));
}

std::int64_t ReadTicks()
{
    std::int64_t ticks = 0;
    platform::Clock::QueryTicks(ticks);
    return ticks;
}

std::string TabsOf(int depth)
{
    constexpr int c_iMostTabs = 10;
    return std::string(static_cast<std::size_t>(std::clamp(depth, 0, c_iMostTabs)), '\t');
}

} // namespace

LxCTrace::~LxCTrace()
{
    LxCTrace::Message("Closing Trace Output\n");
}

std::string LxCTrace::GetTraceFile() const
{
    const std::lock_guard lock(m_MessageLock);
    return m_sTraceFile;
}

void LxCTrace::Invaldidate()
{
    m_bOpen = false;
}

void LxCTrace::Message(const char* format, ...)
{
    if (IsWanted(sc_iMessageLevel)) {
        std::va_list args;
        va_start(args, format);
        MsgEx(sc_iMessageLevel, false, format, args);
        va_end(args);
    }
}

void LxCTrace::MessageEx(const char* format, ArgumentList args)
{
    if (IsWanted(sc_iMessageLevel)) {
        MsgEx(sc_iMessageLevel, false, format, args);
    }
}

void LxCTrace::Error(const char* format, ...)
{
    if (IsWanted(sc_iErrorLevel)) {
        std::va_list args;
        va_start(args, format);
        MsgEx(sc_iErrorLevel, false, format, args);
        va_end(args);
    }
}

void LxCTrace::ErrorEx(const char* format, ArgumentList args)
{
    if (IsWanted(sc_iErrorLevel)) {
        MsgEx(sc_iErrorLevel, false, format, args);
    }
}

void LxCTrace::StartTimer(const std::string& name)
{
    StartTimer(sc_iMessageLevel, name, true);
}

double LxCTrace::StopTimer(const std::string& name)
{
    return StopTimer(sc_iMessageLevel, name, true);
}

bool LxCTrace::IsInitialized() const
{
    return m_bOpen.load(std::memory_order_relaxed);
}

bool LxCTrace::Init(const std::string& moduleName, const std::string& path, unsigned long maxFileSize,
                    int fileCount, const std::string& baseName)
{
    const std::lock_guard lock(m_MessageLock);
    m_bOpen = false;
    m_bLosingLines = false;
    m_vSilentBuffer.clear();
    m_uiNextLine = 0;
    m_sModuleName = moduleName;
    m_sPath = path;
    m_sBaseName = baseName;
    constexpr unsigned long c_ulLargest = std::numeric_limits<std::uint32_t>::max();
    m_uiMaxFileSize = static_cast<std::uint32_t>(std::min(maxFileSize, c_ulLargest));
    m_iFileCount = std::max(fileCount, 2);
    m_iFileIndex = 0;
    if (!BuildFileNames()) {
        return false;
    }
    ReplaceRecentFile();
    if ((m_iOptions & eO_Silent) == 0) {
        m_bOpen = MakeEmptyFile(m_sTraceFile);
        return m_bOpen;
    }
    try {
        m_vSilentBuffer.resize(m_uiMaxFileSize / sc_uiLineSize);
        m_bOpen = true;
    } catch (const std::bad_alloc&) {
        m_bOpen = false;
    }
    return m_bOpen;
}

void LxCTrace::SetOptions(int options)
{
    const std::lock_guard lock(m_MessageLock);
    const bool modeChanged = ((m_iOptions ^ options) & eO_Silent) != 0;
    m_iOptions = options;
    // Before the first Init there are no names, and files of empty names would lie in the root folder.
    if (modeChanged && !m_sTraceFile.empty()) {
        // Copies, since Init assigns to the members that it would be given.
        const std::string moduleName = m_sModuleName;
        const std::string path = m_sPath;
        const std::string baseName = m_sBaseName;
        Init(moduleName, path, m_uiMaxFileSize, m_iFileCount, baseName);
    }
}

void LxCTrace::SetLevel(int level)
{
    const int stored = std::max(level, 0);
    m_iLevel.store(stored, std::memory_order_relaxed);
    Message("Trace level is %d\n", stored);
}

std::string LxCTrace::GetPath() const
{
    const std::lock_guard lock(m_MessageLock);
    return m_sPath;
}

void LxCTrace::SetPath(const std::string& path)
{
    const std::lock_guard lock(m_MessageLock);
    m_sPath = path;
}

void LxCTrace::AddThreadIdFilter(std::uint32_t threadId)
{
    const std::lock_guard lock(m_MessageLock);
    m_sThreadFilter.insert(threadId);
    m_uiFilterNumber = ++s_uiLastFilterNumber;
}

void LxCTrace::ShowAllThreads()
{
    const std::lock_guard lock(m_MessageLock);
    m_sThreadFilter.clear();
    m_uiFilterNumber = 0;
}

bool LxCTrace::ThreadIsRelevant() const
{
    const std::uint64_t number = m_uiFilterNumber.load(std::memory_order_relaxed);
    if (number == 0) {
        return true;
    }
    if (t_FilterAnswer.filterNumber != number) {
        const std::uint32_t threadId = platform::GetCurrentThreadId();
        const std::lock_guard lock(m_MessageLock);
        t_FilterAnswer = {m_uiFilterNumber, m_sThreadFilter.empty() || m_sThreadFilter.contains(threadId)};
    }
    return t_FilterAnswer.relevant;
}

void LxCTrace::Msg(int level, const char* format, ...)
{
    if (IsWanted(level)) {
        std::va_list args;
        va_start(args, format);
        MsgEx(level, false, format, args);
        va_end(args);
    }
}

void LxCTrace::Append(int level, const char* format, ...)
{
    if (IsWanted(level)) {
        std::va_list args;
        va_start(args, format);
        MsgEx(level, true, format, args);
        va_end(args);
    }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
bool LxCTrace::CopyTraceFileToFolder(std::string folder)
{
    const platform::LocalTime now = platform::Clock::GetLocalTime();
    Line name{};
    const std::size_t length = AppendTo(name, 0, "%s\\Trace_%02i%02i%02i__%02i%02i%02i.txt", folder.c_str(),
                                        now.year, now.month, now.day, now.hour, now.minute, now.second);
    const std::lock_guard lock(m_MessageLock);
    if (m_sTraceFile.empty() || !IsComplete(length)) {
        return false;
    }
    std::error_code error;
    return std::filesystem::copy_file(platform::NativePath(m_sTraceFile), platform::NativePath(name.data()),
                                      std::filesystem::copy_options::overwrite_existing, error);
}

bool LxCTrace::WriteTrace()
{
    const std::lock_guard lock(m_MessageLock);
    if ((m_iOptions & eO_Silent) == 0 || m_sTraceFile.empty()) {
        return true;
    }
    std::FILE* const file = Open(m_sTraceFile);
    if (file == nullptr) {
        return false;
    }
    bool written = true;
    for (std::size_t i = 0; i < m_uiNextLine; ++i) {
        written = written && (m_vSilentBuffer[i] == nullptr || Write(file, m_vSilentBuffer[i]->data()));
    }
    written = std::fclose(file) == 0 && written;
    CheckFileSize();
    for (std::unique_ptr<Line>& line : m_vSilentBuffer) {
        line.reset();
    }
    m_uiNextLine = 0;
    return written;
}

void LxCTrace::StartTimer(int level, const std::string& name, bool log)
{
    if (level > GetLevel()) {
        return;
    }
    const std::uint32_t threadId = platform::GetCurrentThreadId();
    int depth = 0;
    {
        const std::lock_guard lock(m_TimerLock);
        STimer& timer = m_Timers[threadId][name];
        if (timer.m_bStarted) {
            return;
        }
        depth = m_TimerDepths[threadId]++;
        timer = {true, ReadTicks(), depth};
    }
    if (log) {
        Msg(level, "%s%s timer started\n", TabsOf(depth).c_str(), name.c_str());
    }
}

double LxCTrace::StopTimer(int level, const std::string& name, bool log)
{
    if (level > GetLevel()) {
        return 0.0;
    }
    const SReading reading = ReadTimer(name, true);
    if (log && reading.m_bRunning) {
        Msg(level, "%s%s timer stopped after %.2f ms\n", TabsOf(reading.m_iDepth).c_str(), name.c_str(),
            reading.m_dMilliseconds);
    }
    return reading.m_dMilliseconds;
}

double LxCTrace::SplitTime(int level, const std::string& name, bool log)
{
    if (level > GetLevel()) {
        return 0.0;
    }
    const SReading reading = ReadTimer(name, false);
    if (log && reading.m_bRunning) {
        Msg(level, "%s%s timer split time is %.2f ms\n", TabsOf(reading.m_iDepth).c_str(), name.c_str(),
            reading.m_dMilliseconds);
    }
    return reading.m_dMilliseconds;
}

/// What keeps a message out without a lock.
bool LxCTrace::IsWanted(int level) const
{
    return level >= 1 && level <= GetLevel() && IsInitialized() && ThreadIsRelevant();
}

void LxCTrace::MsgEx(int level, bool noPrefix, const char* format, ArgumentList args)
{
    const std::lock_guard lock(m_MessageLock);
    if (level < 1 || level > GetLevel() || !m_bOpen || format == nullptr) {
        return;
    }
    Line prefixLine{};
    const std::string_view prefix(prefixLine.data(), noPrefix ? 0 : BuildPrefix(level, prefixLine));
    Line messageLine;
    const std::string_view message(messageLine.data(), FormatInto(messageLine, format, args));
    try {
        if ((m_iOptions & eO_Silent) != 0 && !prefix.empty()) {
            KeepLine(prefix, message);
        } else {
            NoteLoss(!AppendLine(m_sTraceFile, prefix, message));
            CheckFileSize();
        }
    } catch (const std::exception&) {
        // No memory for the line or for the name of its file: the line is lost, tracing goes on.
        return;
    }
}

/// Tells of the first line that is lost, and of the first after one that was not.
void LxCTrace::NoteLoss(bool lost)
{
    if (lost && !m_bLosingLines) {
        s_Logger.Warning(L"Lines are lost, since the trace file '%s' cannot be written.\n", m_sTraceFile);
    }
    m_bLosingLines = lost;
}

/// Returns the length of the prefix, 0 where no option wants one.
std::size_t LxCTrace::BuildPrefix(int level, Line& line) const
{
    std::size_t used = 0;
    if ((m_iOptions & eO_ModuleName) != 0) {
        used = AppendTo(line, used, "%-16s", m_sModuleName.c_str());
    }
    if ((m_iOptions & (eO_Date | eO_Time)) != 0) {
        const platform::LocalTime now = platform::Clock::GetLocalTime();
        if ((m_iOptions & eO_Date) != 0) {
            used = AppendTo(line, used, "%04d-%02d-%02d ", now.year, now.month, now.day);
        }
        if ((m_iOptions & eO_Time) != 0) {
            used = AppendTo(line, used, "%02d:%02d:%02d.%03d ", now.hour, now.minute, now.second,
                            now.millisecond);
        }
    }
    if ((m_iOptions & eO_Level) != 0) {
        used = AppendTo(line, used, "%1d ", level);
    }
    return used;
}

/// Puts a line into the ring, in place of the oldest. One that is too long is cut, and then ends with a line feed.
void LxCTrace::KeepLine(std::string_view prefix, std::string_view message)
{
    if (m_vSilentBuffer.empty()) {
        return;
    }
    std::unique_ptr<Line>& slot = m_vSilentBuffer[m_uiNextLine];
    if (slot == nullptr) {
        slot = std::make_unique<Line>();
    }
    Line& line = *slot;
    const std::size_t fromPrefix = prefix.copy(line.data(), sc_uiLineSize - 1);
    const std::size_t fromMessage = message.copy(line.data() + fromPrefix, sc_uiLineSize - 1 - fromPrefix);
    line[fromPrefix + fromMessage] = '\0';
    if (fromPrefix + fromMessage < prefix.size() + message.size()) {
        line[sc_uiLineSize - 2] = '\n';
    }
    m_uiNextLine = (m_uiNextLine + 1) % m_vSilentBuffer.size();
}

/// Whether a name in a line was not cut; one that fills it may have been, and would then be that of another file.
bool LxCTrace::IsComplete(std::size_t length)
{
    return length < sc_uiLineSize - 1;
}

/// Names the files of the present index. Returns false, with no names, where one would be too long.
bool LxCTrace::BuildFileNames()
{
    Line trace{};
    Line recent{};
    const std::size_t traceLength =
        AppendTo(trace, 0, "%s\\%s_%d.txt", m_sPath.c_str(), m_sBaseName.c_str(), m_iFileIndex);
    const std::size_t recentLength =
        AppendTo(recent, 0, "%s\\%s_%d_recent.txt", m_sPath.c_str(), m_sBaseName.c_str(), m_iFileIndex);
    const bool complete = IsComplete(traceLength) && IsComplete(recentLength);
    m_sTraceFile = complete ? trace.data() : "";
    m_sRecentFile = complete ? recent.data() : "";
    return complete;
}

/// Makes the trace file, where there is one, the recent file.
void LxCTrace::ReplaceRecentFile() const
{
    const std::filesystem::path recent = platform::NativePath(m_sRecentFile);
    std::error_code ignored; // mostly there is none; else the file just goes on growing
    std::filesystem::remove(recent, ignored);
    std::filesystem::rename(platform::NativePath(m_sTraceFile), recent, ignored);
}

/// Turns to the next file of the ring if the present one has become too long.
void LxCTrace::CheckFileSize()
{
    std::FILE* const file = Open(m_sTraceFile);
    if (file == nullptr) {
        return;
    }
    const bool positioned = fseeko(file, 0, SEEK_END) == 0;
    const off_t size = positioned ? ftello(file) : 0;
    std::fclose(file);
    if (size <= static_cast<off_t>(m_uiMaxFileSize)) {
        return;
    }
    m_iFileIndex = (m_iFileIndex + 1) % m_iFileCount;
    if (BuildFileNames()) {
        ReplaceRecentFile();
    } else {
        m_bOpen = false;
    }
}

/// Reads the calling thread's running timer, and stops it if told.
LxCTrace::SReading LxCTrace::ReadTimer(const std::string& name, bool stop)
{
    const std::int64_t now = ReadTicks();
    const std::uint32_t threadId = platform::GetCurrentThreadId();
    const std::lock_guard lock(m_TimerLock);
    const auto ofThread = m_Timers.find(threadId);
    if (ofThread == m_Timers.end()) {
        return {};
    }
    const auto timer = ofThread->second.find(name);
    if (timer == ofThread->second.end() || !timer->second.m_bStarted) {
        return {};
    }
    const SReading reading{true, MillisecondsSince(timer->second.m_iStart, now), timer->second.m_iDepth};
    if (stop) {
        timer->second.m_bStarted = false;
        const auto depth = m_TimerDepths.find(threadId);
        if (--depth->second == 0) {
            // Threads come and go; one that times nothing any more leaves nothing behind.
            m_TimerDepths.erase(depth);
            m_Timers.erase(ofThread);
        }
    }
    return reading;
}

} // namespace LxCV
