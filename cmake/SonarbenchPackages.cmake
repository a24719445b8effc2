# The Debian packages, one per component; scripts/packages makes them. They are configured for the prefix /usr, because
# the programs contain the paths to each other.
set(SONARBENCH_CONTACT "sonarbench maintainers <maintainers@sonarbench.example>" CACHE STRING
    "Name and address of the packages' maintainer")

# The date of SOURCE_DATE_EPOCH, if that is set.
string(TIMESTAMP SONARBENCH_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/debian/changelog.in ${CMAKE_BINARY_DIR}/changelog @ONLY)

# sonarbench_package(COMPONENT NAME DEPENDS SUMMARY TEXT): a package, with the fields that Debian requires.
macro(sonarbench_package component name depends summary text)
  sonarbench_install_compressed(${CMAKE_BINARY_DIR}/changelog ${CMAKE_INSTALL_DATADIR}/doc/${name} ${component})
  install(FILES packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
endmacro()

sonarbench_package(
  sonarbench sonarbench "" "${PROJECT_DESCRIPTION}"
  "sonarbench runs one test of the production line on a sonar product's own\n\
computer: it switches the sonar on, talks to its FPGA, and prints what it\n\
observed and a verdict for the test station. sonarbench-trace records such a\n\
run, so that it can be repeated without the product.")
# No ELF header names the programs that the virtual unit starts and the library that it loads: umockdev for its device
# nodes, and bubblewrap or proot for its file system, whichever the machine permits. The same goes for Qt's drivers for
# the results database.
if(SONARBENCH_SIMULATOR)
  sonarbench_package(
    tools sonarbench-tools
    "sonarbench (= ${PROJECT_VERSION}), bubblewrap (>= ${SONARBENCH_BUBBLEWRAP_VERSION}), \
libqt6sql6-psql, libqt6sql6-sqlite, proot, umockdev (>= \
${SONARBENCH_UMOCKDEV_VERSION})"
    "virtual sonar unit and test station program for sonarbench"
    "sonarbench-sim runs the unmodified sonarbench on a simulated product, with\n\
faults on demand, traces and their replay; sonarbench-station judges what the\n\
program printed. With them come table files, scripts and programs as\n\
examples, the documentation, and completion for bash.")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${SONARBENCH_CONTACT}")
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
# Each description begins with its own summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps takes the libraries from here, and their packages' symbols and shlibs from DEBIAN next to them. It
  # finds the tools of the architecture through DEB_HOST_ARCH.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE $ENV{DEB_HOST_ARCH})
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}
                                                  ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
include(CPack)
