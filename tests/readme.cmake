# Fails unless README.md shows docs/example.cpp as it is.
file(READ ${SOURCE_DIR}/README.md readme)
file(READ ${SOURCE_DIR}/docs/example.cpp example)
string(FIND "${readme}" "```cpp\n${example}```" at)
if(at EQUAL -1)
    message(FATAL_ERROR "README.md does not show docs/example.cpp as it is")
endif()
