# Installs the built library into a scratch prefix, then configures, builds
# and runs a host project that finds it with find_package(kwrender).
# Cross builds pass TOOLCHAIN (the same toolchain file) and EMULATOR (how to
# run the host program); the DLL is copied next to the Windows program.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
set(configure_args -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix)
if(TOOLCHAIN)
  # The cross toolchain confines package search to the MinGW root; name the
  # package folder directly, as a cross-compiling host would.
  list(APPEND configure_args -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
       -Dkwrender_DIR=${WORK_DIR}/prefix/lib/cmake/kwrender)
else()
  list(APPEND configure_args -DCMAKE_CXX_COMPILER=${CXX})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${WORK_DIR}/build ${configure_args}
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configuring the host project failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "building the host project failed: ${rc}")
endif()
if(EXISTS ${WORK_DIR}/prefix/bin/kwrender.dll)
  file(COPY ${WORK_DIR}/prefix/bin/kwrender.dll DESTINATION ${WORK_DIR}/build)
  set(host ${WORK_DIR}/build/host.exe)
else()
  set(host ${WORK_DIR}/build/host)
endif()
execute_process(COMMAND ${EMULATOR} ${host} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "the host program failed: ${rc}")
endif()
# The installed tool starts from the scratch prefix, finding the library
# beside it with no search path set.
if(NOT TOOLCHAIN)
  execute_process(COMMAND ${WORK_DIR}/prefix/bin/kwrimage --help RESULT_VARIABLE rc OUTPUT_QUIET)
  if(rc)
    message(FATAL_ERROR "the installed kwrimage did not start: ${rc}")
  endif()
endif()
