# orvenlink_driver(<folder> [FAKE <name>] [OPTION <option> LIBRARY <module> PACKAGE <package> RECEIVERS <text>])
# A row of the table of drivers: src/RadioDevice/<folder> with <folder>Enumerator and <folder>RadioDevice, a layer of
# its own. FAKE is the folder below tests/fakes of what takes its library's place. OPTION, on by default, builds it
# with the pkg-config module LIBRARY, of Debian's PACKAGE: that is the target PkgConfig::<option>_LIBRARY then.
# ORVENLINK_VENDORS=OFF leaves out all that have an option which isn't given by itself.
# Afterwards ORVENLINK_DRIVERS has the folders of the drivers that are built, ORVENLINK_FAKES their fakes.
option(ORVENLINK_VENDORS "Serve receivers through the libraries of their vendors" ON)
set(ORVENLINK_DRIVERS)
set(ORVENLINK_FAKES)
function(orvenlink_driver folder)
  cmake_parse_arguments(DRIVER "" "FAKE;OPTION;LIBRARY;PACKAGE;RECEIVERS" "" ${ARGN})
  if(DRIVER_OPTION)
    option(${DRIVER_OPTION} "Serve ${DRIVER_RECEIVERS} through ${DRIVER_LIBRARY}" ${ORVENLINK_VENDORS})
    if(NOT ${DRIVER_OPTION})
      return()
    endif()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(${DRIVER_OPTION}_LIBRARY QUIET IMPORTED_TARGET GLOBAL ${DRIVER_LIBRARY})
    if(NOT ${DRIVER_OPTION}_LIBRARY_FOUND)
      message(FATAL_ERROR "${DRIVER_LIBRARY} is missing: install the package ${DRIVER_PACKAGE}, "
        "or leave ${DRIVER_RECEIVERS} out by -D${DRIVER_OPTION}=OFF")
    endif()
  endif()
  set(ORVENLINK_DRIVERS ${ORVENLINK_DRIVERS} ${folder} PARENT_SCOPE)
  set(ORVENLINK_FAKES ${ORVENLINK_FAKES} ${DRIVER_FAKE} PARENT_SCOPE)
endfunction()
