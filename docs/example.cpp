// Loads a model and asks for the 3D point of a stripe edge at a pixel.
#include "lxccctserializerfile.h"
#include "lxcpinholeframework.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    LxCV::LxCCCTSerializerFile file;
    if (argc < 2 || !file.Init(std::string(argv[1]), false)) {
        return 1;
    }
    LxCV::LxCPinholeFramework model;
    model.Serialize(file, "::MV3DCamBase");

    const double column = 329.0, row = 247.0; // pixels of the distorted camera image
    const int cyclicId = 9;                   // what the code word table gives
    const int edge = model.UnwrapStripeId(cyclicId, row);
    double x = 0.0, y = 0.0, z = 0.0; // mm, camera frame
    model.ComputeEdgeXYZ(column, row, edge, true, &x, &y, &z, false);
    std::printf("edge %d: %.3f %.3f %.3f mm\n", edge, x, y, z);
    return z > 0.0 ? 0 : 1;
}
