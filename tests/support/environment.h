// Process-wide state that a test changes and puts back.
#pragma once

#include <cstdlib>
#include <locale>
#include <optional>
#include <string>

namespace TestSupport {

/// Sets, or without a value unsets, an environment variable while it lives.
class CEnvironmentVariable
{
public:
    CEnvironmentVariable(const char* name, const std::optional<std::string>& value) : m_sName(name)
    {
        if (const char* before = std::getenv(name)) {
            m_sBefore = before;
        }
        Set(value);
    }
    ~CEnvironmentVariable() { Set(m_sBefore); }
    CEnvironmentVariable(const CEnvironmentVariable&) = delete;
    CEnvironmentVariable& operator=(const CEnvironmentVariable&) = delete;

    void Set(const std::optional<std::string>& value)
    {
        if (value) {
            setenv(m_sName.c_str(), value->c_str(), 1);
        } else {
            unsetenv(m_sName.c_str());
        }
    }

private:
    std::string m_sName;
    std::optional<std::string> m_sBefore;
};

/// Makes a locale global that writes 1234567,5 as "1.234.567,5". It needs no locale of the system.
class CCommaDecimalLocale
{
public:
    CCommaDecimalLocale()
        : m_Before(std::locale::global(std::locale(std::locale::classic(), new CPunctuation)))
    {}
    ~CCommaDecimalLocale() { std::locale::global(m_Before); }
    CCommaDecimalLocale(const CCommaDecimalLocale&) = delete;
    CCommaDecimalLocale& operator=(const CCommaDecimalLocale&) = delete;

private:
    class CPunctuation : public std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
        std::string do_truename() const override { return "wahr"; }
    };

    std::locale m_Before;
};

} // namespace TestSupport
