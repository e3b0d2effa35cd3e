// Numbers from lines of text.
#pragma once

#include "orx/base/export.h"

#include <span>
#include <string>

namespace LxCV {

/// Reads numbers that white space separates, each as "%f" of C's scanf takes it: decimal and hexadecimal ones, "inf"
/// and "nan"; one beyond float becomes infinite. Always in the classic locale.
/// @param text read up to its first NUL at most
/// @param values as many numbers as are wanted; those behind the first that is none stay as they are
/// @return how many were read
ORX_EXPORT std::size_t ScanFloats(const std::string& text, std::span<float> values);

} // namespace LxCV
