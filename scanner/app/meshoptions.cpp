#include "scanner/app/meshoptions.h"

#include "scanner/acquisition/posetext.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/numberoption.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iomanip>
#include <ostream>

namespace app {

namespace {

using device::Vec3;

nlohmann::ordered_json ToJson(const Vec3& point)
{
    return {point.x, point.y, point.z};
}

bool IsWithinRange(const acquisition::Rendering& rendering)
{
    const device::DeviceParameters& parameters = rendering.device->Parameters();
    return rendering.mesh->GetLowest().z >= parameters.minDepth &&
           rendering.mesh->GetHighest().z <= parameters.maxDepth;
}

CLI::Validator IsPose()
{
    return {[](std::string& text) {
                device::MeshPose pose;
                return acquisition::ReadPose(text, pose)
                           ? std::string()
                           : "Value " + text +
                                 " is no pose: three angles in degrees, and if wanted three lengths in "
                                 "mm, with commas between them";
            },
            "", ""};
}

} // namespace

void AddMeshOptions(CLI::App& command, MeshOptions& options)
{
    CLI::Option* const mesh =
        command
            .add_option("--mesh", options.file,
                        "An object of your own instead: an .stl, .ply or .obj file in mm")
            ->type_name(kFileType)
            ->check(
                [](const std::string& text) { return text.empty() ? "The path is empty" : std::string(); })
            ->excludes(command.get_option("--scene"));
    command
        .add_option(
            "--pose", options.pose,
            "RX,RY,RZ[,TX,TY,TZ]: angles of the mesh about x, y, z in degrees, and its place in mm, camera "
            "frame; without a place it stands in the middle of the view")
        ->check(IsPose())
        ->default_str("180,0,0")
        ->needs(mesh);
}

void AddMeshScale(CLI::App& command, MeshOptions& options)
{
    command.add_option("--scale", options.scale, "Length of the mesh's unit, mm")
        ->check(IsBetween(kSmallestMeshScale, kLargestMeshScale))
        ->default_str("1")
        ->needs(command.get_option("--mesh"));
}

void Apply(const MeshOptions& options, acquisition::PairOptions& pair)
{
    if (options.file.empty()) {
        return;
    }
    device::MeshSource source{options.file, {}};
    if (!options.pose.empty()) {
        acquisition::ReadPose(options.pose, source.pose);
    }
    source.pose.scale = options.scale.value_or(source.pose.scale);
    pair.mesh = source;
    pair.scene = acquisition::kMeshScene;
}

nlohmann::ordered_json MeshToJson(const acquisition::Rendering& rendering)
{
    const device::MeshScene& scene = *rendering.mesh;
    const device::MeshPose& pose = scene.GetPose();
    nlohmann::ordered_json json;
    json["file"] = rendering.options.mesh->file.string();
    json["triangles"] = scene.GetMesh().triangles.size();
    json["dropped_triangles"] = scene.GetMesh().droppedTriangles;
    json["rotation_deg"] = ToJson(pose.rotation);
    json["translation_mm"] = ToJson(*pose.translation);
    json["scale"] = pose.scale;
    json["lowest_mm"] = ToJson(scene.GetLowest());
    json["highest_mm"] = ToJson(scene.GetHighest());
    json["within_working_range"] = IsWithinRange(rendering);
    return json;
}

void PrintMesh(std::ostream& out, const acquisition::Rendering& rendering)
{
    const device::MeshScene& scene = *rendering.mesh;
    const device::Vec3 size = scene.GetHighest() - scene.GetLowest();
    out << "Mesh " << rendering.options.mesh->file.string() << ": " << scene.GetMesh().triangles.size()
        << " triangles";
    if (scene.GetMesh().droppedTriangles > 0) {
        out << " and " << scene.GetMesh().droppedTriangles << " without an area, which are left out";
    }
    out << std::fixed << std::setprecision(2) << "; " << size.x << " by " << size.y << " by " << size.z
        << " mm as it stands, --pose " << acquisition::PoseText(scene.GetPose()) << " --scale "
        << acquisition::NumberText(scene.GetPose().scale) << "\n";
    if (!IsWithinRange(rendering)) {
        const device::DeviceParameters& parameters = rendering.device->Parameters();
        out << "It reaches from " << scene.GetLowest().z << " to " << scene.GetHighest().z
            << " mm; what lies outside the working range of " << parameters.minDepth << " to "
            << parameters.maxDepth << " mm is not measured\n";
    }
}

} // namespace app
