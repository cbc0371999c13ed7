# What is installed, and where: components runtime and development.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

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

    include(CMakePackageConfigHelpers)
    configure_package_config_file(cmake/webhttpserverConfig.cmake.in webhttpserverConfig.cmake
        INSTALL_DESTINATION ${sPackage} NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(webhttpserverConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/webhttpserverConfig.cmake ${PROJECT_BINARY_DIR}/webhttpserverConfigVersion.cmake
        DESTINATION ${sPackage} COMPONENT development)
    install(EXPORT webhttpserver NAMESPACE webhttpserver:: FILE webhttpserverTargets.cmake
        DESTINATION ${sPackage} COMPONENT development)
endfunction()
