// Named, typed values of the host's settings, fetched at first use.
#pragma once

#include "orx/base/export.h"

#include <atomic>
#include <string>

namespace LxCV {

/// What a settings value of any type shares: its name and its two flags.
///
/// The first use may happen on several threads at once: the value is fetched under a lock, and the loaded flag
/// publishes it. Later uses take no lock. A host changes values, or invalidates them, while nobody measures.
class ORX_EXPORT LxCSettingsValueBase
{
public:
    LxCSettingsValueBase(std::string group, std::string key);
    virtual ~LxCSettingsValueBase() = default;
    LxCSettingsValueBase(const LxCSettingsValueBase&) = delete;
    LxCSettingsValueBase& operator=(const LxCSettingsValueBase&) = delete;

    /// Fetches the value from the host's settings, unless it is loaded. A key that neither the host nor the
    /// defaults define leaves the value as it is, with a warning.
    /// @param markLoaded whether later reads are to keep the value
    /// @return whether the value was found, true for a loaded value
    bool Read(bool markLoaded);

    bool IsLoaded() const { return m_bLoaded.load(std::memory_order_acquire); }
    bool IsChanged() const { return m_bChanged; }

    /// Drops the loaded and changed flags, so that the next use fetches anew.
    void Invalidate();

    const std::string& GetGroup() const { return m_sGroup; }
    const std::string& GetKey() const { return m_sKey; }

protected:
    virtual bool Fetch() = 0;

    std::atomic<bool> m_bLoaded{false};
    bool m_bChanged = false;

private:
    std::string m_sGroup;
    std::string m_sKey;
};

/// A settings value of type bool, int, float or std::wstring.
template <typename T>
class ORX_EXPORT LxCSettingsValue : public LxCSettingsValueBase
{
public:
    using LxCSettingsValueBase::LxCSettingsValueBase;

    /// The value, fetched from the settings store at first use.
    const T& Get()
    {
        if (!IsLoaded()) {
            Read(true);
        }
        return m_Value;
    }

    /// Stores the value; the changed flag is set if it differs from the present one, which is fetched first where
    /// this is the first use.
    void Set(const T& value)
    {
        if (!IsLoaded()) {
            Read(true);
        }
        if (m_Value != value) {
            m_Value = value;
            m_bChanged = true;
        }
    }

private:
    bool Fetch() override;

    T m_Value{};
};

extern template class LxCSettingsValue<bool>;
extern template class LxCSettingsValue<int>;
extern template class LxCSettingsValue<float>;
extern template class LxCSettingsValue<std::wstring>;

} // namespace LxCV
