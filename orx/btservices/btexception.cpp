// Keeps the text in both widths.
#include "orx/btservices/btexception.h"

#include "orx/platform/unicode.h"

BtException::BtException(const BtString& text) : m_sText(text), m_sNarrowText(platform::NarrowUtf8(text)) {}
