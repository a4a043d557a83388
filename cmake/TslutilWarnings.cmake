# SPDX-License-Identifier: MIT
# Warnings and sanitizers, for every target of this project and for none of its users.

function(tslutil_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(TSLUTIL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(TSLUTIL_SANITIZE)
  add_compile_options(-fsanitize=${TSLUTIL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TSLUTIL_SANITIZE})
endif()
