# One set of warnings for everything that is compiled here.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(VESK_WERROR)
  add_compile_options(-Werror)
endif()
