# What is installed, and where: components runtime and development.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

# When this version was released.
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md sReleased REGEX "^## \\[${PROJECT_VERSION}] - ")
string(REGEX REPLACE ".* - " "" sReleased "${sReleased}")

# zq_install_rpath(TARGET FOLDER): lets a target that is installed in FOLDER find the libraries wherever the whole is
# installed. In the system's own folders they are found anyway.
function(zq_install_rpath sTarget sFolder)
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        return()
    endif()
    cmake_path(ABSOLUTE_PATH sFolder BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    file(RELATIVE_PATH sLibraries ${sFolder} ${CMAKE_INSTALL_FULL_LIBDIR})
    string(REGEX REPLACE "/$" "" sPath "$ORIGIN/${sLibraries}")
    set_target_properties(${sTarget} PROPERTIES INSTALL_RPATH "${sPath}")
endfunction()

# Everything that is no target.
function(zq_install_package)
    set(sPackage ${CMAKE_INSTALL_LIBDIR}/cmake/webhttpserver)
    # The headers that only this system's own libraries need stay here.
    install(DIRECTORY inc/zq ${PROJECT_BINARY_DIR}/inc/zq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN *.h
        REGEX "/(autobuffer|i18nutils|libloaded|multipartstream|nodestorage|posixstrsupport|unicodehttpstream)\\.h$" EXCLUDE)
    install(FILES project/webhttpserver/httpservermessages.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/webhttpserver/messages COMPONENT runtime)

    install(FILES apps/sample/webcontainer.toml DESTINATION ${CMAKE_INSTALL_DOCDIR}/apps/sample)
    install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN *.md
        PATTERN architecture.md EXCLUDE PATTERN downloadnames.md EXCLUDE PATTERN manual EXCLUDE PATTERN pictures EXCLUDE PATTERN examples EXCLUDE)
    install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development
        PATTERN CMakeLists.txt EXCLUDE)
    # The documents find headers where they lie in the sources.
    file(RELATIVE_PATH sHeaders ${CMAKE_INSTALL_FULL_DOCDIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    file(CREATE_LINK ${sHeaders} ${PROJECT_BINARY_DIR}/inc.link SYMBOLIC)
    install(FILES ${PROJECT_BINARY_DIR}/inc.link DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development RENAME inc)

    cmake_path(SET sHere NORMALIZE "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
    file(RELATIVE_PATH sLibraries ${sHere} ${CMAKE_INSTALL_FULL_LIBDIR})
    file(RELATIVE_PATH sHeaders ${sHere} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    foreach(sKind application applicationkit host)
        configure_file(cmake/webhttpserver-${sKind}.pc.in webhttpserver-${sKind}.pc @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/webhttpserver-${sKind}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
    endforeach()

    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        include(ZqPackages)
    else()
        install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
    endif()

    include(CMakePackageConfigHelpers)
    configure_package_config_file(cmake/webhttpserverConfig.cmake.in webhttpserverConfig.cmake
        INSTALL_DESTINATION ${sPackage} NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(webhttpserverConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/webhttpserverConfig.cmake ${PROJECT_BINARY_DIR}/webhttpserverConfigVersion.cmake
        DESTINATION ${sPackage} COMPONENT development)
    install(EXPORT webhttpserver NAMESPACE webhttpserver:: FILE webhttpserverTargets.cmake
        DESTINATION ${sPackage} COMPONENT development)
endfunction()
