# Debian packages, one a component: `cpack -G DEB` in a build folder that is configured for the prefix /usr.
# A library's package bears the number of its interface, as Debian's do.
set(TARN_LIBRARY_PACKAGE libtarnforce${PROJECT_VERSION_MAJOR})
set(TARN_HOST_PACKAGE libtarnhost${PROJECT_VERSION_MAJOR})
set(TARN_DEVELOPMENT_PACKAGE libtarnforce-dev)
set(TARN_SIMULATOR_PACKAGE tarnsim)

# What only packages hold: Debian's place of the license, and the examples.
foreach(component LIBRARY HOST DEVELOPMENT SIMULATOR)
    string(TOLOWER ${component} lower)
    install(FILES LICENSE DESTINATION share/doc/${TARN_${component}_PACKAGE} RENAME copyright
        COMPONENT ${lower} EXCLUDE_FROM_ALL)
endforeach()
install(DIRECTORY examples DESTINATION share/doc/${TARN_DEVELOPMENT_PACKAGE} COMPONENT development EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnforce)
set(CPACK_PACKAGE_VENDOR "The libtarnforce maintainers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library)
if(TARN_HOST)
    list(APPEND CPACK_COMPONENTS_ALL host development)  # the CMake package names both libraries
endif()
if(TARN_SIM)
    list(APPEND CPACK_COMPONENTS_ALL simulator)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The libtarnforce maintainers")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY =)  # until 1.0 each version may change the contract
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(component LIBRARY HOST DEVELOPMENT SIMULATOR)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${TARN_${component}_PACKAGE})
endforeach()

# Our own packages go by name and version, all others by what the files are linked with.
set(version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_HOST_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/host)
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "${TARN_LIBRARY_PACKAGE} ${version}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${TARN_LIBRARY_PACKAGE} ${version}, ${TARN_HOST_PACKAGE} ${version}")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "${TARN_LIBRARY_PACKAGE} ${version}, ${TARN_HOST_PACKAGE} ${version}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION science)

# The first line is the summary.
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Force, torque and dynamics library of a collaborative robot arm
Turns the state of a six-joint arm into motor currents, once per millisecond.
It takes its blocks and services from the controller that loads it.")
set(CPACK_COMPONENT_HOST_DESCRIPTION
    "Reference host of libtarnforce
Blocks and services to start a controller from: settings, log, kinematics,
motion. A controller that brings its own does not need it.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers and examples of libtarnforce
To build a controller on it, by CMake or pkg-config.")
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION
    "Simulator of arms under libtarnforce
Closes the loop on a physics engine, scenario by scenario, and writes a report
page of each. Exports the arms as URDF and MJCF.")
include(CPack)
