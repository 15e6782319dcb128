include_guard(GLOBAL)

# Warnings are errors in code that is ours; generated code gets its own, shorter list.
function(zarnik_strict_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
endfunction()
