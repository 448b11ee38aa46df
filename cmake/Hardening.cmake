# Defences for every target that links dirty_seg_options. None of them touches an arithmetic
# instruction. tests/install/hardening_test.sh looks for each in what is installed.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)  # programs too, so that the loader can place them anywhere

target_compile_options(dirty_seg_options INTERFACE -fstack-protector-strong)
# glibc checks lengths only in optimised code, and the sanitizers see more without it.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_options(dirty_seg_options INTERFACE
    "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
# Relocations are resolved when the library is loaded and read-only from then on.
target_link_options(dirty_seg_options INTERFACE
  LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
