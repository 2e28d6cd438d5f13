# The one place for compiler and linker flags: an interface target of our own that every target of
# this project links privately.
add_library(posteffect_flags INTERFACE)

set(posteffect_warnings
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor
    -Wold-style-cast -Wcast-align -Wformat=2 -Wnull-dereference -Wimplicit-fallthrough
    -Wfloat-conversion -Wdouble-promotion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND posteffect_warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op
       -Wuseless-cast)
else()
  list(APPEND posteffect_warnings -Wthread-safety)
endif()

target_compile_options(posteffect_flags INTERFACE
    ${posteffect_warnings} -fvisibility=hidden -fvisibility-inlines-hidden
    -fstack-protector-strong -fstack-clash-protection)
target_link_options(posteffect_flags INTERFACE
    LINKER:-z,relro,-z,now,-z,noexecstack,-z,separate-code,--as-needed)

if(POSTEFFECT_SANITIZE)
  target_compile_options(posteffect_flags INTERFACE
      -fsanitize=${POSTEFFECT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(posteffect_flags INTERFACE -fsanitize=${POSTEFFECT_SANITIZE})
  if(POSTEFFECT_SANITIZE MATCHES "address" AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # What GCC says of itself.
    target_compile_definitions(posteffect_flags INTERFACE __SANITIZE_ADDRESS__=1)
  endif()
else()
  # Built files say nothing of the folder they were built in: packages come out the same anywhere.
  target_compile_options(posteffect_flags INTERFACE
      $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS
      -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=>)
endif()
