# 64-bit Windows by Debian's clang and lld, with the headers and the runtime of the other toolchain for it, which clang does
# not find by itself, nor how the runtime compares types. Nothing of the host's own headers may be seen.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

execute_process(COMMAND x86_64-w64-mingw32-g++-posix -print-file-name=include/c++
                OUTPUT_VARIABLE headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET headers PARENT_PATH runtime)
cmake_path(GET runtime PARENT_PATH runtime)
set(CMAKE_C_FLAGS_INIT "--start-no-unused-arguments -nostdlibinc --end-no-unused-arguments -idirafter /usr/x86_64-w64-mingw32/include")
string(CONCAT CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -isystem ${headers} -isystem ${headers}/x86_64-w64-mingw32"
       " -isystem ${headers}/backward -D__GXX_TYPEINFO_EQUALITY_INLINE=0")
foreach(kind EXE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${runtime} -L${runtime} -lpthread")
endforeach()
