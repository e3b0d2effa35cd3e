// What a model holds, as text and as JSON.
#pragma once

#include "scanner/app/modelfile.h"
#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modeltext.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace app {

/// What a report tells besides the model: where it comes from. What it points to must outlive it.
struct ModelSummary
{
    std::filesystem::path path;
    const ModelFile* file;
    const std::vector<calibration::ModelSection>* sections;
    std::string root;
};

/// The form's name with its article.
std::string FormName(ModelForm form);

void PrintModel(const ModelSummary& summary, LxCV::LxCPinholeFramework& model, std::ostream& out);

void PrintModelAsJson(const ModelSummary& summary, LxCV::LxCPinholeFramework& model, std::ostream& out);

/// A table of findings, and whether the model is sound.
void PrintFindings(const std::filesystem::path& file, const std::vector<calibration::ModelFinding>& findings,
                   std::ostream& out);

void PrintFindingsAsJson(const std::filesystem::path& file,
                         const std::vector<calibration::ModelFinding>& findings, std::ostream& out);

} // namespace app
