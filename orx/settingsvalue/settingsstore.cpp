// Loads the host's settings and looks values up by type.
#include "orx/settingsvalue/settingsstore.h"

#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "orx/platform/unicode.h"
#include "orx/settingsvalue/defaultsettings.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCSettingsStore");

constexpr const char* c_sHostVariable = "LXCV_SETTINGS";

/// The text of a regular file, cut behind the longest accepted size.
std::optional<std::string> ReadText(const std::filesystem::path& path)
{
    std::error_code failure;
    // A pipe or a device could keep a reader waiting.
    if (!std::filesystem::is_regular_file(path, failure)) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::string text(c_longestSettingsText + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return file.bad() ? std::nullopt : std::optional(std::move(text));
}

std::optional<LxCSettingsTable> ParseLogged(const std::string& source, const std::string& text)
{
    std::string error;
    std::optional<LxCSettingsTable> table = ParseSettings(text, error);
    if (!table) {
        s_Logger.Error(L"settings in %s refused: %s", source, error);
    }
    return table;
}

std::optional<LxCSettingsTable> LoadLogged(const std::filesystem::path& path)
{
    const std::optional<std::string> text = ReadText(path);
    if (!text) {
        s_Logger.Error(L"can't read settings file %s", path.string());
        return std::nullopt;
    }
    return ParseLogged(path.string(), *text);
}

/// A misspelt key would be without effect in silence; a group that the defaults lack is somebody else's.
void WarnOfUnknownKeys(const LxCSettingsTable& host, const LxCSettingsTable& defaults)
{
    for (const auto& [group, entries] : host) {
        const auto known = defaults.find(group);
        if (known == defaults.end()) {
            continue;
        }
        for (const auto& entry : entries) {
            if (!known->second.contains(entry.first)) {
                s_Logger.Warning(L"setting %s.%s is unknown", group, entry.first);
            }
        }
    }
}

template <typename T>
constexpr const wchar_t* c_sTypeName = L"text";
template <>
constexpr const wchar_t* c_sTypeName<bool> = L"bool";
template <>
constexpr const wchar_t* c_sTypeName<int> = L"int";
template <>
constexpr const wchar_t* c_sTypeName<float> = L"float";

bool Convert(const LxCSettingsEntry& entry, bool& value)
{
    const bool* const flag = std::get_if<bool>(&entry);
    value = flag != nullptr ? *flag : value;
    return flag != nullptr;
}

std::optional<double> NumberOf(const LxCSettingsEntry& entry)
{
    if (const auto* const integer = std::get_if<long long>(&entry)) {
        return static_cast<double>(*integer);
    }
    const auto* const number = std::get_if<double>(&entry);
    return number != nullptr && std::isfinite(*number) ? std::optional(*number) : std::nullopt;
}

bool Convert(const LxCSettingsEntry& entry, int& value)
{
    // Every int is exact in double, and every integer that rounds in double is no int.
    const std::optional<double> number = NumberOf(entry);
    using Limits = std::numeric_limits<int>;
    const bool fits =
        number && *number >= Limits::min() && *number <= Limits::max() && std::trunc(*number) == *number;
    value = fits ? static_cast<int>(*number) : value;
    return fits;
}

bool Convert(const LxCSettingsEntry& entry, float& value)
{
    const std::optional<double> number = NumberOf(entry);
    const bool fits = number && std::abs(*number) <= std::numeric_limits<float>::max();
    value = fits ? static_cast<float>(*number) : value;
    return fits;
}

bool Convert(const LxCSettingsEntry& entry, std::wstring& value)
{
    const auto* const text = std::get_if<std::string>(&entry);
    if (text != nullptr) {
        value = platform::WidenUtf8(*text);
    }
    return text != nullptr;
}

template <typename T>
bool FindIn(const LxCSettingsTable& table, const std::string& group, const std::string& key, T& value)
{
    const auto entries = table.find(group);
    if (entries == table.end()) {
        return false;
    }
    const auto entry = entries->second.find(key);
    if (entry == entries->second.end()) {
        return false;
    }
    const bool converted = Convert(entry->second, value);
    if (!converted) {
        s_Logger.Warning(L"setting %s.%s is no %s", group, key, c_sTypeName<T>);
    }
    return converted;
}

} // namespace

LxCSettingsStore& LxCSettingsStore::Instance()
{
    static LxCSettingsStore* const s_pStore = new LxCSettingsStore;
    return *s_pStore;
}

LxCSettingsStore::LxCSettingsStore()
{
    m_defaults = ParseLogged("the defaults", GetDefaultSettings()).value_or(LxCSettingsTable());
}

bool LxCSettingsStore::SetHostFile(const std::wstring& path)
{
    std::optional<LxCSettingsTable> table = LoadLogged(platform::NativePath(path));
    return SetHost(std::move(table));
}

bool LxCSettingsStore::SetHostText(const std::string& text)
{
    return SetHost(ParseLogged("the host's text", text));
}

bool LxCSettingsStore::SetHost(std::optional<LxCSettingsTable> table)
{
    if (!table) {
        return false;
    }
    WarnOfUnknownKeys(*table, m_defaults);
    const std::lock_guard lock(m_mutex);
    m_host = std::move(*table);
    m_bHostKnown = true;
    return true;
}

void LxCSettingsStore::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_host.clear();
    m_bHostKnown = false;
}

void LxCSettingsStore::LoadFromEnvironment()
{
    m_bHostKnown = true;
    const std::string path = platform::GetEnvironmentText(c_sHostVariable);
    if (path.empty()) {
        return;
    }
    if (std::optional<LxCSettingsTable> table = LoadLogged(platform::NativePath(path))) {
        WarnOfUnknownKeys(*table, m_defaults);
        m_host = std::move(*table);
    }
}

template <typename T>
bool LxCSettingsStore::FindValue(const std::string& group, const std::string& key, T& value)
{
    const std::lock_guard lock(m_mutex);
    if (!m_bHostKnown) {
        LoadFromEnvironment();
    }
    return FindIn(m_host, group, key, value) || FindIn(m_defaults, group, key, value);
}

bool LxCSettingsStore::Find(const std::string& group, const std::string& key, bool& value)
{
    return FindValue(group, key, value);
}

bool LxCSettingsStore::Find(const std::string& group, const std::string& key, int& value)
{
    return FindValue(group, key, value);
}

bool LxCSettingsStore::Find(const std::string& group, const std::string& key, float& value)
{
    return FindValue(group, key, value);
}

bool LxCSettingsStore::Find(const std::string& group, const std::string& key, std::wstring& value)
{
    return FindValue(group, key, value);
}

} // namespace LxCV
