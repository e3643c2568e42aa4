# Sanitizers go over the whole build: one program must not mix instrumented and plain parts of this project.

if(TVK_SANITIZE STREQUAL "address")
    set(tvk_sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(TVK_SANITIZE STREQUAL "thread")
    set(tvk_sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT TVK_SANITIZE STREQUAL "")
    message(FATAL_ERROR "TVK_SANITIZE is \"${TVK_SANITIZE}\"; it takes an empty value, address or thread")
endif()

if(TVK_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "TVK_FUZZ is for clang, which brings the fuzzer along")
    endif()
    list(APPEND tvk_sanitizer_flags -fsanitize=fuzzer-no-link)
    if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 16)
        include_directories(BEFORE "${PROJECT_SOURCE_DIR}/tests/fuzz/clang14")
    endif()
endif()

if(TVK_SANITIZE)
    add_compile_options(${tvk_sanitizer_flags})
    add_link_options(${tvk_sanitizer_flags})
elseif(UNIX AND NOT APPLE)
    add_compile_options(-fstack-protector-strong)
    # Undefined symbols are refused, so a library that uses what it does not link fails here and not on loading.
    # Sanitized libraries leave their run-time's symbols to the program.
    # A library's calls to itself are bound when it is linked, which loading it needn't do then.
    add_link_options(LINKER:-z,defs LINKER:-z,relro LINKER:-z,now LINKER:-Bsymbolic-functions)
endif()
