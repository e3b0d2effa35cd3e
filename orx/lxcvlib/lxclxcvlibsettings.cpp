// The settings values, their place in section text, and the settings that are checked.
#include "lxclxcvlibsettings.h"

#include "lxcpropertybag.h"
#include "orx/logging/logger.h"
#include "orx/parameter/lxcparametermanagercore.h"
#include "orx/settingsvalue/settingsfile.h"
#include "stringutils.h"

#include <array>
#include <charconv>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCLxCVLibSettings");

constexpr const char* c_sGroup = "LxCVLib";

bool IsCalibrationVariant(int value)
{
    return value >= LxCLxCVLibSettings::eCV_Variant0 && value <= LxCLxCVLibSettings::eCV_Variant2;
}

template <typename T>
void AddSetting(LxCPropertyBag& bag, LxCSettingsValue<T>& value, const char* key)
{
    bag.add(new LxCSettingsValueProperty<T>(&value, value.Get(), key));
}

LxCSettingsEntry ToEntry(bool value)
{
    return value;
}

LxCSettingsEntry ToEntry(int value)
{
    return static_cast<long long>(value);
}

/// The double with the shortest text that gives this float: 0.1 and not 0.10000000149011612.
LxCSettingsEntry ToEntry(float value)
{
    constexpr std::size_t c_longestNumber = 32;
    std::array<char, c_longestNumber> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    double number = value;
    std::from_chars(digits.data(), end.ptr, number);
    return number;
}

LxCSettingsEntry ToEntry(const std::wstring& value)
{
    return ws2s(value);
}

template <typename T>
void AddChanged(LxCSettingsGroup& group, LxCSettingsValue<T>& value)
{
    if (value.IsChanged()) {
        group[value.GetKey()] = ToEntry(value.Get());
    }
}

} // namespace

#define LXC_VALUE(type, letter, key)                                                                         \
    LxCSettingsValue<type> LxCLxCVLibSettings::m_##letter##key(c_sGroup, #key);
#include "lxclxcvlibsettingstable.inc"

LxCLxCVLibSettings::ECalibrationVariant LxCLxCVLibSettings::GetCalibrationVariant()
{
    const int variant = m_iCalibrationVariant.Get();
    if (!IsCalibrationVariant(variant)) {
        s_Logger.Error(L"invalid value for CalibrationVariant in lua settings");
        return eCV_Variant1;
    }
    return static_cast<ECalibrationVariant>(variant);
}

void LxCLxCVLibSettings::SetCalibrationVariant(ECalibrationVariant value)
{
    m_iCalibrationVariant.Set(value);
}

LxCLxCVLibSettings::EReduceData LxCLxCVLibSettings::GetReduceData()
{
    if (!IsCalibrationVariant(m_iCalibrationVariant.Get())) {
        s_Logger.Error(L"invalid value for ReduceData in lua settings");
        return eRD_None;
    }
    return static_cast<EReduceData>(m_iReduceData.Get());
}

void LxCLxCVLibSettings::SetReduceData(EReduceData value)
{
    m_iReduceData.Set(value);
}

bool LxCLxCVLibSettings::IsReduced(EReduceData value)
{
    switch (value) {
    case eRD_None:
        return false;
    case eRD_Reduction1:
    case eRD_Reduction2:
        return true;
    }
    s_Logger.Error(L"invalid enum");
    return false;
}

bool LxCLxCVLibSettings::IsCalibrateColors()
{
    BtVariant value;
    if (!BtSingleton<LxCParameterManagerCore>::Instance().GetParameterValue("ShadeDetectionEnabled", value)) {
        return false;
    }
    bool enabled = false;
    value.GetAs(enabled);
    return enabled;
}

void LxCLxCVLibSettings::SerializeNonIniFileParams(LxCCCTSerializer* serializer,
                                                   const std::string& sectionName)
{
    if (serializer == nullptr) {
        return;
    }
    LxCPropertyBag bag;
#define LXC_TEXT_KEY(type, letter, key, textKey) AddSetting(bag, m_##letter##key, textKey);
#define LXC_BLOCK_COMMENT(text) bag.add(new LxCBlockComment(text));
#include "lxclxcvlibsettingstable.inc"
    bag.serialize(*serializer, sectionName, true);
}

std::string LxCLxCVLibSettings::GetChangedSettings()
{
    LxCSettingsGroup group;
#define LXC_VALUE(type, letter, key) AddChanged(group, m_##letter##key);
#include "lxclxcvlibsettingstable.inc"
    return FormatSettings(c_sGroup, group);
}

void LxCLxCVLibSettings::Invalidate()
{
#define LXC_VALUE(type, letter, key) m_##letter##key.Invalidate();
#include "lxclxcvlibsettingstable.inc"
}

} // namespace LxCV
