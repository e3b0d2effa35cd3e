// Tells files one by one.
#include "scanner/app/infocommand.h"

#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/filefacts.h"
#include "scanner/app/jsonreport.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace app {

namespace {

struct InfoOptions
{
    std::vector<std::filesystem::path> files;
    bool json = false;
};

/// What came of one file.
struct Told
{
    std::filesystem::path file;
    FileFacts facts;
    std::string error; ///< empty where the file was told
};

Told Tell(const std::filesystem::path& file)
{
    try {
        return {file, TellFile(file), {}};
    } catch (const std::exception& error) {
        return {file, {}, error.what()};
    }
}

nlohmann::ordered_json ToJson(const Told& told)
{
    nlohmann::ordered_json json;
    json["file"] = told.file.string();
    if (!told.error.empty()) {
        json["error"] = told.error;
        return json;
    }
    json["bytes"] = told.facts.bytes;
    json["kind"] = told.facts.kind;
    json.update(told.facts.facts);
    return json;
}

/// The shortest decimal number that is this one: of what a file holds as a float, the float's.
std::string NumberWords(double number)
{
    const bool fits = std::abs(number) <= std::numeric_limits<float>::max();
    const float single = fits ? static_cast<float>(number) : 0.0F;
    if (static_cast<double>(single) != number) {
        return nlohmann::ordered_json(number).dump();
    }
    std::array<char, 64> letters{};
    const auto [end, error] = std::to_chars(letters.data(), letters.data() + letters.size(), single);
    const std::string text(letters.data(), end);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

/// A value as words: texts without quotes and control characters, lists without brackets. A number that is not finite,
/// which JSON has no word for, is called so.
std::string Words(const nlohmann::ordered_json& value)
{
    if (value.is_array()) {
        std::string words;
        for (const nlohmann::ordered_json& item : value) {
            words += (words.empty() ? "" : " ") + Words(item);
        }
        return words;
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (value.is_number_float() && !std::isfinite(value.get<double>())) {
        return "not finite";
    }
    if (value.is_number_float()) {
        return NumberWords(value.get<double>());
    }
    if (!value.is_string()) {
        return value.dump();
    }
    std::string text = value.get<std::string>();
    std::ranges::replace_if(
        text, [](unsigned char letter) { return letter < ' ' || letter == 127; }, '?');
    return text;
}

void Print(const Told& told, std::ostream& out)
{
    const nlohmann::ordered_json json = ToJson(told);
    out << told.file.string() << "\n";
    for (const auto& [key, value] : json.items()) {
        if (key != "file") {
            std::string label = key;
            std::ranges::replace(label, '_', ' ');
            Label(out, label.c_str()) << Words(value) << "\n";
        }
    }
}

void RunInfo(const InfoOptions& options, std::ostream& out)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    std::vector<std::string> errors;
    for (const std::filesystem::path& file : options.files) {
        const Told told = Tell(file);
        if (options.json) {
            list.push_back(ToJson(told));
        } else {
            Print(told, out);
        }
        if (!told.error.empty()) {
            errors.push_back(told.error);
        }
    }
    if (options.json) {
        PrintJson(out, list);
    }
    if (errors.size() == 1) {
        throw std::runtime_error(errors.front());
    }
    if (!errors.empty()) {
        throw std::runtime_error(std::to_string(errors.size()) + " of " +
                                 std::to_string(options.files.size()) + " files could not be told");
    }
}

} // namespace

TargetCommand AddInfoCommand(CLI::App& program)
{
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const parser = program.add_subcommand("info", "Tell what files are and what they hold");
    parser->add_option("FILE", options->files, "Files of any kind that this system reads or writes")
        ->type_name(kFileType)
        ->required();
    parser->add_flag("--json", options->json, "Print it as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            RunInfo(*options, out);
        }
    };
}

} // namespace app
