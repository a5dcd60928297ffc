# Warnings and sanitizers shared by every target of the project.
add_library(wisp_options INTERFACE)
target_compile_options(wisp_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall -Wextra -Wpedantic -Wno-missing-field-initializers>)
target_compile_definitions(wisp_options INTERFACE QT_NO_CAST_FROM_BYTEARRAY)

# float-cast-overflow is not part of GCC's "undefined": out-of-range conversions of stored
# numbers are exactly what a hand-edited settings file or project list can hold.
if(WISP_SANITIZE)
    target_compile_options(wisp_options INTERFACE
        -fsanitize=address,undefined,float-cast-overflow -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined,float-cast-overflow)
    target_link_options(wisp_options INTERFACE -fsanitize=address,undefined,float-cast-overflow)
endif()
