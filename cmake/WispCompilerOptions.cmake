# Warnings and sanitizers shared by every target of the project.
add_library(wisp_options INTERFACE)
target_compile_options(wisp_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall -Wextra -Wpedantic -Wno-missing-field-initializers>)
target_compile_definitions(wisp_options INTERFACE QT_NO_CAST_FROM_BYTEARRAY)
# libstdc++ 12's std::stable_sort calls its own deprecated std::get_temporary_buffer, which Clang
# reports where our code sorts; it stays a warning where warnings are otherwise errors.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(wisp_options INTERFACE -Wno-error=deprecated-declarations)
endif()

# Nothing links against wisp's programs, so they export none of their symbols. That matters for
# the statics of inline templates they share with Qt's and QCoro's libraries (the argument type
# table of a queued connection, say): a program's exported copy takes the library's place, and a
# library built by another compiler (Debian's GCC-built QCoro under a Clang build) may have put
# part of it in place statically and only initialise the rest, leaving the shared copy half set.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# float-cast-overflow is not part of GCC's "undefined": out-of-range conversions of stored
# numbers are exactly what a hand-edited settings file or project list can hold.
if(WISP_SANITIZE)
    target_compile_options(wisp_options INTERFACE
        -fsanitize=address,undefined,float-cast-overflow -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined,float-cast-overflow)
    target_link_options(wisp_options INTERFACE -fsanitize=address,undefined,float-cast-overflow)
endif()
