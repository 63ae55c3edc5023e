# What is shipped: hardened as Debian hardens (dpkg-buildflags with hardening=+all), and the same
# bytes wherever it is built.
include(CheckCXXCompilerFlag)

add_compile_options(-Wformat -Werror=format-security -Werror=date-time -fstack-protector-strong
  -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
add_link_options(LINKER:-z,relro,-z,now)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# What not every processor or compiler has. The older of 32 bits cannot run the first.
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(flowProtections -fcf-protection -mbranch-protection=standard)
endif()
foreach(flag ${flowProtections} -fstack-clash-protection)
  string(MAKE_C_IDENTIFIER has${flag} has)
  check_cxx_compiler_flag("-Werror ${flag}" ${has})
  if(${has})
    add_compile_options(${flag})
  endif()
endforeach()
