// Reading of barcodes of the symbology Interleaved 2 of 5.
#pragma once

#include "orx/base/export.h"

#include <string>

/// A code is a row of bars and spaces, each narrow ("n") or wide ("w"): the start code nnnn, ten elements for every
/// two digits, the stop code wnn. Of the ten, the bars tell the first digit and the spaces the second; two of the
/// five elements of a digit are wide.
namespace LxCV::InterleavedBarcode {

/// From this many pixels on a bar or a space is wide.
constexpr int c_WidePixels = 30;

/// The elements between start code and stop code, as "n" and "w".
///
/// Every run of equal bytes is an element, the last one included. The first run, which has the value 1, is the quiet
/// zone and gives none; if the line begins with another value, its quiet zone is empty. Start and stop code are taken
/// off without a look at what they are, so that a line that ends with a quiet zone gives one letter more than the
/// digits have, which `Decode` passes over.
/// @param line pixels across the code, a value for the bars and 1 for the spaces, and a zero behind the last
/// @return empty for null and for a line of fewer runs than start and stop code have
ORX_EXPORT std::string GetPattern(const unsigned char* line);

/// The digits of a pattern, two for every ten letters. A group of ten that is no code gives none, nor do letters
/// behind the last whole group.
ORX_EXPORT std::string Decode(const std::string& pattern);

} // namespace LxCV::InterleavedBarcode
