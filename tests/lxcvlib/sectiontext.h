// Section text in and out of one object, for the tests of persistent classes.
#pragma once

#include "lxccctserializer.h"

#include <sstream>
#include <string>

namespace LxCV::TestSupport {

/// A serializer whose text can be looked at.
class CTextSerializer : public LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

/// The section text of `object`, without comments.
template <typename T>
std::string Store(T& object, const std::string& section)
{
    CTextSerializer serializer;
    serializer.Init(true, false);
    object.Serialize(serializer, section);
    serializer.Exit();
    return serializer.GetText();
}

/// Loads `object` from a text.
template <typename T>
void Load(T& object, const std::string& section, const std::string& text)
{
    CTextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    serializer.Init(false, false);
    object.Serialize(serializer, section);
    serializer.Exit();
}

} // namespace LxCV::TestSupport
