# How this repository builds its targets: one set of warnings, one set of sanitizers, one way to name things.

add_library(zq_flags INTERFACE)
target_compile_options(zq_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fno-omit-frame-pointer
    # Logs and assertions name source files as the repository does, and nothing names the folder of the build.
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=build -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
# g++ 12 takes some concatenations of std::string for overlapping copies (its bug 105329).
target_compile_options(zq_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# A release binds each library's calls of its own functions when it is linked: nobody puts others in their place.
# Types and variables stay one for the process, so that exceptions and casts work across libraries.
target_compile_options(zq_flags INTERFACE "$<$<CONFIG:Release>:-fno-semantic-interposition;-fno-plt>")
# With more of it inlined, g++ 12 does not see that a reference count guards what is deleted.
target_compile_options(zq_flags INTERFACE $<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-Wno-use-after-free>)
add_link_options($<$<CONFIG:Release>:-Wl,-Bsymbolic-functions>)
target_include_directories(zq_flags INTERFACE ${PROJECT_SOURCE_DIR}/inc ${PROJECT_BINARY_DIR}/inc)
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
# script/pgo: a build that counts what is run, and the one that is laid out for it. Counters belong to all threads.
if(ZQ_PROFILE STREQUAL "generate")
    add_compile_options(-fprofile-generate -fprofile-update=atomic)
    add_link_options(-fprofile-generate)
elseif(ZQ_PROFILE STREQUAL "use")
    # What the training has not run is optimised as without it.
    add_compile_options(-fprofile-use -fprofile-partial-training -Wno-missing-profile)
endif()

# zq_public_library(NAME EXPORTED): what every library has that is installed, and is webhttpserver::EXPORTED to others.
function(zq_public_library sName sExported)
    add_library(webhttpserver::${sExported} ALIAS ${sName})
    target_compile_features(${sName} PUBLIC cxx_std_20)
    target_include_directories(${sName} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/inc> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/inc>)
    set_target_properties(${sName} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${sExported})
    if(ZQ_INSTALL)
        zq_install_rpath(${sName} ${CMAKE_INSTALL_LIBDIR})
        install(TARGETS ${sName} EXPORT webhttpserver
            LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
            INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    endif()
endfunction()

# zq_host_library(NAME EXPORTED SOURCES ... LINKS ... SYSTEM ...): a shared library of the host, lib<NAME>.so.
# LINKS are the floors below it; SYSTEM is what only its own sources see.
function(zq_host_library sName sExported)
    cmake_parse_arguments(A "" "" "SOURCES;LINKS;SYSTEM" ${ARGN})
    add_library(${sName} SHARED ${A_SOURCES})
    target_link_libraries(${sName} PUBLIC ${A_LINKS} PRIVATE zq_flags ${A_SYSTEM})
    zq_public_library(${sName} ${sExported})
endfunction()
