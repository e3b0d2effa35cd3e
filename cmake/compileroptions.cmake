# Options that every target of the project is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wcast-qual -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 gcc 12 sees overlapping copies in every "literal" + std::string (its bug 105329).
    add_compile_options(-Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Polymorphic values, such as regions of interest, live in vectors; nothing deletes one through a base.
    add_compile_options(-Wno-delete-non-abstract-non-virtual-dtor)
endif()

# Results are the same on every x86-64 machine: no contraction to fused operations, no fast-math. The C
# library's error numbers for mathematics are read nowhere.
add_compile_options(-ffp-contract=off -fno-math-errno)

if(LXCV_SANITIZE)
    add_compile_options(-fsanitize=${LXCV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=${LXCV_SANITIZE})
endif()
if(LXCV_COVERAGE)
    add_compile_options(--coverage -O0 -g)
    add_link_options(--coverage)
endif()
if(LXCV_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
