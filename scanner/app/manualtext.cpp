// What the manual page tells beside commands and options.
#include "scanner/app/manualpage.h"

namespace app {

const char* const kManualDescription =
    R"roff(A hand\-held 3D camera projects a slide of coloured stripes onto a surface.
One colour camera takes a reference image under white light and a pattern image under the stripes; the order of the
colour transitions tells which stripe edge a pixel sees, and the calibrated geometry of camera and slide turns edge and
pixel into a 3D point.
.PP
.B lumorad
renders such image pairs with a virtual camera, measures them, holds the points against the truth, and works on what a
measurement needs: models of devices, calibration targets and colour calibrations.
.PP
Of an option that is given twice the last one counts, so that a script can set defaults before its own arguments.
Numbers have a decimal point, whatever the locale.
Coordinates are millimetres in the camera's frame, where nothing else is told.
.PP
A command that reports something prints a text for people, or with
.B \-\-json
one JSON document on the standard output.
Messages go to the standard error stream; on a terminal a bar there shows the stage of a long command.
)roff";

const char* const kManualEnd = R"roff(.SH EXIT STATUS
.TP
.B 0
The work is done.
.TP
.B 1
It could not be done, or what was checked is not sound; the message tells the file, what is wrong and what to do.
.TP
.B 2
The arguments make no sense; nothing was read or written.
.SH ENVIRONMENT
.TP
.B LXCV_KEY_FILE
The file with the key of encrypted containers; without it the one in the machine\-wide data folder, which is made at
first need.
.TP
.B LXCV_SETTINGS
A file of settings that override the built\-in ones.
.TP
.B LXCV_STORE
A folder for the stored values of user and machine, such as the installed target.
.TP
.B LXCV_LOG_LEVEL
Least level of the library's messages: debug, info, warning or error.
.TP
.B PROGRAMDATA
The machine\-wide data folder; without it
.IR /var/lib/lxcvlib .
.SH FILES
.TP
.I out/demo
Folder for the results of
.BR demo " and " render :
.IR cloud.ply " and " scan.3d ,
the points;
.IR depth.png " and " overview.png ,
pictures;
.IR report.html ,
all in one page for a browser;
.IR reference.png " and " pattern.png ,
the image pair;
.IR model.txt ,
the device's model.
.TP
.I out/accuracy
Folder for the results of
.BR accuracy .
.TP
.I HEXFILES/LumoradCalibrationData.dat
Beside the program: the archive of measured calibration targets.
.SH EXAMPLES
.TP
.B lumorad demo
Measures a tooth\-like scene and leaves cloud and report in
.IR out/demo .
.TP
.B lumorad demo \-\-mesh object.stl \-\-pose 180,0,30 \-\-out out/object
Measures an object of one's own, turned by 30 degrees.
.TP
.B lumorad demo \-\-noise 0 \-\-json | jq .rms_mm
Tells the error without noise.
.TP
.B lumorad scan reference.png pattern.png \-\-model model.txt \-o scan.ply \-o scan.stl
Measures a pair of image files and writes points and surface.
.TP
.B lumorad info *
Tells what each file of a folder is and holds.
.TP
.B lumorad render \-\-target checkerboard \-\-out board; lumorad target locate board/image.png
Renders a calibration target and finds its corners.
.TP
.B lumorad model check model.txt
Tells what a model lacks, with line and remedy.
.TP
.B source <(lumorad completion bash)
Lets bash complete commands, options and values.
.SH SEE ALSO
.BR bash (1),
.BR jq (1)
)roff";

} // namespace app
