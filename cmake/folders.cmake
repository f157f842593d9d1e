# Where an installed copy's files are. Both word sizes may share a prefix: 32-bit libraries of a 64-bit system have a
# folder of their own. Where 64-bit ones are in lib64, that is lib already.
if(PROJECT_IS_TOP_LEVEL AND ORV_WORD_BITS EQUAL 32 AND CMAKE_HOST_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64)$"
   AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
  set(folder lib)
  if(EXISTS /etc/debian_version AND CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
    set(folder lib/i386-linux-gnu)
  elseif(EXISTS /etc/debian_version OR EXISTS /etc/arch-release OR EXISTS /etc/alpine-release)
    set(folder lib32)
  endif()
  set(CMAKE_INSTALL_LIBDIR ${folder} CACHE PATH "Object code libraries")
  # Debian's CMake looks into lib only, but there for every name that begins so.
  set(ORV_INSTALL_CMAKEDIR lib/cmake/orv-i386 CACHE PATH "CMake's package")
endif()
include(GNUInstallDirs)
set(ORV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/orv CACHE PATH "CMake's package")
