# 32-bit programs with the multilib compiler of a 64-bit system.
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
