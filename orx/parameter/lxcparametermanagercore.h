// Parameters that the host gives to its modules by name.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btsingleton.h"
#include "orx/btservices/btvariant.h"

#include <map>
#include <mutex>
#include <string>

namespace LxCV {

/// Named values of the host. The object is `BtSingleton<LxCParameterManagerCore>::Instance()`. All operations
/// may be called from any thread.
class ORX_EXPORT LxCParameterManagerCore
{
public:
    /// Copies the value of a parameter. Returns false, with `value` unchanged, for a name that was never set.
    bool GetParameterValue(const std::string& name, BtVariant& value) const;

    /// Gives a parameter a value; an empty variant is a value as well.
    void SetParameterValue(const std::string& name, const BtVariant& value);

    /// Forgets a parameter. Returns whether there was one.
    bool RemoveParameter(const std::string& name);

private:
    friend class BtSingleton<LxCParameterManagerCore>;

    LxCParameterManagerCore() = default;

    mutable std::mutex m_mutex;
    std::map<std::string, BtVariant> m_parameters;
};

} // namespace LxCV

extern template class BtSingleton<LxCV::LxCParameterManagerCore>;
