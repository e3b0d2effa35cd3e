// The exception of the base services.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btstring.h"

#include <exception>
#include <string>

/// An error told as text. It is a standard exception too; `what` gives the text in UTF-8.
class ORX_EXPORT BtException : public std::exception
{
public:
    explicit BtException(const BtString& text);

    const BtString& GetText() const { return m_sText; }
    const char* what() const noexcept override { return m_sNarrowText.c_str(); }

private:
    BtString m_sText;
    std::string m_sNarrowText;
};
