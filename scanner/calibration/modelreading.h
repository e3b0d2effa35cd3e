// Section text to a model and back.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace LxCV {
class LxCPinholeFramework;
}

namespace calibration {

/// A text that makes no model; the message tells section and key.
class ModelError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// @param root what stands before the names of the model's sections
/// @throws ModelError for a table of edge positions that does not fit the pattern
std::unique_ptr<LxCV::LxCPinholeFramework> ReadModel(const std::string& text, const std::string& root);

/// The text of a model, as the library writes it.
std::string WriteModel(LxCV::LxCPinholeFramework& model, const std::string& root);

} // namespace calibration
