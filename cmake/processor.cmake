# The processor that the compilers make programs for.
include(CheckCXXSourceCompiles)

check_cxx_source_compiles("
#if !defined(__i386__) && !defined(__x86_64__) || defined(__x86_64__) && defined(__ILP32__)
#error
#endif
int main() {}" ORV_IS_X86)
if(NOT ORV_IS_X86)
  message(FATAL_ERROR "libOrv is for 32-bit x86 and x86-64; ${CMAKE_CXX_COMPILER} makes programs for something else")
endif()
if(NOT CMAKE_C_SIZEOF_DATA_PTR EQUAL CMAKE_CXX_SIZEOF_DATA_PTR)
  message(FATAL_ERROR "The C and the C++ compiler make programs of different word sizes")
endif()

# The assembler takes after the compilers, however these were told their word size.
math(EXPR ORV_WORD_BITS "8 * ${CMAKE_CXX_SIZEOF_DATA_PTR}")
string(PREPEND CMAKE_ASM_FLAGS "-m${ORV_WORD_BITS} ")
