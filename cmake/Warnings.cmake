# Warnings for every target of this project (never for dependencies). They
# become errors only when the developer asks for it (TESSIK_WERROR, which the
# project's own scripts and CI turn on), so that a consumer or packager with
# another compiler or other flags can always build.
function(tessik_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(TESSIK_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
