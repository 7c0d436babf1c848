# Warnings, the same for everything that is built here, and sanitizers.
add_library(tload_warnings INTERFACE)
target_compile_options(tload_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef -Wcast-align
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  # g++ 12 sees an overlap in every "text" + std::string.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(tload_warnings INTERFACE -Werror)
endif()

# What is to be looked at, and the tests, in which undefined behaviour is not looked for: they are many lines, compiled
# often.
add_library(tload_settings INTERFACE)
add_library(tload_test_settings INTERFACE)
target_link_libraries(tload_settings INTERFACE tload_warnings)
target_link_libraries(tload_test_settings INTERFACE tload_warnings)
if(TLOAD_SANITIZE)
  string(REPLACE "address,undefined" "address" TLOAD_SANITIZE_TESTS ${TLOAD_SANITIZE})
  target_compile_options(tload_settings INTERFACE
    -fsanitize=${TLOAD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(tload_test_settings INTERFACE -fsanitize=${TLOAD_SANITIZE_TESTS} -fno-omit-frame-pointer)
  target_link_options(tload_settings INTERFACE -fsanitize=${TLOAD_SANITIZE})
  target_link_options(tload_test_settings INTERFACE -fsanitize=${TLOAD_SANITIZE})
endif()
