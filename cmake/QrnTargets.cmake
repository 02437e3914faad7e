# How a folder becomes a target. Each folder below src/ is one static library that links only what it names here. Include
# paths are rooted at src/ and include/; packaging/check-includes.py holds the includes to the same table.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

find_program(QRN_CCACHE ccache)
if(QRN_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${QRN_CCACHE}")
endif()

add_library(qrn_build_options INTERFACE)
target_compile_options(qrn_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wcast-qual
    -Wformat=2 -Wundef -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta -Wno-thread-safety-negative>)
target_include_directories(qrn_build_options INTERFACE "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/src")
target_link_libraries(qrn_build_options INTERFACE Threads::Threads)

set(QRN_SANITIZER "" CACHE STRING "Sanitizers to build with: empty, address,undefined or thread")
if(QRN_SANITIZER)
    target_compile_options(qrn_build_options INTERFACE
        -fsanitize=${QRN_SANITIZER} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # g++ 12 takes the regular expressions of its own library for uninitialised when it builds for a sanitizer.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(qrn_build_options INTERFACE -fsanitize=${QRN_SANITIZER})
    target_compile_definitions(qrn_build_options INTERFACE QRN_SANITIZED=1)
    if(QRN_SANITIZER MATCHES address)
        # libavcodec and what it brings leave 12 kB on the heap each time they are loaded, which counts as a leak once the
        # module is unloaded and takes them along. Loaded with the program they are loaded once and stay.
        target_link_options(qrn_build_options INTERFACE "LINKER:--push-state,--no-as-needed,-lavcodec,--pop-state")
    endif()
endif()

# qrn_add_folder(<folder> SOURCES ... LINK ...): the static library qrn_<folder> of src/<folder>; a slash becomes an
# underscore. LINK names the folders and imported targets that it may use.
function(qrn_add_folder FOLDER)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK;LINK_PRIVATE" ${ARGN})
    string(REPLACE "/" "_" NAME "qrn_${FOLDER}")
    if(ARG_SOURCES)
        add_library(${NAME} STATIC ${ARG_SOURCES})
        target_link_libraries(${NAME} PUBLIC qrn_build_options ${ARG_LINK} PRIVATE ${ARG_LINK_PRIVATE})
    else()
        add_library(${NAME} INTERFACE)
        target_link_libraries(${NAME} INTERFACE qrn_build_options ${ARG_LINK})
    endif()
endfunction()

# qrn_add_test(<name> SOURCES ... LINK ... [TIMEOUT seconds] [LABELS ...]): the GoogleTest program test_<name>, each of
# its cases a ctest test. They see an empty registry: what whoever runs the tests has registered is not theirs.
function(qrn_add_test NAME)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    set(REGISTRY "${CMAKE_BINARY_DIR}/tests/no-registry")
    add_executable(test_${NAME} ${ARG_SOURCES})
    target_link_libraries(test_${NAME} PRIVATE qrn_build_options ${ARG_LINK} GTest::gmock GTest::gtest_main)
    gtest_discover_tests(test_${NAME} TEST_PREFIX "${NAME}." DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${ARG_TIMEOUT}
        # As two properties of one entry each, since a list does not come through here as one.
        ENVIRONMENT "QRN_REGISTRY_USER=${REGISTRY}/user.db"
        ENVIRONMENT_MODIFICATION "QRN_REGISTRY_MACHINE=set:${REGISTRY}/machine.db"
        LABELS "${ARG_LABELS}")
endfunction()
