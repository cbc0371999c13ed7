# How this repository builds its targets: one set of warnings, one set of sanitizers, one way to name things.

add_library(zq_flags INTERFACE)
target_compile_options(zq_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fno-omit-frame-pointer
    # Logs and assertions name source files as the repository does.
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
# g++ 12 takes some concatenations of std::string for overlapping copies (its bug 105329).
target_compile_options(zq_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_include_directories(zq_flags INTERFACE ${CMAKE_SOURCE_DIR}/inc ${CMAKE_BINARY_DIR}/inc)
if(ZQ_SANITIZE)
    target_compile_options(zq_flags INTERFACE -fsanitize=${ZQ_SANITIZE})
    target_link_options(zq_flags INTERFACE -fsanitize=${ZQ_SANITIZE})
    if(ZQ_SANITIZE MATCHES undefined)
        target_compile_options(zq_flags INTERFACE -fno-sanitize-recover=undefined)
    endif()
else()
    # The sanitizers' runtimes are found at run time, so a library may leave them open.
    add_link_options(-Wl,--no-undefined)
endif()
add_link_options(-Wl,--as-needed)

# zq_host_library(NAME SOURCES ... LINKS ... SYSTEM ...): a shared library of the host, lib<NAME>.so.
# LINKS are the floors below it; SYSTEM is what only its own sources see.
function(zq_host_library sName)
    cmake_parse_arguments(A "" "" "SOURCES;LINKS;SYSTEM" ${ARGN})
    add_library(${sName} SHARED ${A_SOURCES})
    target_link_libraries(${sName} PUBLIC ${A_LINKS} PRIVATE zq_flags ${A_SYSTEM})
    target_include_directories(${sName} PUBLIC ${CMAKE_SOURCE_DIR}/inc ${CMAKE_BINARY_DIR}/inc)
endfunction()
