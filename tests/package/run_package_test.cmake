# Installs the built library into a scratch prefix, then configures, builds
# and runs a host project that finds it with find_package(kwrender).
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${WORK_DIR}/build
                        -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
                        -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configuring the host project failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "building the host project failed: ${rc}")
endif()
execute_process(COMMAND ${WORK_DIR}/build/host RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "the host program failed: ${rc}")
endif()
