# orx_module(NAME dependency...)
#
# Adds the folder's sources as an object library NAME. liblxcvlib takes in the objects of every module, so that
# a process holds each module's state once, however many executables and plug-ins load the library.
function(orx_module name)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    add_library(${name} OBJECT ${sources})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARGN})
endfunction()
