# The oldest macOS that wisp runs on: the compiler's deployment target and the bundle's
# LSMinimumSystemVersion. Included before project(), where the toolchain reads it.
set(CMAKE_OSX_DEPLOYMENT_TARGET "12.0" CACHE STRING "The oldest macOS that wisp runs on")
