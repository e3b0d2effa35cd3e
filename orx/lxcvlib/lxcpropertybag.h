// Lists the persistent members of an object once, for both directions of a serializer.
#pragma once

#include "lxccctserializer.h"
#include "orx/base/export.h"
#include "orx/settingsvalue/lxcsettingsvalue.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {

/// One entry of a bag. The order of the virtual operations is fixed.
class ORX_EXPORT LxISerializedProperty
{
public:
    virtual ~LxISerializedProperty() = default;

    /// Reads from the serializer's current section data. Returns whether the key was there.
    virtual bool read(LxCCCTSerializer& serializer) = 0;

    /// Appends to the serializer's text. Returns whether the stream is still good.
    virtual bool write(LxCCCTSerializer& serializer) = 0;
};

/// A variable of type bool, int, unsigned int, float, double, std::string or std::wstring. The variable must
/// outlive the property; the default is copied.
template <typename T>
class LxCScalarProperty : public LxISerializedProperty
{
public:
    LxCScalarProperty(T* variable, T defaultValue, std::string key, std::string comment = {},
                      int format = c_iFormatDecimal)
        : m_pVariable(variable), m_Default(std::move(defaultValue)), m_sKey(std::move(key)),
          m_sComment(std::move(comment)), m_iFormat(format)
    {}

    bool read(LxCCCTSerializer& serializer) override
    {
        return serializer.Read<T>(serializer.GetSectionData(), m_sKey, *m_pVariable, m_Default);
    }
    bool write(LxCCCTSerializer& serializer) override
    {
        return serializer.Write<T>(m_sKey, *m_pVariable, m_sComment, m_iFormat);
    }

private:
    T* m_pVariable;
    T m_Default;
    std::string m_sKey;
    std::string m_sComment;
    int m_iFormat;
};

/// A settings value of type bool, int, float or std::wstring. It is fetched before use; a value that reading
/// changes is stored and marked as changed.
template <typename T>
class LxCSettingsValueProperty : public LxISerializedProperty
{
public:
    LxCSettingsValueProperty(LxCSettingsValue<T>* value, T defaultValue, std::string key,
                             std::string comment = {}, int format = c_iFormatDecimal)
        : m_pValue(value), m_Default(std::move(defaultValue)), m_sKey(std::move(key)),
          m_sComment(std::move(comment)), m_iFormat(format)
    {}

    bool read(LxCCCTSerializer& serializer) override
    {
        T value = m_pValue->Get();
        const bool found = serializer.Read<T>(serializer.GetSectionData(), m_sKey, value, m_Default);
        m_pValue->Set(value);
        return found;
    }
    bool write(LxCCCTSerializer& serializer) override
    {
        return serializer.Write<T>(m_sKey, m_pValue->Get(), m_sComment, m_iFormat);
    }

private:
    LxCSettingsValue<T>* m_pValue;
    T m_Default;
    std::string m_sKey;
    std::string m_sComment;
    int m_iFormat;
};

/// A vector of int as comma-separated text. The default is the vector as it is at construction.
class ORX_EXPORT LxCVectorProperty : public LxISerializedProperty
{
public:
    LxCVectorProperty(std::vector<int>* variable, std::string key, std::string comment = {});

    bool read(LxCCCTSerializer& serializer) override;
    bool write(LxCCCTSerializer& serializer) override;

private:
    std::vector<int>* m_pVariable;
    std::vector<int> m_Default;
    std::string m_sKey;
    std::string m_sComment;
};

/// A comment above a group of keys; reading passes over it.
class ORX_EXPORT LxCBlockComment : public LxISerializedProperty
{
public:
    explicit LxCBlockComment(std::string text) : m_sText(std::move(text)) {}

    bool read(LxCCCTSerializer& serializer) override;
    bool write(LxCCCTSerializer& serializer) override;

private:
    std::string m_sText;
};

/// The persistent members of one object in file order, for one call of `Serialize`.
///
/// The bag owns its properties; copies share them, so no live bag is copied while another outlives it.
class ORX_EXPORT LxCPropertyBag
{
public:
    /// Takes ownership of `property`. A null property is ignored by `serialize`.
    void add(LxISerializedProperty* property);

    /// Adds a scalar bound to `variable`, with its current value as default.
    template <typename T>
    void addScalar(T& variable, const std::string& key, const std::string& comment = {})
    {
        add(new LxCScalarProperty<T>(&variable, variable, key, comment));
    }

    /// Storing: writes the section header if `writeSection`, then each property in order. Loading: extracts the
    /// section and reads each property, also when the section is missing.
    /// @return the AND of all properties' results
    bool serialize(LxCCCTSerializer& serializer, const std::string& sectionName, bool writeSection);

private:
    std::vector<std::shared_ptr<LxISerializedProperty>> m_vProperties;
};

} // namespace LxCV
