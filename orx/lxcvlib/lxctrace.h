// A rotating text log with named timers.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"
#include "orx/btservices/btsingleton.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace LxCV {

/// Writes lines of text to a ring of files <path>\<baseName>_<n>.txt, n from 0. The object is
/// `BtSingleton<LxCTrace>::Instance()`; it writes nothing before `Init`.
///
/// A line is an optional prefix and a message. Each is cut to 1023 bytes. Messages carry a level, 1 for errors and
/// 3 for normal ones: one of level L is written if 1 <= L <= `GetLevel()`. Line ends are the caller's, so that
/// `Append` can continue a line.
///
/// A file is opened for each line alone, so that a crash loses nothing. When it has become longer than the maximum
/// size, the next number of the ring takes over; what that number held before becomes <baseName>_<n>_recent.txt.
/// So each number keeps at most one older generation. The same happens to file 0 at `Init`, so that the trace of the
/// last session survives one start.
///
/// In silent mode lines go to a ring in memory that keeps the latest maximum size / 1024 of them, each cut to 1023
/// bytes together with its prefix, until `WriteTrace`. A line without a prefix goes to the file even so: callers use
/// `Append` for what must not be lost.
///
/// Formats are printf's. A number is written with a decimal point and wide text as UTF-8 whatever the locale of the
/// process. A format is written as it stands, without its arguments, if it has a conversion that is unknown, not
/// complete or "%n", a width or precision of more than four digits, or an argument that has no UTF-8 form.
///
/// Nothing here throws for a file that cannot be written: the line is lost, the first of several with a warning in the
/// log, and the next line tries again. A pipe is never written to, as it could keep the process waiting or end it.
///
/// All operations may be called from any thread. A message that level or thread filter keep out takes no lock.
class ORX_EXPORT LxCTrace
{
public:
    /// The arguments of a format, as va_start leaves them; their list is used up by the call.
    using ArgumentList = std::va_list;

    /// Bits of `SetOptions`: parts of a line's prefix in their order, and the mode.
    enum EOption : int
    {
        eO_ModuleName = 1, ///< "%-16s"
        eO_Date = 2,       ///< "%04d-%02d-%02d ": year, month, day, local time
        eO_Time = 4,       ///< "%02d:%02d:%02d.%03d ", local time
        eO_Level = 8,      ///< "%1d "
        eO_Silent = 16
    };

    static constexpr int sc_iErrorLevel = 1;
    static constexpr int sc_iMessageLevel = 3;

    // The order of the virtual operations is part of the binary interface between modules.

    /// Path text of the file that lines go to; empty before `Init`.
    virtual std::string GetTraceFile() const;

    /// Stops the trace until the next `Init`. The name is misspelt in the interface and stays so.
    virtual void Invaldidate();

    /// A line of level 3, with a prefix.
    virtual void Message(const char* format, ...) __attribute__((format(printf, 2, 3)));
    virtual void MessageEx(const char* format, ArgumentList args) __attribute__((format(printf, 2, 0)));

    /// A line of level 1, with a prefix.
    virtual void Error(const char* format, ...) __attribute__((format(printf, 2, 3)));
    virtual void ErrorEx(const char* format, ArgumentList args) __attribute__((format(printf, 2, 0)));

    /// The timer operations below at level 3, with a line in the log.
    virtual void StartTimer(const std::string& name);
    virtual double StopTimer(const std::string& name);

    /// Whether lines can be written.
    virtual bool IsInitialized() const;

    LxCTrace(const LxCTrace&) = delete;
    LxCTrace& operator=(const LxCTrace&) = delete;

    /// Starts the trace anew.
    ///
    /// In silent mode it makes an empty ring of lines and no file; otherwise file 0, empty.
    /// @param moduleName the caller's name for this trace
    /// @param path folder of the files, which must exist
    /// @param maxFileSize bytes; a size beyond 32 bits becomes the largest one
    /// @param fileCount files in the ring; a number below 2 becomes 2
    /// @return `IsInitialized`: false if the file or the ring cannot be made, or a file's name has
    ///         1023 bytes or more
    bool Init(const std::string& moduleName, const std::string& path, unsigned long maxFileSize,
              int fileCount, const std::string& baseName);

    /// Stores a sum of `EOption`, 14 at first. If the mode changed, `Init` runs again with its last arguments, where
    /// it has run before.
    void SetOptions(int options);

    int GetLevel() const { return m_iLevel.load(std::memory_order_relaxed); }

    /// Sets the level, 3 at first, and writes "Trace level is %d\n" at level 3. A negative level becomes 0, which
    /// writes nothing.
    void SetLevel(int level);

    std::string GetPath() const;

    /// Changes the folder. The present file stays in use; the next one that is begun is in the new folder.
    void SetPath(const std::string& path);

    /// From now on only threads whose ids were added are traced; ids are those of `platform::GetCurrentThreadId`.
    void AddThreadIdFilter(std::uint32_t threadId);
    void ShowAllThreads();

    /// Whether the calling thread is traced.
    bool ThreadIsRelevant() const;

    /// A line with a prefix.
    void Msg(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

    /// The same without a prefix, to continue a line.
    void Append(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

    /// Copies the trace file to <folder>\Trace_YYYYMMDD__HHMMSS.txt, by the local time, in place of an earlier copy.
    /// @return false if it could not be copied, or if the copy's name has 1023 bytes or more
    bool CopyTraceFileToFolder(std::string folder);

    /// In silent mode, appends the lines of the ring to the trace file and empties the ring; else does nothing.
    ///
    /// It writes from the ring's first line up to the one that would be overwritten next. Lines that are older than
    /// the ring's latest turn lie behind that and are dropped; callers rely on the file's growing by the latest turn
    /// alone.
    /// @return false, with the ring unchanged, if the file cannot be opened; false also if it cannot be written
    bool WriteTrace();

    /// Starts the calling thread's timer `name`, unless it runs. Nested timers are indented by a tab a level, ten at
    /// most. A level above `GetLevel()` does nothing, in the two others too.
    /// @param log whether a line is written
    void StartTimer(int level, const std::string& name, bool log);

    /// Stops the calling thread's timer `name`. Returns the milliseconds since its start; 0 if it does not run.
    double StopTimer(int level, const std::string& name, bool log);

    /// The same without stopping it.
    double SplitTime(int level, const std::string& name, bool log);

protected:
    LxCTrace() = default;

    /// Writes "Closing Trace Output\n" at level 3.
    ~LxCTrace();

private:
    friend class BtSingleton<LxCTrace>;

    static constexpr std::size_t sc_uiLineSize = 1024; ///< bytes, with the terminating 0

    using Line = std::array<char, sc_uiLineSize>;

    struct STimer
    {
        bool m_bStarted = false;
        std::int64_t m_iStart = 0; ///< ticks of platform::Clock
        int m_iDepth = 0;          ///< timers of the thread that ran when it started
    };

    struct SReading
    {
        bool m_bRunning = false;
        double m_dMilliseconds = 0.0;
        int m_iDepth = 0;
    };

    bool IsWanted(int level) const;
    void MsgEx(int level, bool noPrefix, const char* format, ArgumentList args)
        __attribute__((format(printf, 4, 0)));
    std::size_t BuildPrefix(int level, Line& line) const;
    void KeepLine(std::string_view prefix, std::string_view message);
    void NoteLoss(bool lost);
    static bool IsComplete(std::size_t length);
    bool BuildFileNames();
    void ReplaceRecentFile() const;
    void CheckFileSize();
    SReading ReadTimer(const std::string& name, bool stop);

    std::atomic<bool> m_bOpen{false};
    std::string m_sModuleName;
    std::string m_sPath;
    std::string m_sBaseName;
    std::uint32_t m_uiMaxFileSize = 0; ///< bytes
    int m_iFileCount = 2;
    int m_iFileIndex = 0;
    std::vector<std::unique_ptr<Line>> m_vSilentBuffer; ///< a line is made when it is first written
    std::string m_sTraceFile;                           ///< path text below 1023 bytes; empty before Init
    std::string m_sRecentFile;                          ///< the same
    std::atomic<int> m_iLevel{sc_iMessageLevel};
    int m_iOptions = eO_Date | eO_Time | eO_Level;
    std::size_t m_uiNextLine = 0;
    bool m_bLosingLines = false; ///< whether the last line for the file could not be written
    std::set<std::uint32_t> m_sThreadFilter;
    std::map<std::uint32_t, std::map<std::string, STimer>> m_Timers; ///< of threads with a running timer
    std::map<std::uint32_t, int> m_TimerDepths;                      ///< running timers of these threads

    /// Guards everything but the timers and the atomic members. No path holds both locks.
    mutable BtCriticalSection m_MessageLock;
    BtCriticalSection m_TimerLock;

    /// Names the present content of the thread filter, uniquely in the process; 0 for an empty one.
    std::atomic<std::uint64_t> m_uiFilterNumber{0};
};

} // namespace LxCV

extern template class BtSingleton<LxCV::LxCTrace>;
