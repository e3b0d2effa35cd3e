// Starts a process by a short-lived one in between, so that the system and not this process inherits it.
#include "orx/platform/process.h"

#include "orx/platform/paths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

constexpr int kFirstFileAfterStandardStreams = 3;

bool IsBlank(char character)
{
    return character == ' ' || character == '\t';
}

std::size_t SkipBlanks(std::string_view text, std::size_t at)
{
    while (at < text.size() && IsBlank(text[at])) {
        ++at;
    }
    return at;
}

/// Takes the program's name: quotes group, backslashes are part of the path.
std::string TakeProgramName(std::string_view text, std::size_t& at)
{
    std::string name;
    bool quoted = false;
    for (; at < text.size() && (quoted || !IsBlank(text[at])); ++at) {
        if (text[at] == '"') {
            quoted = !quoted;
        } else {
            name += text[at];
        }
    }
    return name;
}

/// Takes one argument after the program's name, by the rules of `SplitCommandLine`.
std::string TakeArgument(std::string_view text, std::size_t& at)
{
    std::string argument;
    bool quoted = false;
    while (at < text.size() && (quoted || !IsBlank(text[at]))) {
        const std::size_t slashEnd = std::min(text.find_first_not_of('\\', at), text.size());
        const std::size_t slashes = slashEnd - at;
        at = slashEnd;
        if (at == text.size() || text[at] != '"') {
            argument.append(slashes, '\\');
            if (at < text.size() && slashes == 0) {
                argument += text[at++];
            }
            continue;
        }
        argument.append(slashes / 2, '\\');
        if (slashes % 2 != 0) {
            argument += '"';
        } else if (quoted && at + 1 < text.size() && text[at + 1] == '"') {
            argument += '"';
            ++at;
        } else {
            quoted = !quoted;
        }
        ++at;
    }
    return argument;
}

/// The absolute path of a program that is named without a folder, by the PATH variable; empty where none fits.
std::string SearchInPath(const std::string& name)
{
    const std::string folders = GetEnvironmentText("PATH");
    for (std::size_t begin = 0; begin <= folders.size();) {
        const std::size_t end = std::min(folders.find(':', begin), folders.size());
        const std::string folder = folders.substr(begin, end - begin);
        std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        begin = end + 1;
    }
    return {};
}

/// The file to run; empty where there is none. Absolute, since the working folder changes before it is opened.
std::string ResolveProgram(const std::string& program, const std::vector<std::string>& arguments)
{
    std::string file = program;
    if (file.empty() && !arguments.empty()) {
        file = FolderOf(std::string_view(arguments[0])).empty() ? SearchInPath(arguments[0]) : arguments[0];
    }
    if (file.empty()) {
        return {};
    }
    std::error_code error;
    return std::filesystem::absolute(NativePath(file), error).string();
}

/// All that the new process needs, laid out before the fork: behind it no memory may be taken.
struct Launch
{
    const char* program;
    char* const* arguments;
    const char* folder; ///< null for the present one
    int report;         ///< pipe that reports go to; its end without an error means that the program runs
};

/// What comes through the pipe: the id of the new process or an errno. Short enough to arrive whole; the two come
/// from different processes and so in any order.
struct Report
{
    int pid;
    int error;
};

void Send(int file, const Report& report)
{
    while (write(file, &report, sizeof report) < 0 && errno == EINTR) {
    }
}

/// Gathers the reports until the pipe ends.
Report Receive(int file)
{
    Report all{0, 0};
    for (;;) {
        Report report{};
        const ssize_t count = read(file, &report, sizeof report);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count != static_cast<ssize_t>(sizeof report)) {
            return all;
        }
        all.pid = report.pid != 0 ? report.pid : all.pid;
        all.error = report.error != 0 ? report.error : all.error;
    }
}

/// Marks every file but the standard streams to be closed as the program starts.
void CloseFilesAtStart()
{
#ifdef SYS_close_range
    constexpr unsigned int closeOnExec = 1U << 2;
    if (syscall(SYS_close_range, kFirstFileAfterStandardStreams, ~0U, closeOnExec) == 0) {
        return;
    }
#endif
    rlimit limit{};
    const rlim_t files =
        getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min<rlim_t>(limit.rlim_cur, 1 << 20) : 1024;
    for (int file = kFirstFileAfterStandardStreams; file < static_cast<int>(files); ++file) {
        fcntl(file, F_SETFD, FD_CLOEXEC);
    }
}

void ResetSignals()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        sigaction(signal, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Becomes the program. Calls only what is safe between fork and exec in a process of many threads.
[[noreturn]] void RunProgram(const Launch& launch)
{
    setsid();
    // A process that closed its standard streams may have the pipe in their place.
    const int report = fcntl(launch.report, F_DUPFD_CLOEXEC, kFirstFileAfterStandardStreams);
    const int null = open("/dev/null", O_RDWR);
    for (int stream = 0; stream < kFirstFileAfterStandardStreams; ++stream) {
        dup2(null, stream);
    }
    CloseFilesAtStart();
    ResetSignals();
    if (launch.folder == nullptr || chdir(launch.folder) == 0) {
        execv(launch.program, launch.arguments);
    }
    Send(report, {0, errno});
    _exit(1);
}

/// The process in between: starts the program, reports, and ends, which orphans the program.
[[noreturn]] void RunIntermediate(const Launch& launch)
{
    const pid_t pid = fork();
    if (pid == 0) {
        RunProgram(launch);
    }
    Send(launch.report, pid > 0 ? Report{pid, 0} : Report{0, errno});
    _exit(0);
}

/// Forks the process in between with all signals blocked, so that no handler of this process runs in it.
/// @return 0 or an errno
int ForkIntermediate(const Launch& launch)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = fork();
    if (pid == 0) {
        RunIntermediate(launch);
    }
    const int error = pid < 0 ? errno : 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    while (pid > 0 && waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    return error;
}

std::vector<char*> PointersTo(std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

int OpenProcessHandle(int pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    return -1;
#endif
}

/// Whether the file becomes readable within the time. Signals do not shorten it.
bool BecomesReadable(int file, std::chrono::milliseconds time)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd wait{file, POLLIN, 0};
        const int count = poll(&wait, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (count >= 0 || errno != EINTR) {
            return count > 0;
        }
    }
}

} // namespace

std::vector<std::string> SplitCommandLine(std::string_view commandLine)
{
    std::vector<std::string> arguments;
    std::size_t at = SkipBlanks(commandLine, 0);
    while (at < commandLine.size()) {
        arguments.push_back(arguments.empty() ? TakeProgramName(commandLine, at)
                                              : TakeArgument(commandLine, at));
        at = SkipBlanks(commandLine, at);
    }
    return arguments;
}

DetachedProcess::~DetachedProcess()
{
    if (m_iHandle >= 0) {
        close(m_iHandle);
    }
}

DetachedProcess::DetachedProcess(DetachedProcess&& other) noexcept
    : m_iPid(std::exchange(other.m_iPid, 0)), m_iHandle(std::exchange(other.m_iHandle, -1))
{}

DetachedProcess& DetachedProcess::operator=(DetachedProcess&& other) noexcept
{
    std::swap(m_iPid, other.m_iPid);
    std::swap(m_iHandle, other.m_iHandle);
    return *this;
}

int DetachedProcess::Start(const std::string& program, std::vector<std::string> arguments,
                           const std::string& workingFolder)
{
    *this = DetachedProcess();
    const std::string file = ResolveProgram(program, arguments);
    if (file.empty()) {
        return ENOENT;
    }
    if (arguments.empty()) {
        arguments.push_back(program);
    }
    const std::string folder = NativePath(workingFolder).string();
    const std::vector<char*> pointers = PointersTo(arguments);
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        return errno;
    }
    const int forkError = ForkIntermediate(
        {file.c_str(), pointers.data(), folder.empty() ? nullptr : folder.c_str(), report[1]});
    close(report[1]);
    const Report result = forkError == 0 ? Receive(report[0]) : Report{0, forkError};
    close(report[0]);
    if (result.error == 0) {
        m_iPid = result.pid;
        m_iHandle = OpenProcessHandle(result.pid);
    }
    return result.error;
}

bool DetachedProcess::IsRunning(int milliseconds) const
{
    const std::chrono::milliseconds time(milliseconds);
    if (m_iHandle >= 0) {
        return !BecomesReadable(m_iHandle, time);
    }
    const auto exists = [this] { return m_iPid > 0 && (kill(m_iPid, 0) == 0 || errno == EPERM); };
    if (exists()) {
        std::this_thread::sleep_for(time);
    }
    return exists();
}

} // namespace platform
