# The loops over pixels and their tests alone. They need none of the libraries that the rest stands
# on, of Highway only its headers, so they can be built for a processor whose packages are not
# there. GoogleTest is built from Debian's sources of it.
add_subdirectory(/usr/src/googletest googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

add_executable(KernelTests
    Platform/Compositor/PixelKernels.cpp
    Platform/Compositor/PixelTables.cpp
    Platform/Compositor/PlainPixelKernels.cpp
    Tests/Platform/Compositor/PixelKernelsTest.cpp)
target_compile_definitions(KernelTests PRIVATE LUMIVERA_PLATFORM_BUILD)
target_link_libraries(KernelTests PRIVATE GTest::gtest_main)
gtest_discover_tests(KernelTests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300)
