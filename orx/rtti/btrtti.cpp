// The registry of classes.
#include "orx/rtti/btrtti.h"

#include "orx/logging/logger.h"
#include "orx/rtti/btrttiobject.h"

#include <map>
#include <mutex>
#include <utility>

namespace {

/// Made at first use, since classes are registered before this file's own objects may be there.
const Logging::CLogger& Logger()
{
    static const Logging::CLogger s_Logger(L"ORX.Lumorad.BtRTTI");
    return s_Logger;
}

struct SRegistry
{
    std::mutex mutex;
    std::map<BtString, const BtRTTI*> classes;
};

/// Made by the first descriptor, so that it outlives all of them.
SRegistry& Registry()
{
    static SRegistry s_registry;
    return s_registry;
}

} // namespace

BtRTTI::BtRTTI(BtString className, const BtRTTI* base, Factory factory)
    : m_sClassName(std::move(className)), m_pBase(base), m_pFactory(factory)
{
    SRegistry& registry = Registry();
    const std::lock_guard lock(registry.mutex);
    if (!registry.classes.emplace(m_sClassName, this).second) {
        Logger().Error(L"class %s is registered already", m_sClassName);
    }
}

BtRTTI::~BtRTTI()
{
    SRegistry& registry = Registry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.classes.find(m_sClassName);
    if (found != registry.classes.end() && found->second == this) {
        registry.classes.erase(found);
    }
}

bool BtRTTI::IsKindOf(const BtRTTI& other) const
{
    for (const BtRTTI* ancestor = this; ancestor != nullptr; ancestor = ancestor->m_pBase) {
        if (ancestor == &other) {
            return true;
        }
    }
    return false;
}

std::unique_ptr<BtRTTIObject> BtRTTI::CreateObject() const
{
    return m_pFactory != nullptr ? m_pFactory() : nullptr;
}

const BtRTTI* BtRTTI::Find(const BtString& className)
{
    SRegistry& registry = Registry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.classes.find(className);
    return found != registry.classes.end() ? found->second : nullptr;
}

std::unique_ptr<BtRTTIObject> BtRTTI::CreateObject(const BtString& className)
{
    const BtRTTI* const rtti = Find(className);
    if (rtti == nullptr || rtti->m_pFactory == nullptr) {
        Logger().Error(L"no object of class %s can be made", className);
        return nullptr;
    }
    return rtti->CreateObject();
}
