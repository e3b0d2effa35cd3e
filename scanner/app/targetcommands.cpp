// Archives of calibration targets: made, listed, taken apart, and a target of theirs put into the store.
#include "scanner/app/targetcommands.h"

#include "lxccalibrationtargetwriter.h"
#include "orx/platform/keyvaluestore.h"
#include "scanner/app/boardcommands.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/slidecommands.h"
#include "scanner/app/targettext.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace app {

namespace {

using Writer = LxCV::LxCCalibrationTargetWriter;

/// One of the commands, and what runs it.
struct Command
{
    const CLI::App* parser;
    TargetCommand run;
};

std::string CountTargets(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " target" : " targets");
}

struct PackOptions
{
    std::filesystem::path text;
    std::filesystem::path archive;
    bool json = false;
};

void Pack(const PackOptions& options, std::ostream& out)
{
    RequireTwoFiles(options.text, options.archive);
    const std::string text = ReadContent(options.text, Writer::sc_uiMaxArchiveText, "an archive");
    std::size_t count = 0;
    try {
        count = ReadTargetText(text).size();
    } catch (const TargetTextError& error) {
        throw std::runtime_error(options.text.string() + ":" + std::to_string(error.GetLine()) + ": " +
                                 error.what());
    }
    std::istringstream in(text);
    std::ostringstream archive;
    if (!Writer::compress(in, archive)) {
        throw std::runtime_error("cannot compress '" + options.text.string() + "'");
    }
    WriteContent(options.archive, archive.view());
    const std::size_t bytes = archive.view().size();
    if (options.json) {
        PrintJson(out, {{"text", options.text.string()},
                        {"archive", options.archive.string()},
                        {"targets", count},
                        {"bytes", bytes}});
    } else {
        out << "Wrote " << CountTargets(count) << " to " << options.archive.string() << ", " << bytes
            << " bytes\n";
    }
}

struct UnpackOptions
{
    std::filesystem::path archive;
    std::filesystem::path text; ///< empty for a list
    bool json = false;
};

void PrintTargets(const std::vector<TargetRecord>& targets, std::ostream& out)
{
    constexpr int numberWidth = 8;
    constexpr int pointsWidth = 7;
    out << std::setw(numberWidth) << "target"
        << "  points  extent (mm)\n";
    for (const TargetRecord& target : targets) {
        out << std::setw(numberWidth) << target.number << " " << std::setw(pointsWidth) << target.points;
        std::string_view separator = "  ";
        for (std::size_t axis = 0; axis < target.least.size(); ++axis) {
            out << separator << "xyz"[axis] << " " << target.least[axis] << " to " << target.greatest[axis];
            separator = ", ";
        }
        out << "\n";
    }
    out << CountTargets(targets.size()) << "\n";
}

nlohmann::ordered_json ToJson(const std::filesystem::path& archive, const std::vector<TargetRecord>& targets)
{
    nlohmann::ordered_json json;
    json["archive"] = archive.string();
    json["targets"] = nlohmann::ordered_json::array();
    for (const TargetRecord& target : targets) {
        json["targets"].push_back({{"number", target.number},
                                   {"points", target.points},
                                   {"least_mm", target.least},
                                   {"greatest_mm", target.greatest}});
    }
    return json;
}

void ListTargets(const UnpackOptions& options, std::string_view text, std::ostream& out)
{
    std::vector<TargetRecord> targets;
    try {
        targets = ReadTargetText(text);
    } catch (const TargetTextError& error) {
        throw std::runtime_error("'" + options.archive.string() + "', line " +
                                 std::to_string(error.GetLine()) + " of its text: " + error.what());
    }
    if (options.json) {
        PrintJson(out, ToJson(options.archive, targets));
    } else {
        PrintTargets(targets, out);
    }
}

void Unpack(const UnpackOptions& options, std::ostream& out)
{
    std::ifstream archive = OpenForReading(options.archive);
    std::ostringstream text;
    if (!Writer::decompress(text, archive)) {
        throw std::runtime_error(
            "'" + options.archive.string() +
            "' is no archive of targets, or damaged; 'lumorad target pack' makes one of a "
            "text");
    }
    if (options.text.empty()) {
        ListTargets(options, text.view(), out);
        return;
    }
    RequireTwoFiles(options.archive, options.text);
    WriteContent(options.text, text.view());
    const std::size_t bytes = text.view().size();
    if (options.json) {
        PrintJson(out,
                  {{"archive", options.archive.string()}, {"text", options.text.string()}, {"bytes", bytes}});
    } else {
        out << "Wrote " << bytes << " bytes of text to " << options.text.string() << "\n";
    }
}

struct InstallOptions
{
    std::string number;
    std::filesystem::path archive; ///< empty for the one that the library looks for
    bool json = false;
};

std::string StorePath()
{
    return platform::GetStoreValuePath(platform::EStoreRoot::eCurrentUser, Writer::sc_sRegistryKey,
                                       Writer::sc_sRegistryValue)
        .string();
}

/// Why a target was not installed.
std::string ToMessage(Writer::ECalibDataReturnCode code, const std::string& number, Writer::ETargetType type,
                      const std::string& archive)
{
    switch (code) {
    case Writer::eCDRC_InvalidNumber:
        return "'" + number +
               "' is no target's number: it has eight digits, the last two of which check the others";
    case Writer::eCDRC_NoData:
        return type == Writer::eTT_WithoutData ? "there are no data for targets of the kind of " + number
                                               : "'" + archive + "' has no data for target " + number +
                                                     ", or more than the store has room for";
    case Writer::eCDRC_ArchiveNotReadable:
        return "'" + archive + "' cannot be opened, is no archive of targets, or is damaged";
    case Writer::eCDRC_RegistryWriteFailed:
        return "cannot write '" + StorePath() + "'";
    case Writer::eCDRC_Success:
        break;
    }
    return "";
}

void Install(const InstallOptions& options, std::ostream& out)
{
    std::string digits = options.number;
    const Writer::ETargetType type = Writer::GetTargetType(digits);
    Writer::ECalibDataReturnCode code = Writer::eCDRC_Success;
    if (options.archive.empty()) {
        code = Writer::WriteCalibDataToRegistry(options.number);
    } else {
        std::ifstream archive = OpenForReading(options.archive);
        code = Writer::WriteCalibDataToRegistry(options.number, archive);
    }
    if (code != Writer::eCDRC_Success) {
        const std::string archive =
            options.archive.empty() ? Writer::GetArchivePath() : options.archive.string();
        throw std::runtime_error(ToMessage(code, options.number, type, archive));
    }
    constexpr std::size_t numberDigits = 8;
    const std::string number = digits.substr(0, numberDigits);
    const bool isImt = type == Writer::eTT_IMT;
    if (options.json) {
        PrintJson(out, {{"number", number}, {"type", isImt ? "imt" : "paper"}, {"store", StorePath()}});
    } else {
        out << "Target " << number << (isImt ? ", an IMT target," : ", a paper target,")
            << " is installed in " << StorePath() << "\n";
    }
}

Command AddPack(CLI::App& target)
{
    const auto options = std::make_shared<PackOptions>();
    CLI::App* const parser =
        target.add_subcommand("pack", "Check a text of targets and make an archive of it");
    parser->add_option("TEXT", options->text, "The text: two lines a target")
        ->type_name(kFileType)
        ->required();
    parser->add_option("ARCHIVE", options->archive, "The archive to write")->type_name(kFileType)->required();
    parser->add_flag("--json", options->json, "Print what was written as JSON");
    return {parser, [options](std::ostream& out) { Pack(*options, out); }};
}

Command AddUnpack(CLI::App& target)
{
    const auto options = std::make_shared<UnpackOptions>();
    CLI::App* const parser =
        target.add_subcommand("unpack", "List the targets of an archive, or write its text");
    parser->add_option("ARCHIVE", options->archive, "The archive")->type_name(kFileType)->required();
    parser->add_option("TEXT", options->text, "The text to write, as it stands, unchecked")
        ->type_name(kFileType);
    parser->add_flag("--json", options->json, "Print the list, or what was written, as JSON");
    return {parser, [options](std::ostream& out) { Unpack(*options, out); }};
}

Command AddInstall(CLI::App& target)
{
    const auto options = std::make_shared<InstallOptions>();
    CLI::App* const parser =
        target.add_subcommand("install", "Put a target's data into the store that calibrations read");
    parser->add_option("NUMBER", options->number, "The target's number, eight digits")->required();
    parser
        ->add_option(
            "--archive", options->archive,
            "The archive that has its data; without it HEXFILES/LumoradCalibrationData.dat beside this "
            "program")
        ->type_name(kFileType);
    parser->add_flag("--json", options->json, "Print what was installed as JSON");
    return {parser, [options](std::ostream& out) { Install(*options, out); }};
}

} // namespace

TargetCommand AddTargetCommands(CLI::App& program)
{
    CLI::App* const target = program.add_subcommand("target", "Work on calibration targets");
    target->require_subcommand(1);
    const std::vector<Command> commands{AddPack(*target), AddUnpack(*target), AddInstall(*target)};
    return
        [commands, board = AddBoardCommands(*target), slide = AddSlideCommands(*target)](std::ostream& out) {
            for (const Command& command : commands) {
                if (command.parser->parsed()) {
                    command.run(out);
                }
            }
            board(out);
            slide(out);
        };
}

} // namespace app
