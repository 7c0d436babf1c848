# Warnings and sanitizers, the same for everything that is built here.
add_library(tload_settings INTERFACE)
target_compile_options(tload_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef -Wcast-align
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  # g++ 12 sees an overlap in every "text" + std::string.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(tload_settings INTERFACE -Werror)
endif()
if(TLOAD_SANITIZE)
  target_compile_options(tload_settings INTERFACE
    -fsanitize=${TLOAD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tload_settings INTERFACE -fsanitize=${TLOAD_SANITIZE})
endif()
