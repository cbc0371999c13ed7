# `cpack -G DEB` makes the Debian packages webhttpserver and webhttpserver-dev of what is built for /usr: see the preset
# "package".

set(ZQ_MAINTAINER "webhttpserver maintainers <maintainers@webhttpserver.example>" CACHE STRING "Whom the packages name")
set(sDebian ${PROJECT_SOURCE_DIR}/deploy/debian)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME webhttpserver)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${ZQ_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Server for web applications in C++")
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(sRevision ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME webhttpserver)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION httpd)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"Serves an application, a shared library in C++, over HTTP/1.1, behind a
reverse proxy or alone, with access log, status page, metrics and health
checks. It comes as a service that shows a greeting until it is told which
application to serve.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
foreach(sFile conffiles postinst postrm prerm triggers)
    list(APPEND CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${sDebian}/${sFile})
endforeach()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME webhttpserver-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"What applications for the server are made with, and other hosts for them:
headers, a CMake package and files for pkg-config.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "webhttpserver (= ${sRevision}), nlohmann-json3-dev")

# What Debian wants to see beside the documentation of both.
execute_process(COMMAND date -uRd ${sReleased} OUTPUT_VARIABLE sDate OUTPUT_STRIP_TRAILING_WHITESPACE)
configure_file(${sDebian}/changelog.in changelog.Debian @ONLY)
add_custom_command(OUTPUT changelog.gz changelog.Debian.gz
    COMMAND gzip -9nc changelog.Debian > changelog.Debian.gz
    COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > changelog.gz
    DEPENDS ${PROJECT_BINARY_DIR}/changelog.Debian CHANGELOG.md VERBATIM)
add_custom_target(webhttpserver_changelogs ALL DEPENDS changelog.gz changelog.Debian.gz)
foreach(sComponent runtime development)
    string(TOUPPER ${sComponent} sUpper)
    install(FILES ${sDebian}/copyright ${PROJECT_BINARY_DIR}/changelog.gz ${PROJECT_BINARY_DIR}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${sUpper}_PACKAGE_NAME} COMPONENT ${sComponent})
endforeach()
include(CPack)
