# Headers, the library, the reference host, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnforce FILES_MATCHING PATTERN "*.h")
install(TARGETS tarn_contract tarnforce EXPORT tarnforce-targets)
if(TARN_HOST)
    install(DIRECTORY host/include/tarnhost DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnforce)
    set_target_properties(tarnhost PROPERTIES EXPORT_NAME host)
    install(TARGETS tarnhost EXPORT tarnforce-targets)
endif()

set(TARN_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tarnforce)
install(EXPORT tarnforce-targets NAMESPACE tarnforce:: DESTINATION ${TARN_PACKAGE_DIR})
configure_package_config_file(cmake/tarnforce-config.cmake.in ${PROJECT_BINARY_DIR}/tarnforce-config.cmake
    INSTALL_DESTINATION ${TARN_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnforce-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/tarnforce-config.cmake
    ${PROJECT_BINARY_DIR}/tarnforce-config-version.cmake
    DESTINATION ${TARN_PACKAGE_DIR})

# Relative to the file itself, so that the installed tree can be moved.
file(RELATIVE_PATH TARN_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" TARN_PREFIX_FROM_PC "${TARN_PREFIX_FROM_PC}")
set(TARN_PC_FILES tarnforce.pc)
if(TARN_HOST)
    list(APPEND TARN_PC_FILES tarnforce-host.pc)
endif()
foreach(file ${TARN_PC_FILES})
    configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
