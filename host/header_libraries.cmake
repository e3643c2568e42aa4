# The two libraries of header files alone, for a compiler that isn't to see the other headers of the folder where they
# are installed: links to just these two, in the build tree.
set(TVK_HEADER_LIBRARIES /usr/include CACHE PATH "Folder with the header files of CLI11 and nlohmann-json")
set(tvk_header_links "${CMAKE_CURRENT_BINARY_DIR}/include")

function(tvk_add_header_library target folder header package)
    if(NOT EXISTS "${TVK_HEADER_LIBRARIES}/${folder}/${header}")
        message(FATAL_ERROR "tvkstore needs ${folder}/${header}, which isn't in ${TVK_HEADER_LIBRARIES}: install "
            "${package}, or name the folder by -DTVK_HEADER_LIBRARIES")
    endif()
    file(MAKE_DIRECTORY "${tvk_header_links}")
    file(CREATE_LINK "${TVK_HEADER_LIBRARIES}/${folder}" "${tvk_header_links}/${folder}" SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED)
    target_include_directories(${target} SYSTEM INTERFACE "${tvk_header_links}")
endfunction()

tvk_add_header_library(CLI11::CLI11 CLI CLI.hpp libcli11-dev)
tvk_add_header_library(nlohmann_json::nlohmann_json nlohmann json.hpp nlohmann-json3-dev)
