# Headers, the library, the reference host, a CMake package, a pkg-config file and the simulator's program. The
# components are those of the Debian packages, see Packages.cmake.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnforce COMPONENT development
    FILES_MATCHING PATTERN "*.h")
install(TARGETS tarn_contract tarnforce EXPORT tarnforce-targets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development)
if(TARN_HOST)
    install(DIRECTORY host/include/tarnhost DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnforce COMPONENT development)
    set_target_properties(tarnhost PROPERTIES EXPORT_NAME host)
    install(TARGETS tarnhost EXPORT tarnforce-targets LIBRARY COMPONENT host NAMELINK_COMPONENT development)
endif()
if(TARN_SIM)
    # Found from the program's own place, so that the installed tree can be moved.
    file(RELATIVE_PATH TARN_LIBRARIES_FROM_PROGRAM /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(tarnsim PROPERTIES INSTALL_RPATH "$ORIGIN/${TARN_LIBRARIES_FROM_PROGRAM}")
    install(TARGETS tarnsim COMPONENT simulator)
endif()

set(TARN_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tarnforce)
install(EXPORT tarnforce-targets NAMESPACE tarnforce:: DESTINATION ${TARN_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/tarnforce-config.cmake.in ${PROJECT_BINARY_DIR}/tarnforce-config.cmake
    INSTALL_DESTINATION ${TARN_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnforce-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/tarnforce-config.cmake
    ${PROJECT_BINARY_DIR}/tarnforce-config-version.cmake
    DESTINATION ${TARN_PACKAGE_DIR} COMPONENT development)

# Relative to the file itself, so that the installed tree can be moved.
file(RELATIVE_PATH TARN_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" TARN_PREFIX_FROM_PC "${TARN_PREFIX_FROM_PC}")
set(TARN_PC_FILES tarnforce.pc)
if(TARN_HOST)
    list(APPEND TARN_PC_FILES tarnforce-host.pc)
endif()
foreach(file ${TARN_PC_FILES})
    configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
