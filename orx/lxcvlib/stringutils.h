// Text forms of the interface and conversions between them.
#pragma once

#include "orx/base/export.h"

#include <string>

namespace LxCV {

/// The wide text type of the platform interface.
using CString = std::wstring;

/// A copy of `text` with every occurrence of `from` replaced by `to`, from left to right. `text` as it is where
/// `text` or `from` is empty, `from` equals `to`, or `from` does not occur.
ORX_EXPORT std::string ReplaceAll(const std::string& text, const std::string& from, const std::string& to);
ORX_EXPORT std::wstring ReplaceAll(const std::wstring& text, const std::wstring& from,
                                   const std::wstring& to);

/// UTF-8 to wide text. A byte that is no UTF-8 survives the way there and back.
ORX_EXPORT std::wstring s2ws(const std::string& text);

/// Wide text to UTF-8.
ORX_EXPORT std::string ws2s(const std::wstring& text);

/// Conversions between the narrow (String), wide (WString), platform (CString) and text (TString) forms. The
/// text form is wide, so the conversions between it and the wide forms are copies.
class ORX_EXPORT LxCStringConverter
{
public:
    static std::string CString2String(const CString& text) { return ws2s(text); }
    static std::wstring CString2WString(const CString& text) { return text; }
    static CString String2CString(const std::string& text) { return s2ws(text); }
    static std::wstring String2TString(const std::string& text) { return s2ws(text); }
    static std::wstring String2WString(const std::string& text) { return s2ws(text); }
    static std::string TString2String(const std::wstring& text) { return ws2s(text); }
    static std::wstring TString2WString(const std::wstring& text) { return text; }
    static CString WString2CString(const std::wstring& text) { return text; }
    static std::string WString2String(const std::wstring& text) { return ws2s(text); }
    static std::wstring WString2TString(const std::wstring& text) { return text; }
};

} // namespace LxCV
