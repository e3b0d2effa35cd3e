// The page of a report, without the data that it shows.
#pragma once

namespace app {

/// What stands before and after the JSON text. The build makes both from the files of the folder `report`.
extern const char* const kReportPageBegin;
extern const char* const kReportPageEnd;

} // namespace app
