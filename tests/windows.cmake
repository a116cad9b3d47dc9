# Debian has GoogleTest's sources for other systems than its own. Their warnings are not ours.
add_subdirectory(/usr/src/googletest googletest EXCLUDE_FROM_ALL)
foreach(library gtest gmock gmock_main)
  target_compile_options(${library} PRIVATE -w)
endforeach()

function(ksigil_test source)
  get_filename_component(program ${source} NAME_WE)
  add_executable(${program} ${source})
  target_link_libraries(${program} PRIVATE ${ARGN} GTest::gmock_main)
  target_include_directories(${program} PRIVATE windows)
  add_test(NAME ${program} COMMAND ${program})
endfunction()

ksigil_test(apdu_test.cpp qv_apdulib)
ksigil_test(command_test.cpp qv_shell)
ksigil_test(qv_filesystem_test.cpp qv_services)
ksigil_test(rm_apdutalker_test.cpp qv_apdulib)
ksigil_test(support_test.cpp qv_support)
ksigil_test(windows/trace_file_test.cpp qv_platform)
add_executable(log_roles log_roles.cpp)
target_link_libraries(log_roles PRIVATE qv_log_of_program qv_services)

# Wine's own is a stub. The programs get this one, and its library no program.
add_library(winscard SHARED windows/winscard.cpp)
set_target_properties(winscard PROPERTIES PREFIX "")
target_link_libraries(winscard PRIVATE ws2_32)
