// Reading and writing of models by the library.
#include "scanner/calibration/modelreading.h"

#include "lxccctserializer.h"
#include "lxcpinholeframework.h"

#include <sstream>

namespace calibration {

namespace {

class TextSerializer : public LxCV::LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

} // namespace

std::unique_ptr<LxCV::LxCPinholeFramework> ReadModel(const std::string& text, const std::string& root)
{
    TextSerializer serializer;
    std::stringstream stream(text);
    serializer.ReadFromStringStream(stream);
    auto model = std::make_unique<LxCV::LxCPinholeFramework>();
    if (!serializer.Init(false, false)) {
        return model;
    }
    try {
        model->Serialize(serializer, root);
    } catch (const std::out_of_range&) {
        throw ModelError(root +
                         "::Projector::CLPattern: a row of edge positions (LUT[patch][depth]) is longer than "
                         "the pattern has stripe edges: correct PatternHeight and StripeWidth, or take "
                         "the section from a backup");
    }
    return model;
}

std::string WriteModel(LxCV::LxCPinholeFramework& model, const std::string& root)
{
    TextSerializer serializer;
    serializer.Init(true, false);
    model.Serialize(serializer, root);
    return serializer.GetText();
}

} // namespace calibration
