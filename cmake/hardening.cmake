# What compiler and linker do against faults that get past everything else, for all that this tree builds.
# tests/install/hardening_test.sh reads it off the files.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

target_compile_options(kxcert_settings INTERFACE -fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection)   # the second one is x86's
  string(MAKE_C_IDENTIFIER "KXCERT_HAS${flag}" kxcert_has_flag)
  check_cxx_compiler_flag("${flag} -Werror" ${kxcert_has_flag})
  if(${kxcert_has_flag})
    target_compile_options(kxcert_settings INTERFACE ${flag})
  endif()
endforeach()

# Names are resolved at the start, and what they resolve to is read-only from then on. Doing it at the first call would
# also save the vector registers on the stack, with what was last copied through them, and that may be a key.
target_link_options(kxcert_settings INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

# The C library's checked functions. They want optimization, stand in the sanitizers' way, and some compilers and
# packagers ask for them by themselves: then theirs counts. Level 3 is for compilers that know the sizes of what was
# allocated; the C library says whether this is one.
if(NOT KXCERT_SANITIZE)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" kxcert_build_type)
  foreach(level 3 2)
    unset(KXCERT_FORTIFY_${level} CACHE)   # the flags may be others than they were
    set(CMAKE_REQUIRED_FLAGS "${CMAKE_CXX_FLAGS_${kxcert_build_type}}")
    check_cxx_source_compiles("
      #if !defined __OPTIMIZE__ || defined _FORTIFY_SOURCE || defined __SANITIZE_ADDRESS__
      #error not here
      #endif
      #define _FORTIFY_SOURCE ${level}
      #include <cstdio>
      #if __USE_FORTIFY_LEVEL != ${level}
      #error not this level
      #endif
      int main() {}" KXCERT_FORTIFY_${level})
    unset(CMAKE_REQUIRED_FLAGS)
    if(KXCERT_FORTIFY_${level})
      target_compile_definitions(kxcert_settings INTERFACE _FORTIFY_SOURCE=${level})
      break()
    endif()
  endforeach()
endif()
