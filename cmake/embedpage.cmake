# Writes a C++ source that holds a page: the template FOLDER/report.html with its style sheet and scripts in place of the
# marks @STYLE@ and @SCRIPT@, cut in two at @DATA@.
#
# usage: cmake -DFOLDER=... -DOUTPUT=... -P embedpage.cmake
file(READ ${FOLDER}/report.html page)
file(READ ${FOLDER}/report.css style)
file(READ ${FOLDER}/cloudview.js view)
file(READ ${FOLDER}/report.js script)
string(APPEND view "${script}")
if(view MATCHES "</script" OR style MATCHES "</style")
    message(FATAL_ERROR "a script or style sheet of ${FOLDER} would end its own element")
endif()
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${view}" page "${page}")
string(REPLACE "@DATA@" ")page\";\nconst char* const kReportPageEnd = R\"page(" page "${page}")
file(WRITE ${OUTPUT} "// Generated: the page of a report.
#include \"scanner/app/reportpage.h\"

namespace app {

const char* const kReportPageBegin = R\"page(${page})page\";

} // namespace app
")
