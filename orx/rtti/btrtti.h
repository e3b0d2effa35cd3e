// The registry of classes whose objects tell their class at run time, and can be made by its name.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btstring.h"

#include <memory>

class BtRTTIObject;

/// Describes one class: name, base class, and how to make an object. A descriptor is registered under its name as
/// long as it lives; there is one for each class, which lives as long as the module that has the class:
///
///     const BtRTTI& CShape::GetClassRTTI()
///     {
///         static const BtRTTI s_RTTI(L"CShape", nullptr, &CShape::CreateByFactory);
///         return s_RTTI;
///     }
///     const BtRTTI& s_Shape = CShape::GetClassRTTI(); // in the source file: registers with the module's start
///
/// All operations may be called on many threads.
class ORX_EXPORT BtRTTI
{
public:
    using Factory = std::unique_ptr<BtRTTIObject> (*)();

    /// Registers the class. Of several descriptors with one name the first is found, and the others leave a line in
    /// the log.
    /// @param className unique in the process
    /// @param base      descriptor of the registered class that this one derives from, null if there is none; it
    ///                  must live at least as long
    /// @param factory   makes an object of the class; null for a class that is not made by its name
    BtRTTI(BtString className, const BtRTTI* base, Factory factory);
    ~BtRTTI();
    BtRTTI(const BtRTTI&) = delete;
    BtRTTI& operator=(const BtRTTI&) = delete;

    const BtString& GetClassNameW() const { return m_sClassName; }
    const BtRTTI* GetBase() const { return m_pBase; }

    /// Whether this is the other class or derives from it.
    bool IsKindOf(const BtRTTI& other) const;

    /// A new object; null if the class has no factory.
    std::unique_ptr<BtRTTIObject> CreateObject() const;

    /// The descriptor of a name; null if none is registered.
    static const BtRTTI* Find(const BtString& className);

    /// A new object of the class of that name; null, with a line in the log, if there is no such class or it has no
    /// factory.
    static std::unique_ptr<BtRTTIObject> CreateObject(const BtString& className);

private:
    BtString m_sClassName;
    const BtRTTI* m_pBase;
    Factory m_pFactory;
};
