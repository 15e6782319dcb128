include_guard(GLOBAL)

# Findings of a compiler that nobody here has seen yet must not keep users from building.
option(ZARNIK_WARNINGS_AS_ERRORS "refuse code with warnings" OFF)

# For code that is ours; generated code gets its own, shorter list.
function(zarnik_strict_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${ZARNIK_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
