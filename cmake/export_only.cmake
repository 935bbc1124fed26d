# export_only(TARGET FILE): makes a shared library export exactly the names in FILE, one a line.
function(export_only target exports)
  file(STRINGS ${exports} names)
  set(map_text "{\n  global:\n")
  foreach(name IN LISTS names)
    string(APPEND map_text "    ${name};\n")
  endforeach()
  string(APPEND map_text "  local:\n    *;\n};\n")
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "${map_text}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports})
  # -Bsymbolic-functions: a name that another library of the process exports too never takes the place of ours.
  target_link_options(${target} PRIVATE
    LINKER:--version-script=${map} LINKER:-Bsymbolic-functions LINKER:--as-needed LINKER:-z,relro,-z,now)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS "${map}")
endfunction()
