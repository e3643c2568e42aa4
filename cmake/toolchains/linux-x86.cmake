# 32-bit code of the same system: Debian's cross-compiler, with the libraries of that word size in a folder of their own
# (scripts/fetch-linux-x86 fills it). Programs run with the folder's loader and libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)

set(TVK_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/linux-x86-root" CACHE PATH "Folder with the 32-bit libraries")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TVK_SYSROOT)
file(REAL_PATH "${TVK_SYSROOT}" CMAKE_SYSROOT)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_BUILD_RPATH "${CMAKE_SYSROOT}/lib/i386-linux-gnu;${CMAKE_SYSROOT}/usr/lib/i386-linux-gnu")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/ld-linux.so.2")
