// Formats messages with fmt and hands them to spdlog.
#include "orx/logging/logger.h"

#include "orx/platform/unicode.h"

#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

namespace Logging {

namespace {

ELevel LevelFromEnvironment()
{
    const char* text = std::getenv("LXCV_LOG_LEVEL");
    const std::string_view name = text != nullptr ? text : "";
    if (name == "debug") {
        return ELevel::eDebug;
    }
    if (name == "info") {
        return ELevel::eInfo;
    }
    return name == "error" ? ELevel::eError : ELevel::eWarning;
}

spdlog::level::level_enum ToSpdlog(ELevel level)
{
    switch (level) {
    case ELevel::eDebug:
        return spdlog::level::debug;
    case ELevel::eInfo:
        return spdlog::level::info;
    case ELevel::eWarning:
        return spdlog::level::warn;
    case ELevel::eError:
        break;
    }
    return spdlog::level::err;
}

/// The process-wide state: level, console and the stack of captures.
struct State
{
    std::atomic<ELevel> level{LevelFromEnvironment()};
    std::shared_ptr<spdlog::logger> console{
        std::make_shared<spdlog::logger>("", std::make_shared<spdlog::sinks::stderr_sink_mt>())};
    std::mutex mutex;
    std::atomic<int> captureDepth{0};
    struct Capture
    {
        const CCapture* owner;
        std::vector<CRecord> records;
    };
    std::vector<Capture> captures;

    State()
    {
        console->set_level(spdlog::level::debug);
        console->set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
    }

    Capture* Find(const CCapture* owner)
    {
        for (Capture& capture : captures) {
            if (capture.owner == owner) {
                return &capture;
            }
        }
        return nullptr;
    }
};

/// Never destroyed, so that destructors of static objects may still log.
State& TheState()
{
    static State* const state = new State;
    return *state;
}

std::wstring Format(const wchar_t* format, const std::vector<CArgument>& arguments)
{
    fmt::dynamic_format_arg_store<fmt::wprintf_context> store;
    for (const CArgument& argument : arguments) {
        std::visit([&store](const auto& value) { store.push_back(value); }, argument.Get());
    }
    try {
        return fmt::vsprintf(fmt::basic_string_view<wchar_t>(format),
                             fmt::basic_format_args<fmt::wprintf_context>(store));
    } catch (const std::exception&) {
        return format;
    }
}

std::string_view FileName(const char* path)
{
    const std::string_view text(path);
    const std::size_t slash = text.rfind('/');
    return slash == std::string_view::npos ? text : text.substr(slash + 1);
}

} // namespace

CArgument::CArgument(const std::string& text) : m_value(platform::WidenUtf8(text)) {}

CArgument::CArgument(std::string_view text) : m_value(platform::WidenUtf8(text)) {}

CArgument::CArgument(const char* text)
    : m_value(text != nullptr ? platform::WidenUtf8(text) : std::wstring(L"(null)"))
{}

CArgument::CArgument(const wchar_t* text)
    : m_value(text != nullptr ? std::wstring(text) : std::wstring(L"(null)"))
{}

bool CLogger::IsEnabled(ELevel level)
{
    const State& state = TheState();
    return state.captureDepth.load(std::memory_order_acquire) > 0 ||
           level >= state.level.load(std::memory_order_relaxed);
}

void CLogger::Log(ELevel level, const CFormat& format, const std::vector<CArgument>& arguments) const
{
    State& state = TheState();
    std::wstring text = Format(format.text, arguments);
    if (state.captureDepth.load(std::memory_order_acquire) > 0) {
        const std::lock_guard lock(state.mutex);
        if (!state.captures.empty()) {
            state.captures.back().records.push_back({level, m_channel, std::move(text)});
            return;
        }
    }
    while (!text.empty() && text.back() == L'\n') {
        text.pop_back();
    }
    state.console->log(ToSpdlog(level), "{} {} [{}:{} {}]", platform::NarrowUtf8(m_channel),
                       platform::NarrowUtf8(text), FileName(format.file), format.line, format.function);
}

void SetLevel(ELevel level)
{
    TheState().level.store(level, std::memory_order_relaxed);
}

CCapture::CCapture()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.captures.push_back({this, {}});
    state.captureDepth.fetch_add(1, std::memory_order_release);
}

CCapture::~CCapture()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    std::erase_if(state.captures, [this](const State::Capture& capture) { return capture.owner == this; });
    state.captureDepth.fetch_sub(1, std::memory_order_release);
}

std::vector<CRecord> CCapture::GetRecords() const
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.Find(this)->records;
}

int CCapture::Count(ELevel level, std::wstring_view channel, std::wstring_view text) const
{
    int count = 0;
    for (const CRecord& record : GetRecords()) {
        count += record.level == level && record.channel == channel && record.text == text ? 1 : 0;
    }
    return count;
}

void CCapture::Clear()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.Find(this)->records.clear();
}

} // namespace Logging
