# Warnings are errors for every target of this project (never for dependencies).
function(tessik_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
