// Model files: shown, checked, and taken from one form to another.
#include "scanner/app/modelcommands.h"

#include "lxcpinholeframework.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/modelfile.h"
#include "scanner/app/modelreport.h"
#include "scanner/calibration/algorithmtext.h"
#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/calibration/modeltext.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

namespace {

const std::map<std::string, ModelForm> c_forms{
    {"text", ModelForm::eText}, {"container", ModelForm::eContainer}, {"memory", ModelForm::eMemory}};

/// What all commands are told.
struct SourceOptions
{
    std::filesystem::path file;
    std::string root; ///< empty for the one that the text tells
};

/// A model file with its text taken apart.
struct Source
{
    ModelFile file;
    std::vector<calibration::ModelSection> sections;
    std::string root;
};

void RequireRoot(const SourceOptions& options, const std::vector<calibration::ModelSection>& sections,
                 const std::string& found)
{
    const bool isThere = std::any_of(sections.begin(), sections.end(), [&options](const auto& section) {
        return section.name.starts_with(options.root);
    });
    if (!isThere) {
        throw std::runtime_error("'" + options.file.string() + "' has no section of the root '" +
                                 options.root + "'; without --root its model is that of '" + found + "'");
    }
}

Source Open(const SourceOptions& options)
{
    Source source;
    source.file = ReadModelFile(options.file);
    source.sections = calibration::SplitModelText(source.file.text);
    const std::string found = RequireModelRoot(options.file, source.sections);
    source.root = options.root.empty() ? found : options.root;
    RequireRoot(options, source.sections, found);
    return source;
}

struct ShowOptions : SourceOptions
{
    bool json = false;
};

void Show(const ShowOptions& options, std::ostream& out)
{
    const Source source = Open(options);
    ModelSummary summary{options.file, &source.file, &source.sections, source.root};
    try {
        const auto model = calibration::ReadModel(source.file.text, source.root);
        if (options.json) {
            PrintModelAsJson(summary, *model, out);
        } else {
            PrintModel(summary, *model, out);
        }
    } catch (const calibration::ModelError& error) {
        throw std::runtime_error("'" + options.file.string() + "': " + error.what());
    }
}

void Check(const ShowOptions& options, std::ostream& out)
{
    const Source source = Open(options);
    const std::vector<calibration::ModelFinding> findings =
        calibration::CheckModel(source.file.text, source.root);
    if (options.json) {
        PrintFindingsAsJson(options.file, findings, out);
    } else {
        PrintFindings(options.file, findings, out);
    }
    if (!calibration::IsSound(findings)) {
        throw std::runtime_error("'" + options.file.string() + "' is not sound");
    }
}

struct ConvertOptions : SourceOptions
{
    std::filesystem::path out;
    std::string to; ///< empty for a text from a container, and a container from a text
    bool rewrite = false;
    bool json = false;
};

void PrintConversion(const ConvertOptions& options, ModelForm form, std::ostream& out)
{
    const std::uintmax_t bytes = std::filesystem::file_size(options.out);
    if (!options.json) {
        out << "Wrote the model as " << FormName(form) << " to " << options.out.string() << ", " << bytes
            << " bytes\n";
        return;
    }
    PrintJson(out, {{"file", options.file.string()},
                    {"out", options.out.string()},
                    {"form", FormName(form).substr(2)},
                    {"bytes", bytes}});
}

/// A section that holds both cannot be written anew: the model's would hide that of the algorithm configuration.
void RequireApart(const std::string& modelText, const std::vector<calibration::ModelSection>& sections)
{
    const std::optional<std::string> algorithm = calibration::FindAlgorithmRoot(sections);
    for (const calibration::ModelSection& section : calibration::SplitModelText(modelText)) {
        if (algorithm && calibration::IsOfAlgorithm(section.name, *algorithm)) {
            throw calibration::ModelError(section.name +
                                          " holds an algorithm configuration as well: move its keys to a "
                                          "section of their own, such as " +
                                          section.name + "::LxCCCLAlgoConfig");
        }
    }
}

void Convert(const ConvertOptions& options, std::ostream& out)
{
    RequireTwoFiles(options.file, options.out);
    const Source source = Open(options);
    const ModelForm other = source.file.form == ModelForm::eText ? ModelForm::eContainer : ModelForm::eText;
    const ModelForm form = options.to.empty() ? other : c_forms.at(options.to);
    std::string text = source.file.text;
    if (options.rewrite) {
        try {
            text = calibration::WriteModel(*calibration::ReadModel(text, source.root), source.root);
            RequireApart(text, source.sections);
            text += calibration::AlgorithmTextOf(source.sections);
        } catch (const calibration::ModelError& error) {
            throw std::runtime_error("'" + options.file.string() + "': " + error.what());
        }
    }
    WriteModelFile(options.out, form, text);
    PrintConversion(options, form, out);
}

void AddSourceOptions(CLI::App& parser, SourceOptions& options)
{
    parser.option_defaults()->take_last();
    parser
        .add_option("FILE", options.file, "The model: a text, an encrypted container, or a device's memory")
        ->type_name(kFileType)
        ->required();
    parser.add_option("--root", options.root,
                      "Root of the model's sections, where the text holds several models");
}

/// A command that tells of one model.
TargetCommand AddTelling(CLI::App& model, const std::string& name, const std::string& description,
                         void (*tell)(const ShowOptions&, std::ostream&))
{
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* const parser = model.add_subcommand(name, description);
    AddSourceOptions(*parser, *options);
    parser->add_flag("--json", options->json, "Print it as JSON");
    return [parser, options, tell](std::ostream& out) {
        if (parser->parsed()) {
            tell(*options, out);
        }
    };
}

TargetCommand AddConvert(CLI::App& model)
{
    const auto options = std::make_shared<ConvertOptions>();
    CLI::App* const parser = model.add_subcommand("convert", "Write a model in another form");
    AddSourceOptions(*parser, *options);
    parser->add_option("-o,--out", options->out, "The file to write, another one than FILE")
        ->type_name(kFileType)
        ->required();
    parser
        ->add_option("--to", options->to,
                     "The form; without it a text becomes a container, and anything else a text")
        ->check(CLI::IsMember(c_forms));
    parser->add_flag("--rewrite", options->rewrite,
                     "Write what the library reads of the model, whole and in its order, instead of the text "
                     "as it stands");
    parser->add_flag("--json", options->json, "Print what was written as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Convert(*options, out);
        }
    };
}

} // namespace

TargetCommand AddModelCommands(CLI::App& program)
{
    CLI::App* const model = program.add_subcommand("model", "Show, check and convert models");
    model->require_subcommand(1);
    const TargetCommand show = AddTelling(*model, "show", "Tell what a model holds", Show);
    const TargetCommand check =
        AddTelling(*model, "check", "Tell what a model lacks, and what is out of the device's ranges", Check);
    return [show, check, convert = AddConvert(*model)](std::ostream& out) {
        show(out);
        check(out);
        convert(out);
    };
}

} // namespace app
