# What every target of the tree is compiled with.
include_guard(GLOBAL)

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
if(ZARNIK_SANITIZE)
  # Line numbers are all that a report needs; more optimization costs the build minutes and hides faults.
  add_compile_options(-O1 -g1 -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
