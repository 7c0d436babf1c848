# Warnings and sanitizers, the same for everything that is built here.
add_library(tload_settings INTERFACE)
target_compile_options(tload_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef -Wcast-align -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(TLOAD_SANITIZE)
  target_compile_options(tload_settings INTERFACE
    -fsanitize=${TLOAD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tload_settings INTERFACE -fsanitize=${TLOAD_SANITIZE})
endif()
