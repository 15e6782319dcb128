# cmake -DBUILD=<build folder> -DCOMPILER=<c++> -DFOLDER=<scratch folder> -P consumer.cmake
# Installs what was built to a folder of its own, builds a program with that alone and runs it.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${output}")
  endif()
endfunction()

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH library)
set(example "${library}/../examples/consumer")
set(prefix "${FOLDER}/prefix")
file(REMOVE_RECURSE "${prefix}")
run(${CMAKE_COMMAND} --install "${BUILD}" --component library --prefix "${prefix}")
run(${CMAKE_COMMAND} --install "${BUILD}" --component development --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${example}" -B "${FOLDER}/build" -G Ninja -DHEADERS_ALONE=ON
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_PREFIX_PATH=${prefix}")
run(${CMAKE_COMMAND} --build "${FOLDER}/build")
run("${FOLDER}/build/consumer")

# A program of an older standard is told so in the first line.
file(GLOB_RECURSE export "${prefix}/Export.h")
execute_process(COMMAND "${COMPILER}" -std=c++17 -fsyntax-only -x c++ "${export}"
                RESULT_VARIABLE result ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "zarnik needs C\\+\\+20")
  message(FATAL_ERROR "C++17 is not refused: ${output}")
endif()
