// Fetching of settings values from the store.
#include "orx/settingsvalue/lxcsettingsvalue.h"

#include "orx/logging/logger.h"
#include "orx/settingsvalue/settingsstore.h"

#include <mutex>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCSettingsValueBase");

/// One lock for all values: fetching is rare.
std::mutex s_fetchMutex;

} // namespace

LxCSettingsValueBase::LxCSettingsValueBase(std::string group, std::string key)
    : m_sGroup(std::move(group)), m_sKey(std::move(key))
{}

bool LxCSettingsValueBase::Read(bool markLoaded)
{
    const std::lock_guard lock(s_fetchMutex);
    if (IsLoaded()) {
        return true;
    }
    const bool found = Fetch();
    if (!found) {
        s_Logger.Warning(L"setting %s.%s is not defined", m_sGroup, m_sKey);
    }
    if (markLoaded) {
        m_bLoaded.store(true, std::memory_order_release);
    }
    return found;
}

void LxCSettingsValueBase::Invalidate()
{
    m_bLoaded = false;
    m_bChanged = false;
}

template <typename T>
bool LxCSettingsValue<T>::Fetch()
{
    return LxCSettingsStore::Instance().Find(GetGroup(), GetKey(), m_Value);
}

template class LxCSettingsValue<bool>;
template class LxCSettingsValue<int>;
template class LxCSettingsValue<float>;
template class LxCSettingsValue<std::wstring>;

} // namespace LxCV
