# Defines spfcheck_options, the warnings and sanitizers of every target, and spfcheck_hardened, which
# adds hardening for the targets that are delivered. Users of the libraries inherit neither.

include(CheckCXXCompilerFlag)
include(CheckPIESupported)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported(LANGUAGES CXX)

add_library(spfcheck_options INTERFACE)
add_library(spfcheck_hardened INTERFACE)
target_link_libraries(spfcheck_hardened INTERFACE spfcheck_options)

target_compile_options(spfcheck_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  # Assertion texts name a source by its path relative to the repository's root.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
if(SPFCHECK_WARNINGS_AS_ERRORS)
  target_compile_options(spfcheck_options INTERFACE -Werror)
endif()

# A program can leave out the parts of a library that it does not need.
target_compile_options(spfcheck_hardened INTERFACE -ffunction-sections -fdata-sections)

if(SPFCHECK_COVERAGE)
  target_compile_options(spfcheck_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(spfcheck_options INTERFACE --coverage)
endif()

if(SPFCHECK_SANITIZE)
  target_compile_options(spfcheck_options INTERFACE
    -fsanitize=${SPFCHECK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(spfcheck_options INTERFACE -fsanitize=${SPFCHECK_SANITIZE})
  # With sanitizers, g++ 12 reports parts of the standard library's <regex> as uninitialized.
  target_compile_options(spfcheck_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
else()
  # Hardens as Debian does for its packages. Sanitizers have checks of their own instead.
  target_compile_options(spfcheck_hardened INTERFACE -fstack-protector-strong)
  foreach(flag -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "has${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      target_compile_options(spfcheck_hardened INTERFACE ${flag})
    endif()
  endforeach()
  # _FORTIFY_SOURCE works only in optimized code.
  target_compile_options(spfcheck_hardened INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(spfcheck_hardened INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()
