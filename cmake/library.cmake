# The core layer, and the library as a shared object and a static archive from one set of objects.

find_package(OpenMP REQUIRED COMPONENTS CXX)

set(QOLSC_LIBRARY_OPTIONS -fvisibility=hidden -fvisibility-inlines-hidden -fno-exceptions -fno-rtti
    -fno-threadsafe-statics -Wshadow -Wconversion -Wno-sign-conversion)
# Neither library uses the C++ runtime, so both are linked as C.
set(QOLSC_LINK_OPTIONS -Wl,-z,relro -Wl,-z,now -Wl,-z,text -Wl,-z,noexecstack -Wl,--as-needed)
if(NOT QOLSC_SANITIZE)
  list(APPEND QOLSC_LINK_OPTIONS -Wl,--no-undefined)
endif()

# ---- libqolcore ----
file(GLOB core_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/core/*.cpp)
add_library(qolcore_objects OBJECT ${core_sources})
target_include_directories(qolcore_objects PUBLIC ${PROJECT_SOURCE_DIR}/core ${PROJECT_SOURCE_DIR}/include)
target_compile_options(qolcore_objects PRIVATE ${QOLSC_LIBRARY_OPTIONS} ${OpenMP_CXX_FLAGS})
add_library(qolcore SHARED $<TARGET_OBJECTS:qolcore_objects>)
add_library(qolcore_static STATIC $<TARGET_OBJECTS:qolcore_objects>)
foreach(target qolcore qolcore_static)
  target_link_libraries(${target} PUBLIC ${OpenMP_CXX_LIBRARIES})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME qolcore)
endforeach()
target_link_options(qolcore PRIVATE ${QOLSC_LINK_OPTIONS})
set_target_properties(qolcore PROPERTIES SOVERSION 8.2 VERSION 8.2 LINKER_LANGUAGE C)

# ---- libqolsce9 ----
file(GLOB library_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*/*.cpp ${PROJECT_SOURCE_DIR}/tables/*.cpp)
add_library(qolsce9_objects OBJECT ${library_sources})
target_include_directories(qolsce9_objects PUBLIC ${PROJECT_SOURCE_DIR}/include
                           PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/core)
target_compile_options(qolsce9_objects PRIVATE ${QOLSC_LIBRARY_OPTIONS} ${OpenMP_CXX_FLAGS})

# The version script comes from the one list of exports: each entry gives its jump and its cell.
set(entries_def ${PROJECT_SOURCE_DIR}/src/entry/entries.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${entries_def})
file(STRINGS ${entries_def} entry_lines REGEX "^QOLSC_ENTRY\\(")
set(version_script ${PROJECT_BINARY_DIR}/qolsce9.map)
set(map "{\n  global:\n    qolJumpIndexForMergedDLL;\n")
foreach(line ${entry_lines})
  string(REGEX REPLACE "^QOLSC_ENTRY\\(([A-Za-z0-9_]+)\\).*" "\\1" name "${line}")
  string(APPEND map "    ${name};\n    ${name}_arraddr;\n")
endforeach()
file(CONFIGURE OUTPUT ${version_script} CONTENT "${map}  local:\n    *;\n};\n" @ONLY)

add_library(qolsce9 SHARED $<TARGET_OBJECTS:qolsce9_objects>)
add_library(qolsce9_static STATIC $<TARGET_OBJECTS:qolsce9_objects>)
target_link_libraries(qolsce9 PRIVATE qolcore ${OpenMP_CXX_LIBRARIES} m)
target_link_libraries(qolsce9_static PUBLIC qolcore_static ${OpenMP_CXX_LIBRARIES} m)
target_link_options(qolsce9 PRIVATE ${QOLSC_LINK_OPTIONS} -Wl,--version-script=${version_script})
set_target_properties(qolsce9 PROPERTIES SOVERSION 8.2 VERSION 8.2 LINKER_LANGUAGE C
                      LINK_DEPENDS ${version_script} BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
foreach(target qolsce9 qolsce9_static)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME qolsce9)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                             $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
