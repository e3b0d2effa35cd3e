// The table of the host's parameters.
#include "orx/parameter/lxcparametermanagercore.h"

#include "orx/btservices/btsingletoninstance.h"

template class BtSingleton<LxCV::LxCParameterManagerCore>;

namespace LxCV {

bool LxCParameterManagerCore::GetParameterValue(const std::string& name, BtVariant& value) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_parameters.find(name);
    if (found == m_parameters.end()) {
        return false;
    }
    value = found->second;
    return true;
}

void LxCParameterManagerCore::SetParameterValue(const std::string& name, const BtVariant& value)
{
    const std::lock_guard lock(m_mutex);
    m_parameters[name] = value;
}

bool LxCParameterManagerCore::RemoveParameter(const std::string& name)
{
    const std::lock_guard lock(m_mutex);
    return m_parameters.erase(name) > 0;
}

} // namespace LxCV
