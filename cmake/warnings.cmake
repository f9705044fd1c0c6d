# Compile settings shared by every target of this tree; nothing here reaches a user's build.
add_library(kxcert_settings INTERFACE)
target_compile_options(kxcert_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wundef
  -Wno-invalid-offsetof)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(kxcert_settings INTERFACE -Wthread-safety)
endif()
target_compile_definitions(kxcert_settings INTERFACE OPENSSL_API_COMPAT=0x10101000L)
# Of what is installed.
add_library(kxcert_strict INTERFACE)
target_link_libraries(kxcert_strict INTERFACE kxcert_settings)
target_compile_options(kxcert_strict INTERFACE -Wconversion -Wsign-conversion)
if(KXCERT_WERROR)
  target_compile_options(kxcert_settings INTERFACE -Werror)
endif()
# With this flag the sanitizers would see no signed overflow.
if(NOT KXCERT_SANITIZE)
  target_compile_options(kxcert_settings INTERFACE -fno-strict-overflow)
endif()
if(KXCERT_SANITIZE)
  target_compile_options(kxcert_settings INTERFACE
    -fsanitize=${KXCERT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
  target_link_options(kxcert_settings INTERFACE -fsanitize=${KXCERT_SANITIZE})
endif()
# Where gcc 12 instruments, and for 32 bits, it sees bounds inside std::string broken that are kept.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND (KXCERT_SANITIZE OR CMAKE_SIZEOF_VOID_P EQUAL 4))
  target_compile_options(kxcert_settings INTERFACE -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread -Wno-restrict)
endif()
