# Warnings for our own code. The presets (and so CI) make them errors with TAVKELO_WERROR; a plain
# build leaves them warnings, so that a compiler's false alarm does not stop someone else's build.
option(TAVKELO_WERROR "Treat warnings in our own code as errors" OFF)
add_library(tavkelo_warnings INTERFACE)
target_compile_options(tavkelo_warnings INTERFACE -Wall -Wextra -Wpedantic
                                                  $<$<BOOL:${TAVKELO_WERROR}>:-Werror>)
