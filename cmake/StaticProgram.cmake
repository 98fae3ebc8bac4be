# link_statically(TARGET): links a program without a loader and without unused parts, so that it starts
# in far less time. Does nothing for sanitizers and shared libraries, which need the loader.

include(CheckSourceRuns)

function(link_statically target)
  if(BUILD_SHARED_LIBS OR SPFCHECK_SANITIZE)
    return()
  endif()
  set_property(TARGET ${target} PROPERTY POSITION_INDEPENDENT_CODE) # it would link by -pie
  target_compile_options(${target} PRIVATE -fPIE)
  target_link_options(${target} PRIVATE -static-pie LINKER:--gc-sections)
  # The linker alone is not enough: the C library must unpack them when the program starts.
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie LINKER:-z,pack-relative-relocs)
  check_source_runs(CXX "
    int number = 0;
    int* volatile address = &number;
    int main() { return *address; }" can_pack_relocations)
  if(can_pack_relocations)
    target_link_options(${target} PRIVATE LINKER:-z,pack-relative-relocs)
  endif()
endfunction()
