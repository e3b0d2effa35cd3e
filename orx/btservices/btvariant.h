// A value of one of a few types, known at run time.
#pragma once

#include "orx/base/export.h"

#include <string>
#include <utility>
#include <variant>

/// Empty, or a bool, int, unsigned int, double, narrow text (UTF-8) or wide text. Conversions do not depend on
/// the process's locale.
class ORX_EXPORT BtVariant
{
public:
    enum EType : int
    {
        eEmpty = 0,
        eBool = 1,
        eInt = 2,
        eUnsigned = 3,
        eDouble = 4,
        eString = 5,
        eWString = 6
    };

    BtVariant() = default;
    BtVariant(bool value) : m_value(value) {}
    BtVariant(int value) : m_value(value) {}
    BtVariant(unsigned int value) : m_value(value) {}
    BtVariant(double value) : m_value(value) {}
    BtVariant(std::string value) : m_value(std::move(value)) {}
    BtVariant(std::wstring value) : m_value(std::move(value)) {}
    BtVariant(const char* value) : m_value(std::string(value)) {}
    BtVariant(const wchar_t* value) : m_value(std::wstring(value)) {}
    /// Any other pointer would pass for a bool.
    BtVariant(const void* value) = delete;

    EType GetType() const { return static_cast<EType>(m_value.index()); }
    bool IsEmpty() const { return GetType() == eEmpty; }

    /// The value, or null if the variant holds another type.
    template <typename T>
    const T* Get() const
    {
        return std::get_if<T>(&m_value);
    }

    /// Changes the value to another type.
    ///
    /// Numbers and bool convert to one another if the value fits: 0 is false and all other numbers are true, and
    /// a double loses its fraction; NaN converts to no integer and no bool. Texts convert to one another, and to
    /// a number if they are one as a whole, and to bool from "true", "false" (in any case) or a number. Bool
    /// gives the texts "true" and "false", numbers the shortest text that gives the same number again. All types
    /// convert to `eEmpty`, and empty to no other.
    /// @return whether the value converts; the variant is unchanged if not
    bool ConvertTo(EType type);

    /// The value as a `T`, which is bool, int, unsigned int, double, std::string or std::wstring.
    /// @return whether the value converts; `value` is unchanged if not
    template <typename T>
    bool GetAs(T& value) const
    {
        BtVariant copy(*this);
        if (!copy.ConvertTo(BtVariant(T{}).GetType())) {
            return false;
        }
        value = std::get<T>(std::move(copy.m_value));
        return true;
    }

    bool operator==(const BtVariant& other) const = default;

private:
    using Value = std::variant<std::monostate, bool, int, unsigned int, double, std::string, std::wstring>;

    Value m_value; ///< its alternatives stand in the order of EType
};
