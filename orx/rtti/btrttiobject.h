// Objects that tell their class at run time.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btstring.h"
#include "orx/rtti/btrtti.h"

/// Base of registered classes. A class overrides `GetRTTI` with its own descriptor.
class ORX_EXPORT BtRTTIObject
{
public:
    virtual ~BtRTTIObject() = default;

    /// The descriptor of the object's most derived registered class.
    virtual const BtRTTI& GetRTTI() const = 0;

    const BtString& GetClassNameW() const { return GetRTTI().GetClassNameW(); }

    /// Whether the object is of this very class.
    bool Is(const BtRTTI& other) const { return &GetRTTI() == &other; }

    /// Whether the object is of this class or of one derived from it.
    bool IsKindOf(const BtRTTI& other) const { return GetRTTI().IsKindOf(other); }

protected:
    BtRTTIObject() = default;
    BtRTTIObject(const BtRTTIObject&) = default;
    BtRTTIObject& operator=(const BtRTTIObject&) = default;
};
