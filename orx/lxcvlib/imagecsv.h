// Images as text: a line for each row, a number for each pixel.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <string>
#include <string_view>

namespace LxCV {

/// One channel of an image as text: a line "# " with the element type, then the rows from top to bottom, each a
/// line of numbers joined by commas.
///
/// The element types are uint8, int8, uint16, int16, uint32, int32, float32 and float64, and gray8 for `eIDT_GRAY8`.
/// Numbers are in the form of the classic locale; floating-point ones have the fewest digits that read back as the
/// same value, or are "inf", "-inf", "nan" and "-nan".
/// @param channel element of the pixel, counted from 0
/// @return empty for an image without pixels, an undefined type, `eIDT_ARGB8`, whose alpha has no place, and a
///         channel that the pixels do not have
ORX_EXPORT std::string WriteCsv(const CCTImage& image, int channel);

/// Reads the text of one channel.
///
/// Lines end with a line feed, before which a carriage return may stand. Empty ones are passed over, and so are lines
/// that begin with "#", but the first line of the text tells the type if it does; without it the type is float32.
/// Blanks and tabs around numbers do not count. Memory is taken for as many pixels as the text has commas and rows.
/// @param image receives size, type and pixels; on failure its pixels are without meaning
/// @param error on failure, what is wrong
/// @return 0; 8 for an unknown type; 1 for a text without numbers, for rows of different lengths, and for what is
///         no number of the type; 10
ORX_EXPORT CCTImage::EReturnCode ReadCsv(std::string_view text, CCTImage& image, std::string& error);

} // namespace LxCV
