# Installation, the package for find_package(tvkcore), the pkg-config file and the Debian package.

include(CMakePackageConfigHelpers)

set(tvk_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/tvkcore")
# The platform's header names are too common for the system's include directory.
set(tvk_platform_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/tvkbridge/platform")

set(tvk_installed_targets)
foreach(target IN ITEMS tvkcore tvksoft wincrypt)
    if(TARGET ${target})
        list(APPEND tvk_installed_targets ${target})
    endif()
endforeach()

if(TARGET tvkcore)
    install(TARGETS ${tvk_installed_targets} EXPORT tvkcoreTargets)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/toolkit/include/tvkcore" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/toolkit/soft/include/tvksoft" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/platform/include/" DESTINATION "${tvk_platform_include_dir}"
        FILES_MATCHING PATTERN "*.h")

    install(EXPORT tvkcoreTargets NAMESPACE tvkcore:: DESTINATION "${tvk_cmake_dir}")
    configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/tvkcoreConfig.cmake.in" tvkcoreConfig.cmake
        INSTALL_DESTINATION "${tvk_cmake_dir}")
    write_basic_package_version_file(tvkcoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    # The file finds its prefix by itself, since the one of the installation or package is settled only later.
    file(RELATIVE_PATH tvk_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" tvk_prefix_from_pc "${tvk_prefix_from_pc}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/tvkcore.pc.in" tvkcore.pc @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/tvkcoreConfig.cmake" "${PROJECT_BINARY_DIR}/tvkcoreConfigVersion.cmake"
        DESTINATION "${tvk_cmake_dir}")
    install(FILES "${PROJECT_BINARY_DIR}/tvkcore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endif()

# The module is loaded by name at run time and linked by nobody.
if(TARGET tvkbridge)
    if(WIN32)
        install(TARGETS tvkbridge LIBRARY DESTINATION "${CMAKE_INSTALL_BINDIR}")
    else()
        install(TARGETS tvkbridge LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    endif()
endif()
foreach(program IN ITEMS tvkstore wincryptctl)
    if(TARGET ${program})
        install(TARGETS ${program})
        install(FILES "${PROJECT_SOURCE_DIR}/docs/man/${program}.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
        install(FILES "${PROJECT_SOURCE_DIR}/docs/completion/${program}.bash"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME ${program})
    endif()
endforeach()
install(FILES "${PROJECT_SOURCE_DIR}/README.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION "${CMAKE_INSTALL_DOCDIR}/docs"
    PATTERN man EXCLUDE PATTERN completion EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}" RENAME copyright)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tvkbridge-dev)
set(CPACK_PACKAGE_VENDOR "tvkbridge")
set(CPACK_PACKAGE_CONTACT "tvkbridge maintainers <maintainers@tvkbridge.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, libssl-dev")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The libraries depend on each other, and the dependencies are looked up before they are installed anywhere.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
include(CPack)
