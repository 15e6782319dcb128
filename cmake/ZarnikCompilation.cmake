# What every target of the tree is compiled with.
include_guard(GLOBAL)

if(NOT CMAKE_CXX_STANDARD)
  set(CMAKE_CXX_STANDARD 20)
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# A changed body of the library changes no user of it: do not link those again.
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)

if(NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(ZARNIK_CCACHE ccache)
  if(ZARNIK_CCACHE)
    # What a file includes is taken from the compiler's own list, which spares a run of the preprocessor for each file.
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_DEPEND=true
      CCACHE_SLOPPINESS=pch_defines,time_macros "${ZARNIK_CCACHE}")
  endif()
endif()

option(ZARNIK_SANITIZE "build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(ZARNIK_SANITIZE_THREADS "build with ThreadSanitizer" OFF)
option(ZARNIK_FUZZ "build for libFuzzer, which takes clang" OFF)
if(ZARNIK_FUZZ)
  add_compile_options(-O1 -g1 -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZARNIK_SANITIZE)
  # Line numbers are all that a report needs; more optimization costs the build minutes and hides faults.
  add_compile_options(-O1 -g1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZARNIK_SANITIZE_THREADS)
  add_compile_options(-O1 -g1 -fsanitize=thread)
  add_link_options(-fsanitize=thread)
endif()

# Clang takes no precompiled headers of another level of optimization, and GCC warns of faults that are none where it
# checks code that was.
if(ZARNIK_SANITIZE OR ZARNIK_SANITIZE_THREADS OR ZARNIK_FUZZ OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()
