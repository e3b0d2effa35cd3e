// The settings of this process: the host's where it gives some, else the defaults.
#pragma once

#include "orx/base/export.h"
#include "orx/settingsvalue/settingsfile.h"

#include <mutex>
#include <optional>
#include <string>

namespace LxCV {

/// Where settings values fetch from. All operations may be called from any thread.
///
/// The host's settings come from the file that the environment variable LXCV_SETTINGS names, read at first use,
/// or from what the host sets here. Values that were fetched before stay until they are invalidated.
class ORX_EXPORT LxCSettingsStore
{
public:
    /// The store of the process. It is never destroyed, so that values can be fetched until the very end.
    static LxCSettingsStore& Instance();

    /// Replaces the host's settings by those of a file.
    /// @return false, with an error logged and the host's settings as they were, for a file that cannot be read
    ///         or is refused
    bool SetHostFile(const std::wstring& path);

    /// Replaces the host's settings by a text in the form of a settings file; else as `SetHostFile`.
    bool SetHostText(const std::string& text);

    /// Forgets the host's settings; the next use reads LXCV_SETTINGS again.
    void Reset();

    /// Finds a value: the host's if it has the right type, else the default. An int is a number without a
    /// fraction that fits, a float a finite number that fits. A value of a wrong type is logged as a warning.
    /// @return false, with `value` unchanged, where neither has the key with the right type
    bool Find(const std::string& group, const std::string& key, bool& value);
    bool Find(const std::string& group, const std::string& key, int& value);
    bool Find(const std::string& group, const std::string& key, float& value);
    bool Find(const std::string& group, const std::string& key, std::wstring& value);

private:
    LxCSettingsStore();

    template <typename T>
    bool FindValue(const std::string& group, const std::string& key, T& value);

    /// Takes the host's settings over unless they were refused; tells which.
    bool SetHost(std::optional<LxCSettingsTable> table);
    void LoadFromEnvironment();

    std::mutex m_mutex;
    LxCSettingsTable m_defaults;
    LxCSettingsTable m_host;
    bool m_bHostKnown = false; ///< whether LXCV_SETTINGS was read, or the host has set something
};

} // namespace LxCV
