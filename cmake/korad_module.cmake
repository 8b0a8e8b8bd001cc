# korad_module(name SOURCES_DIRS dir... DEPENDS target...)
# One static library per subsystem folder, built from every .cc in its folders. A folder
# without sources yet gives an interface library, so dependants configure all the same.
function(korad_module name)
  cmake_parse_arguments(M "" "" "SOURCES_DIRS;DEPENDS" ${ARGN})
  set(sources)
  foreach(dir ${M_SOURCES_DIRS})
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${dir}/*.cc)
    list(APPEND sources ${found})
  endforeach()
  if(NOT sources)
    add_library(korad_${name} INTERFACE)
    target_include_directories(korad_${name} INTERFACE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(korad_${name} INTERFACE ${M_DEPENDS})
    return()
  endif()
  add_library(korad_${name} STATIC ${sources})
  target_include_directories(korad_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(korad_${name} PUBLIC ${M_DEPENDS})
endfunction()

# korad_tests(subsystem DEPENDS target...)
# One GoogleTest executable per subsystem, from tests/<subsystem>/*.cc, linked against its
# own module (and korad_test_support, the fakes of tests/support, where it uses them).
function(korad_tests name)
  cmake_parse_arguments(T "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${name}/*.cc)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_tests ${sources})
  target_include_directories(${name}_tests PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests
                                                   ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}_tests PRIVATE ${T_DEPENDS} GTest::gtest GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name}_tests)
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()

# korad_app(name DIR dir DEPENDS target...)
# A program from dir/*.cc: every file but main.cc goes into the library korad_app_<name>
# (which tests link), main.cc into the executable <name>. Plug-ins resolve the library's
# symbols against the program, so it exports them and carries the whole archives.
function(korad_app name)
  cmake_parse_arguments(A "" "DIR" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${A_DIR}/*.cc)
  list(FILTER sources EXCLUDE REGEX "/main\\.cc$")
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${A_DIR}/main.cc)
    return()
  endif()
  if(sources)
    add_library(korad_app_${name} STATIC ${sources})
    target_include_directories(korad_app_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/${A_DIR})
    target_link_libraries(korad_app_${name} PUBLIC ${A_DEPENDS})
  else()
    add_library(korad_app_${name} INTERFACE)
    target_link_libraries(korad_app_${name} INTERFACE ${A_DEPENDS})
  endif()
  add_executable(${name} ${PROJECT_SOURCE_DIR}/${A_DIR}/main.cc)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  target_link_libraries(${name} PRIVATE korad_app_${name})
  korad_link_whole_library(${name})
endfunction()

# Puts every member of the library's static archives into `target`, ahead of the normal
# link, so that a plug-in finds any library symbol in the program that loads it.
function(korad_link_whole_library target)
  foreach(lib ${KORAD_LIBRARIES})
    get_target_property(type ${lib} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
      # One SHELL: group per archive: CMake would fold repeated plain options into one.
      target_link_options(${target} PRIVATE "SHELL:-Wl,--whole-archive $<TARGET_FILE:${lib}> -Wl,--no-whole-archive")
      add_dependencies(${target} ${lib})
    endif()
  endforeach()
endfunction()

# korad_plugin(name DIR dir)
# A plug-in: dir/module.cc holds the exported KoradRegister entry and becomes the shared
# object modules/<name>.so; the other files are the static library korad_plugin_<name>,
# which tests link directly. The shared object links none of the library: it resolves
# against the program that loads it.
function(korad_plugin name)
  cmake_parse_arguments(P "" "DIR" "" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${P_DIR}/*.cc)
  list(FILTER sources EXCLUDE REGEX "/module\\.cc$")
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${P_DIR}/module.cc)
    return()
  endif()
  add_library(${name} MODULE ${PROJECT_SOURCE_DIR}/${P_DIR}/module.cc)
  set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/modules)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/plugins)
  if(sources)
    add_library(korad_plugin_${name} STATIC ${sources})
    target_include_directories(korad_plugin_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/plugins)
    target_link_libraries(korad_plugin_${name} PUBLIC korad_headers)
    # The static part goes in whole; the library's own symbols stay undefined.
    target_link_libraries(${name} PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,korad_plugin_${name}>")
  else()
    # A plug-in that is all module.cc: nothing for tests to link but the headers.
    add_library(korad_plugin_${name} INTERFACE)
    target_include_directories(korad_plugin_${name} INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/plugins)
    target_link_libraries(korad_plugin_${name} INTERFACE korad_headers)
  endif()
  set_property(GLOBAL APPEND PROPERTY KORAD_PLUGINS ${name})
endfunction()
