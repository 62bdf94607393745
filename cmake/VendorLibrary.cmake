# orvenlink_vendor_library(<option> <module> <package> <receivers>)
# Declares the option, on by default, that builds the driver of <receivers>. Its library is the pkg-config
# module <module>, of Debian's <package>: afterwards it is the target PkgConfig::<option>_LIBRARY.
# The option's name is also what the code is compiled with: see Core/RadioDevice.
macro(orvenlink_vendor_library option module package receivers)
  option(${option} "Serve ${receivers} through ${module}" ON)
  if(${option})
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(${option}_LIBRARY QUIET IMPORTED_TARGET GLOBAL ${module})
    if(NOT ${option}_LIBRARY_FOUND)
      message(FATAL_ERROR
        "${module} is missing: install the package ${package}, or leave ${receivers} out by -D${option}=OFF")
    endif()
  endif()
endmacro()
