# The linker's option for a run path, which CMake sets only where it can ask macOS itself for its version.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG -Wl,-rpath,)
