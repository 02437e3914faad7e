# cmake -DSTEP=... -P UseInstalled.cmake: one step of building and running against an installed library, as somebody does
# who has nothing but the packages. Nothing in the environment helps to find anything.
unset(ENV{QRN_MODULE})
unset(ENV{LD_LIBRARY_PATH})
set(ENV{QRN_SOUND} null)
set(ENV{QRN_REGISTRY_USER} "${WORK_FOLDER}/registry/user.db")
set(ENV{QRN_REGISTRY_MACHINE} "${WORK_FOLDER}/registry/machine.db")

set(PREFIX "${WORK_FOLDER}/prefix")
set(EXAMPLES "${PREFIX}/${DOCUMENT_FOLDER}/examples")

# Runs a command; a failure of it ends the test with all that it said.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE RESULT OUTPUT_VARIABLE OUTPUT ERROR_VARIABLE ERROR)
    if(NOT RESULT EQUAL 0)
        list(JOIN ARGN " " LINE)
        message(FATAL_ERROR "${LINE}: ${RESULT}\n${OUTPUT}${ERROR}")
    endif()
    set(OUTPUT "${OUTPUT}" PARENT_SCOPE)
endfunction()

# Runs the example on a port below those that the system gives out by itself.
function(run_example PROGRAM)
    string(RANDOM LENGTH 4 ALPHABET 0123456789 NUMBER)
    math(EXPR PORT "10000 + 2 * 1${NUMBER} - 20000 + 2")
    run("${PROGRAM}" 1 ${PORT})
    if(NOT OUTPUT MATCHES "^[1-9][0-9]* packets, 0 gaps\n$")
        message(FATAL_ERROR "the example says: ${OUTPUT}")
    endif()
endfunction()

if(SANITIZER)
    set(SANITIZER_FLAG -fsanitize=${SANITIZER})
    # A sanitizer puts its own dlopen before the loader's, which then does not see that the host library is the caller
    # and that the module stands beside it. Builds without one get no such help.
    set(ENV{LD_LIBRARY_PATH} "${PREFIX}/${LIBRARY_FOLDER}")
endif()

if(STEP STREQUAL "install")
    file(REMOVE_RECURSE "${WORK_FOLDER}")
    run("${CMAKE_COMMAND}" --install "${BUILD_FOLDER}" --prefix "${WORK_FOLDER}/first")
    # An installation can be moved: nothing in it may hold the path that it was made for.
    file(RENAME "${WORK_FOLDER}/first" "${PREFIX}")
elseif(STEP STREQUAL "program")
    run("${PREFIX}/bin/qrn" inspect)
    if(NOT OUTPUT MATCHES "QRN Audio Compressor")
        message(FATAL_ERROR "qrn inspect does not list the filters:\n${OUTPUT}")
    endif()
elseif(STEP STREQUAL "pkgconfig")
    set(ENV{PKG_CONFIG_PATH} "${PREFIX}/${LIBRARY_FOLDER}/pkgconfig")
    run("${PKG_CONFIG}" --cflags qrn)
    separate_arguments(COMPILE_FLAGS UNIX_COMMAND "${OUTPUT}")
    run("${PKG_CONFIG}" --libs qrn)
    separate_arguments(LINK_FLAGS UNIX_COMMAND "${OUTPUT}")
    run("${PKG_CONFIG}" --variable=libdir qrn)
    string(STRIP "${OUTPUT}" LIBRARIES)
    run("${COMPILER}" ${SANITIZER_FLAG} ${COMPILE_FLAGS} "${EXAMPLES}/audio_call.cpp" "${EXAMPLES}/CToneSource.cpp"
        ${LINK_FLAGS} "-Wl,-rpath,${LIBRARIES}" -o "${WORK_FOLDER}/audio_call")
    run_example("${WORK_FOLDER}/audio_call")
elseif(STEP STREQUAL "cmake")
    run("${CMAKE_COMMAND}" -S "${EXAMPLES}" -B "${WORK_FOLDER}/build" "-DCMAKE_PREFIX_PATH=${PREFIX}"
        "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${SANITIZER_FLAG}")
    run("${CMAKE_COMMAND}" --build "${WORK_FOLDER}/build")
    run_example("${WORK_FOLDER}/build/audio_call")
else()
    message(FATAL_ERROR "no step '${STEP}'")
endif()
