# tvk_warnings: the warnings that every target of the project is built with.

add_library(tvk_warnings INTERFACE)
target_compile_options(tvk_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-qual -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wimplicit-fallthrough
    $<$<BOOL:${TVK_WERROR}>:-Werror>)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # This compiler reports overlapping copies inside std::string itself, GCC bug 105651.
    target_compile_options(tvk_warnings INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND TVK_SANITIZE)
    # Instrumented code hides initialisation from the compiler's analysis; the plain build keeps the warning.
    target_compile_options(tvk_warnings INTERFACE -Wno-maybe-uninitialized)
endif()
