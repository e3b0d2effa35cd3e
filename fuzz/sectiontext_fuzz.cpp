// Loads any text as section text and reads every value of a section in every type.
//
// Input: the first line names the section, the rest is the text.
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kLastKeyRead = 16;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

template <typename T>
void ReadAs(LxCV::LxCCCTSerializer& serializer, const std::string& key)
{
    T value{};
    Require(serializer.Read<T>(serializer.GetSectionData(), key, value, T{}));
}

/// One variable of each type under the key "k".
struct Values
{
    bool flag = false;
    int number = 0;
    unsigned int bits = 0;
    float single = 0.0f;
    double real = 0.0;
    std::string narrow;
    std::wstring wide;
    std::vector<int> list;

    bool Serialize(LxCV::LxCCCTSerializer& serializer, const std::string& section)
    {
        LxCV::LxCPropertyBag bag;
        bag.add(new LxCV::LxCBlockComment("values"));
        bag.addScalar(flag, "k");
        bag.addScalar(number, "k");
        bag.addScalar(bits, "k");
        bag.addScalar(single, "k");
        bag.addScalar(real, "k");
        bag.addScalar(narrow, "k");
        bag.addScalar(wide, "k");
        bag.add(new LxCV::LxCVectorProperty(&list, "k"));
        return bag.serialize(serializer, section, true);
    }
};

void ReadEverything(LxCV::LxCCCTSerializer& serializer, const std::string& section)
{
    const bool found = serializer.FindExtractSection(section);
    const LxCV::LxCCCTSerializer::SectionData data = serializer.GetSectionData();
    Require(found == !data.empty() && data.size() % 2 == (found ? 1U : 0U));
    // A few, since each read scans the section from its beginning.
    for (std::size_t i = 1; i < std::min(data.size(), kLastKeyRead); i += 2) {
        ReadAs<bool>(serializer, data[i]);
        ReadAs<int>(serializer, data[i]);
        ReadAs<unsigned int>(serializer, data[i]);
        ReadAs<float>(serializer, data[i]);
        ReadAs<double>(serializer, data[i]);
        ReadAs<std::string>(serializer, data[i]);
        ReadAs<std::wstring>(serializer, data[i]);
    }
    Values values;
    values.Serialize(serializer, section);
    Require(values.list.size() <= serializer.GetTextSize() + 1);
    LxCV::LxCCCTSerializer storing;
    Require(storing.Init(true, true) && values.Serialize(storing, section));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture capture;
    std::stringstream source(std::string(data, data + size));
    std::string section;
    std::getline(source, section);
    std::stringstream text(source.eof() ? std::string() : source.str().substr(section.size() + 1));
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    if (serializer.Init(false, false)) {
        ReadEverything(serializer, section);
        ReadEverything(serializer, "::A");
    }
    return 0;
}
