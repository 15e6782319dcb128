# Runs SWIG, preferring the release that the build requirements bring over one of the system.
include_guard(GLOBAL)

function(zarnik_find_swig)
  execute_process(
    COMMAND "${Python_EXECUTABLE}" -c "import os, swig; print(os.path.join(swig.BIN_DIR, 'swig') + ';' + os.environ['SWIG_LIB'])"
    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  if(NOT failed)
    list(GET found 0 executable)
    list(GET found 1 library)
    set(command "${CMAKE_COMMAND}" -E env "SWIG_LIB=${library}" "${executable}")
  else()
    find_program(ZARNIK_SWIG NAMES swig4.3 swig REQUIRED)
    set(executable "${ZARNIK_SWIG}")
    set(command "${ZARNIK_SWIG}")
  endif()
  execute_process(COMMAND ${command} -version OUTPUT_VARIABLE version RESULT_VARIABLE failed)
  # The texts of errors and docstrings are those of 4.3, and so is the table of types shared between modules.
  if(failed OR NOT version MATCHES "SWIG Version 4\\.3\\.")
    message(FATAL_ERROR "SWIG 4.3 is needed (pip install 'swig>=4.3,<4.4'), ${executable} is another release")
  endif()
  set(ZARNIK_SWIG_COMMAND "${command}" PARENT_SCOPE)
  set(ZARNIK_SWIG_EXECUTABLE "${executable}" PARENT_SCOPE)
endfunction()

# zarnik_swig(<interface> SHADOW <module.py> OUTPUT <variable> [OPTIONS <flags>...])
# Generates python/<module.py> and a .cpp, whose path goes to the variable, in the current build folder; again whenever
# a file that the interface includes has changed.
function(zarnik_swig interface)
  cmake_parse_arguments(arg "" "SHADOW;OUTPUT" "OPTIONS" ${ARGN})
  zarnik_find_swig()
  cmake_path(GET interface STEM name)
  set(generated "${CMAKE_CURRENT_BINARY_DIR}/generated/${name}_wrap.cpp")
  set(shadowDirectory "${CMAKE_CURRENT_BINARY_DIR}/python")
  file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/generated" "${shadowDirectory}")
  add_custom_command(
    OUTPUT "${generated}" "${shadowDirectory}/${arg_SHADOW}"
    COMMAND ${ZARNIK_SWIG_COMMAND} -c++ -python ${arg_OPTIONS} -Werror
            "-I${PROJECT_SOURCE_DIR}/interface" "-I${PROJECT_SOURCE_DIR}/library/include" "-I${PROJECT_SOURCE_DIR}/src"
            -outdir "${shadowDirectory}" -MMD -MF "${generated}.d" -o "${generated}"
            "${CMAKE_CURRENT_SOURCE_DIR}/${interface}"
    COMMAND "${Python_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/tools/shadow.py" "${shadowDirectory}/${arg_SHADOW}"
    DEPENDS "${interface}" "${ZARNIK_SWIG_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/tools/shadow.py"
    DEPFILE "${generated}.d"
    COMMENT "Generating the flat layer from ${interface}"
    VERBATIM)
  # Generated code is not held to our warnings. It moves pointers through void * of many types, and is all glue:
  # optimizing it further costs minutes and wins nothing, and -Og takes two thirds of the time of -O1.
  set_source_files_properties("${generated}" PROPERTIES COMPILE_OPTIONS "-w;-Og;-fno-strict-aliasing")
  set(${arg_OUTPUT} "${generated}" PARENT_SCOPE)
endfunction()

# zarnik_swig_runtime(OUTPUT <variable>)
# Generates the header that declares what all modules of the generator share, and puts its path into the variable.
function(zarnik_swig_runtime)
  cmake_parse_arguments(arg "" "OUTPUT" "" ${ARGN})
  zarnik_find_swig()
  set(header "${CMAKE_CURRENT_BINARY_DIR}/generated/runtime/swigpyrun.h")
  file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/generated/runtime")
  add_custom_command(
    OUTPUT "${header}"
    COMMAND ${ZARNIK_SWIG_COMMAND} -c++ -python -external-runtime "${header}"
    DEPENDS "${ZARNIK_SWIG_EXECUTABLE}"
    COMMENT "Generating what modules share"
    VERBATIM)
  set(${arg_OUTPUT} "${header}" PARENT_SCOPE)
endfunction()
