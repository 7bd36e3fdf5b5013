# Warnings are errors everywhere in our own code.
add_library(tavkelo_warnings INTERFACE)
target_compile_options(tavkelo_warnings INTERFACE -Wall -Wextra -Wpedantic -Werror)
