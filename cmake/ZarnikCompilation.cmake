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
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ZARNIK_CCACHE}")
  endif()
endif()

option(ZARNIK_SANITIZE "build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(ZARNIK_SANITIZE_THREADS "build with ThreadSanitizer" OFF)
if(ZARNIK_SANITIZE)
  # Line numbers are all that a report needs; more optimization costs the build minutes and hides faults.
  add_compile_options(-O1 -g1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZARNIK_SANITIZE_THREADS)
  add_compile_options(-O1 -g1 -fsanitize=thread)
  add_link_options(-fsanitize=thread)
endif()
