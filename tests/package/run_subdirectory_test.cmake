# Configures, builds and runs the add_subdirectory host (static and shared).
foreach(shared ON OFF)
  set(build ${WORK_DIR}/shared-${shared})
  file(REMOVE_RECURSE ${build})
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/subdirectory -B ${build}
                  -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} -DKWR_SOURCE_DIR=${SOURCE_DIR}
                  -DBUILD_SHARED_LIBS=${shared} -DCMAKE_BUILD_TYPE=Release
                  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON
                  RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "configuring the add_subdirectory host failed (shared ${shared}): ${rc}")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} --target host RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "building the add_subdirectory host failed (shared ${shared}): ${rc}")
  endif()
  execute_process(COMMAND ${build}/host RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "the add_subdirectory host failed (shared ${shared}): ${rc}")
  endif()
endforeach()
