// Files and closing lines of scans.
#include "scanner/app/scanoutput.h"

#include "scanner/app/cornerreport.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/processmemory.h"

#include <iomanip>
#include <ostream>

namespace app {

namespace {

std::vector<std::filesystem::path> WrittenFiles(const ScanOptions& options)
{
    std::vector<std::filesystem::path> files = options.out;
    if (!options.report.empty()) {
        files.push_back(options.report);
    }
    return files;
}

std::uintmax_t SizeOf(const std::filesystem::path& file)
{
    std::error_code ignored;
    const std::uintmax_t size = std::filesystem::file_size(file, ignored);
    return ignored ? 0 : size;
}

} // namespace

const char* const kNoPoints = "no points: the images show no stripes on an object that can be measured; "
                              "bring the object into the working "
                              "range of the model, and see that the reference image, taken in white light, "
                              "comes before the pattern image";

void RequireInputsStay(const ScanOptions& options)
{
    for (const std::filesystem::path& written : WrittenFiles(options)) {
        for (const std::filesystem::path& read :
             {options.reference, options.pattern, options.model, options.algorithm}) {
            if (!read.empty()) {
                RequireTwoFiles(read, written);
            }
        }
    }
    for (const std::filesystem::path& file : options.out) {
        if (!options.report.empty()) {
            RequireTwoFiles(file, options.report);
        }
    }
}

void WriteScanFiles(const ScanOptions& options, const ScanContent& scan)
{
    for (const std::filesystem::path& file : options.out) {
        WriteScanFile(file, scan);
    }
}

nlohmann::ordered_json FilesToJson(const ScanOptions& options)
{
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const std::filesystem::path& file : WrittenFiles(options)) {
        files.push_back({{"file", file.string()}, {"bytes", SizeOf(file)}});
    }
    return files;
}

void PrintFiles(const ScanOptions& options, std::ostream& out)
{
    Label(out, "peak memory") << std::fixed << std::setprecision(1) << PeakMemoryMb() << " MB\n";
    for (const std::filesystem::path& file : WrittenFiles(options)) {
        out << "Wrote " << file.string() << ", " << SizeOf(file) << " bytes\n";
    }
}

} // namespace app
