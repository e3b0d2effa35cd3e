// Times as text for reports.
#pragma once

#include <string>

namespace LxCV {

/// A time in milliseconds with three decimals and a decimal point, whatever the locale of a stream.
std::wstring FormatMilliseconds(double seconds);

} // namespace LxCV
