# The suite alone, on somebody's own framework. One executable, `conformance`: ctest runs each of its tests as a process
# of its own, and run.py does so where there is no CMake (on the target).

set(CONFORMANCE_FRAMEWORK_INCLUDE_DIR "" CACHE PATH "Folder that holds the framework's VQFramework/ headers")
set(CONFORMANCE_FRAMEWORK_LIBRARIES "" CACHE STRING "What to link: files or linker options, as a list")
set(CONFORMANCE_ADAPTER "" CACHE STRING "Sources that define what Framework.h declares, as a list")
option(CONFORMANCE_PROCESSES "Test what only several processes show; the product needs it" ON)
set(CONFORMANCE_TEST_TIMEOUT 60 CACHE STRING "Seconds that one test may take")

foreach(needed CONFORMANCE_FRAMEWORK_INCLUDE_DIR CONFORMANCE_FRAMEWORK_LIBRARIES CONFORMANCE_ADAPTER)
  if(NOT ${needed})
    message(FATAL_ERROR "${needed} is missing; docs/porting-guide.md tells what it is")
  endif()
endforeach()
if(NOT EXISTS ${CONFORMANCE_FRAMEWORK_INCLUDE_DIR}/VQFramework/Observer/VQSubject.h)
  message(FATAL_ERROR "there is no VQFramework/Observer/VQSubject.h below '${CONFORMANCE_FRAMEWORK_INCLUDE_DIR}'")
endif()
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_package(GTest REQUIRED)
find_package(Threads REQUIRED)

# Sources say "tests/...", and nothing else of this tree may come in: a header that the framework lacks must be missing.
set(only_tests ${CMAKE_CURRENT_BINARY_DIR}/only_tests)
file(MAKE_DIRECTORY ${only_tests})
file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/.. ${only_tests}/tests SYMBOLIC)

set(support ${CMAKE_CURRENT_SOURCE_DIR}/../support)
# Relative to where cmake was called, not to this folder.
set(adapter "")
foreach(source IN LISTS CONFORMANCE_ADAPTER)
  get_filename_component(source ${source} ABSOLUTE BASE_DIR $ENV{PWD})
  list(APPEND adapter ${source})
endforeach()
set(CONFORMANCE_ADAPTER ${adapter} CACHE STRING "Sources that define what Framework.h declares, as a list" FORCE)
if(NOT CONFORMANCE_PROCESSES)
  set(conformance_process_sources "")
  message(NOTICE "No test of several processes: what is green then is not all that the product needs")
endif()
add_executable(conformance
  ${conformance_sources} ${conformance_process_sources} ${CONFORMANCE_ADAPTER}
  ${support}/child.cpp ${support}/main.cpp ${support}/private_shm.cpp ${support}/roles.cpp ${support}/wait_until.cpp)
target_compile_features(conformance PRIVATE cxx_std_17)
target_include_directories(conformance PRIVATE ${CONFORMANCE_FRAMEWORK_INCLUDE_DIR} ${only_tests})
target_link_libraries(conformance PRIVATE
  ${CONFORMANCE_FRAMEWORK_LIBRARIES} GTest::gtest GTest::gmock Threads::Threads)

enable_testing()
include(GoogleTest)
gtest_discover_tests(conformance NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
  PROPERTIES TIMEOUT ${CONFORMANCE_TEST_TIMEOUT})
